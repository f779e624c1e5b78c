// kv_trust_builds N FOLDER - analyses two sources and builds their banks in turn, N builds in one process,
// half of them by one engine; then N more, in which the resampler keeps its tables. Prints what the process
// holds after the tenth and after the last build, "open files, threads, heap in use (bytes), resident memory
// (kB)", and fails when a build does, or when there is more after the last than after the tenth.
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "bank/resample/WingTables.h"
#include "tests/bank/EngineDriver.h"
#include "tests/support/SourceMaker.h"

namespace {

using namespace Kestrova;
using Test::EngineDriver;
namespace fs = std::filesystem;

constexpr unsigned kRates[] = {44100, 48000, 88200, 96000, 176400, 192000};
constexpr unsigned kWarm = 10;                   // builds after which nothing may grow
constexpr size_t kHeapRoom = size_t{16} * 1024;  // less than 17 bytes a build, of a thousand
// What the tables of the process may take; they come one by one, as conversions ask for them.
constexpr size_t kTableRoom = WingTables::kKept * (size_t{4} << 20);

struct Held {
    size_t nFiles = 0, nThreads = 0, nHeap = 0, nResident = 0;
};

size_t CountIn(const char* pszFolder) {
    return static_cast<size_t>(std::distance(fs::directory_iterator(pszFolder), fs::directory_iterator()));
}

size_t ResidentKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string strWord; status >> strWord;) {
        size_t nKilobytes = 0;
        if (strWord == "VmRSS:" && status >> nKilobytes) return nKilobytes;
    }
    return 0;
}

Held Measure(unsigned nBuilds) {
    const struct mallinfo2 heap = mallinfo2();
    const Held held{CountIn("/proc/self/fd"), CountIn("/proc/self/task"), heap.uordblks + heap.hblkhd,
                    ResidentKilobytes()};
    std::printf("%u\t%zu\t%zu\t%zu\t%zu\n", nBuilds, held.nFiles, held.nThreads, held.nHeap, held.nResident);
    return held;
}

// 0, or why it failed.
const char* Build(EngineDriver& driver, unsigned n, const std::string& strSource,
                  const std::string& strFolder) {
    if (driver.Analyse(strSource) != kBankDone) return "a source is not analysed";
    if (driver.Engine().SetDstDir(strFolder.c_str()) != kBankDone) return "the folder is refused";
    const int nPerKey = n / 12 % 2 == 0 ? 0 : 1;
    if (driver.Build(kRates[n / 2 % 6], nPerKey) != kBankDone) return "a bank is not built";
    return nullptr;
}

Test::SourceSpec Spec(bool bEnriched) {
    Test::SourceSpec spec;
    spec.bEnriched = bEnriched;
    spec.samples.resize(4);
    for (auto& sample : spec.samples) sample.nFrames = 3000;
    spec.programs = {{true, {{58, 60, {0, 1}}, {61, 62, {2, 3}}}}};
    return spec;
}

// Whether every build was done and the last left no more than the tenth, but for the room on the heap.
bool Run(unsigned nBuilds, const std::string& strFolder, size_t nRoom) {
    const std::string strSources[] = {strFolder + "/Alpha.kvs", strFolder + "/Beta_0AC44.kvs"};
    for (const int i : {0, 1}) Test::MakeSource(strSources[i], Spec(i == 1));
    EngineDriver lasting;
    Held warm, last;
    for (unsigned n = 1; n <= nBuilds; ++n) {
        auto pOwn = std::make_unique<EngineDriver>();
        if (const char* const pszFault =
                Build(n % 4 < 2 ? lasting : *pOwn, n, strSources[n % 2], strFolder)) {
            std::printf("build %u: %s\n", n, pszFault);
            return false;
        }
        pOwn.reset();
        if (n == kWarm) warm = Measure(n);
        if (n == nBuilds) last = Measure(n);
    }
    const bool bSame =
        last.nFiles == warm.nFiles && last.nThreads == warm.nThreads && last.nHeap <= warm.nHeap + nRoom;
    if (!bSame) std::puts("the process has grown");
    return bSame;
}

}  // namespace

int main(int nArguments, char** ppszArguments) {
    const unsigned nBuilds = nArguments == 3 ? static_cast<unsigned>(std::atoi(ppszArguments[1])) : 0;
    if (nBuilds <= kWarm) {
        std::fputs("usage: kv_trust_builds N FOLDER (N above 10)\n", stderr);
        return 2;
    }
    const std::string strFolder = ppszArguments[2];
    ForceWingTableUse(WingTableUse::Never);
    const bool bBare = Run(nBuilds, strFolder, kHeapRoom);
    ForceWingTableUse(WingTableUse::ByFrames);
    return Run(nBuilds, strFolder, kHeapRoom + kTableRoom) && bBare ? 0 : 1;
}
