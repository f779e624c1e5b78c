// Construction, sharing, assignment, concatenation.
#include <sys/resource.h>

#include <cstring>
#include <type_traits>
#include <utility>

#include "tests/shared/System/StringTestSupport.h"

namespace Kestrova::Test {
namespace {

// Where a virtual operation lies in the table of its class.
template <class TMember>
size_t SlotOf(TMember pfnMember) {
    uintptr_t nEntry = 0;
    std::memcpy(&nEntry, &pfnMember, sizeof nEntry);
    return (nEntry & ~uintptr_t{1}) / sizeof(void*);
}

TEST(StringDataTest, TheVirtualOperationsAreDestroyAndIsNotNilInThisOrder) {
    EXPECT_EQ(0u, SlotOf(&StringData::Destroy));
    EXPECT_EQ(1u, SlotOf(&StringData::IsNotNil));
}

TEST(StringDataTest, ANewBlockHasOneOwnerAndIsTerminated) {
    StringData* const pData = StringData::New(5);
    ASSERT_NE(nullptr, pData);
    EXPECT_EQ(1, pData->nRefs);
    EXPECT_EQ(5, pData->nDataLength);
    EXPECT_EQ(5, pData->nAllocLength);
    EXPECT_EQ('\0', pData->Data()[5]);
    EXPECT_TRUE(pData->IsNotNil());
    pData->Destroy();
}

TEST(StringDataTest, TheHeaderLiesDirectlyBeforeTheCharacters) {
    const String str("abc");
    const char* const pchHeader = reinterpret_cast<const char*>(str.GetData());
    EXPECT_EQ(str.c_str(), pchHeader + sizeof(StringData));
    EXPECT_EQ(str.c_str(), str.GetData()->Data());
}

TEST(StringDataTest, TheEmptyRepresentationIsOneForAll) {
    StringData* const pNil = StringData::Nil_();
    EXPECT_EQ(pNil, StringData::Nil_());
    EXPECT_EQ(-1, pNil->nRefs);
    EXPECT_EQ(0, pNil->nDataLength);
    EXPECT_EQ(0, pNil->nAllocLength);
    EXPECT_EQ('\0', pNil->Data()[0]);
    EXPECT_FALSE(pNil->IsNotNil());
}

bool CanRunOutOfMemory() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return false;  // the sanitizers' allocators end the process instead
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
    return false;
#endif
#endif
    return true;
}

constexpr int kTooMuch = 1 << 29;

// No more memory for the process as long as the object lives.
class MemoryLimit {
public:
    MemoryLimit() {
        getrlimit(RLIMIT_AS, &m_old);
        rlimit limit = m_old;
        limit.rlim_cur = 1 << 20;
        setrlimit(RLIMIT_AS, &limit);
    }
    ~MemoryLimit() { setrlimit(RLIMIT_AS, &m_old); }
    MemoryLimit(const MemoryLimit&) = delete;
    MemoryLimit& operator=(const MemoryLimit&) = delete;

private:
    rlimit m_old{};
};

TEST(StringDataTest, NewAnswersNullWhenMemoryIsOut) {
    if (!CanRunOutOfMemory()) GTEST_SKIP() << "the allocator does not return null here";
    const MemoryLimit limit;
    EXPECT_EQ(nullptr, StringData::New(kTooMuch));
}

TEST(StringDeathTest, AStringThatGetsNoMemoryEndsTheProcess) {
    if (!CanRunOutOfMemory()) GTEST_SKIP() << "the allocator does not return null here";
    EXPECT_DEATH(
        {
            const MemoryLimit limit;
            const String str('x', kTooMuch);
        },
        ReportOf("AllocBuffer", "m_pchData != 0"));
}

TEST(StringTest, IsOnePointer) {
    EXPECT_EQ(sizeof(char*), sizeof(String));
    const String str("abc");
    const char* pch = nullptr;
    std::memcpy(&pch, static_cast<const void*>(&str), sizeof pch);
    EXPECT_EQ(str.c_str(), pch);
}

TEST(StringTest, EmptyTextsAreTheEmptyRepresentation) {
    const char* const pszNull = nullptr;
    const String strings[] = {String(),           String(pszNull), String(""),      String("abc", 0),
                              String(pszNull, 0), String('x', 0),  String('x', -7), String(String())};
    for (const String& str : strings) {
        EXPECT_EQ(StringData::Nil_(), str.GetData());
        EXPECT_TRUE(str.IsEmpty());
        EXPECT_STREQ("", str);
    }
    EXPECT_EQ(-1, StringData::Nil_()->nRefs);
}

TEST(StringTest, ATextGetsAPrivateBlockOfItsLength) {
    const String str("hello");
    EXPECT_STREQ("hello", str);
    EXPECT_EQ(5, str.GetLength());
    EXPECT_EQ(5, str.GetAllocLength());
    EXPECT_EQ(1, Refs(str));
    EXPECT_FALSE(str.IsEmpty());
}

TEST(StringTest, ATextOfGivenLengthIsNotScannedForItsEnd) {
    const char chars[] = {'a', '\0', 'b'};
    const String str(chars, 3);
    EXPECT_EQ(std::string("a\0b", 3), Bytes(str));
    EXPECT_EQ(3, str.GetAllocLength());
    EXPECT_TRUE(IsTerminated(str));
}

TEST(StringTest, ACharacterIsRepeated) {
    const String str('x', 4);
    EXPECT_STREQ("xxxx", str);
    EXPECT_EQ(4, str.GetAllocLength());
}

TEST(StringTest, ACopySharesTheBlock) {
    const String str("abc");
    {
        const String strCopy(str);
        EXPECT_EQ(str.GetData(), strCopy.GetData());
        EXPECT_EQ(2, Refs(str));
    }
    EXPECT_EQ(1, Refs(str));
}

TEST(StringTest, CopyingAnEmptyStringNeverTouchesTheCountOfTheEmptyRepresentation) {
    const String str;
    const String strCopy(str);
    String strAssigned("abc");
    strAssigned = str;
    EXPECT_EQ(-1, StringData::Nil_()->nRefs);
    EXPECT_EQ(StringData::Nil_(), strCopy.GetData());
}

TEST(StringTest, AMovedStringLeavesTheSourceEmpty) {
    String strSource("abc");
    const char* const pchBlock = strSource;
    String strTarget(std::move(strSource));
    EXPECT_EQ(pchBlock, strTarget.c_str());
    EXPECT_EQ(1, Refs(strTarget));
    EXPECT_EQ(StringData::Nil_(), strSource.GetData());  // NOLINT: what a move leaves behind is promised

    String strAssigned("old");
    strAssigned = std::move(strTarget);
    EXPECT_EQ(pchBlock, strAssigned.c_str());
    EXPECT_EQ(StringData::Nil_(), strTarget.GetData());  // NOLINT
}

TEST(StringTest, AMoveWithinOneBlockChangesNothing) {
    String str("abc");
    String& strSame = str;
    str = std::move(strSame);
    EXPECT_STREQ("abc", str);

    String strSharer(str);
    str = std::move(strSharer);
    EXPECT_EQ(2, Refs(str));
    EXPECT_STREQ("abc", str);
}

TEST(StringTest, AVectorOfMovesThrowsNothing) {
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<String>);
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<String>);
}

