#include <gmock/gmock.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>

#include "bank/Resampler.h"
#include "tests/bank/Conversion.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

constexpr int kAllFormats[] = {2, 3, 4, 6};
constexpr int kAllQualities[] = {0, 1, 2, 3, 4, 5, 6, 7};
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kUnsupportedRatios[] = {
    0.0,       -0.0,       0.99 / 32768, 1e-300, std::numeric_limits<double>::denorm_min(),
    -1.0,      -65536.,    65536.0,      1e300,  std::numeric_limits<double>::max(),
    kInfinity, -kInfinity, kNoNumber};

Bytes Zeroes(size_t nBytes) { return Bytes(nBytes, 0); }
Bytes Part(const Bytes& all, size_t nFrom, size_t nTo) {
    return Bytes(all.begin() + static_cast<long>(nFrom), all.begin() + static_cast<long>(nTo));
}
Bytes FramesOf(const GuardedWave& wave, long nFrom, long nTo) {
    return Bytes(wave.Frame(nFrom), wave.Frame(nTo));
}

// ---- Worked cases

TEST(ResamplerTest, GivesTheWorkedResults) {
    const Bytes file = ReadFile(VectorPath("resampler.bin"));
    for (const auto& row : LoadVectors("resampler.json")) {
        SCOPED_TRACE(row.dump());
        if (row.at("produced") == -1) continue;  // UnsupportedFrameSizesTouchNothing
        GuardedWave wave(row.at("frames"), row.at("bytes_per_frame"));
        wave.Fill(Slice(file, row.at("source")));
        const Outcome outcome =
            Convert(wave, HexDouble(row.at("ratio_hex")), row.at("quality"), row.at("destination_frames"));
        EXPECT_EQ(row.at("produced").get<long>(), outcome.nProduced);
        const auto& result = row.at("result");
        if (result.contains("bytes")) {
            EXPECT_EQ(Slice(file, result.at("bytes")), outcome.bytes);
        } else {
            EXPECT_EQ(result.at("length").get<size_t>(), outcome.bytes.size());
            EXPECT_EQ(result.at("sha256").get<std::string>(), Sha256(outcome.bytes));
        }
    }
}

TEST(ResamplerTest, EstimatesGiveTheWorkedSizes) {
    const auto vectors = LoadVectors("numbers.json");
    for (const auto& row : vectors.at("estimates")) {
        const auto nFrames = row.at("frames").get<unsigned long>();
        const double ratio = HexDouble(row.at("ratio_hex"));
        EXPECT_EQ(row.at("reciprocal").get<unsigned long>(),
                  Resampler::GetReciprocalEstimatedSize(nFrames, ratio));
        EXPECT_EQ(row.at("proportional").get<unsigned long>(),
                  Resampler::GetProportionalEstimatedSize(nFrames, ratio));
    }
}

// ---- Size estimates

TEST(ResamplerTest, EstimatesUseTheTruncatedStepAndTheRaisedFactor) {
    EXPECT_EQ(1001u, Resampler::GetReciprocalEstimatedSize(1000, 1.0));
    EXPECT_EQ(501u, Resampler::GetReciprocalEstimatedSize(1000, 2.0));
    EXPECT_EQ(32768001u, Resampler::GetReciprocalEstimatedSize(1000, 1.9 / 32768));
    EXPECT_EQ(1u, Resampler::GetReciprocalEstimatedSize(0, 1.0));
    EXPECT_EQ(32768u * 2 / 32768 + 1, Resampler::GetProportionalEstimatedSize(32768, 1.1 / 32768));
}

TEST(ResamplerTest, EstimatesAreComputedIn64BitsAndKeep32) {
    EXPECT_EQ(4294967295u / 2 + 1, Resampler::GetReciprocalEstimatedSize(4294967295u, 2.0));
    EXPECT_EQ(0u, Resampler::GetReciprocalEstimatedSize(4294967295u, 1.0));  // 2^32
    EXPECT_EQ(1u, Resampler::GetReciprocalEstimatedSize(1ul << 31, 0.5));
    EXPECT_EQ((1u << 31) + 1, Resampler::GetProportionalEstimatedSize(1ul << 31, 1.0));
    EXPECT_EQ(1u, Resampler::GetProportionalEstimatedSize(1ul << 31, 2.0));
}

