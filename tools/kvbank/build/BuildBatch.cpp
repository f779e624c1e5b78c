#include "tools/kvbank/build/BuildBatch.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <map>
#include <new>
#include <sstream>
#include <system_error>

#include "bank/HelperThreads.h"
#include "bank/SourceBank.h"
#include "shared/System/kvCancelSignal.h"
#include "shared/System/kvCompare.h"
#include "tools/kvbank/build/BuildSpace.h"

namespace Kestrova {
namespace {

using Clock = std::chrono::steady_clock;
using State = SourceOutcome::State;

constexpr auto kBetweenLooks = std::chrono::milliseconds(100);

struct IgnoresCase {
    bool operator()(const std::string& a, const std::string& b) const {
        return CompareString(a.c_str(), b.c_str()) < 0;
    }
};

// "" for a file that is no source; its build tells why.
std::string BaseNameOf(const std::string& strSource) {
    SourceBank source;
    if (WhyNoFile(strSource) != nullptr || !source.Open(strSource.c_str()).IsDone()) return "";
    return source.GetBaseName();
}

State StateOf(const SourceOutcome& outcome) {
    const bool bWhole = outcome.code == kExitDone && outcome.tally.nNotBegun == 0;
    if (bWhole) return State::Done;
    return CancelSignal() != 0 ? State::Stopped : State::Failed;
}

}  // namespace

// Keeps the meter of its source instead of drawing progress.
class BuildBatch::JobReporter : public BuildReporter {
public:
    JobReporter(Console& console, const BuildOptions& options, Meter& meter)
        : BuildReporter(console, options), m_meter(meter) {}

