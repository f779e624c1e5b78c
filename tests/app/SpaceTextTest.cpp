#include <gtest/gtest.h>

#include <climits>

#include "app/SpaceText.h"

namespace Kestrova::Test {
namespace {

struct SpaceCase {
    int nMegabytes;
    const char* pszText;
};
// Q110

// Q110
TEST(SpaceTextTest, NeededGigabytesAreRoundedAndFreedOnesTruncated) {
    constexpr SpaceCase kCases[] = {
        {0, "0 M"},
        {1, "1 M"},
        {1023, "1023 M"},
        {1024, "1 G"},
        {1535, "1 G"},
        {1536, "2 G"},
        {2559, "2 G"},
        {2560, "3 G"},
        {INT_MAX, "2097152 G"},
        {-1, "1 M to free"},
        {-1023, "1023 M to free"},
        {-1024, "1 G to free"},
        {-1536, "1 G to free"},
        {-2047, "1 G to free"},
        {-2048, "2 G to free"},
        {INT_MIN, "2097152 G to free"},
    };
    for (const SpaceCase& row : kCases)
        EXPECT_STREQ(row.pszText, RequiredSpaceText(row.nMegabytes)) << row.nMegabytes;
}
// Q111

// Q111
TEST(SpaceTextTest, FreeGigabytesBeginAt1025AndAreTruncated) {
    constexpr SpaceCase kCases[] = {
        {0, "0 M"},    {1, "1 M"},    {1023, "1023 M"}, {1024, "1024 M"},  {1025, "1 G"},
        {1536, "1 G"}, {2047, "1 G"}, {2048, "2 G"},    {102400, "100 G"}, {INT_MAX, "2097151 G"},
    };
    for (const SpaceCase& row : kCases)
        EXPECT_STREQ(row.pszText, FreeSpaceText(row.nMegabytes)) << row.nMegabytes;
}
// Q112

// Q112
TEST(SpaceTextTest, AFinishedJobReads999) {
    EXPECT_STREQ("99.9%", ProgressPercentText(5, 5));
    EXPECT_STREQ("99.9%", ProgressPercentText(1, 1));
    EXPECT_STREQ("99.9%", ProgressPercentText(123457, 123457));
}

TEST(SpaceTextTest, ProgressHasOneDecimal) {
    EXPECT_STREQ("0.0%", ProgressPercentText(0, 5));
    EXPECT_STREQ("20.0%", ProgressPercentText(1, 5));
    EXPECT_STREQ("40.0%", ProgressPercentText(2, 5));
    EXPECT_STREQ("33.3%", ProgressPercentText(1, 3));
    EXPECT_STREQ("0.1%", ProgressPercentText(1, 1000));
}

// 16.65 and 38.85 lie just below themselves in single precision, just above in double.
// Q113
TEST(SpaceTextTest, ProgressIsComputedInSinglePrecision) {
    EXPECT_STREQ("16.6%", ProgressPercentText(1, 6));
    EXPECT_STREQ("38.8%", ProgressPercentText(7, 18));
}

TEST(SpaceTextTest, NoStepsAreNoProgress) { EXPECT_STREQ("0.0%", ProgressPercentText(0, 0)); }

}  // namespace
}  // namespace Kestrova::Test