TEST(ResamplerTest, EstimatesOfUnsupportedRatiosAreZero) {
    for (const double ratio : kUnsupportedRatios) {
        EXPECT_EQ(0u, Resampler::GetReciprocalEstimatedSize(1000, ratio)) << ratio;
        const bool bRaisedToOne = ratio > 0 && ratio < 1;  // a factor's step is rounded up
        EXPECT_EQ(bRaisedToOne ? 1u : 0u, Resampler::GetProportionalEstimatedSize(1000, ratio)) << ratio;
    }
}

// ---- How many frames

struct CountRow {
    const char* pszWhy;
    int nBytesPerFrame;
    int nQuality;
    double ratio;
    long nFrames;
    long nDestinationFrames;
    long nProduced;
};
constexpr CountRow kCounts[] = {
    {"linear computes one frame at the end", 2, 0, 1.0, 1000, 1100, 1001},
    {"so it does for 24-bit mono", 3, 0, 1.0, 1000, 1100, 1001},
    {"and for 24-bit stereo", 6, 0, 1.0, 1000, 2100, 1001},
    {"16-bit stereo linear stops before it", 4, 0, 1.0, 1000, 1100, 1000},
    {"cubic computes one frame at the end", 2, 2, 1.0, 1000, 1100, 1001},
    {"in all formats", 4, 2, 1.0, 1000, 1100, 1001},
    {"in all formats", 3, 2, 1.0, 1000, 1100, 1001},
    {"in all formats", 6, 2, 1.0, 1000, 1100, 1001},
    {"filters stop before it", 2, 7, 1.0, 1000, 1100, 1000},
    {"filters stop before it", 6, 1, 1.0, 1000, 1100, 1000},
    {"halving, linear", 2, 0, 2.0, 1000, 501, 501},
    {"halving, cubic", 2, 2, 2.0, 1000, 501, 501},
    {"halving, filter", 2, 7, 2.0, 1000, 501, 500},
    {"all phases of the end position are computed", 2, 0, 0.25, 10, 100, 44},
    {"those that find no place are dropped", 2, 0, 0.25, 10, 41, 41},
    {"filters end with the last source frame", 2, 7, 0.25, 10, 100, 40},
    {"a destination too small is filled", 3, 7, 1.0, 1000, 10, 10},
    {"one too small for spread frames too", 6, 0, 1.0, 1000, 10, 10},
    {"no destination", 4, 2, 1.0, 1000, 0, 0},
    {"no destination for a filter", 4, 7, 1.0, 1000, 0, 0},
    {"an empty wave has an end to compute", 2, 0, 1.0, 0, 5, 1},
    {"but nothing before it", 2, 7, 1.0, 0, 5, 0},
    {"the largest step", 2, 2, 65535.99, 1000, 5, 1},
    {"the largest step of a filter", 2, 7, 65535.99, 1000, 5, 1},
    {"the smallest step", 2, 7, 1.0 / 32768, 1, 40000, 32768},
};
// Q90

// Q90
TEST(ResamplerTest, EveryMethodHasItsOwnEnd) {
    for (const CountRow& row : kCounts) {
        GuardedWave wave(row.nFrames, row.nBytesPerFrame);
        wave.MakeLoud(1);
        EXPECT_EQ(row.nProduced, Convert(wave, row.ratio, row.nQuality, row.nDestinationFrames).nProduced)
            << row.pszWhy << ": " << row.nBytesPerFrame << " bytes, quality " << row.nQuality;
    }
}

TEST(ResamplerTest, EstimateNeverFallsShortOfAFilter) {
    for (const double ratio : {0.2296875, 0.3, 0.91875, 1.0, 1.0884354, 2.1768707, 3.0, 17.3})
        for (const long nFrames : {1L, 2L, 64L, 999L}) {
            GuardedWave wave(nFrames, 2);
            wave.MakeLoud(2);
            const auto nRoom =
                Resampler::GetReciprocalEstimatedSize(static_cast<unsigned long>(nFrames), ratio);
            EXPECT_EQ(Convert(wave, ratio, 7).nProduced,
                      Convert(wave, ratio, 7, static_cast<long>(nRoom) + 50).nProduced);
        }
}

