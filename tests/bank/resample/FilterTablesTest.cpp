#include <gmock/gmock.h>

#include <cstring>
#include <vector>

#include "bank/resample/FilterTables.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

using Table = std::vector<int16_t>;

const Table kSmall(std::begin(SmallFilterImp), std::end(SmallFilterImp));
const Table kSmallD(std::begin(SmallFilterImpD), std::end(SmallFilterImpD));
const Table kLarge(std::begin(LargeFilterImp), std::end(LargeFilterImp));
const Table kLargeD(std::begin(LargeFilterImpD), std::end(LargeFilterImpD));

Table DifferencesOf(const Table& table) {
    Table differences(table.size(), 0);
    for (size_t i = 0; i + 1 < table.size(); ++i)
        differences[i] = static_cast<int16_t>(table[i + 1] - table[i]);
    return differences;
}

TEST(FilterTablesTest, HoldTheWorkedValues) {
    const Bytes file = ReadFile(VectorPath("tables.bin"));
    Table expected(file.size() / 2);
    std::memcpy(expected.data(), file.data(), file.size());
    Table all;
    for (const Table& table : {kSmall, kSmallD, kLarge, kLargeD})
        all.insert(all.end(), table.begin(), table.end());
    EXPECT_EQ(expected, all);
}

TEST(FilterTablesTest, StartAtTheCentreAndFallThroughTheTellingRows) {
    for (const Table& table : {kSmall, kLarge})
        EXPECT_THAT(Table(table.begin(), table.begin() + 3), testing::ElementsAre(32767, 32766, 32764));
    EXPECT_EQ(22226, kSmall[128]);
    EXPECT_EQ(22869, kLarge[128]);
    EXPECT_EQ(3180, kSmall[256]);
    EXPECT_EQ(3566, kLarge[256]);
    EXPECT_EQ(-2096, kSmall[512]);
    EXPECT_EQ(-3349, kLarge[512]);
}

TEST(FilterTablesTest, CrossZeroFirstAfterEntry284) {
    for (const Table& table : {kSmall, kLarge}) {
        EXPECT_GT(table[284], 0);
        EXPECT_LT(table[285], 0);
    }
}

TEST(FilterTablesTest, DifferencesLeadToTheNextEntryAndEndWithZero) {
    EXPECT_EQ(DifferencesOf(kSmall), kSmallD);
    EXPECT_EQ(DifferencesOf(kLarge), kLargeD);
}

}  // namespace
}  // namespace Kestrova::Test
