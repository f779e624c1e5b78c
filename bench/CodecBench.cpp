// CodecBench - the wave codec; bytes are those of the expanded wave. Each row has its twin: libbz2 at its
// level 9, which works on the same bytes behind the delta filter (our rows apply and undo the filter as
// well).
#include <benchmark/benchmark.h>
#include <bzlib.h>

#include <array>
#include <string>
#include <utility>

#include "bench/BenchWaves.h"
#include "codec/ImpulseFilter.h"
#include "codec/RawCompress.h"
#include "codec/RawExpand.h"
#include "stream/StreamBuffer.h"

namespace Kestrova {
namespace {

using namespace Bench;

constexpr size_t kWaveBytes = 6000000;
constexpr size_t kBlockBytes = 900000;
constexpr size_t kShortBytes = 150000;  // compressed to about half

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
    {"note, 16-bit stereo", 16, [] { return MakeNote(kWaveBytes / 4, 16, 2, 3); }},
    {"note, 24-bit mono", 24, [] { return MakeNote(kWaveBytes / 3, 24, 1, 3); }},
    {"sine, 16-bit", 16, [] { return MakeSine(kWaveBytes / 2, 16); }},
    {"noise, 16-bit", 16, [] { return MakeNoise(kWaveBytes); }},
    {"zeros, 16-bit", 16, [] { return Bytes(kWaveBytes); }},
    {"period of 1000 frames, 16-bit", 16, [] { return MakePeriodic(kWaveBytes, 2000); }},
    {"TimGM6mb, 16-bit", 16, [] { return ReadSoundFontSamples(kWaveBytes); }},
    {"short note, 16-bit", 16, [] { return MakeNote(kShortBytes / 2, 16, 1, 3); }},
    // One block each of what takes longest to sort, and of a note for comparison.
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
constexpr int64_t kMaterialCount = std::size(kMaterials), kFirstBlock = 8;

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

// The samples are changed by the compressor, so a scratch copy is part of its work.
size_t Compress(const Bytes& wave, unsigned nBits, StreamBuffer& out) {
    Bytes scratch = wave;
    StreamBuffer in(scratch.data(), scratch.size());
    const CRawCompress compress(&in, &out, nBits);
    return out.GetSize();
}

void BM_Compress(benchmark::State& state) {
    const Bytes& wave = WaveOf(state.range(0));
    if (wave.empty()) return state.SkipWithError("not installed");
    size_t nCompressed = 0;
    for (auto _ : state) {
        StreamBuffer out;
        nCompressed = Compress(wave, kMaterials[state.range(0)].nBits, out);
    }
    if (nCompressed == 0) return state.SkipWithError("no stream");
    Report(state, nCompressed);
}

void BM_Expand(benchmark::State& state, unsigned nThreads) {
    const Bytes& wave = WaveOf(state.range(0));
    if (wave.empty()) return state.SkipWithError("not installed");
    const unsigned nBits = kMaterials[state.range(0)].nBits;
    StreamBuffer stream;
    Compress(wave, nBits, stream);
    for (auto _ : state) {
        StreamBuffer out;
        const CRawExpand expand(&stream, &out, nBits, wave.size(), nThreads);
        if (out.GetSize() != wave.size()) return state.SkipWithError("refused");
    }
    Report(state, stream.GetSize());
}

Bytes CompressWithLibrary(Bytes& filtered) {
    Bytes out(filtered.size() + filtered.size() / 100 + 600);
    auto nOut = static_cast<unsigned>(out.size());
    const int nResult = BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(out.data()), &nOut,
                                                 reinterpret_cast<char*>(filtered.data()),
                                                 static_cast<unsigned>(filtered.size()), 9, 0, 0);
    out.resize(nResult == BZ_OK ? nOut : 0);
    return out;
}

void BM_CompressLibbz2(benchmark::State& state) {
    Bytes filtered = FilteredWaveOf(state.range(0));
    if (filtered.empty()) return state.SkipWithError("not installed");
    size_t nCompressed = 0;
    for (auto _ : state) nCompressed = CompressWithLibrary(filtered).size();
    Report(state, nCompressed);
}

void BM_ExpandLibbz2(benchmark::State& state) {
    Bytes filtered = FilteredWaveOf(state.range(0));
    if (filtered.empty()) return state.SkipWithError("not installed");
    Bytes stream = CompressWithLibrary(filtered);
    for (auto _ : state) {
        auto nOut = static_cast<unsigned>(filtered.size());
        const int nResult = BZ2_bzBuffToBuffDecompress(reinterpret_cast<char*>(filtered.data()), &nOut,
                                                       reinterpret_cast<char*>(stream.data()),
                                                       static_cast<unsigned>(stream.size()), 0, 0);
        if (nResult != BZ_OK) return state.SkipWithError("refused");
    }
    Report(state, stream.size());
}

void ForEachMaterial(benchmark::internal::Benchmark* pBenchmark) {
    pBenchmark->ArgName("material")->DenseRange(0, kFirstBlock - 1)->Unit(benchmark::kMillisecond);
}

void ForEachBlock(benchmark::internal::Benchmark* pBenchmark) {
    pBenchmark->ArgName("material")
        ->DenseRange(kFirstBlock, kMaterialCount - 1)
        ->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(BM_Expand, one, 1)->Name("BM_Expand")->Apply(ForEachMaterial);
BENCHMARK_CAPTURE(BM_Expand, two, 2)->Name("BM_ExpandOnTwoThreads")->Apply(ForEachMaterial)->UseRealTime();
BENCHMARK(BM_ExpandLibbz2)->Apply(ForEachMaterial);
BENCHMARK(BM_Compress)->Apply(ForEachMaterial);
BENCHMARK(BM_CompressLibbz2)->Apply(ForEachMaterial);
BENCHMARK(BM_Compress)->Name("BM_CompressBlock")->Apply(ForEachBlock);
BENCHMARK(BM_CompressLibbz2)->Name("BM_CompressBlockLibbz2")->Apply(ForEachBlock);

}  // namespace
}  // namespace Kestrova
