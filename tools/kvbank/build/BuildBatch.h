// BuildBatch.h - builds the banks of many sources, some of them at once. It says nothing: a reporter does.
#pragma once

#include <atomic>
#include <deque>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "shared/System/kvMutex.h"
#include "tools/kvbank/build/SourceBuild.h"

namespace Kestrova {

// What became of one source of a batch.
// NOLINTNEXTLINE(bugprone-exception-escape): the move of Json takes no memory, which the lint cannot see
struct SourceOutcome {
    enum class State {
        NotBegun,  // a signal came before
        Done,
        Failed,  // with the exit code
        Stopped  // by a signal, before its last bank
    };
    std::string strSource;
    State state = State::NotBegun;
    ExitCode code = kExitDone;
    BuildTally tally;
    double seconds = 0;
    std::string strLines, strErrors;  // what was printed for it, to standard output and standard error
    Json facts;                       // its part of the JSON document
};

// Receives how a batch goes on, on the thread that runs it.
class BatchWatcher {
public:
    virtual ~BatchWatcher() = default;
    // At most ten times a second. fraction: of the bytes of all sources that have something to build.
    virtual void OnProgress(size_t nEnded, double fraction, uint64_t nBytes) = 0;
    // When a source has ended, in the order in which they end.
    virtual void OnEnd(const SourceOutcome& outcome) = 0;
};

// Each source is built as if it were the only one, by an engine of its own. Those that are built at once
// share the processors: together they have as many helper threads as one alone, but each has one at least. So
// the memory grows with the number of sources at once, by the few samples that one has in hand, and not with
// the number of sources.
// Threads: one for each source at once, while Run runs.
class BuildBatch {
public:
    // The options are those of every source, each of which takes the place of strSource. The console gives
    // wishes and log; it must outlive the batch.
    BuildBatch(const Console& console, const BuildOptions& options, const std::vector<std::string>& sources);
    // Waits for the sources that are being built, when Run ended by an exception.
    ~BuildBatch();
    BuildBatch(const BuildBatch&) = delete;
    BuildBatch& operator=(const BuildBatch&) = delete;

    // Two sources whose banks would have the same names, letter case ignored. A source that cannot be opened
    // clashes with none.
    struct Clash {
        std::string strFirst, strSecond;
        std::string strBaseName;  // of the banks, as the first has it
    };
    std::vector<Clash> FindClashes() const;

    // Builds nAtOnce sources at a time, in their order. After a signal no other is begun. Returns the highest
    // exit code of all; at least kExitProblem when a source was not begun.
    // Throws std::bad_alloc; lack of memory within a source is an outcome of that source.
    ExitCode Run(unsigned nAtOnce, BatchWatcher& watcher);
    // In the order given.
    const std::deque<SourceOutcome>& Outcomes() const { return m_outcomes; }

private:
    // How far a source is. Written by its thread.
    struct Meter {
        std::atomic<double> fraction{0};  // of its banks' bytes
        std::atomic<uint64_t> nBytes{0};
        uint64_t nWeight = 0;  // the bytes of its file; 0 when there was nothing to build
    };
    class JobReporter;

    void Work(unsigned nHelpers);
    void BuildSource(size_t nSource, unsigned nHelpers);
    void StartThreads(unsigned nAtOnce);
    void Watch(BatchWatcher& watcher);
    void TellProgress(size_t nEnded, BatchWatcher& watcher) const;

    const Console& m_console;
    BuildOptions m_options;
    std::deque<SourceOutcome> m_outcomes;  // a thread writes its own, until it is in m_ended
    std::deque<Meter> m_meters;

    Mutex m_lock;
    Condition m_changed;
    size_t m_nNext KV_GUARDED_BY(m_lock) = 0;
    unsigned m_nWorking KV_GUARDED_BY(m_lock) = 0;
    std::vector<size_t> m_ended KV_GUARDED_BY(m_lock);  // and not yet told

    std::vector<std::jthread> m_threads;  // last: they use all the others
};

}  // namespace Kestrova
