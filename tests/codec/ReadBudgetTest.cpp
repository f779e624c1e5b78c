#include <gtest/gtest.h>

#include <memory>

#include "codec/ReadBudget.h"

namespace Kestrova::Test {
namespace {

TEST(ReadBudgetTest, WithoutOneAWaveMayHaveAnySize) {
    EXPECT_EQ(UINT64_MAX, ReadBudget::MostFor(0));
    EXPECT_EQ(UINT64_MAX, ReadBudget::MostFor(1 << 30));
}

TEST(ReadBudgetTest, IsAThousandTimesTheFileAndAtLeast64MB) {
    const ReadBudget budget;
    constexpr uint64_t kFloor = uint64_t{64} << 20;
    EXPECT_EQ(kFloor, ReadBudget::MostFor(0));
    EXPECT_EQ(kFloor, ReadBudget::MostFor(kFloor / 1000));
    EXPECT_EQ(67109000u, ReadBudget::MostFor(67109));
    EXPECT_EQ(uint64_t{1000} << 32, ReadBudget::MostFor(uint64_t{1} << 32));
    EXPECT_EQ(UINT64_MAX, ReadBudget::MostFor(UINT64_MAX / 1000 + 1));
}

TEST(ReadBudgetTest, EndsWithTheLastOfThoseThatOverlap) {
    auto pFirst = std::make_unique<ReadBudget>();
    auto pSecond = std::make_unique<ReadBudget>();
    pFirst.reset();
    EXPECT_EQ(kReadBudgetFloor, ReadBudget::MostFor(1));
    pSecond.reset();
    EXPECT_EQ(UINT64_MAX, ReadBudget::MostFor(1));
}

}  // namespace
}  // namespace Kestrova::Test
