// BatchReporter.h - tells the user, and the JSON document, how a build of many sources goes on.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tools/kvbank/build/BuildBatch.h"
#include "tools/kvbank/terminal/Progress.h"

namespace Kestrova {

class BatchReporter : public BatchWatcher {
public:
    // The console must outlive the reporter. nSources: in the batch.
    BatchReporter(Console& console, size_t nSources);

    void OnProgress(size_t nEnded, double fraction, uint64_t nBytes) override;
    // A line for the source, behind its errors; with -v behind all that was said of it.
    void OnEnd(const SourceOutcome& outcome) override;

    void Tell(const BuildBatch::Clash& clash, const std::string& strFolder);
    // The last line and the document. Returns the exit code.
    int Finish(ExitCode code, const std::deque<SourceOutcome>& outcomes);

private:
    Console& m_console;
    size_t m_nSources;
    Progress m_progress;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

}  // namespace Kestrova
