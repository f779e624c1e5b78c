// Broken preconditions: every text a report can carry, with the operation that reports it.
#include <climits>
#include <cstring>
#include <functional>

#include "tests/shared/System/StringTestSupport.h"

namespace Kestrova::Test {
namespace {

const char* const kNull = nullptr;

// Writes one byte over the end of a text, where its terminator was.
void OverwriteTerminator(String& str) { str.GetBuffer(0)[str.GetLength()] = '!'; }

struct DeathCase {
    const char* pszName;
    std::function<void(String&)> broken;  // given "abc"
    const char* pszOperation;
    const char* pszExpression;
};

void ExpectReports(std::initializer_list<DeathCase> cases) {
    for (const DeathCase& c : cases) {
        SCOPED_TRACE(c.pszName);
        String str("abc");
        EXPECT_DEATH(c.broken(str), ReportOf(c.pszOperation, c.pszExpression));
    }
}

TEST(StringDeathTest, NullTextsAreRefused) {
    ExpectReports({
        {"Find", [](String& s) { s.Find(kNull); }, "Find", "gIsValidString(lpszSub)"},
        {"FindOneOf", [](String& s) { s.FindOneOf(kNull); }, "FindOneOf", "gIsValidString(lpszCharSet)"},
        {"SpanIncluding", [](String& s) { s.SpanIncluding(kNull); }, "SpanIncluding",
         "gIsValidString(lpszCharSet)"},
        {"SpanExcluding", [](String& s) { s.SpanExcluding(kNull); }, "SpanExcluding",
         "gIsValidString(lpszCharSet)"},
        {"Compare", [](String& s) { s.Compare(kNull); }, "Compare", "gIsValidString(lpsz)"},
        {"CompareNoCase", [](String& s) { s.CompareNoCase(kNull); }, "CompareNoCase", "gIsValidString(lpsz)"},
        {"String", [](String&) { const String str(kNull, 1); }, "String",
         "gIsValidAddress(lpch, nLength, false)"},
        {"String of negative length", [](String&) { const String str("abc", -1); }, "String",
         "gIsValidAddress(lpch, nLength, false)"},
    });
}

TEST(StringDeathTest, IndicesOutsideTheTextAreRefused) {
    constexpr char kInside[] = "nIndex < (int)(GetData()->nDataLength)";
    ExpectReports({
        {"GetAt before", [](String& s) { s.GetAt(-1); }, "GetAt", "nIndex >= 0"},
        {"GetAt behind", [](String& s) { s.GetAt(3); }, "GetAt", kInside},
        {"index before", [](String& s) { s[-1]; }, "operator[]", "nIndex >= 0"},
        {"index behind", [](String& s) { s[3]; }, "operator[]", kInside},
        {"SetAt before", [](String& s) { s.SetAt(-1, 'x'); }, "SetAt", "nIndex >= 0"},
        {"SetAt behind", [](String& s) { s.SetAt(3, 'x'); }, "SetAt", kInside},
        {"GetAt of nothing", [](String&) { String().GetAt(0); }, "GetAt", kInside},
    });
}
// Q7

// Q7
TEST(StringDeathTest, DeleteDoesNotClampItsCount) {
    constexpr char kInside[] = "nIndex + nCount <= (int)(GetData()->nDataLength)";
    ExpectReports({
        {"one too many", [](String& s) { s.Delete(1, 3); }, "Delete", kInside},
        {"far too many", [](String& s) { s.Delete(2, INT_MAX); }, "Delete", kInside},
        {"index made zero", [](String& s) { s.Delete(-5, 4); }, "Delete", kInside},
    });
}

TEST(StringDeathTest, BufferLengthsAreChecked) {
    constexpr char kFits[] = "nNewLength <= (int)(GetData()->nAllocLength)";
    ExpectReports({
        {"GetBuffer", [](String& s) { s.GetBuffer(-1); }, "GetBuffer", "nMinBufLength >= 0"},
        {"GetBufferSetLength", [](String& s) { s.GetBufferSetLength(-1); }, "GetBufferSetLength",
         "nNewLength >= 0"},
        {"ReleaseBuffer", [](String& s) { s.ReleaseBuffer(4); }, "ReleaseBuffer", kFits},
        {"ReleaseBuffer, negative", [](String& s) { s.ReleaseBuffer(-2); }, "ReleaseBuffer", kFits},
        {"ReleaseBuffer of nothing", [](String&) { String().ReleaseBuffer(1); }, "ReleaseBuffer", kFits},
        {"ReleaseBuffer without terminator",
         [](String& s) {
             OverwriteTerminator(s);
             s.ReleaseBuffer();
         },
         "ReleaseBuffer", kFits},
        {"GetBuffer above any block", [](String& s) { s.GetBuffer(INT_MAX); }, "AllocBuffer",
         "nLen <= INT_MAX - 1"},
        {"String above any block", [](String&) { const String str('x', INT_MAX); }, "AllocBuffer",
         "nLen <= INT_MAX - 1"},
        {"UnlockBuffer", [](String& s) { s.UnlockBuffer(); }, "UnlockBuffer", "GetData()->nRefs == -1"},
    });
}

TEST(StringDeathTest, JointLengthsAboveAnyBlockAreRefused) {
    // The header is made to lie about the length: nothing is read before the length is refused.
    constexpr char kLimit[] = "nLen <= INT_MAX - 1";
    ExpectReports({
        {"operator+",
         [](String& s) {
             s.GetData()->nDataLength = INT_MAX - 1;
             (void)(s + 'x');
         },
         "AllocBuffer", kLimit},
        {"operator+=",
         [](String& s) {
             s.GetData()->nDataLength = s.GetData()->nAllocLength = INT_MAX - 1;
             s += "xyz";
         },
         "AllocBuffer", kLimit},
        {"Insert",
         [](String& s) {
             s.GetData()->nDataLength = s.GetData()->nAllocLength = INT_MAX - 1;
             s.Insert(0, 'x');
         },
         "AllocBuffer", kLimit},
    });
}

TEST(StringDeathTest, ADamagedHeaderIsNoticed) {
    ExpectReports({
        {"copy of a dead block",
         [](String& s) {
             s.GetData()->nRefs = 0;
             const String strCopy(s);
         },
         "String", "stringSrc.GetData()->nRefs != 0"},
        {"release of a dead block",
         [](String& s) {
             s.GetData()->nRefs = 0;
             s.Empty();
         },
         "Release", "GetData()->nRefs != 0"},
        {"release of a dead old block",
         [](String& s) {
             s.GetData()->nRefs = 0;
             s += "d";
         },
         "Release", "pData->nRefs != 0"},
        {"FreeExtra of more text than room",
         [](String& s) {
             s.GetData()->nAllocLength = 2;
             s.FreeExtra();
         },
         "FreeExtra", "GetData()->nDataLength <= GetData()->nAllocLength"},
    });
}

TEST(StringDeathTest, AStringWithoutABlockIsNoticed) {
    ExpectReports({
        {"GetLength",
         [](String& s) {
             std::memcpy(static_cast<void*>(&s), &kNull, sizeof s);
             (void)s.GetLength();
         },
         "GetData", "m_pchData != 0"},
    });
}

}  // namespace
}  // namespace Kestrova::Test