    void OnProgress(const BuildPlan& plan, uint64_t nBytes, ProgressPhase phase) override {
        if (phase == ProgressPhase::Sum) return;
        if (plan.nRate != m_nRate) {
            m_nRate = plan.nRate;
            m_nExpectedBefore += m_nExpected;
            m_nBytesBefore += m_nBytes;
        }
        m_nExpected = PredictedBytes(plan);
        m_nBytes = nBytes;
        m_meter.nBytes = m_nBytesBefore + nBytes;
        const uint64_t nDone = m_nExpectedBefore + std::min(nBytes, m_nExpected);
        if (BytesNeeded() > 0)
            m_meter.fraction = std::min(1.0, static_cast<double>(nDone) / static_cast<double>(BytesNeeded()));
    }

private:
    Meter& m_meter;
    unsigned m_nRate = 0;  // of the bank that is being filled
    uint64_t m_nExpected = 0, m_nBytes = 0;
    uint64_t m_nExpectedBefore = 0, m_nBytesBefore = 0;  // of the banks before it
};

BuildBatch::BuildBatch(const Console& console, const BuildOptions& options,
                       const std::vector<std::string>& sources)
    : m_console(console), m_options(options), m_outcomes(sources.size()), m_meters(sources.size()) {
    for (size_t i = 0; i < sources.size(); ++i) {
        m_outcomes[i].strSource = sources[i];
        m_meters[i].nWeight = FileSize(sources[i]);
    }
}

BuildBatch::~BuildBatch() {
    const MutexGuard guard(m_lock);
    m_nNext = m_outcomes.size();
}

std::vector<BuildBatch::Clash> BuildBatch::FindClashes() const {
    std::vector<Clash> clashes;
    std::map<std::string, std::string, IgnoresCase> takers;  // base names with the sources that have them
    for (const SourceOutcome& outcome : m_outcomes) {
        const std::string strBaseName = BaseNameOf(outcome.strSource);
        if (strBaseName.empty()) continue;
        const auto [pTaker, bFree] = takers.emplace(strBaseName, outcome.strSource);
        if (!bFree) clashes.push_back({pTaker->second, outcome.strSource, pTaker->first});
    }
    return clashes;
}

ExitCode BuildBatch::Run(unsigned nAtOnce, BatchWatcher& watcher) {
    StartThreads(std::min<unsigned>(nAtOnce, static_cast<unsigned>(m_outcomes.size())));
    Watch(watcher);
    m_threads.clear();
    ExitCode worst = kExitDone;
    for (const SourceOutcome& outcome : m_outcomes)
        worst = std::max(worst, outcome.state == State::NotBegun ? kExitProblem : outcome.code);
    return worst;
}

// Where the system gives fewer threads, fewer sources are built at once; without any, this thread builds.
void BuildBatch::StartThreads(unsigned nAtOnce) {
    const unsigned nHelpers = std::max(1u, HelperThreadCount() / nAtOnce);
    m_threads.reserve(nAtOnce);
    try {
        while (m_threads.size() < nAtOnce) {
            m_threads.emplace_back([this, nHelpers] { Work(nHelpers); });
        }
    } catch (const std::system_error&) {
        if (m_threads.empty()) Work(nHelpers);
    }
}

void BuildBatch::Work(unsigned nHelpers) {
    MutexGuard guard(m_lock);
    while (m_nNext < m_outcomes.size() && CancelSignal() == 0) {
        const size_t nSource = m_nNext++;
        ++m_nWorking;
        guard.Unlock();
        BuildSource(nSource, nHelpers);
        guard.Lock();
        --m_nWorking;
        m_ended.push_back(nSource);
        m_changed.NotifyAll();
    }
}

void BuildBatch::BuildSource(size_t nSource, unsigned nHelpers) {
    SourceOutcome& outcome = m_outcomes[nSource];
    Meter& meter = m_meters[nSource];
    const Clock::time_point start = Clock::now();
    BuildOptions options = m_options;
    options.strSource = outcome.strSource;
    std::ostringstream lines, errors;
    Console console = m_console.ForJob(lines, errors);
    JobReporter reporter(console, options, meter);
    try {
        SourceBuild build(console, options, reporter, nHelpers);
        outcome.code = build.Run();
        outcome.tally = build.Tally();
    } catch (const std::bad_alloc&) {
        outcome.code = kExitNoMemory;
        console.Error(outcome.strSource + ": out of memory");
    } catch (const std::exception& error) {
        outcome.code = kExitInternal;
        console.Error(outcome.strSource + ": internal error: " + error.what());
    }
    outcome.state = StateOf(outcome);
    if (outcome.state == State::Stopped) outcome.code = std::max(outcome.code, kExitProblem);
    outcome.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    outcome.strLines = lines.str();
    outcome.strErrors = errors.str();
    outcome.facts = reporter.Facts(outcome.code);
    meter.nBytes = outcome.tally.nBytes;
    meter.fraction = 1;
}

// Until no source is being built and none will be.
void BuildBatch::Watch(BatchWatcher& watcher) {
    size_t nTold = 0;
    MutexGuard guard(m_lock);
    for (;;) {
        m_changed.WaitFor(guard, kBetweenLooks, [this]() KV_REQUIRES(m_lock) { return !m_ended.empty(); });
        const std::vector<size_t> ended = std::exchange(m_ended, {});
        const bool bLast = m_nWorking == 0 && (m_nNext == m_outcomes.size() || CancelSignal() != 0);
        guard.Unlock();
        for (const size_t nSource : ended) {
            if (m_outcomes[nSource].tally.nBuilt == 0) m_meters[nSource].nWeight = 0;
            watcher.OnEnd(m_outcomes[nSource]);
        }
        nTold += ended.size();
        if (bLast) return;
        TellProgress(nTold, watcher);
        guard.Lock();
    }
}

// Each source counts as much as its file has bytes.
void BuildBatch::TellProgress(size_t nEnded, BatchWatcher& watcher) const {
    double whole = 0, done = 0;
    uint64_t nBytes = 0;
    for (const Meter& meter : m_meters) {
        const auto weight = static_cast<double>(meter.nWeight);
        whole += weight;
        done += weight * meter.fraction;
        nBytes += meter.nBytes;
    }
    watcher.OnProgress(nEnded, whole > 0 ? done / whole : 0, nBytes);
}

}  // namespace Kestrova
