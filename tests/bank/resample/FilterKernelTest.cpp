#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <random>
#include <string>
#include <vector>

#include "bank/resample/FilterLoops.h"
#include "bank/resample/KernelDispatch.h"
#include "bank/resample/WingTables.h"
#include "tests/bank/Conversion.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

// The variants that must give the same as the scalar kernels, with ready wings and without.
struct Way {
    Isa isa;
    WingTableUse tables;
};

std::vector<Way> SimdWays() {
    std::vector<Way> arWays;
    for (const Isa isa : SupportedIsas())
        for (const WingTableUse tables : {WingTableUse::Always, WingTableUse::Never})
            if (isa != Isa::Scalar) arWays.push_back({isa, tables});
    return arWays;
}

void Choose(const Way& way) {
    ASSERT_EQ(way.isa, ForceKernels(way.isa));
    ForceWingTableUse(way.tables);
}

class FilterKernelTest : public testing::TestWithParam<Way> {
protected:
    void SetUp() override { Choose(GetParam()); }
    void TearDown() override { Choose({m_isaBefore, WingTableUse::ByFrames}); }

    void ExpectTheScalarBytes(const GuardedWave& wave, double ratio, int nQuality) {
        Choose({Isa::Scalar, WingTableUse::ByFrames});
        const Outcome scalar = Convert(wave, ratio, nQuality);
        Choose(GetParam());
        const Outcome variant = Convert(wave, ratio, nQuality);
        ASSERT_EQ(scalar, variant) << wave.BytesPerFrame() << " bytes, " << wave.Frames() << " frames, ratio "
                                   << ratio << ", quality " << nQuality;
        ASSERT_EQ(scalar.state.nPhase, variant.state.nPhase);
    }

private:
    Isa m_isaBefore = ActiveKernels();
};

INSTANTIATE_TEST_SUITE_P(, FilterKernelTest, testing::ValuesIn(SimdWays()), [](const auto& way) {
    return std::string(NameOf(way.param.isa)) + (way.param.tables == WingTableUse::Always ? "ready" : "made");
});

// Around every limit: table step 32768 on either side, taps that pass the guards, rows that end in the middle
// of a vector, the longest row and the first conversion beyond it, phases that come again soon, no gain.
constexpr double kRatios[] = {1.0 / 4096, 0.2296875, 0.25,  0.459375, 0.5,  0.91875, 0.99997, 1.0,
                              1.00004,    1.0884354, 1.5,   2.0,      2.17, 4.35,    7.93,    8.13,
                              15.9,       30.9,      31.95, 33.0,     41.9, 43.0,    300.0,   20000.0};
constexpr long kFrames[] = {1, 2, 7, 64, 257, 1500};
constexpr int kFilterQualities[] = {1, 3, 5, 7};

// One wave of each length and format.
std::deque<GuardedWave> LoudWaves() {
    std::deque<GuardedWave> arWaves;
    unsigned nSeed = 301;
    for (const int nBytesPerFrame : {2, 4, 3, 6})
        for (const long nFrames : kFrames) {
            arWaves.emplace_back(nFrames, nBytesPerFrame, nSeed % 2 == 0 ? Fence::Before : Fence::After);
            arWaves.back().MakeLoud(nSeed++);
        }
    return arWaves;
}

TEST_P(FilterKernelTest, EqualsTheScalarKernelsBitForBit) {
    const std::deque<GuardedWave> arWaves = LoudWaves();
    for (const double ratio : kRatios)
        for (const int nQuality : kFilterQualities)
            for (const GuardedWave& wave : arWaves)
                if (static_cast<double>(wave.Frames()) / ratio <= 9000) {
                    ASSERT_NO_FATAL_FAILURE(ExpectTheScalarBytes(wave, ratio, nQuality));
                }
}

// Ratios from 1/8 to 40, evenly by octaves; waves of 0 to 300 frames.
TEST_P(FilterKernelTest, EqualsTheScalarKernelsAtRandomRatiosAndLengths) {
    std::mt19937 random(1207);
    for (int n = 0; n < 60; ++n) {
        const double ratio = std::exp2(static_cast<double>(random() % 8320) / 1000 - 3);
        for (const int nBytesPerFrame : {2, 4, 3, 6}) {
            GuardedWave wave(static_cast<long>(random() % 301), nBytesPerFrame);
            wave.MakeLoud(static_cast<unsigned>(random()));
            for (const int nQuality : kFilterQualities)
                ASSERT_NO_FATAL_FAILURE(ExpectTheScalarBytes(wave, ratio, nQuality));
        }
    }
}

// The sums leave the range of a sample, and with gains near 1 that of 32 bits after the gain.
TEST_P(FilterKernelTest, SquareWavesAtFullScaleWrapAndAreLimitedAlike) {
    for (const int nBytesPerFrame : {2, 4, 3, 6})
        for (const long nHalfPeriod : {1, 2, 5, 40, 300}) {
            GuardedWave wave(1200, nBytesPerFrame);
            wave.MakeSquare(nHalfPeriod);
            for (const double ratio : {0.23, 0.91875, 1.0884354, 2.1768, 9.7})
                ASSERT_NO_FATAL_FAILURE(ExpectTheScalarBytes(wave, ratio, 7));
        }
}

TEST_P(FilterKernelTest, EqualsTheScalarKernelsAtEveryPhase) {
    for (const int nBytesPerFrame : {4, 6}) {
        GuardedWave wave(72, nBytesPerFrame);
        wave.MakeLoud(9);
        for (const int nQuality : kFilterQualities)  // 67 is prime: 32768 phases and more
            ASSERT_NO_FATAL_FAILURE(ExpectTheScalarBytes(wave, 67.0 / 32768, nQuality));
    }
}