TEST(ResamplerTest, NegativeCountsProduceNothing) {
    GuardedWave wave(10, 4);
    char arDestination[64];
    std::fill(std::begin(arDestination), std::end(arDestination), 'x');
    for (const int nQuality : kAllQualities)
        for (const auto& [nSource, nDestination] :
             {std::pair{-1L, 10L}, {LONG_MIN, 10L}, {10L, -1L}, {10L, LONG_MIN}, {-5L, -5L}}) {
            long nProduced = -2;
            const Resampler resampler(1.0, wave.Frame(0), nSource, arDestination, nDestination, 4, nQuality,
                                      &nProduced);
            EXPECT_EQ(0, nProduced) << nSource << " to " << nDestination;
        }
    EXPECT_EQ(std::string(64, 'x'), std::string(arDestination, 64));
}

TEST(ResamplerTest, CountsBeyondAnyMemoryAreTakenWithoutOverflow) {
    GuardedWave wave(400, 6);
    wave.MakeLoud(6);
    for (const int nQuality : kAllQualities)
        for (const double ratio : {1.0 / 32768, 1.0}) {
            char arDestination[5 * 6];
            long nProduced = 0;
            const Resampler resampler(ratio, wave.Frame(0), LONG_MAX, arDestination, 5, 6, nQuality,
                                      &nProduced);
            EXPECT_EQ(5, nProduced);
        }
}

TEST(ResamplerTest, ProducedMayBeNull) {
    GuardedWave wave(1, 2);
    wave.Put(0, 4711);
    int16_t nResult = 0;
    const Resampler resampler(1.0, wave.Frame(0), 1, &nResult, 1, 2, 0, nullptr);
    EXPECT_EQ(4711, nResult);
}

// ---- What is refused

TEST(ResamplerTest, UnsupportedFrameSizesTouchNothing) {
    for (const int nBytesPerFrame : {-4, 0, 1, 5, 7, 8, 12, INT_MAX, INT_MIN}) {
        char arSource[64] = {};
        char arDestination[64];
        std::fill(std::begin(arDestination), std::end(arDestination), 'x');
        for (const int nQuality : kAllQualities) {
            long nProduced = 5;
            const Resampler resampler(1.0, arSource, 2, arDestination, 2, nBytesPerFrame, nQuality,
                                      &nProduced);
            EXPECT_EQ(-1, nProduced) << nBytesPerFrame;
        }
        EXPECT_EQ(std::string(64, 'x'), std::string(arDestination, 64));
    }
}

TEST(ResamplerTest, UnsupportedRatiosTouchNothing) {
    GuardedWave wave(10, 2);
    wave.MakeLoud(4);
    for (const double ratio : kUnsupportedRatios)
        for (const int nQuality : kAllQualities) {
            const Outcome outcome = Convert(wave, ratio, nQuality, 20);
            EXPECT_EQ(-1, outcome.nProduced) << ratio;
            EXPECT_EQ(Bytes(40, kUntouched), outcome.bytes);
        }
}

// ---- What becomes of the destination

TEST(ResamplerTest, AtRatioOneLinearCopiesEveryFrame) {
    for (const int nBytesPerFrame : {2, 3, 4}) {
        GuardedWave wave(1000, nBytesPerFrame);
        wave.MakeLoud(7);
        const Outcome outcome = Convert(wave, 1.0, 0, 1000);
        EXPECT_EQ(FramesOf(wave, 0, 1000), outcome.bytes) << nBytesPerFrame;
    }
}

TEST(ResamplerTest, TheFrameAtTheEndComesFromTheGuard) {
    GuardedWave wave(4, 2);
    wave.MakeLoud(8);
    EXPECT_EQ(FramesOf(wave, 0, 5), Convert(wave, 1.0, 0, 5).bytes);
    EXPECT_EQ(FramesOf(wave, 0, 5), Convert(wave, 1.0, 2, 5).bytes);
}

