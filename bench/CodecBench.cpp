// CodecBench - the compressor's worst cases: one block each of what takes longest to sort, beside a block of
// a note; bytes are those of the wave. Each row has its twin: libbz2 at its level 9, which works on the same
// bytes behind the delta filter (ours applies the filter as well).
#include <benchmark/benchmark.h>

#include <array>
#include <string>
#include <utility>

#include "bench/BenchCodec.h"
#include "bench/BenchWaves.h"
#include "bench/compare/LibBz2.h"
#include "codec/ImpulseFilter.h"

namespace Kestrova {
namespace {

using namespace Bench;

constexpr size_t kBlockBytes = 900000;

Bytes MakeFibonacciWord() {
    std::string strBefore = "a", strWord = "ab";
    while (strWord.size() < kBlockBytes) strBefore = std::exchange(strWord, strWord + strBefore);
    return Bytes(strWord.begin(), strWord.begin() + kBlockBytes);
}

Bytes MakeRamp(unsigned nSlope) {
    Bytes wave(kBlockBytes);
    for (size_t i = 0; i < wave.size(); ++i) wave[i] = static_cast<uint8_t>((i / 2 * nSlope) >> (i % 2 * 8));
    return wave;
}

Bytes MakeClicks(size_t nFrames) {
    Bytes wave(kBlockBytes);
    for (size_t i = 0; i < wave.size(); i += 2 * nFrames) wave[i] = 100;
    return wave;
}

// A wave whose bytes are these when the delta filter has been applied.
Bytes Unfiltered(Bytes wave) {
    UndoImpulse(16, wave.data(), wave.size());
    return wave;
}

// nBytes of text again and again; each line of it says something else.
Bytes MakeRepeatedText(size_t nBytes) {
    std::string strText;
    for (int i = 0; strText.size() < nBytes; ++i)
        strText += "Line " + std::to_string(i * 7919 % 10007) + " of a text that is read again and again. ";
    Bytes wave(kBlockBytes);
    for (size_t i = 0; i < wave.size(); ++i) wave[i] = static_cast<uint8_t>(strText[i % nBytes]);
    return wave;
}

struct Material {
    const char* pszName;
    unsigned nBits;
    Bytes (*make)();
};
constexpr Material kMaterials[] = {
    {"block of a note", 16, [] { return MakeNote(kBlockBytes / 2, 16, 1, 3); }},
    {"block of zeros", 16, [] { return Bytes(kBlockBytes); }},
    {"block, ramp of slope 1", 16, [] { return MakeRamp(1); }},
    {"block, ramp of slope 0x1234", 16, [] { return MakeRamp(0x1234); }},
    {"block, filtered period of 2 bytes", 16, [] { return Unfiltered(MakePeriodic(kBlockBytes, 2)); }},
    {"block, period of 3 bytes", 16, [] { return MakePeriodic(kBlockBytes, 3); }},
    {"block, period of 100 bytes", 16, [] { return MakePeriodic(kBlockBytes, 100); }},
    {"block, period of 1000 bytes", 16, [] { return MakePeriodic(kBlockBytes, 1000); }},
    {"block, period of 5000 bytes", 16, [] { return MakePeriodic(kBlockBytes, 5000); }},
    {"block, Fibonacci word", 16, MakeFibonacciWord},
    {"block, clicks 3 frames apart", 16, [] { return MakeClicks(3); }},
    {"block, repeated text of 2000 bytes", 16, [] { return MakeRepeatedText(2000); }},
    {"block, repeated text of 20000 bytes", 16, [] { return MakeRepeatedText(20000); }},
};
constexpr int64_t kMaterialCount = std::size(kMaterials);

const Bytes& WaveOf(int64_t nMaterial) {
    static std::array<Bytes, kMaterialCount> waves;
    Bytes& wave = waves[static_cast<size_t>(nMaterial)];
    if (wave.empty()) wave = kMaterials[nMaterial].make();
    return wave;
}

Bytes FilteredWaveOf(int64_t nMaterial) {
    Bytes wave = WaveOf(nMaterial);
    ApplyImpulse(kMaterials[nMaterial].nBits, wave.data(), wave.size());
    return wave;
}

void Report(benchmark::State& state, size_t nCompressed) {
    const size_t nWave = WaveOf(state.range(0)).size();
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(nWave));
    state.SetLabel(std::string(kMaterials[state.range(0)].pszName) + ": " + std::to_string(nCompressed) +
                   " of " + std::to_string(nWave) + " bytes");
}

void BM_Compress(benchmark::State& state) {
    size_t nCompressed = 0;
    for (auto _ : state) {
        StreamBuffer out;
        if (!CompressWave(WaveOf(state.range(0)), kMaterials[state.range(0)].nBits, out))
            return state.SkipWithError("no stream");
        nCompressed = out.GetSize();
    }
    Report(state, nCompressed);
}

void BM_CompressLibbz2(benchmark::State& state) {
    const Bytes filtered = FilteredWaveOf(state.range(0));
    size_t nCompressed = 0;
    for (auto _ : state) nCompressed = CompressWithLibBz2(filtered).size();
    Report(state, nCompressed);
}

void ForEachBlock(benchmark::internal::Benchmark* pBenchmark) {
    pBenchmark->ArgName("block")->DenseRange(0, kMaterialCount - 1)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Compress)->Name("Compress")->Apply(ForEachBlock);
BENCHMARK(BM_CompressLibbz2)->Name("Compress/libbz2")->Apply(ForEachBlock);

}  // namespace
}  // namespace Kestrova