// Steps whose phases come again after 32768, 8192, 512, 2 and 1 output frames.
TEST_P(FilterKernelTest, StreamsSideBySideJoinWithoutASeam) {
    for (const int nBytesPerFrame : {2, 4, 3, 6})
        for (const double ratio : {101.0 / 32768, 404.0 / 32768, 2.1875, 0.5, 3.0}) {
            GuardedWave wave(static_cast<long>(137000 * std::min(ratio, 0.05)), nBytesPerFrame);
            wave.MakeLoud(17);
            ASSERT_NO_FATAL_FAILURE(ExpectTheScalarBytes(wave, ratio, 3));
        }
}

template <class TFormat>
int OneFrame(Isa isa, _Args state, const nlohmann::json& row) {
    const auto strKernel = row.at("kernel").get<std::string>();
    char arOut[4] = {};
    state.pDestination = arOut;
    state.nStep = 1;
    const FilterWings wings =
        MakeFilterWings(strKernel[3] == 'l', strKernel[2] == '1', state.nTableStep, TFormat::kSampleBits);
    const auto pTable = TakeWingTable(wings, 1);
    FilterLoop<TFormat>(state, pTable ? pTable->Wings() : wings, FilterBlockOf(isa)).Run(1, 1);
    return TFormat::Load(arOut);
}

TEST_P(FilterKernelTest, BlocksGiveTheWorkedKernelResults) {
    for (const auto& row : LoadVectors("kernels.json")) {
        const auto samples = row.at("samples").get<std::vector<int>>();
        const bool bWide = row.at("kernel").get<std::string>().substr(4) == "241";
        GuardedWave wave(static_cast<long>(samples.size()), bWide ? 3 : 2);
        for (size_t i = 0; i < samples.size(); ++i) wave.Put(static_cast<long>(i), samples[i]);
        _Args state{};
        state.nPhase = row.at("phase");
        state.nTableStep = row.at("table_step");
        state.nGain = row.at("gain");
        state.pSource = wave.Frame(row.at("at"));
        state.pSourceEnd = wave.Frame(wave.Frames());
        const int nExpected = row.at("result");
        if (bWide)
            EXPECT_EQ(Mono24::Clamp(nExpected), OneFrame<Mono24>(GetParam().isa, state, row)) << row;
        else
            EXPECT_EQ(Mono16::Clamp(nExpected), OneFrame<Mono16>(GetParam().isa, state, row)) << row;
    }
}

TEST_P(FilterKernelTest, LongWavesJoinTheirBlocksWithoutASeam) {
    GuardedWave wave(20000, 6);
    wave.MakeLoud(11);
    for (const double ratio : {0.7, 3.3, 29.0}) ASSERT_NO_FATAL_FAILURE(ExpectTheScalarBytes(wave, ratio, 3));
}

TEST(FilterKernelThreadsTest, ConversionsSideBySideGiveTheSameBytes) {
    GuardedWave wave(3000, 4);
    wave.MakeLoud(15);
    const std::vector<Outcome> arOutcomes = ConvertOnThreads(wave, 0.8, 7);
    for (const Outcome& outcome : arOutcomes) EXPECT_EQ(arOutcomes[0], outcome);
    EXPECT_LT(0, arOutcomes[0].nProduced);
}

TEST(KernelDispatchTest, TheBaselineOfThisMachineIsSupported) {
    EXPECT_TRUE(IsSupported(Isa::Scalar));
#if defined(__x86_64__)
    EXPECT_TRUE(IsSupported(Isa::Sse2));
    EXPECT_FALSE(IsSupported(Isa::Neon));
#elif defined(__aarch64__)
    EXPECT_TRUE(IsSupported(Isa::Neon));
    EXPECT_FALSE(IsSupported(Isa::Sse2));
#endif
}

TEST(KernelDispatchTest, ForcingAnUnsupportedVariantChangesNothing) {
    const Isa isaBefore = ActiveKernels();
    for (const Isa isa : kAllIsas)
        EXPECT_EQ(IsSupported(isa) ? isa : ActiveKernels(), ForceKernels(isa)) << NameOf(isa);
    EXPECT_EQ(isaBefore, ForceKernels(isaBefore));
}

// In a program of its own, where nothing has asked for the variant yet.
void ExitWithTheVariantChosenUnder(const char* pszKernels) {
    if (pszKernels == nullptr)
        unsetenv("KV_KERNELS");
    else
        setenv("KV_KERNELS", pszKernels, 1);
    std::exit(static_cast<int>(ActiveKernels()));
}

TEST(KernelDispatchDeathTest, TheEnvironmentNamesTheVariant) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const Isa isa : SupportedIsas())
        EXPECT_EXIT(ExitWithTheVariantChosenUnder(NameOf(isa)),
                    testing::ExitedWithCode(static_cast<int>(isa)), "");
}

TEST(KernelDispatchDeathTest, WithoutAKnownNameInTheEnvironmentTheBestIsChosen) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const int nBest = static_cast<int>(SupportedIsas().back());
    EXPECT_EXIT(ExitWithTheVariantChosenUnder(nullptr), testing::ExitedWithCode(nBest), "");
    for (const char* const pszName : {"", "AVX2", "avx51", "mmx", "scalar "})
        EXPECT_EXIT(ExitWithTheVariantChosenUnder(pszName), testing::ExitedWithCode(nBest), "") << pszName;
}

}  // namespace
}  // namespace Kestrova::Test
