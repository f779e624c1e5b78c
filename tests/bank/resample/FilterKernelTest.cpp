#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "bank/resample/FilterLoops.h"
#include "bank/resample/KernelDispatch.h"
#include "tests/bank/Conversion.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

// The variants that must give the same as the scalar kernels.
std::vector<Isa> SimdIsas() {
    std::vector<Isa> arIsas = SupportedIsas();
    std::erase(arIsas, Isa::Scalar);
    return arIsas;
}

class FilterKernelTest : public testing::TestWithParam<Isa> {
protected:
    void SetUp() override { ASSERT_EQ(GetParam(), ForceKernels(GetParam())); }
    void TearDown() override { ForceKernels(m_isaBefore); }

private:
    Isa m_isaBefore = ActiveKernels();
};

INSTANTIATE_TEST_SUITE_P(, FilterKernelTest, testing::ValuesIn(SimdIsas()),
                         [](const auto& variant) { return std::string(NameOf(variant.param)); });

// Around every limit: table step 32768 on either side, taps that pass the guards, rows that end in the middle
// of a vector, the longest row and the first conversion beyond it, no gain.
constexpr double kRatios[] = {1.0 / 4096, 0.2296875, 0.25,  0.459375, 0.5,  0.91875, 0.99997, 1.0,
                              1.00004,    1.0884354, 1.5,   2.0,      2.17, 4.35,    7.93,    8.13,
                              15.9,       30.9,      31.95, 33.0,     41.9, 43.0,    300.0,   20000.0};
constexpr long kFrames[] = {1, 2, 7, 64, 257, 1500};

TEST_P(FilterKernelTest, EqualsTheScalarKernelsBitForBit) {
    unsigned nSeed = 301;
    for (const int nBytesPerFrame : {2, 3, 4, 6})
        for (const long nFrames : kFrames) {
            GuardedWave wave(nFrames, nBytesPerFrame, nSeed % 2 == 0 ? Fence::Before : Fence::After);
            wave.MakeLoud(nSeed++);
            for (const double ratio : kRatios)
                for (const int nQuality : {1, 3, 5, 7}) {
                    if (static_cast<double>(nFrames) / ratio > 9000) continue;
                    ASSERT_EQ(Isa::Scalar, ForceKernels(Isa::Scalar));
                    const Outcome scalar = Convert(wave, ratio, nQuality);
                    ASSERT_EQ(GetParam(), ForceKernels(GetParam()));
                    const Outcome variant = Convert(wave, ratio, nQuality);
                    ASSERT_EQ(scalar, variant) << nBytesPerFrame << " bytes, " << nFrames << " frames, ratio "
                                               << ratio << ", quality " << nQuality;
                    ASSERT_EQ(scalar.state.nPhase, variant.state.nPhase);
                }
        }
}

TEST_P(FilterKernelTest, EqualsTheScalarKernelsAtEveryPhase) {
    GuardedWave wave(72, 4);
    wave.MakeLoud(9);
    for (const int nQuality : {1, 3, 5, 7}) {
        ForceKernels(Isa::Scalar);
        const Outcome scalar = Convert(wave, 67.0 / 32768, nQuality);  // 67 is prime: 32768 phases and more
        ForceKernels(GetParam());
        ASSERT_EQ(scalar, Convert(wave, 67.0 / 32768, nQuality)) << "quality " << nQuality;
    }
}

template <class TFormat>
int OneFrame(Isa isa, _Args state, const nlohmann::json& row) {
    const auto strKernel = row.at("kernel").get<std::string>();
    char arOut[4] = {};
    state.pDestination = arOut;
    state.nStep = 1;
    const FilterRowShape shape = MakeRowShape(strKernel[3] == 'l', strKernel[2] == '1', state.nTableStep);
    FilterLoop<TFormat>(state, shape, SumFramesOf(isa)).Run(1, 1);
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
            EXPECT_EQ(Mono24::Clamp(nExpected), OneFrame<Mono24>(GetParam(), state, row)) << row;
        else
            EXPECT_EQ(Mono16::Clamp(nExpected), OneFrame<Mono16>(GetParam(), state, row)) << row;
    }
}

TEST_P(FilterKernelTest, LongWavesJoinTheirBlocksWithoutASeam) {
    GuardedWave wave(20000, 6);
    wave.MakeLoud(11);
    for (const double ratio : {0.7, 3.3, 29.0}) {
        ForceKernels(Isa::Scalar);
        const Outcome scalar = Convert(wave, ratio, 3);
        ForceKernels(GetParam());
        ASSERT_EQ(scalar, Convert(wave, ratio, 3)) << ratio;
    }
}

TEST(FilterKernelThreadsTest, ConversionsSideBySideGiveTheSameBytes) {
    GuardedWave wave(3000, 4);
    wave.MakeLoud(15);
    Outcome arOutcomes[4];
    std::vector<std::thread> threads;
    for (Outcome& outcome : arOutcomes) threads.emplace_back([&] { outcome = Convert(wave, 0.8, 7); });
    for (std::thread& thread : threads) thread.join();
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
    for (const char* const pszName : {"", "AVX2", "mmx", "scalar "})
        EXPECT_EXIT(ExitWithTheVariantChosenUnder(pszName), testing::ExitedWithCode(nBest), "") << pszName;
}

}  // namespace
}  // namespace Kestrova::Test