TEST(StringTest, IsNoTruthValue) {
    EXPECT_FALSE((std::is_constructible_v<bool, const String&>));  // "if (str)" does not compile
}

TEST(StringTest, AssigningToItselfChangesNothing) {
    String str("abc");
    const char* const pchBlock = str;
    const String& strSame = str;
    str = strSame;
    EXPECT_EQ(pchBlock, str.c_str());
    EXPECT_EQ(1, Refs(str));
    EXPECT_STREQ("abc", str);
}

TEST(StringTest, AssigningASharerChangesNothing) {
    String str("abc");
    const String strSharer(str);
    str = strSharer;
    EXPECT_EQ(2, Refs(str));
    EXPECT_EQ(strSharer.GetData(), str.GetData());
}

TEST(StringTest, AssigningAStringSharesItsBlockAndGivesUpTheOld) {
    const String strSource("new");
    const String strOldSharer("old");
    String str(strOldSharer);
    str = strSource;
    EXPECT_EQ(strSource.GetData(), str.GetData());
    EXPECT_EQ(2, Refs(strSource));
    EXPECT_EQ(1, Refs(strOldSharer));
}

TEST(StringTest, AssigningAnEmptyStringKeepsTheBlock) {
    String str("abc");
    const char* const pchBlock = str;
    str = String();
    EXPECT_EQ(pchBlock, str.c_str());
    EXPECT_EQ(0, str.GetLength());
    EXPECT_EQ(3, str.GetAllocLength());
}

TEST(StringTest, AssigningANullTextEmpties) {
    String str("abc");
    const char* const pszNull = nullptr;
    str = pszNull;
    EXPECT_STREQ("", str);
    EXPECT_EQ(3, str.GetAllocLength());
}

TEST(StringTest, AssigningAShorterTextReusesAPrivateBlock) {
    String str("hello");
    const char* const pchBlock = str;
    str = "abc";
    EXPECT_STREQ("abc", str);
    EXPECT_EQ(pchBlock, str.c_str());
    EXPECT_EQ(3, str.GetLength());
    EXPECT_EQ(5, str.GetAllocLength());
}

TEST(StringTest, AssigningALongerTextAllocatesExactly) {
    String str("abc");
    str = "abcdefg";
    EXPECT_STREQ("abcdefg", str);
    EXPECT_EQ(7, str.GetAllocLength());
}

TEST(StringTest, AssigningATextToASharerLeavesTheOthersAlone) {
    const String strOther("hello");
    String str(strOther);
    str = "abc";
    EXPECT_STREQ("hello", strOther);
    EXPECT_EQ(1, Refs(strOther));
    EXPECT_EQ(3, str.GetAllocLength());

    String strEmptied(strOther);
    strEmptied = "";
    EXPECT_EQ(StringData::Nil_(), strEmptied.GetData());
    EXPECT_STREQ("hello", strOther);
}

