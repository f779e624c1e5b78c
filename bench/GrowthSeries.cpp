// growth_series - how the time of each job grows with its size; bench/growth draws the plots.
//   growth_series [--quick] notes|samples|waves|threads
// Prints "CURVE<tab>SIZE<tab>SECONDS" for each point: the median of three measures, or the one measure of a
// point that takes more than a second. Seconds are of processor time, but for "by the clock".
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "bench/BenchCodec.h"
#include "bench/BenchConversion.h"
#include "bench/BenchEngine.h"
#include "bench/BenchNotes.h"
#include "bench/BenchSource.h"
#include "bench/BenchWaves.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Bench;

using Work = std::function<bool()>;

double Seconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Measures one call of `work` after `prepare`, which is not measured. A short one is called again and again.
double MeasureOnce(clockid_t clock, const Work& prepare, const Work& work, bool& bDone) {
    constexpr double kLongEnough = 0.02;
    double took = 0;
    int nCalls = 0;
    for (; bDone && took < kLongEnough && nCalls < 1000; ++nCalls) {
        bDone = prepare();
        const double began = Seconds(clock);
        bDone = bDone && work();
        took += Seconds(clock) - began;
    }
    return took / std::max(nCalls, 1);
}

bool Point(const char* pszCurve, size_t nSize, clockid_t clock, const Work& prepare, const Work& work) {
    bool bDone = true;
    std::vector<double> took;
    do {
        took.push_back(MeasureOnce(clock, prepare, work, bDone));
    } while (bDone && took.size() < 3 && took.back() < 1);
    std::sort(took.begin(), took.end());
    if (bDone) std::printf("%s\t%zu\t%.9g\n", pszCurve, nSize, took[took.size() / 2]);
    std::fflush(stdout);
    return bDone;
}

bool Point(const char* pszCurve, size_t nSize, const Work& prepare, const Work& work) {
    return Point(pszCurve, nSize, CLOCK_PROCESS_CPUTIME_ID, prepare, work);
}

bool Nothing() { return true; }

// nFrom and then factors of ten, with three between them, up to nTo.
std::vector<size_t> Sizes(size_t nFrom, size_t nTo) {
    std::vector<size_t> sizes;
    for (size_t n = nFrom; n <= nTo; n *= 10)
        for (const size_t nFactor : {size_t{1}, size_t{3}})
            if (n * nFactor <= nTo) sizes.push_back(n * nFactor);
    return sizes;
}

// --- Notes of a container ---

bool Notes(size_t nSize, const BenchFolder& folder) {
    const auto nNotes = static_cast<uint32_t>(nSize);
    const std::string strScan = folder.File("scan"), strQuick = folder.File("quick"),
                      strNew = folder.File("new");
    CSDB database;
    const auto open = [&](const std::string& strPath) {
        return database.Open(strPath.c_str(), kSdbFormatPlain, false);
    };
    const auto create = [&] { return database.Create(strNew.c_str(), kSdbFormatPlain); };
    const auto close = [&] { return !database.IsOpen() || database.Close(false); };
    return MakeContainer(strScan, nNotes, false) && MakeContainer(strQuick, nNotes, true) &&
           Point("add", nSize, create, [&] { return AddNotes(database, nNotes); }) &&
           Point(
               "commit", nSize, [&] { return create() && AddNotes(database, nNotes); },
               [&] { return database.Close(true); }) &&
           Point("open by scan", nSize, close, [&] { return open(strScan); }) &&
           Point("open by quick-load", nSize, close, [&] { return open(strQuick); }) &&
           Point(
               "look up each", nSize, [&] { return close() && open(strScan); },
               [&] {
                   return FindEach(nNotes, [&](uint32_t id) { return database.GetNoteByID(id) != nullptr; });
               });
}

// --- Banks ---

// A source in a folder of its own, and an engine for it.
class Site {
public:
    explicit Site(const SourceShape& shape) : m_bReady(Prepare(shape)) {}

    bool IsReady() const { return m_bReady; }
    CDBEUCreate& EngineOf() { return *m_engine; }
    bool Analyse() { return m_engine.Analyse(m_folder.File("Source.kvs")); }
    bool RemoveBank() {
        (*m_engine).RemoveDB(kRate, 3);
        return true;
    }
    bool Build() { return m_engine.Build(kRate, 0); }

private:
    static constexpr unsigned kRate = 48000;

    bool Prepare(const SourceShape& shape) {
        return WriteSource(m_folder.File("Source.kvs"), shape) &&
               (*m_engine).SetDstDir(m_folder.Path().c_str()) == kBankDone && Analyse();
    }

    BenchFolder m_folder;
    Engine m_engine;
    bool m_bReady;
};

bool Samples(size_t nSize) {
    constexpr uint32_t kWaveBytes = 20000;
    Site site({static_cast<uint32_t>(nSize), kWaveBytes});
    return site.IsReady() && Point("analyse", nSize, Nothing, [&] { return site.Analyse(); }) &&
           Point(
               "build", nSize, [&] { return site.RemoveBank(); }, [&] { return site.Build(); });
}

bool Threads(Site& site, size_t nSize) {
    // The worker that writes the bank is one of them.
    site.EngineOf().SetHelperThreads(static_cast<unsigned>(nSize) - 1);
    const Work remove = [&] { return site.RemoveBank(); };
    const Work build = [&] { return site.Build(); };
    return site.IsReady() && Point("by the clock", nSize, CLOCK_MONOTONIC, remove, build) &&
           Point("processor time", nSize, remove, build);
}

// --- One wave ---

bool Waves(size_t nSize) {
    const Bytes wave = MakeLongNote(nSize);
    StreamBuffer stream;
    if (!CompressWave(wave, 16, stream)) return false;
    const bool bCoded = Point("compress", nSize, Nothing,
                              [&] {
                                  StreamBuffer out;
                                  return CompressWave(wave, 16, out);
                              }) &&
                        Point("expand", nSize, Nothing, [&] {
                            StreamBuffer out;
                            return ExpandWave(stream, 16, nSize, out);
                        });
    BenchConversion conversion(wave, 16, 2, 44100.0 / 48000);
    return bCoded && Point("convert 44100 to 48000", nSize, Nothing, [&] { return conversion.Run() > 0; });
}

// Calls `at` for every size.
bool ForEach(const std::vector<size_t>& sizes, const std::function<bool(size_t)>& at) {
    return std::all_of(sizes.begin(), sizes.end(), at);
}

bool Run(const std::string& strSeries, bool bQuick) {
    if (strSeries == "notes") {
        const BenchFolder folder;
        return ForEach(Sizes(10, bQuick ? 1000 : 1000000), [&](size_t n) { return Notes(n, folder); });
    }
    if (strSeries == "samples")
        return ForEach(bQuick ? Sizes(1, 10) : std::vector<size_t>{1, 3, 10, 30, 100, 300, 1000, 2000},
                       Samples);
    if (strSeries == "waves") return ForEach(Sizes(1000, bQuick ? 100000 : 1000000000), Waves);
    if (strSeries == "threads") {
        Site site(bQuick ? SourceShape{4, 20000} : SourceShape{});
        return ForEach({1, 2, 3, 4, 6, 8, 12, 16}, [&](size_t n) { return Threads(site, n); });
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    const bool bQuick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    if (argc != (bQuick ? 3 : 2)) {
        std::fputs("usage: growth_series [--quick] notes|samples|waves|threads\n", stderr);
        return 2;
    }
    if (Run(argv[argc - 1], bQuick)) return 0;
    std::fprintf(stderr, "growth_series: %s failed\n", argv[argc - 1]);
    return 1;
}
