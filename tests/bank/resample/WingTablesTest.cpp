#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "bank/resample/WingTables.h"
#include "tests/bank/Conversion.h"
#include "tests/support/PosixFaults.h"

namespace Kestrova::Test {
namespace {

constexpr int kWholeStep = 32768;
constexpr int64_t kFramesWorthATable = kWholeStep / 2 + 1;  // two wings each
constexpr const char* kTableMemory = "_ZnamRKSt9nothrow_t";
constexpr const char* kListMemory = "_Znwm";

FilterWings WingsAt(int nTableStep, int nSampleBits = 16) {
    return MakeFilterWings(true, true, nTableStep, nSampleBits);
}

TEST(WingTablesTest, ATableIsMadeForTheFirstWaveThatTakesMoreWingsThanItHas) {
    for (const int nTableStep : {kWholeStep, 15053}) {
        WingTables below, above;
        EXPECT_EQ(nullptr, below.Take(WingsAt(nTableStep), nTableStep / 2));
        EXPECT_NE(nullptr, above.Take(WingsAt(nTableStep), nTableStep / 2 + 1));
    }
}

TEST(WingTablesTest, ShortWavesMakeATableTogether) {
    WingTables tables;
    EXPECT_EQ(nullptr, tables.Take(WingsAt(kWholeStep), kFramesWorthATable - 2));
    EXPECT_EQ(nullptr, tables.Take(WingsAt(kWholeStep), 1));
    const auto pTable = tables.Take(WingsAt(kWholeStep), 1);
    EXPECT_NE(nullptr, pTable);
    EXPECT_EQ(pTable, tables.Take(WingsAt(kWholeStep), 1));
}

TEST(WingTablesTest, FramesWithOtherWingsDoNotCount) {
    WingTables tables;
    EXPECT_EQ(nullptr, tables.Take(WingsAt(kWholeStep), kFramesWorthATable - 1));
    EXPECT_EQ(nullptr, tables.Take(WingsAt(kWholeStep, 24), 1));
    EXPECT_EQ(nullptr, tables.Take(WingsAt(kWholeStep - 1), 1));
    EXPECT_EQ(nullptr, tables.Take(MakeFilterWings(false, true, kWholeStep, 16), 1));
    EXPECT_EQ(nullptr, tables.Take(MakeFilterWings(true, false, kWholeStep, 16), 1));
}

TEST(WingTablesTest, TheTablesUsedLastAreKept) {
    WingTables tables;
    std::vector<std::weak_ptr<const WingTable>> made;
    for (int i = 0; i < static_cast<int>(WingTables::kKept); ++i)
        made.push_back(tables.Take(WingsAt(30000 + i), kFramesWorthATable));
    EXPECT_EQ(made[0].lock(), tables.Take(WingsAt(30000), 1));
    EXPECT_NE(nullptr, tables.Take(WingsAt(20000), kFramesWorthATable));
    EXPECT_FALSE(made[0].expired());
    EXPECT_TRUE(made[1].expired());
    for (size_t i = 2; i < made.size(); ++i) EXPECT_FALSE(made[i].expired()) << i;
}

TEST(WingTablesTest, ATableLivesAsLongAsAConversionHoldsIt) {
    WingTables tables;
    const auto pTable = tables.Take(WingsAt(30000), kFramesWorthATable);
    for (int i = 1; i <= static_cast<int>(WingTables::kKept); ++i) tables.Take(WingsAt(30000 + i), 1);
    EXPECT_EQ(1, pTable.use_count());
    EXPECT_EQ(2 * 32767, pTable->Wings().pReadyLeft[0] + kWholeStep);
}

TEST(WingTablesTest, ThreadsThatNeedOneTableAtOnceGetTheSame) {
    WingTables tables;
    std::shared_ptr<const WingTable> arTables[4];
    std::vector<std::thread> threads;
    for (auto& pTable : arTables)
        threads.emplace_back([&] { pTable = tables.Take(WingsAt(kWholeStep), kFramesWorthATable); });
    for (std::thread& thread : threads) thread.join();
    for (const auto& pTable : arTables) {
        ASSERT_NE(nullptr, pTable);
        EXPECT_EQ(arTables[0], pTable);
    }
}

TEST(WingTablesTest, WhicheverAllocationFailsThereIsNoTable) {
    bool bFailed = true;
    for (int n = 1; bFailed; ++n) {
        WingTables tables;
        const PosixFault fault(kListMemory, ENOMEM, n);
        const auto pTable = tables.Take(WingsAt(kWholeStep), kFramesWorthATable);
        bFailed = fault.Calls() >= n;
        EXPECT_EQ(bFailed, pTable == nullptr) << n;
        EXPECT_TRUE(bFailed || n > 2) << "the list and the table need memory";
    }
}

TEST(WingTablesTest, WithoutMemoryThereIsNoTableUntilThereIsMemoryAgain) {
    WingTables tables;
    for (const char* const pszCall : {kListMemory, kTableMemory}) {
        const PosixFault fault(pszCall, ENOMEM, PosixFault::kEveryCall);
        EXPECT_EQ(nullptr, tables.Take(WingsAt(kWholeStep), kFramesWorthATable)) << pszCall;
        EXPECT_LT(0, fault.Calls()) << pszCall;
    }
    EXPECT_NE(nullptr, tables.Take(WingsAt(kWholeStep), kFramesWorthATable));
}

Outcome ScalarConversion(const GuardedWave& wave, double ratio) {
    const Isa isaBefore = ActiveKernels();
    ForceKernels(Isa::Scalar);
    Outcome outcome = Convert(wave, ratio, 7);
    ForceKernels(isaBefore);
    return outcome;
}

TEST(WingTableConversionTest, WithoutMemoryForATableTheBytesAreTheSame) {
    GuardedWave wave(40000, 2);
    wave.MakeLoud(21);
    for (const double ratio : {1.31, 2.63}) {
        const Outcome expected = ScalarConversion(wave, ratio);
        const PosixFault fault(kTableMemory, ENOMEM, PosixFault::kEveryCall);
        EXPECT_EQ(expected, Convert(wave, ratio, 7)) << ratio;
        EXPECT_EQ(ActiveKernels() != Isa::Scalar, fault.Calls() > 0) << ratio;
    }
}

// A process of its own for each length, as no frames were asked for before.
class WingTableBorderTest : public testing::TestWithParam<long> {};

INSTANTIATE_TEST_SUITE_P(, WingTableBorderTest, testing::Values(-2, -1, 0, 1));

TEST_P(WingTableBorderTest, WavesAroundTheChoiceGetTheSameBytes) {
    constexpr double kRatio = 0.75;
    const auto nFrames = static_cast<long>(kFramesWorthATable * kRatio) + GetParam();
    GuardedWave wave(nFrames, 4);
    wave.MakeLoud(static_cast<unsigned>(nFrames));
    EXPECT_EQ(ScalarConversion(wave, kRatio), Convert(wave, kRatio, 7));
}

TEST(WingTableConversionTest, ConversionsSideBySideShareATableAndGiveTheSameBytes) {
    GuardedWave wave(30000, 3);
    wave.MakeLoud(23);
    const Outcome expected = ScalarConversion(wave, 1.07);
    for (const Outcome& outcome : ConvertOnThreads(wave, 1.07, 7)) EXPECT_EQ(expected, outcome);
}

}  // namespace
}  // namespace Kestrova::Test
