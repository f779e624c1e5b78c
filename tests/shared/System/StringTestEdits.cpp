// Edits in place, trimming.
#include <climits>
#include <functional>

#include "tests/shared/System/StringTestSupport.h"

namespace Kestrova::Test {
namespace {

// A String of this text with room for nRoom characters.
String Roomy(const char* lpsz, int nRoom) {
    String str;
    str.GetBuffer(nRoom);
    str = lpsz;
    return str;
}

struct EditCase {
    const char* pszName;
    std::function<void(String&)> edit;
    const char* pszExpected;  // of " abba "
};

// Every edit that makes the block private, whether or not it finds something to do.
const EditCase kUnsharing[] = {
    {"SetAt", [](String& s) { s.SetAt(1, 'x'); }, " xbba "},
    {"MakeUpper", [](String& s) { s.MakeUpper(); }, " ABBA "},
    {"MakeLower, nothing to do", [](String& s) { s.MakeLower(); }, " abba "},
    {"Replace character", [](String& s) { EXPECT_EQ(2, s.Replace('b', 'c')); }, " acca "},
    {"Replace absent character", [](String& s) { EXPECT_EQ(0, s.Replace('x', 'y')); }, " abba "},
    {"Replace text", [](String& s) { EXPECT_EQ(1, s.Replace("bb", "c")); }, " aca "},
    {"Replace text by as long a one", [](String& s) { EXPECT_EQ(1, s.Replace("bb", "cc")); }, " acca "},
    {"Remove", [](String& s) { EXPECT_EQ(2, s.Remove('b')); }, " aa "},
    {"Remove absent character", [](String& s) { EXPECT_EQ(0, s.Remove('x')); }, " abba "},
    {"Insert character", [](String& s) { EXPECT_EQ(7, s.Insert(1, 'x')); }, " xabba "},
    {"Insert text", [](String& s) { EXPECT_EQ(8, s.Insert(3, "--")); }, " ab--ba "},
    {"Delete", [](String& s) { EXPECT_EQ(6, s.Delete(1, 2)); }, " ba "},
    {"TrimRight", [](String& s) { s.TrimRight(); }, " abba"},
    {"TrimLeft", [](String& s) { s.TrimLeft(); }, "abba "},
    {"TrimRight character", [](String& s) { s.TrimRight(' '); }, " abba"},
    {"TrimLeft character", [](String& s) { s.TrimLeft(' '); }, "abba "},
    {"TrimRight absent character", [](String& s) { s.TrimRight('x'); }, " abba "},
    {"TrimLeft absent character", [](String& s) { s.TrimLeft('x'); }, " abba "},
    {"TrimRight set", [](String& s) { s.TrimRight("a "); }, " abb"},
    {"TrimLeft set", [](String& s) { s.TrimLeft("a "); }, "bba "},
    {"TrimRight empty set", [](String& s) { s.TrimRight(""); }, " abba "},
    {"TrimRight absent set", [](String& s) { s.TrimRight("xy"); }, " abba "},
    {"TrimLeft absent set", [](String& s) { s.TrimLeft("xy"); }, " abba "},
};
// Q8

// Q8
TEST(StringEditTest, EditsMakeTheBlockPrivateAndLeaveTheSharerAlone) {
    for (const EditCase& c : kUnsharing) {
        SCOPED_TRACE(c.pszName);
        const String strOther(" abba ");
        String str(strOther);
        c.edit(str);
        EXPECT_STREQ(c.pszExpected, str);
        EXPECT_TRUE(IsTerminated(str));
        EXPECT_EQ(1, Refs(str));
        EXPECT_STREQ(" abba ", strOther);
        EXPECT_EQ(1, Refs(strOther));
    }
}

TEST(StringEditTest, EditsOfAPrivateStringGiveTheSameText) {
    for (const EditCase& c : kUnsharing) {
        SCOPED_TRACE(c.pszName);
        String str(" abba ");
        c.edit(str);
        EXPECT_STREQ(c.pszExpected, str);
        String strRoomy = Roomy(" abba ", 40);
        const char* const pchBlock = strRoomy;
        c.edit(strRoomy);
        EXPECT_STREQ(c.pszExpected, strRoomy);
        EXPECT_EQ(pchBlock, strRoomy.c_str());
        EXPECT_EQ(40, strRoomy.GetAllocLength());
    }
}

const char* const kNoText = nullptr;

// The edits that find out first that there is nothing to do.
const EditCase kNotUnsharing[] = {
    {"Replace character by itself", [](String& s) { EXPECT_EQ(0, s.Replace('a', 'a')); }, ""},
    {"Replace absent text", [](String& s) { EXPECT_EQ(0, s.Replace("xy", "z")); }, ""},
    {"Replace null", [](String& s) { EXPECT_EQ(0, s.Replace(kNoText, "z")); }, ""},
    {"Replace empty", [](String& s) { EXPECT_EQ(0, s.Replace("", "z")); }, ""},
    {"Insert empty", [](String& s) { EXPECT_EQ(6, s.Insert(2, "")); }, ""},
    {"Insert null", [](String& s) { EXPECT_EQ(6, s.Insert(2, kNoText)); }, ""},
    {"Delete behind the end", [](String& s) { EXPECT_EQ(6, s.Delete(6, 1)); }, ""},
    {"Delete far behind the end", [](String& s) { EXPECT_EQ(6, s.Delete(INT_MAX, INT_MAX)); }, ""},
    {"Delete none", [](String& s) { EXPECT_EQ(6, s.Delete(0, 0)); }, ""},
    {"Delete less than none", [](String& s) { EXPECT_EQ(6, s.Delete(0, INT_MIN)); }, ""},
    {"TrimLeft empty set", [](String& s) { s.TrimLeft(""); }, ""},
    {"TrimLeft null set", [](String& s) { s.TrimLeft(kNoText); }, ""},
};

TEST(StringEditTest, EditsWithNothingToDoLeaveASharedBlockShared) {
    for (const EditCase& c : kNotUnsharing) {
        SCOPED_TRACE(c.pszName);
        const String strOther(" abba ");
        String str(strOther);
        c.edit(str);
        EXPECT_EQ(strOther.GetData(), str.GetData());
        EXPECT_EQ(2, Refs(str));
        EXPECT_STREQ(" abba ", str);
    }
}

TEST(StringEditTest, EditsOfAnEmptyStringDoNothing) {
    String str;
    str.MakeUpper();
    str.MakeLower();
    EXPECT_EQ(0, str.Replace('a', 'b'));
    EXPECT_EQ(0, str.Replace("a", "b"));
    EXPECT_EQ(0, str.Replace("a", String()));
    EXPECT_EQ(0, str.Remove('a'));
    EXPECT_EQ(0, str.Insert(0, String()));
    EXPECT_EQ(0, str.Delete(0, 1));
    EXPECT_EQ(0, str.Delete(-1, 1));
    str.TrimLeft();
    str.TrimRight();
    str.TrimLeft('a');
    str.TrimRight('a');
    str.TrimLeft("a");
    str.TrimRight("a");
    EXPECT_EQ(StringData::Nil_(), str.GetData());
    EXPECT_EQ(0, StringData::Nil_()->nDataLength);
}

TEST(StringEditTest, CaseIsChangedUpToTheFirstZeroByte) {
    String str("aB\0cD", 5);
    str.MakeUpper();
    EXPECT_EQ(std::string("AB\0cD", 5), Bytes(str));
    str.MakeLower();
    EXPECT_EQ(std::string("ab\0cD", 5), Bytes(str));
}

TEST(StringEditTest, CaseOfBytesOutsideAsciiIsTheCLibrarys) {
    String str("\xE4\xC4z1_");
    str.MakeUpper();
    EXPECT_STREQ("\xE4\xC4Z1_", str);  // the default locale knows no letters up there
}

TEST(StringEditTest, CharactersAreReplacedBehindZeroBytesToo) {
    String str("a\0a", 3);
    EXPECT_EQ(2, str.Replace('a', 'b'));
    EXPECT_EQ(std::string("b\0b", 3), Bytes(str));
}

struct ReplaceCase {
    const char* pszText;
    const char* pszOld;
    const char* pszNew;
    int nCount;
    const char* pszExpected;
};

constexpr ReplaceCase kReplaces[] = {
    {"aaaa", "aa", "b", 2, "bb"},
    {"aaaaa", "aa", "b", 2, "bba"},
    {"aaa", "aa", "aaa", 1, "aaaa"},
    {"abab", "ab", "", 2, ""},
    {"abab", "ab", nullptr, 2, ""},
    {"abab", "a", nullptr, 2, "bb"},
    {"xaxbx", "x", "yyy", 3, "yyyayyybyyy"},
    {"abc", "abc", "d", 1, "d"},
    {"abc", "abcd", "d", 0, "abc"},
    {"abc", "B", "d", 0, "abc"},
    {"one two", "two", "three", 1, "one three"},
    {"a/b/c", "/", "::", 2, "a::b::c"},
    {"a::b::c::", "::", "/", 3, "a/b/c/"},
};

TEST(StringEditTest, TextsAreReplacedFromLeftToRight) {
    for (const ReplaceCase& c : kReplaces) {
        SCOPED_TRACE(c.pszText);
        String str(c.pszText);
        EXPECT_EQ(c.nCount, str.Replace(c.pszOld, c.pszNew));
        EXPECT_STREQ(c.pszExpected, str);
        EXPECT_EQ(std::string(c.pszExpected), Bytes(str));
        const int nOldLength = String(c.pszText).GetLength();
        EXPECT_EQ(std::max(nOldLength, str.GetLength()), str.GetAllocLength());  // never more than exactly
    }
}

TEST(StringEditTest, TextsAreReplacedInPlaceWhenTheBlockHasRoom) {
    for (const ReplaceCase& c : kReplaces) {
        SCOPED_TRACE(c.pszText);
        String str = Roomy(c.pszText, 30);
        const char* const pchBlock = str;
        EXPECT_EQ(c.nCount, str.Replace(c.pszOld, c.pszNew));
        EXPECT_EQ(std::string(c.pszExpected), Bytes(str));
        EXPECT_TRUE(IsTerminated(str));
        EXPECT_EQ(pchBlock, str.c_str());
        EXPECT_EQ(30, str.GetAllocLength());
    }
}

TEST(StringEditTest, ReplacingInASharedStringAllocatesExactly) {
    for (const ReplaceCase& c : kReplaces) {
        if (c.nCount == 0) continue;
        SCOPED_TRACE(c.pszText);
        const String strOther(c.pszText);
        String str(strOther);
        EXPECT_EQ(c.nCount, str.Replace(c.pszOld, c.pszNew));
        EXPECT_EQ(std::string(c.pszExpected), Bytes(str));
        EXPECT_EQ(str.GetLength(), str.GetAllocLength());
        EXPECT_STREQ(c.pszText, strOther);
    }
}

TEST(StringEditTest, ReplacingGoesOnBehindZeroBytes) {
    String str("ab\0ab\0", 6);
    EXPECT_EQ(2, str.Replace("ab", "c"));
    EXPECT_EQ(std::string("c\0c\0", 4), Bytes(str));
    EXPECT_EQ(2, str.Replace("c", "xyz"));
    EXPECT_EQ(std::string("xyz\0xyz\0", 8), Bytes(str));
}

TEST(StringEditTest, ReplacingCanTakeItsTextsFromTheStringItself) {
    String str("abcdef");
    EXPECT_EQ(1, str.Replace(str.c_str() + 3, "x"));
    EXPECT_STREQ("abcx", str);
    EXPECT_EQ(1, str.Replace("x", str));
    EXPECT_STREQ("abcabcx", str);

    const String strOther("abab");
    String strSharer(strOther);
    EXPECT_EQ(2, strSharer.Replace("b", strSharer));
    EXPECT_STREQ("aababaabab", strSharer);

    String strOldInPlace = Roomy("abXabXab", 20);
    EXPECT_EQ(3, strOldInPlace.Replace(strOldInPlace.c_str() + 6, "cde"));
    EXPECT_STREQ("cdeXcdeXcde", strOldInPlace);
    String strNewInPlace = Roomy("abXabX", 20);
    EXPECT_EQ(2, strNewInPlace.Replace("a", strNewInPlace.c_str() + 3));
    EXPECT_STREQ("abXbXabXbX", strNewInPlace);
}

TEST(StringEditTest, ManyReplacementsInALongText) {
    String str('a', 100000);
    EXPECT_EQ(100000, str.Replace("a", "bcd"));
    EXPECT_EQ(300000, str.GetLength());
    EXPECT_EQ(300000, str.GetAllocLength());
    EXPECT_EQ(100000, str.Replace("bcd", ""));
    EXPECT_TRUE(str.IsEmpty());
}

TEST(StringEditTest, RemoveTakesOutEveryOccurrence) {
    String str("a-b--c-");
    EXPECT_EQ(4, str.Remove('-'));
    EXPECT_STREQ("abc", str);
    EXPECT_EQ(7, str.GetAllocLength());
    String strZeros("a\0b\0", 4);
    EXPECT_EQ(2, strZeros.Remove('\0'));
    EXPECT_EQ(std::string("ab"), Bytes(strZeros));
}

TEST(StringEditTest, InsertClampsTheIndexAndGrowsExactly) {
    const struct {
        int nIndex;
        const char* pszWithText;
        const char* pszWithCharacter;
    } cases[] = {{INT_MIN, "xyabc", "zabc"}, {-1, "xyabc", "zabc"}, {0, "xyabc", "zabc"},
                 {1, "axybc", "azbc"},       {3, "abcxy", "abcz"},  {4, "abcxy", "abcz"},
                 {INT_MAX, "abcxy", "abcz"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.nIndex);
        String strText("abc");
        EXPECT_EQ(5, strText.Insert(c.nIndex, "xy"));
        EXPECT_STREQ(c.pszWithText, strText);
        EXPECT_EQ(5, strText.GetAllocLength());
        String strCharacter("abc");
        EXPECT_EQ(4, strCharacter.Insert(c.nIndex, 'z'));
        EXPECT_STREQ(c.pszWithCharacter, strCharacter);
        EXPECT_EQ(4, strCharacter.GetAllocLength());
    }
}

TEST(StringEditTest, InsertIntoAnEmptyString) {
    String str;
    EXPECT_EQ(3, str.Insert(7, "abc"));
    EXPECT_STREQ("abc", str);
    String strOne;
    EXPECT_EQ(1, strOne.Insert(0, 'x'));
    EXPECT_STREQ("x", strOne);
}

TEST(StringEditTest, AStringCanBeInsertedIntoItself) {
    String str("abc");
    EXPECT_EQ(6, str.Insert(1, str));
    EXPECT_STREQ("aabcbc", str);
    String strRoomy = Roomy("abc", 20);
    EXPECT_EQ(5, strRoomy.Insert(1, strRoomy.c_str() + 1));
    EXPECT_STREQ("abcbc", strRoomy);
    EXPECT_EQ(6, strRoomy.Insert(0, strRoomy.c_str() + 4));
    EXPECT_STREQ("cabcbc", strRoomy);
    EXPECT_EQ(8, strRoomy.Insert(0, strRoomy.c_str() + 4));
    EXPECT_STREQ("bccabcbc", strRoomy);
    EXPECT_EQ(20, strRoomy.GetAllocLength());
}
// Q6

// Q6
TEST(StringEditTest, DeleteReturnsTheLengthBeforeTheDeletion) {
    String str("hello");
    EXPECT_EQ(5, str.Delete(1, 3));
    EXPECT_STREQ("ho", str);
    EXPECT_EQ(2, str.Delete(0));
    EXPECT_STREQ("o", str);
    EXPECT_EQ(1, str.Delete(-5, 1));
    EXPECT_STREQ("", str);
    EXPECT_EQ(5, str.GetAllocLength());
}

TEST(StringEditTest, DeleteCanTakeEverythingUpToTheEnd) {
    String str("hello");
    EXPECT_EQ(5, str.Delete(2, 3));
    EXPECT_STREQ("he", str);
    EXPECT_EQ(2, str.Delete(0, 2));
    EXPECT_TRUE(str.IsEmpty());
}

TEST(StringEditTest, TrimsOfSpaceTakeTheCLibrarysSpaceClass) {
    String str(" \t\n\v\f\ra b\r\f\v\n\t ");
    str.TrimLeft();
    EXPECT_STREQ("a b\r\f\v\n\t ", str);
    str.TrimRight();
    EXPECT_STREQ("a b", str);
    String strAll("  \t");
    strAll.TrimRight();
    EXPECT_TRUE(strAll.IsEmpty());
    String strAllLeft("  \t");
    strAllLeft.TrimLeft();
    EXPECT_TRUE(strAllLeft.IsEmpty());
    String strHigh("\xA0x\xA0");
    strHigh.TrimLeft();
    strHigh.TrimRight();
    EXPECT_STREQ("\xA0x\xA0", strHigh);
}

TEST(StringEditTest, TrimsOfACharacterTakeItsRun) {
    String str("xxaxbxx");
    str.TrimRight('x');
    EXPECT_STREQ("xxaxb", str);
    str.TrimLeft('x');
    EXPECT_STREQ("axb", str);
    String strAll("xxx");
    strAll.TrimRight('x');
    EXPECT_TRUE(strAll.IsEmpty());
    String strAllLeft("xxx");
    strAllLeft.TrimLeft('x');
    EXPECT_TRUE(strAllLeft.IsEmpty());
}

TEST(StringEditTest, TrimsOfASetTakeTheRunOfItsCharacters) {
    String str("xyaxbyx");
    str.TrimRight("xy");
    EXPECT_STREQ("xyaxb", str);
    str.TrimLeft("yx");
    EXPECT_STREQ("axb", str);
    str.TrimRight(kNoText);
    EXPECT_STREQ("axb", str);
    str.TrimRight("xab");
    EXPECT_TRUE(str.IsEmpty());
    String strAllLeft("xyx");
    strAllLeft.TrimLeft("xy");
    EXPECT_TRUE(strAllLeft.IsEmpty());
}

TEST(StringEditTest, ATrimCanTakeItsSetFromTheStringItself) {
    const String strOther("abc");
    String strRight(strOther);
    strRight.TrimRight(strRight.c_str() + 1);
    EXPECT_STREQ("a", strRight);
    String strLeft("abcab");
    strLeft.TrimLeft(strLeft.c_str() + 3);
    EXPECT_STREQ("cab", strLeft);
}

}  // namespace
}  // namespace Kestrova::Test
