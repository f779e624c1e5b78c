// Which copy of a sample a layer plays at a key.
#include <gtest/gtest.h>

#include "bank/CopyIds.h"

namespace Kestrova::Test {
namespace {

TEST(CopyIdsTest, ALayerOfEveryKeyPlaysTheSingleCopy) {
    CopyIds ids(2, true);
    ids.Set(1, kEveryKey, 7);
    ids.Set(1, 60, 8);
    EXPECT_EQ(7u, ids.Find(1, kEveryKey));
    EXPECT_EQ(kSdbNoID, ids.Find(0, kEveryKey));
}

TEST(CopyIdsTest, AKeyPlaysItsOwnCopyElseTheNextLowerElseTheNextHigher) {
    CopyIds ids(1, true);
    ids.Set(0, 60, 1);
    ids.Set(0, 62, 2);
    ids.Set(0, kKeyCount - 1, 3);
    const struct {
        int nKey;
        uint32_t id;
    } kCases[] = {
        {0, 1}, {59, 1}, {60, 1}, {61, 1}, {62, 2}, {63, 2}, {kKeyCount - 2, 2}, {kKeyCount - 1, 3}};
    for (const auto& row : kCases) EXPECT_EQ(row.id, ids.Find(0, row.nKey)) << row.nKey;
}

TEST(CopyIdsTest, TheLowestAndTheHighestKeyCount) {
    CopyIds low(1, true), high(1, true);
    low.Set(0, 0, 4);
    high.Set(0, kKeyCount - 1, 5);
    EXPECT_EQ(4u, low.Find(0, kKeyCount - 1));
    EXPECT_EQ(5u, high.Find(0, 0));
}

TEST(CopyIdsTest, ASampleWithoutCopiesPlaysNothing) {
    const CopyIds ids(1, true);
    for (const int nKey : {0, 60, kKeyCount - 1}) EXPECT_EQ(kSdbNoID, ids.Find(0, nKey)) << nKey;
}

}  // namespace
}  // namespace Kestrova::Test
