// ResampleBench - conversions per method, format, ratio and instruction set; items are destination frames.
// The scalar rows are what the SIMD rows are compared with.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "bank/KernelDispatch.h"
#include "bank/Resampler.h"

namespace Kestrova {
namespace {

constexpr long kSourceFrames = 44100;

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
                            {"96000 to 48000", 2.0}};

std::vector<char> NoiseBetweenGuards(int nBytesPerFrame) {
    const auto nGuard = static_cast<size_t>(kGuardFrames * nBytesPerFrame);
    std::vector<char> wave(2 * nGuard + static_cast<size_t>(kSourceFrames * nBytesPerFrame));
    std::minstd_rand noise;
    for (size_t i = nGuard; i < wave.size() - nGuard; ++i) wave[i] = static_cast<char>(noise() >> 8);
    return wave;
}

// Arguments: quality, index of format, index of rates, instruction set.
void BM_Resample(benchmark::State& state) {
    const Isa isa = static_cast<Isa>(state.range(3));
    const Isa isaBefore = ActiveKernels();
    if (ForceKernels(isa) != isa) {
        state.SkipWithError("not supported here");
        return;
    }
    const Format& format = kFormats[state.range(1)];
    const double ratio = kRates[state.range(2)].ratio;
    const auto nFrames = static_cast<long>(Resampler::GetReciprocalEstimatedSize(kSourceFrames, ratio));
    std::vector<char> source = NoiseBetweenGuards(format.nBytesPerFrame);
    std::vector<char> destination(static_cast<size_t>(nFrames * format.nBytesPerFrame));
    char* const pWave = source.data() + kGuardFrames * format.nBytesPerFrame;
    for (auto _ : state) {
        long nProduced = 0;
        const Resampler resampler(ratio, pWave, kSourceFrames, destination.data(), nFrames,
                                  format.nBytesPerFrame, static_cast<int>(state.range(0)), &nProduced);
        benchmark::DoNotOptimize(nProduced);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * nFrames);
    state.SetLabel(std::string(format.pszName) + ", " + kRates[state.range(2)].pszName + ", " + NameOf(isa));
    ForceKernels(isaBefore);
}

constexpr int64_t kScalar = static_cast<int64_t>(Isa::Scalar);
#if defined(__aarch64__)
const std::vector<int64_t> kSimd = {kScalar, static_cast<int64_t>(Isa::Neon)};
#else
const std::vector<int64_t> kSimd = {kScalar, static_cast<int64_t>(Isa::Sse2),
                                    static_cast<int64_t>(Isa::Avx2)};
#endif
const std::vector<int64_t> kAllFormats = {0, 1, 2, 3};

// Linear and cubic have no SIMD variant; the filters go through all.
BENCHMARK(BM_Resample)
    ->Name("LinearAndCubic")
    ->ArgNames({"quality", "format", "rates", "isa"})
    ->ArgsProduct({{0, 2}, kAllFormats, {1, 3}, {kScalar}});
BENCHMARK(BM_Resample)
    ->Name("Filter")
    ->ArgNames({"quality", "format", "rates", "isa"})
    ->ArgsProduct({{1, 3, 5, 7}, kAllFormats, {0, 1, 2, 3, 4}, kSimd});

}  // namespace
}  // namespace Kestrova
