// Search, parts, comparison.
#include <climits>

#include "tests/shared/System/StringTestSupport.h"

namespace Kestrova::Test {
namespace {

TEST(StringTest, FindLooksForACharacterFromAPlaceOn) {
    const String str("abcab");
    const struct {
        char ch;
        int nStart;
        int nExpected;
    } cases[] = {
        {'a', 0, 0},  {'a', 1, 3},       {'b', 1, 1},   {'b', 2, 4},  {'x', 0, -1},
        {'A', 0, -1}, {'b', 4, 4},       {'b', 5, -1},  {'b', 6, -1}, {'b', INT_MAX, -1},
        {'a', -1, 0}, {'b', INT_MIN, 1}, {'\0', 0, -1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.nExpected, str.Find(c.ch, c.nStart)) << c.ch << " from " << c.nStart;
    EXPECT_EQ(2, str.Find('c'));
    EXPECT_EQ(-1, String().Find('x'));
}

TEST(StringTest, FindLooksForATextFromAPlaceOn) {
    const String str("abcab");
    const struct {
        const char* pszSub;
        int nStart;
        int nExpected;
    } cases[] = {
        {"ab", 0, 0},      {"ab", 1, 3},  {"ab", 4, -1}, {"bc", 0, 1},       {"abcab", 0, 0},
        {"abcabc", 0, -1}, {"AB", 0, -1}, {"ab", -3, 0}, {"b", INT_MAX, -1}, {"", 0, 0},
        {"", 3, 3},        {"", 5, 5},    {"", 6, -1},   {"b", 5, -1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.nExpected, str.Find(c.pszSub, c.nStart)) << c.pszSub << " from " << c.nStart;
    EXPECT_EQ(2, str.Find("ca"));
    EXPECT_EQ(0, String().Find(""));
}
// Q5

// Q5
TEST(StringTest, FindAtTheEndDiffersForCharactersAndTexts) {
    const String str("abc");
    EXPECT_EQ(-1, str.Find('x', str.GetLength()));
    EXPECT_EQ(-1, str.Find('\0', str.GetLength()));
    EXPECT_EQ(str.GetLength(), str.Find("", str.GetLength()));
}

TEST(StringTest, ReverseFindGivesTheLastOccurrence) {
    EXPECT_EQ(3, String("/a/b").ReverseFind('b'));
    EXPECT_EQ(2, String("/a/b").ReverseFind('/'));
    EXPECT_EQ(0, String("a").ReverseFind('a'));
    EXPECT_EQ(-1, String("a").ReverseFind('A'));
    EXPECT_EQ(-1, String().ReverseFind('a'));
}

TEST(StringTest, FindOneOfGivesTheFirstCharacterInTheSet) {
    EXPECT_EQ(1, String("abcd").FindOneOf("db"));
    EXPECT_EQ(-1, String("abcd").FindOneOf("xyz"));
    EXPECT_EQ(-1, String("abcd").FindOneOf(""));
    EXPECT_EQ(-1, String().FindOneOf("abc"));
}

TEST(StringTest, SearchesReachBehindZeroBytes) {
    const String str("a\0bc", 4);
    EXPECT_EQ(1, str.Find('\0'));
    EXPECT_EQ(2, str.Find('b'));
    EXPECT_EQ(2, str.Find("bc"));
    EXPECT_EQ(3, str.ReverseFind('c'));
    EXPECT_EQ(3, str.FindOneOf("c"));
}

TEST(StringTest, MidClampsBothEnds) {
    const String str("hello");
    const struct {
        int nFirst;
        int nCount;
        const char* pszExpected;
    } cases[] = {
        {1, 3, "ell"},
        {0, 2, "he"},
        {3, 2, "lo"},
        {3, 9, "lo"},
        {5, 1, ""},
        {9, 1, ""},
        {2, 0, ""},
        {2, -1, ""},
        {-2, 2, "he"},
        {0, 5, "hello"},
        {-3, 100, "hello"},
        {INT_MIN, INT_MAX, "hello"},
        {INT_MAX, INT_MAX, ""},
        {1, INT_MAX, "ello"},
        {0, INT_MIN, ""},
    };
    for (const auto& c : cases) {
        const String strMid = str.Mid(c.nFirst, c.nCount);
        EXPECT_STREQ(c.pszExpected, strMid) << c.nFirst << ", " << c.nCount;
        EXPECT_TRUE(IsTerminated(strMid));
    }
    EXPECT_STREQ("hello", str);
    EXPECT_EQ(1, Refs(str));
}

TEST(StringTest, MidToTheEnd) {
    const String str("hello");
    const struct {
        int nFirst;
        const char* pszExpected;
    } cases[] = {{0, "hello"},  {2, "llo"},    {5, ""},           {6, ""},
                 {-1, "hello"}, {INT_MAX, ""}, {INT_MIN, "hello"}};
    for (const auto& c : cases) EXPECT_STREQ(c.pszExpected, str.Mid(c.nFirst)) << c.nFirst;
}

TEST(StringTest, LeftAndRightClampTheCount) {
    const String str("hello");
    const struct {
        int nCount;
        const char* pszLeft;
        const char* pszRight;
    } cases[] = {{-1, "", ""},
                 {0, "", ""},
                 {1, "h", "o"},
                 {4, "hell", "ello"},
                 {5, "hello", "hello"},
                 {6, "hello", "hello"},
                 {INT_MAX, "hello", "hello"},
                 {INT_MIN, "", ""}};
    for (const auto& c : cases) {
        EXPECT_STREQ(c.pszLeft, str.Left(c.nCount)) << c.nCount;
        EXPECT_STREQ(c.pszRight, str.Right(c.nCount)) << c.nCount;
    }
}

TEST(StringTest, TheWholeStringComesBackSharingTheBlock) {
    const String str("abc");
    const String parts[] = {str.Mid(-3, 100),
                            str.Mid(0, 3),
                            str.Mid(0),
                            str.Mid(-1),
                            str.Left(3),
                            str.Left(4),
                            str.Right(3),
                            str.Right(4),
                            str.SpanIncluding("cba"),
                            str.SpanExcluding("x"),
                            str.SpanExcluding("")};
    for (const String& strPart : parts) EXPECT_EQ(str.GetData(), strPart.GetData());
    EXPECT_EQ(12, Refs(str));
}

TEST(StringTest, APartHasABlockOfItsOwn) {
    const String str("abc");
    const String strPart = str.Mid(0, 2);
    EXPECT_EQ(2, strPart.GetAllocLength());
    EXPECT_EQ(1, Refs(strPart));
    EXPECT_EQ(StringData::Nil_(), str.Mid(3).GetData());
    EXPECT_EQ(StringData::Nil_(), String().Mid(0, 1).GetData());
}

TEST(StringTest, SpansAreLeadingRuns) {
    const String str("aabbcc");
    EXPECT_STREQ("aabb", str.SpanIncluding("ba"));
    EXPECT_STREQ("", str.SpanIncluding("c"));
    EXPECT_STREQ("", str.SpanIncluding(""));
    EXPECT_STREQ("aa", str.SpanExcluding("cb"));
    EXPECT_STREQ("", str.SpanExcluding("a"));
    EXPECT_STREQ("", String().SpanIncluding("a"));
    EXPECT_STREQ("", String().SpanExcluding("a"));
}

TEST(StringTest, GetAtAndTheIndexReadOneCharacter) {
    const String str("abc");
    EXPECT_EQ('a', str.GetAt(0));
    EXPECT_EQ('c', str.GetAt(2));
    EXPECT_EQ('a', str[0]);
    EXPECT_EQ('c', str[2]);
}

int Sign(int n) { return (n > 0) - (n < 0); }

TEST(StringTest, ComparisonsAreTheCLibrarys) {
    const struct {
        const char* psz1;
        const char* psz2;
        int nCase;
        int nNoCase;
    } cases[] = {
        {"", "", 0, 0},        {"a", "", 1, 1},        {"", "a", -1, -1},
        {"abc", "abc", 0, 0},  {"abc", "abd", -1, -1}, {"abc", "ab", 1, 1},
        {"ABC", "abc", -1, 0}, {"a", "B", 1, -1},      {"\xE9", "a", 1, 1},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.nCase, Sign(String(c.psz1).Compare(c.psz2))) << c.psz1 << " and " << c.psz2;
        EXPECT_EQ(c.nNoCase, Sign(String(c.psz1).CompareNoCase(c.psz2))) << c.psz1 << " and " << c.psz2;
    }
}

TEST(StringTest, OperatorsCompareTextsNotAddresses) {
    const String str("abc");
    EXPECT_TRUE(str == String("abc"));
    EXPECT_TRUE(str == "abc");
    EXPECT_TRUE("abc" == str);
    EXPECT_TRUE(str != "abd");
    EXPECT_TRUE(str != String("ab"));
    EXPECT_TRUE(str < "abd");
    EXPECT_TRUE("abd" > str);
    EXPECT_TRUE(String("ab") <= str);
    EXPECT_FALSE(str < String("abc"));
}

TEST(StringTest, ComparisonsStopAtAZeroByte) { EXPECT_EQ(0, String("a\0b", 3).Compare("a")); }

}  // namespace
}  // namespace Kestrova::Test