TEST(StringTest, ACharacterCanBeAssigned) {
    String str;
    str = 'x';
    EXPECT_STREQ("x", str);
    EXPECT_EQ(1, str.GetAllocLength());
}

TEST(StringTest, PartOfItsOwnTextCanBeAssigned) {
    String str("hello");
    str = str.c_str() + 2;
    EXPECT_STREQ("llo", str);

    const String strOther("world");
    String strSharer(strOther);
    strSharer = strSharer.c_str() + 1;
    EXPECT_STREQ("orld", strSharer);
    EXPECT_STREQ("world", strOther);
}

TEST(StringTest, EmptyGivesUpTheBlock) {
    const String strOther("abc");
    String str(strOther);
    str.Empty();
    EXPECT_EQ(StringData::Nil_(), str.GetData());
    EXPECT_EQ(1, Refs(strOther));
}

TEST(StringTest, EmptyDoesNothingWhenTheLengthIsZeroAlready) {
    String str("abc");
    str = "";
    const char* const pchBlock = str;
    str.Empty();
    EXPECT_EQ(pchBlock, str.c_str());
    EXPECT_EQ(3, str.GetAllocLength());
}

TEST(StringTest, EveryPairOfOperandsIsJoinedInABlockOfTheJointLength) {
    const String ab("ab");
    const String cd("cd");
    const struct {
        String strJoined;
        const char* pszExpected;
    } cases[] = {{ab + cd, "abcd"}, {ab + "xyz", "abxyz"}, {"xyz" + ab, "xyzab"},
                 {ab + '!', "ab!"}, {'!' + ab, "!ab"},     {ab + "", "ab"},
                 {"" + ab, "ab"},   {ab + String(), "ab"}, {String() + ab, "ab"}};
    for (const auto& c : cases) {
        EXPECT_STREQ(c.pszExpected, c.strJoined);
        EXPECT_EQ(std::strlen(c.pszExpected), static_cast<size_t>(c.strJoined.GetAllocLength()));
        EXPECT_EQ(1, Refs(c.strJoined));
        EXPECT_TRUE(IsTerminated(c.strJoined));
    }
}

TEST(StringTest, JoiningNothingIsTheEmptyRepresentation) {
    const char* const pszNull = nullptr;
    EXPECT_EQ(StringData::Nil_(), (String() + String()).GetData());
    EXPECT_EQ(StringData::Nil_(), (String() + "").GetData());
    EXPECT_EQ(StringData::Nil_(), (pszNull + String()).GetData());
}

TEST(StringTest, AppendingNothingDoesNotUnshare) {
    const String strOther("abc");
    String str(strOther);
    const char* const pszNull = nullptr;
    str += "";
    str += pszNull;
    str += String();
    EXPECT_EQ(strOther.GetData(), str.GetData());
}

TEST(StringTest, AppendingWithinTheBlockStaysInPlace) {
    String str;
    str.GetBuffer(6);
    const char* const pchBlock = str;
    str += "abc";
    str += 'd';
    str += String("ef");
    EXPECT_STREQ("abcdef", str);
    EXPECT_EQ(pchBlock, str.c_str());
    EXPECT_EQ(6, str.GetAllocLength());
}
// Q12

// Q12
TEST(StringTest, AppendingBeyondTheBlockAllocatesExactly) {
    String str("abc");
    str += "de";
    EXPECT_STREQ("abcde", str);
    EXPECT_EQ(5, str.GetAllocLength());  // no slack
    str += 'f';
    EXPECT_EQ(6, str.GetAllocLength());
}

TEST(StringTest, AppendingToASharerLeavesTheOthersAlone) {
    String strOther;
    strOther.GetBuffer(10);
    strOther = "abc";
    String str(strOther);
    str += "d";
    EXPECT_STREQ("abcd", str);
    EXPECT_EQ(4, str.GetAllocLength());
    EXPECT_STREQ("abc", strOther);
    EXPECT_EQ(1, Refs(strOther));
}

TEST(StringTest, AStringCanBeAppendedToItself) {
    String str("abc");
    str += str;
    EXPECT_STREQ("abcabc", str);
    EXPECT_EQ(6, str.GetAllocLength());

    String strRoomy;
    strRoomy.GetBuffer(20);
    strRoomy = "abc";
    strRoomy += strRoomy;
    EXPECT_STREQ("abcabc", strRoomy);
    strRoomy += strRoomy.c_str() + 4;
    EXPECT_STREQ("abcabcbc", strRoomy);
    EXPECT_EQ(20, strRoomy.GetAllocLength());

    String strSharer(str);
    strSharer += str;
    EXPECT_STREQ("abcabcabcabc", strSharer);
    EXPECT_STREQ("abcabc", str);
}

TEST(StringTest, ZeroBytesAreCopiedAndJoined) {
    const String str("a\0b", 3);
    EXPECT_EQ(std::string("a\0ba\0b", 6), Bytes(str + str));
    String strAppended("x");
    strAppended += str;
    EXPECT_EQ(std::string("xa\0b", 4), Bytes(strAppended));
}

}  // namespace
}  // namespace Kestrova::Test
