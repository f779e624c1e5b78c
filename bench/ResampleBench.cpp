// ResampleBench - conversions per method, format, ratio and instruction set; items are destination frames.
// The scalar rows are what the SIMD rows are compared with; linear and cubic have a textbook twin in doubles.
// Long waves show streams side by side; the rows of wings show what a ready table saves and what it costs.
#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "bank/Resampler.h"
#include "bank/resample/KernelDispatch.h"
#include "bank/resample/WingTables.h"

namespace Kestrova {
namespace {

constexpr long kSourceFrames = 44100;
constexpr int kBest = 7;  // the quality that banks are built with
constexpr long kLongFrames = 10 * kSourceFrames;

struct Format {
    const char* pszName;
    int nBytesPerFrame;
};
constexpr Format kFormats[] = {
    {"16-bit mono", 2}, {"16-bit stereo", 4}, {"24-bit mono", 3}, {"24-bit stereo", 6}};

struct Rates {
    const char* pszName;
    double ratio;
};
constexpr Rates kRates[] = {{"44100 to 48000", 44100.0 / 48000},
                            {"44100 to 96000", 44100.0 / 96000},
                            {"48000 to 96000", 0.5},
                            {"96000 to 44100", 96000.0 / 44100},
                            {"96000 to 48000", 2.0},
                            {"44100 to 192000", 44100.0 / 192000}};

std::vector<char> NoiseBetweenGuards(int nBytesPerFrame, long nFrames = kSourceFrames) {
    const auto nGuard = static_cast<size_t>(kGuardFrames * nBytesPerFrame);
    std::vector<char> wave(2 * nGuard + static_cast<size_t>(nFrames * nBytesPerFrame));
    std::minstd_rand noise;
    for (size_t i = nGuard; i < wave.size() - nGuard; ++i) wave[i] = static_cast<char>(noise() >> 8);
    return wave;
}

// A conversion of noise, run once for each iteration of the state.
void RunConversions(benchmark::State& state, const Format& format, const Rates& rates, int nQuality,
                    long nSourceFrames) {
    const auto nFrames = static_cast<long>(
        Resampler::GetReciprocalEstimatedSize(static_cast<unsigned long>(nSourceFrames), rates.ratio));
    std::vector<char> source = NoiseBetweenGuards(format.nBytesPerFrame, nSourceFrames);
    std::vector<char> destination(static_cast<size_t>(nFrames * format.nBytesPerFrame));
    char* const pWave = source.data() + kGuardFrames * format.nBytesPerFrame;
    for (auto _ : state) {
        long nProduced = 0;
        const Resampler resampler(rates.ratio, pWave, nSourceFrames, destination.data(), nFrames,
                                  format.nBytesPerFrame, nQuality, &nProduced);
        benchmark::DoNotOptimize(nProduced);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * nFrames);
}

// Arguments: quality, index of format, index of rates, instruction set, frames of the wave.
void BM_Resample(benchmark::State& state) {
    const Isa isa = static_cast<Isa>(state.range(3));
    const Isa isaBefore = ActiveKernels();
    if (ForceKernels(isa) != isa) {
        state.SkipWithError("not supported here");
        return;
    }
    const Format& format = kFormats[state.range(1)];
    const Rates& rates = kRates[state.range(2)];
    RunConversions(state, format, rates, static_cast<int>(state.range(0)), state.range(4));
    state.SetLabel(std::string(format.pszName) + ", " + rates.pszName + ", " + NameOf(isa));
    ForceKernels(isaBefore);
}

// Arguments: index of format, index of rates, use of tables.
void BM_Wings(benchmark::State& state) {
    const auto use = static_cast<WingTableUse>(state.range(2));
    const Format& format = kFormats[state.range(0)];
    const Rates& rates = kRates[state.range(1)];
    ForceWingTableUse(use);
    RunConversions(state, format, rates, kBest, kSourceFrames);
    ForceWingTableUse(WingTableUse::ByFrames);
    const char* const pszWings = use == WingTableUse::Always ? "ready wings" : "wings made one by one";
    state.SetLabel(std::string(format.pszName) + ", " + rates.pszName + ", " + pszWings);
}

// Argument: table step. Items are coefficients.
void BM_MakeWingTable(benchmark::State& state) {
    const FilterWings wings = MakeFilterWings(true, true, static_cast<int>(state.range(0)), 16);
    for (auto _ : state) benchmark::DoNotOptimize(WingTable::Make(wings));
    state.SetItemsProcessed(state.iterations() * (wings.nTableStep + 1) * wings.nTaps);
}

// --- The twin: positions, samples and sums in doubles, without further rounding ---

template <int kBytes>
double LoadSample(const char* p) {
    uint32_t n = 0;
    for (int i = 0; i < kBytes; ++i)
        n |= uint32_t{static_cast<uint8_t>(p[i])} << (8 * (i + static_cast<int>(sizeof n) - kBytes));
    return static_cast<int32_t>(n);
}

template <int kBytes>
void StoreSample(char* p, double value) {
    const auto n = static_cast<int32_t>(std::fmin(std::fmax(value, INT32_MIN), INT32_MAX));
    for (int i = 0; i < kBytes; ++i)
        p[i] = static_cast<char>(n >> (8 * (i + static_cast<int>(sizeof n) - kBytes)));
}

double Line(double y0, double y1, double x) { return y0 + (y1 - y0) * x; }

double Cubic(const std::array<double, 4>& y, double x) {
    const double a = 1.5 * (y[1] - y[2]) + 0.5 * (y[3] - y[0]);
    const double b = y[0] - 2.5 * y[1] + 2 * y[2] - 0.5 * y[3];
    const double c = 0.5 * (y[2] - y[0]);
    return ((a * x + b) * x + c) * x + y[1];
}

template <int kBytes, int kChannels, bool kCubic>
void ResampleInDoubles(const char* pWave, double ratio, char* pOut, long nFrames) {
    constexpr long kFrame = kBytes * kChannels;
    for (long nFrame = 0; nFrame < nFrames; ++nFrame, pOut += kFrame) {
        const double place = static_cast<double>(nFrame) * ratio;
        const auto nAt = static_cast<long>(place);
        const double x = place - static_cast<double>(nAt);
        for (long nChannel = 0; nChannel < kChannels; ++nChannel) {
            const char* const p = pWave + nAt * kFrame + nChannel * kBytes;
            const double y0 = LoadSample<kBytes>(p), y1 = LoadSample<kBytes>(p + kFrame);
            double value = 0;
            if constexpr (kCubic)
                value =
                    Cubic({LoadSample<kBytes>(p - kFrame), y0, y1, LoadSample<kBytes>(p + 2 * kFrame)}, x);
            else
                value = Line(y0, y1, x);
            StoreSample<kBytes>(pOut + nChannel * kBytes, value);
        }
    }
}

using Twin = void (*)(const char* pWave, double ratio, char* pOut, long nFrames);
// By format, then linear and cubic.
constexpr Twin kTwins[][2] = {{ResampleInDoubles<2, 1, false>, ResampleInDoubles<2, 1, true>},
                              {ResampleInDoubles<2, 2, false>, ResampleInDoubles<2, 2, true>},
                              {ResampleInDoubles<3, 1, false>, ResampleInDoubles<3, 1, true>},
                              {ResampleInDoubles<3, 2, false>, ResampleInDoubles<3, 2, true>}};

// Arguments: quality 0 or 2, index of format, index of rates.
void BM_ResampleInDoubles(benchmark::State& state) {
    const Format& format = kFormats[state.range(1)];
    const double ratio = kRates[state.range(2)].ratio;
    const auto nFrames = static_cast<long>(Resampler::GetReciprocalEstimatedSize(kSourceFrames, ratio));
    const std::vector<char> source = NoiseBetweenGuards(format.nBytesPerFrame);
    std::vector<char> destination(static_cast<size_t>(nFrames * format.nBytesPerFrame));
    const Twin twin = kTwins[state.range(1)][state.range(0) / 2];
    for (auto _ : state) {
        twin(source.data() + kGuardFrames * format.nBytesPerFrame, ratio, destination.data(), nFrames);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * nFrames);
    state.SetLabel(std::string(format.pszName) + ", " + kRates[state.range(2)].pszName + ", in doubles");
}

constexpr int64_t kScalar = static_cast<int64_t>(Isa::Scalar);
#if defined(__aarch64__)
const std::vector<int64_t> kSimd = {kScalar, static_cast<int64_t>(Isa::Neon)};
#else
const std::vector<int64_t> kSimd = {kScalar, static_cast<int64_t>(Isa::Sse2), static_cast<int64_t>(Isa::Avx2),
                                    static_cast<int64_t>(Isa::Avx512)};
#endif
const std::vector<int64_t> kAllFormats = {0, 1, 2, 3};

constexpr double kSeconds = 0.1;  // for each row, there are many

// Linear and cubic have no SIMD variant; the filters go through all.
BENCHMARK(BM_Resample)
    ->Name("LinearAndCubic")
    ->ArgNames({"quality", "format", "rates", "isa", "frames"})
    ->ArgsProduct({{0, 2}, kAllFormats, {1, 3}, {kScalar}, {kSourceFrames}})
    ->MinTime(kSeconds);
BENCHMARK(BM_ResampleInDoubles)
    ->Name("LinearAndCubic/doubles")
    ->ArgNames({"quality", "format", "rates"})
    ->ArgsProduct({{0, 2}, kAllFormats, {1, 3}})
    ->MinTime(kSeconds);
BENCHMARK(BM_Resample)
    ->Name("Filter")
    ->ArgNames({"quality", "format", "rates", "isa", "frames"})
    ->ArgsProduct({{1, 3, 5, 7}, kAllFormats, {0, 1, 2, 3, 4}, kSimd, {kSourceFrames}})
    ->MinTime(kSeconds);
BENCHMARK(BM_Resample)
    ->Name("LongWave")
    ->ArgNames({"quality", "format", "rates", "isa", "frames"})
    ->ArgsProduct({{kBest}, kAllFormats, {0, 3, 5}, kSimd, {kLongFrames}})
    ->MinTime(kSeconds);
BENCHMARK(BM_Wings)
    ->Name("Wings")
    ->ArgNames({"format", "rates", "tables"})
    ->ArgsProduct({kAllFormats,
                   {0, 3},
                   {static_cast<int64_t>(WingTableUse::Never), static_cast<int64_t>(WingTableUse::Always)}})
    ->MinTime(kSeconds);
BENCHMARK(BM_MakeWingTable)
    ->Name("MakeWingTable")
    ->ArgName("step")
    ->Arg(32768)
    ->Arg(15053)
    ->MinTime(kSeconds);

}  // namespace
}  // namespace Kestrova