TEST(ResamplerTest, WhatRemainsBehindTheFramesIsCleared) {
    for (const int nBytesPerFrame : kAllFormats)
        for (const int nQuality : kAllQualities) {
            GuardedWave wave(100, nBytesPerFrame);
            wave.MakeLoud(10);
            const Outcome outcome = Convert(wave, 1.0, nQuality, 400);
            const bool bSpread = nBytesPerFrame == 6 && nQuality == 0;
            const auto nEnd = static_cast<size_t>(outcome.nProduced * nBytesPerFrame * (bSpread ? 2 : 1));
            ASSERT_LT(nEnd, outcome.bytes.size());
            EXPECT_EQ(Zeroes(outcome.bytes.size() - nEnd), Part(outcome.bytes, nEnd, outcome.bytes.size()));
        }
}

TEST(ResamplerTest, NothingIsClearedWhenNoFrameWasMade) {
    GuardedWave wave(0, 2);
    EXPECT_EQ(Bytes(20, kUntouched), Convert(wave, 1.0, 7, 10).bytes);
}

TEST(ResamplerTest, TheLast24BitStoreOfAFullDestinationStaysInside) {
    for (const int nQuality : kAllQualities) {
        GuardedWave wave(50, 3);
        wave.MakeLoud(12);
        EXPECT_EQ(33, Convert(wave, 1.0, nQuality, 33).nProduced);  // the destination is fenced on both sides
    }
}
// Q91

// Q91
TEST(ResamplerTest, Linear24BitStereoFillsEveryOtherPlace) {
    GuardedWave wave(4, 6);
    wave.MakeLoud(13);
    const Outcome outcome = Convert(wave, 1.0, 0, 12);
    ASSERT_EQ(5, outcome.nProduced);
    Bytes expected;
    for (long n = 0; n < 5; ++n) {
        const Bytes frame = FramesOf(wave, n, n + 1);
        expected.insert(expected.end(), frame.begin(), frame.end());
        expected.push_back(0);  // the fourth byte of the last store
        expected.insert(expected.end(), 5, kUntouched);
    }
    expected.resize(72, 0);
    EXPECT_EQ(expected, outcome.bytes);
}
// Q92

// Q92
TEST(ResamplerTest, SpreadFramesBeyondTheDestinationAreDroppedAndNothingIsCleared) {
    GuardedWave wave(9, 6);
    wave.MakeLoud(14);
    for (const long nDestinationFrames : {9L, 10L, 11L}) {
        const Outcome outcome = Convert(wave, 1.0, 0, nDestinationFrames);
        EXPECT_EQ(std::min(10L, nDestinationFrames), outcome.nProduced);
        for (long nPlace = 0; nPlace < nDestinationFrames; ++nPlace) {
            const auto nByte = static_cast<size_t>(nPlace * 6);
            Bytes expected(6, kUntouched);
            expected[0] = 0;
            if (nPlace % 2 == 0) expected = FramesOf(wave, nPlace / 2, nPlace / 2 + 1);
            EXPECT_EQ(expected, Part(outcome.bytes, nByte, nByte + 6)) << "place " << nPlace;
        }
    }
}

// ---- What the samples are

TEST(ResamplerTest, CubicResultsAreClamped) {
    const auto MiddleOf = [](int nBytesPerFrame, int nOuter, int nInner) {
        GuardedWave wave(4, nBytesPerFrame);
        for (long n = 0; n < 4; ++n) wave.Put(n, n == 1 || n == 2 ? nInner : nOuter);
        return SampleAt(Convert(wave, 0.5, 2, 9).bytes, 3, wave.SampleBytes());
    };
    EXPECT_EQ(32767, MiddleOf(2, -32768, 32767));
    EXPECT_EQ(-32768, MiddleOf(2, 32767, -32768));
    EXPECT_EQ(8388607, MiddleOf(3, -8388608, 8388607));
    EXPECT_EQ(-8388608, MiddleOf(3, 8388607, -8388608));
}

