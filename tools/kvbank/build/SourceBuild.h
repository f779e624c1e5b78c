// SourceBuild.h - builds the banks of one source, from its opening to the end.
#pragma once

#include <memory>
#include <vector>

#include "tools/kvbank/build/BuildReporter.h"
#include "tools/kvbank/build/BuildRun.h"

namespace Kestrova {

// What became of the banks of a source, counted.
struct BuildTally {
    unsigned nBuilt = 0, nSkipped = 0, nWouldBuild = 0, nFailed = 0;
    unsigned nNotBegun = 0;  // after a failure or a signal
    uint64_t nBytes = 0;     // of the banks built

    BuildTally& operator+=(const BuildTally& other);
};

// Threads: one; several objects may run at once, each on a thread of its own.
class SourceBuild {
public:
    // All must outlive the object; the console is the reporter's. nHelpers: threads that prepare samples.
    SourceBuild(Console& console, const BuildOptions& options, BuildReporter& reporter, unsigned nHelpers);

    // Faults are told by the reporter. Throws std::bad_alloc.
    ExitCode Run();
    // Of the banks that Run came to.
    const BuildTally& Tally() const { return m_tally; }

private:
    ExitCode Build(BuildRun& run);
    ExitCode CheckSpace(const std::vector<BuildPlan>& plans);
    BuildFault PrepareFolder() const;
    ExitCode BuildAll(BuildRun& run, const std::vector<BuildPlan>& plans);
    void Count(const BuildOutcome& outcome);
    bool MayBuild(const BuildPlan& plan) const;

    Console& m_console;
    const BuildOptions& m_options;
    BuildReporter& m_reporter;
    BuildTally m_tally;
    const std::unique_ptr<const IWaveConverter> m_pConverter;
    EngineRun m_run;
};

}  // namespace Kestrova
