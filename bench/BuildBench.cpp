// BuildBench - the whole engine: analysis of a source of 21 MB of waves and its banks; bytes are those of the
// bank. Rows with helper threads are to be compared with the row without any. The floor is the same bank
// written from memory with plain stdio, which waits for the disk as the engine does.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/BenchEngine.h"
#include "bench/BenchFolder.h"
#include "bench/BenchSource.h"

namespace Kestrova {
namespace {

using namespace Bench;

// The source, made once, in the folder in which the banks are built.
struct Site {
    BenchFolder folder;
    std::string strSource = folder.File("Source.kvs");
    bool bMade = WriteSource(strSource);
};
const Site& TheSite() {
    static const Site site;
    return site;
}

std::string BankPath(unsigned nRate, int nPerKey) {
    return MakeBankFileName(TheSite().folder.Path().c_str(), "Source", nRate,
                            nPerKey != 0 ? BankLayout::PerKey : BankLayout::Plain);
}

// Ready to build.
bool Prepare(Engine& engine) {
    return TheSite().bMade && (*engine).SetDstDir(TheSite().folder.Path().c_str()) == kBankDone &&
           engine.Analyse(TheSite().strSource);
}

void Report(benchmark::State& state, size_t nBytes) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(nBytes));
    state.SetLabel(std::to_string(nBytes) + " bytes");
}

void BM_Analyse(benchmark::State& state) {
    Engine engine;
    bool bDone = Prepare(engine);
    for (auto _ : state) bDone = bDone && engine.Analyse(TheSite().strSource);
    if (!bDone) return state.SkipWithError("failed");
    Report(state, ReadWhole(TheSite().strSource).size());
}

void BM_AnalyseFloor(benchmark::State& state) {
    size_t nBytes = 0;
    for (auto _ : state) nBytes = ReadWhole(TheSite().strSource).size();
    Report(state, nBytes);
}

// Arguments: rate, layout (1 per key), helper threads.
void BM_Build(benchmark::State& state) {
    const auto nRate = static_cast<unsigned>(state.range(0));
    const int nPerKey = static_cast<int>(state.range(1));
    Engine engine;
    bool bDone = Prepare(engine);
    (*engine).SetHelperThreads(static_cast<unsigned>(state.range(2)));
    for (auto _ : state) {
        state.PauseTiming();
        (*engine).RemoveDB(nRate, 3);
        state.ResumeTiming();
        bDone = bDone && engine.Build(nRate, nPerKey);
    }
    if (!bDone) return state.SkipWithError("failed");
    Report(state, std::filesystem::file_size(BankPath(nRate, nPerKey)));
}

void BM_BuildFloor(benchmark::State& state) {
    const auto nRate = static_cast<unsigned>(state.range(0));
    const int nPerKey = static_cast<int>(state.range(1));
    Engine engine;
    bool bDone = Prepare(engine) && engine.Build(nRate, nPerKey);
    const Bytes bank = ReadWhole(BankPath(nRate, nPerKey));
    const std::string strCopy = TheSite().folder.File("copy");
    for (auto _ : state) {
        state.PauseTiming();
        std::filesystem::remove(strCopy);
        state.ResumeTiming();
        bDone = bDone && WriteDurably(strCopy, bank);
    }
    std::filesystem::remove(strCopy);
    if (!bDone || bank.empty()) return state.SkipWithError("failed");
    Report(state, bank.size());
}

BENCHMARK(BM_Analyse)->Name("Analyse")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AnalyseFloor)->Name("Analyse/read_whole")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Build)
    ->Name("Build")
    ->ArgNames({"rate", "per_key", "helpers"})
    ->ArgsProduct({{48000, 96000}, {0, 1}, {0, 1, 2}})
    ->Iterations(1)
    ->UseRealTime()
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BuildFloor)
    ->Name("Build/floor")
    ->ArgNames({"rate", "per_key"})
    ->ArgsProduct({{48000, 96000}, {0, 1}})
    ->Iterations(1)
    ->UseRealTime()
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace Kestrova