using MethodKernel = int (*)(char*, long);
using FilterKernel = int (*)(char*, _Args*);

struct MethodRow {
    int nQuality;
    int nBytesPerFrame;
    MethodKernel pMethod;
    FilterKernel pFilter;
    int nGain;
};
constexpr MethodRow kMethods[] = {
    {0, 2, Interpolator::_lin161, nullptr, 0},     {0, 4, Interpolator::_lin162, nullptr, 0},
    {0, 3, Interpolator::_lin241, nullptr, 0},     {2, 2, Interpolator::_cub161, nullptr, 0},
    {2, 4, Interpolator::_cub162, nullptr, 0},     {2, 3, Interpolator::_cub241, nullptr, 0},
    {2, 6, Interpolator::_cub242, nullptr, 0},     {1, 2, nullptr, Interpolator::_f0s161, 14732},
    {1, 4, nullptr, Interpolator::_f0s162, 14732}, {1, 3, nullptr, Interpolator::_f0s241, 14732},
    {1, 6, nullptr, Interpolator::_f0s242, 14732}, {3, 2, nullptr, Interpolator::_f1s161, 14732},
    {3, 4, nullptr, Interpolator::_f1s162, 14732}, {3, 3, nullptr, Interpolator::_f1s241, 14732},
    {3, 6, nullptr, Interpolator::_f1s242, 14732}, {4, 2, nullptr, Interpolator::_f0l161, 14746},
    {4, 4, nullptr, Interpolator::_f0l162, 14746}, {4, 3, nullptr, Interpolator::_f0l241, 14746},
    {4, 6, nullptr, Interpolator::_f0l242, 14746}, {5, 2, nullptr, Interpolator::_f0l161, 14746},
    {5, 4, nullptr, Interpolator::_f0l162, 14746}, {5, 3, nullptr, Interpolator::_f0l241, 14746},
    {5, 6, nullptr, Interpolator::_f0l242, 14746}, {6, 2, nullptr, Interpolator::_f1l161, 14746},
    {6, 4, nullptr, Interpolator::_f1l162, 14746}, {6, 3, nullptr, Interpolator::_f1l241, 14746},
    {6, 6, nullptr, Interpolator::_f1l242, 14746}, {7, 2, nullptr, Interpolator::_f1l161, 14746},
    {7, 4, nullptr, Interpolator::_f1l162, 14746}, {7, 3, nullptr, Interpolator::_f1l241, 14746},
    {7, 6, nullptr, Interpolator::_f1l242, 14746},
};

int Clamped(int nSample, size_t nSampleBytes) {
    const int nHighest = nSampleBytes == 2 ? 32767 : 8388607;
    return std::clamp(nSample, -nHighest - 1, nHighest);
}

// Every sample of a conversion is the clamped result of the quality's kernel at its position and phase.
void ExpectKernelSamples(const MethodRow& row, const GuardedWave& wave, double ratio, int nTableStep,
                         int nGain) {
    const Outcome outcome = Convert(wave, ratio, row.nQuality);
    _Args state = outcome.state;
    EXPECT_EQ(nTableStep, state.nTableStep);
    EXPECT_EQ(nGain, state.nGain);
    const int nChannels = row.nBytesPerFrame / static_cast<int>(wave.SampleBytes());
    for (long n = 0; n < outcome.nProduced; ++n) {
        const long nPosition = n * state.nStep;
        state.nPhase = static_cast<int>(nPosition & 0x7FFF);
        for (int nChannel = 0; nChannel < nChannels; ++nChannel) {
            char* const pSample =
                wave.Frame(nPosition >> 15) + nChannel * static_cast<long>(wave.SampleBytes());
            const int nSample =
                row.pFilter != nullptr ? row.pFilter(pSample, &state) : row.pMethod(pSample, state.nPhase);
            ASSERT_EQ(
                Clamped(nSample, wave.SampleBytes()),
                SampleAt(outcome.bytes, static_cast<size_t>(n * nChannels + nChannel), wave.SampleBytes()))
                << "frame " << n;
        }
    }
}

