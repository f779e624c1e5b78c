// Access to the buffer; locked buffers. A locked block is never freed: each test hands back those it makes.
#include <cstring>
#include <utility>

#include "tests/shared/System/StringTestSupport.h"

namespace Kestrova::Test {
namespace {

TEST(StringBufferTest, GetBufferOfAPrivateStringThatIsLargeEnoughIsItsOwn) {
    String str("abc");
    const char* const pchBlock = str;
    EXPECT_EQ(pchBlock, str.GetBuffer(0));
    EXPECT_EQ(pchBlock, str.GetBuffer(3));
}

TEST(StringBufferTest, GetBufferGrowsToTheLengthAskedForAndKeepsTheText) {
    String str("abc");
    const char* const pchBuffer = str.GetBuffer(10);
    EXPECT_EQ(pchBuffer, str.c_str());
    EXPECT_EQ(10, str.GetAllocLength());
    EXPECT_EQ(3, str.GetLength());
    EXPECT_STREQ("abc", str);
}

TEST(StringBufferTest, GetBufferOfASharedStringIsAtLeastAsLongAsTheText) {
    const String strOther("abc");
    String str(strOther);
    str.GetBuffer(1)[0] = 'x';
    EXPECT_EQ(3, str.GetAllocLength());
    EXPECT_STREQ("xbc", str);
    EXPECT_STREQ("abc", strOther);

    String strLonger(strOther);
    strLonger.GetBuffer(5);
    EXPECT_EQ(5, strLonger.GetAllocLength());
    EXPECT_EQ(1, Refs(strOther));
}

TEST(StringBufferTest, GetBufferOfNothingIsTheEmptyRepresentation) {
    String str;
    EXPECT_EQ(StringData::Nil_()->Data(), str.GetBuffer(0));
}

TEST(StringBufferTest, ReleaseBufferTakesTheLengthUpToTheFirstZeroByte) {
    String str;
    std::memcpy(str.GetBuffer(10), "hello\0abcd", 10);
    str.ReleaseBuffer();
    EXPECT_EQ(5, str.GetLength());
    EXPECT_EQ(10, str.GetAllocLength());
}

TEST(StringBufferTest, ReleaseBufferTakesTheLengthGiven) {
    String str;
    std::memcpy(str.GetBuffer(10), "hello\0abcd", 10);
    str.ReleaseBuffer(7);
    EXPECT_EQ(std::string("hello\0a", 7), Bytes(str));
    EXPECT_TRUE(IsTerminated(str));
    str.ReleaseBuffer(0);
    EXPECT_TRUE(str.IsEmpty());
    EXPECT_EQ(10, str.GetAllocLength());
}

TEST(StringBufferTest, ReleaseBufferOfAFullBufferFindsItsTerminator) {
    String str;
    std::memcpy(str.GetBuffer(3), "abc", 3);
    str.ReleaseBuffer();
    EXPECT_STREQ("abc", str);
}

TEST(StringBufferTest, ReleaseBufferMakesTheBlockPrivate) {
    const String strOther("hello");
    String str(strOther);
    str.ReleaseBuffer(2);
    EXPECT_STREQ("he", str);
    EXPECT_STREQ("hello", strOther);
}

TEST(StringBufferTest, ReleaseBufferOfNothing) {
    String str;
    str.GetBuffer(0);
    str.ReleaseBuffer();
    str.ReleaseBuffer(0);
    EXPECT_EQ(StringData::Nil_(), str.GetData());
}

TEST(StringBufferTest, GetBufferSetLengthSetsTheLengthAtOnce) {
    String str("hello");
    const char* const pchBuffer = str.GetBufferSetLength(2);
    EXPECT_EQ(pchBuffer, str.c_str());
    EXPECT_STREQ("he", str);
    EXPECT_EQ(5, str.GetAllocLength());
    std::memset(str.GetBufferSetLength(8), 'x', 8);
    EXPECT_STREQ("xxxxxxxx", str);
    EXPECT_EQ(8, str.GetAllocLength());
    str.GetBufferSetLength(0);
    EXPECT_TRUE(str.IsEmpty());
    EXPECT_EQ(StringData::Nil_()->Data(), String().GetBufferSetLength(0));
}

TEST(StringBufferTest, FreeExtraShrinksTheBlockToTheText) {
    String str;
    str.GetBuffer(100);
    str = "abc";
    str.FreeExtra();
    EXPECT_STREQ("abc", str);
    EXPECT_EQ(3, str.GetAllocLength());
    const char* const pchBlock = str;
    str.FreeExtra();
    EXPECT_EQ(pchBlock, str.c_str());
}

TEST(StringBufferTest, FreeExtraOfASharedStringLeavesTheOtherItsBlock) {
    String strOther;
    strOther.GetBuffer(10);
    strOther = "abc";
    String str(strOther);
    str.FreeExtra();
    EXPECT_EQ(3, str.GetAllocLength());
    EXPECT_EQ(10, strOther.GetAllocLength());
    EXPECT_EQ(1, Refs(strOther));
}

TEST(StringBufferTest, FreeExtraOfAnEmptiedStringGivesUpTheBlock) {
    String str("abc");
    str = "";
    str.FreeExtra();
    EXPECT_EQ(StringData::Nil_(), str.GetData());
}

TEST(StringLockTest, LockBufferMakesTheBlockPrivateAndCountsMinusOne) {
    const String strOther("abc");
    String str(strOther);
    const char* const pchBuffer = str.LockBuffer();
    EXPECT_EQ(pchBuffer, str.c_str());
    EXPECT_EQ(-1, Refs(str));
    EXPECT_FALSE(str.GetData()->IsNotNil());
    EXPECT_EQ(1, Refs(strOther));
    EXPECT_STREQ("abc", str);
    MakeFreeable(str);
}

TEST(StringLockTest, CopyingALockedStringGivesAnIndependentBlock) {
    String str("a\0b", 3);
    str.LockBuffer();
    const String strCopy(str);
    EXPECT_NE(str.GetData(), strCopy.GetData());
    EXPECT_EQ(std::string("a\0b", 3), Bytes(strCopy));
    EXPECT_EQ(3, strCopy.GetAllocLength());
    EXPECT_EQ(1, Refs(strCopy));

    String strAssigned("old");
    const char* const pchBlock = strAssigned;
    strAssigned = str;
    EXPECT_EQ(pchBlock, strAssigned.c_str());  // the characters were copied into its own block
    EXPECT_EQ(std::string("a\0b", 3), Bytes(strAssigned));

    const String strMid = str.Mid(0);
    EXPECT_NE(str.GetData(), strMid.GetData());
    EXPECT_EQ(-1, Refs(str));
    MakeFreeable(str);
}

TEST(StringLockTest, MovingALockedStringCopiesItsCharacters) {
    String str("abc");
    str.LockBuffer();
    const String strTarget(std::move(str));
    EXPECT_NE(str.GetData(), strTarget.GetData());  // NOLINT: a locked source keeps its block
    EXPECT_STREQ("abc", strTarget);
    EXPECT_STREQ("abc", str);  // NOLINT
    EXPECT_EQ(1, Refs(strTarget));
    MakeFreeable(str);
}

TEST(StringLockTest, AssigningALockedStringToItselfChangesNothing) {
    String str("abc");
    str.LockBuffer();
    const String& strSame = str;
    str = strSame;
    EXPECT_STREQ("abc", str);
    EXPECT_EQ(-1, Refs(str));
    MakeFreeable(str);
}
// Q1

// Q1
TEST(StringLockTest, TheEndOfALockedStringDoesNotFreeItsBlock) {
    StringData* pBlock = nullptr;
    {
        String str("abc");
        str.LockBuffer();
        pBlock = str.GetData();
    }
    EXPECT_EQ(-1, pBlock->nRefs);
    EXPECT_STREQ("abc", pBlock->Data());
    pBlock->Destroy();
}
// Q2

// Q2
TEST(StringLockTest, AssigningAStringToALockedOneSharesTheSourceAndForgetsTheBlock) {
    String str("abc");
    str.LockBuffer();
    StringData* const pBlock = str.GetData();
    const String strSource("new");
    str = strSource;
    EXPECT_EQ(strSource.GetData(), str.GetData());
    EXPECT_EQ(2, Refs(strSource));
    EXPECT_EQ(-1, pBlock->nRefs);
    EXPECT_STREQ("abc", pBlock->Data());
    pBlock->Destroy();
}

TEST(StringLockTest, AssigningATextThatFitsKeepsTheLockedBlock) {
    String str("hello");
    const char* const pchBlock = str.LockBuffer();
    str = "abc";
    EXPECT_EQ(pchBlock, str.c_str());
    EXPECT_STREQ("abc", str);
    EXPECT_EQ(-1, Refs(str));
    MakeFreeable(str);
}
// Q3

// Q3
TEST(StringLockTest, AssigningALongerTextForgetsTheLockedBlock) {
    String str("abc");
    str.LockBuffer();
    StringData* const pBlock = str.GetData();
    str = "hello";
    EXPECT_STREQ("hello", str);
    EXPECT_EQ(1, Refs(str));
    EXPECT_EQ(-1, pBlock->nRefs);
    EXPECT_STREQ("abc", pBlock->Data());
    pBlock->Destroy();
}

TEST(StringLockTest, AppendingToALockedStringStaysInPlaceWhileItFits) {
    String str;
    str.GetBuffer(5);
    str = "abc";
    const char* const pchBlock = str.LockBuffer();
    str += "de";
    EXPECT_EQ(pchBlock, str.c_str());
    EXPECT_STREQ("abcde", str);
    EXPECT_EQ(-1, Refs(str));

    StringData* const pBlock = str.GetData();
    str += "f";
    EXPECT_STREQ("abcdef", str);
    EXPECT_EQ(1, Refs(str));
    EXPECT_STREQ("abcde", pBlock->Data());
    pBlock->Destroy();
}

TEST(StringLockTest, EmptyKeepsALockedBlock) {
    String str("abc");
    const char* const pchBlock = str.LockBuffer();
    str.Empty();
    EXPECT_EQ(pchBlock, str.c_str());
    EXPECT_EQ(0, str.GetLength());
    EXPECT_EQ(3, str.GetAllocLength());
    EXPECT_EQ(-1, Refs(str));
    MakeFreeable(str);
}

TEST(StringLockTest, EditsWriteIntoTheLockedBlock) {
    String str("abc");
    const char* const pchBlock = str.LockBuffer();
    str.SetAt(0, 'x');
    str.TrimRight('c');
    EXPECT_EQ(pchBlock, str.c_str());
    EXPECT_STREQ("xb", str);
    EXPECT_EQ(-1, Refs(str));
    MakeFreeable(str);
}
// Q4

// Q4
TEST(StringLockTest, UnlockBufferDoesNotUnlock) {
    String str("abc");
    str.LockBuffer();
    str.UnlockBuffer();
    EXPECT_EQ(-1, Refs(str));
    const String strCopy(str);
    EXPECT_NE(str.GetData(), strCopy.GetData());
    MakeFreeable(str);
}

TEST(StringLockTest, LockingAnEmptyStringLocksNothing) {
    String str;
    EXPECT_EQ(StringData::Nil_()->Data(), str.LockBuffer());
    str.UnlockBuffer();
    EXPECT_EQ(StringData::Nil_(), str.GetData());
    EXPECT_EQ(-1, StringData::Nil_()->nRefs);
    str = "abc";
    EXPECT_EQ(1, Refs(str));
}

}  // namespace
}  // namespace Kestrova::Test