TEST(ResamplerTest, EveryQualityUsesItsKernel) {
    for (const MethodRow& row : kMethods) {
        SCOPED_TRACE(testing::Message()
                     << "quality " << row.nQuality << ", " << row.nBytesPerFrame << " bytes");
        GuardedWave wave(40, row.nBytesPerFrame);
        wave.MakeLoud(20);
        const int nGain = row.pFilter != nullptr ? row.nGain : 14732;
        ExpectKernelSamples(row, wave, 44100.0 / 48000, 32768, nGain);
        ExpectKernelSamples(row, wave, 96000.0 / 44100, 15052, (nGain * 15052) >> 15);
    }
}

TEST(ResamplerTest, TheTableStepNarrowsFromStep32768On) {
    GuardedWave wave(4, 2);
    const auto StateAt = [&](double ratio) { return Convert(wave, ratio, 7).state; };
    EXPECT_EQ(32767, StateAt(0.99999).nStep);
    EXPECT_EQ(32768, StateAt(0.99999).nTableStep);
    EXPECT_EQ(14746, StateAt(0.99999).nGain);
    EXPECT_EQ(32768, StateAt(1.0).nTableStep);
    EXPECT_EQ(32768, StateAt(1.00001).nStep);
    EXPECT_EQ(32767, StateAt(1.00001).nTableStep);
    EXPECT_EQ((14746 * 32767) >> 15, StateAt(1.00001).nGain);
    EXPECT_EQ(0, StateAt(40000.0).nTableStep);
    EXPECT_EQ(0, StateAt(40000.0).nGain);
}

TEST(ResamplerTest, QualitiesBeyondTheFlagsActByTheirLowBits) {
    GuardedWave wave(100, 2);
    wave.MakeLoud(21);
    EXPECT_EQ(Convert(wave, 0.7, 7), Convert(wave, 0.7, 15));
    EXPECT_EQ(Convert(wave, 0.7, 1), Convert(wave, 0.7, 8));
    EXPECT_EQ(Convert(wave, 0.7, 7), Convert(wave, 0.7, -1));
}

TEST(ResamplerTest, AConstantWaveKeepsItsLevel) {
    for (const int nQuality : {1, 3, 5, 7})
        for (const double ratio : {0.459375, 0.91875, 1.7, 2.1768707}) {
            GuardedWave wave(600, 2);
            for (long n = 0; n < 600; ++n) wave.Put(n, 20000);
            const Outcome outcome = Convert(wave, ratio, nQuality);
            const int nMiddle = SampleAt(outcome.bytes, static_cast<size_t>(300 / ratio), 2);
            EXPECT_NEAR(20000, nMiddle, 100) << "quality " << nQuality << ", ratio " << ratio;
        }
}

// ---- How far it reads

TEST(ResamplerTest, NoByteFartherThan256FramesAwayIsRead) {
    for (const Fence fence : {Fence::Before, Fence::After})
        for (const int nBytesPerFrame : kAllFormats)
            for (const int nQuality : kAllQualities)
                for (const double ratio : {0.3, 1.0, 7.9, 8.2, 20.0, 60.0, 3000.0, 65000.0}) {
                    GuardedWave wave(33, nBytesPerFrame, fence);
                    EXPECT_LT(0, Convert(wave, ratio, nQuality).nProduced);
                }
}

TEST(ResamplerTest, PositionsBeyond2GiBAreReached) {
    constexpr long kFrames = 400'000'000;  // 2.4 GB, mapped but never touched except where frames are read
    GuardedWave wave(kFrames, 6);
    const double ratio = 50000.0;
    for (long n = 0; n < kFrames; n += 50000) wave.Put(2 * n + 1, static_cast<int>(n / 50000) + 1);
    const Outcome outcome = Convert(wave, ratio, 2);
    ASSERT_EQ(kFrames / 50000 + 1, outcome.nProduced);
    for (size_t n = 0; n < 8000; ++n)
        ASSERT_EQ(static_cast<int>(n) + 1, SampleAt(outcome.bytes, 2 * n + 1, 3));
}

}  // namespace
}  // namespace Kestrova::Test
