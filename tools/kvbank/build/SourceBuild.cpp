#include "tools/kvbank/build/SourceBuild.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "shared/System/kvCancelSignal.h"
#include "shared/System/kvPath.h"
#include "tools/kvbank/build/BuildSpace.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

// 0 when files can be made in the folder, or the folder itself can be made,
// else errno. Locking needs the right to read.
int WhyNotWritable(const std::string& strFolder) {
    const fs::path there = ExistingAncestor(strFolder);
    std::error_code ignored;
    std::error_code unknown;
    if (!fs::is_directory(there, unknown)) return unknown ? unknown.value() : ENOTDIR;
    const int nReading = fs::exists(strFolder, ignored) ? R_OK : 0;
    return faccessat(AT_FDCWD, there.c_str(), nReading | W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

ExitCode Graver(ExitCode a, ExitCode b) { return std::max(a, b); }

}  // namespace

BuildTally& BuildTally::operator+=(const BuildTally& other) {
    nBuilt += other.nBuilt;
    nSkipped += other.nSkipped;
    nWouldBuild += other.nWouldBuild;
    nFailed += other.nFailed;
    nNotBegun += other.nNotBegun;
    nBytes += other.nBytes;
    return *this;
}

SourceBuild::SourceBuild(Console& console, const BuildOptions& options, BuildReporter& reporter,
                         unsigned nHelpers)
    : m_console(console),
      m_options(options),
      m_reporter(reporter),
      m_pConverter(MakeConverter(options.conversion)) {
    m_run.Engine().SetHelperThreads(nHelpers);
    m_run.Engine().SetWaveConverter(m_pConverter.get());
}

ExitCode SourceBuild::Run() {
    if (const ExitCode code = m_run.OpenSource(m_console, m_options.strSource); code != kExitDone)
        return code;
    BankOrigin origin(m_run.Engine(), m_options.strSource);
    BuildRun run(m_run, origin, m_options, m_reporter);
    const ExitCode code = Build(run);
    return m_reporter.TellLeft(run.End()) ? Graver(code, kExitProblem) : code;
}

ExitCode SourceBuild::Build(BuildRun& run) {
    BuildRun::Survey survey = run.Look();
    if (survey.fault.code != kExitDone) {
        m_reporter.Tell(survey.fault);
        return survey.fault.code;
    }
    m_reporter.TellRemoved(survey.nRemoved, survey.left);
    const ExitCode space = CheckSpace(survey.plans);
    m_reporter.BeginBanks();
    if (space != kExitDone) return space;
    BuildFault fault;
    if (std::any_of(survey.plans.begin(), survey.plans.end(),
                    [this](const BuildPlan& plan) { return MayBuild(plan); })) {
        fault = PrepareFolder();
        if (fault.code == kExitDone && !m_options.bDryRun) fault = run.Reserve(survey.plans);
    }
    if (fault.code == kExitDone) return BuildAll(run, survey.plans);
    m_reporter.Tell(fault);
    return fault.code;
}

// A bank that another process is building may still have to be built here after the wait.
bool SourceBuild::MayBuild(const BuildPlan& plan) const {
    const BuildAction action = plan.finding.action;
    return action == BuildAction::Build || (action == BuildAction::Busy && m_options.wait);
}

ExitCode SourceBuild::CheckSpace(const std::vector<BuildPlan>& plans) {
    uint64_t nNeeded = 0, nFree = 0;
    for (const BuildPlan& plan : plans)
        if (MayBuild(plan)) nNeeded += PredictedBytes(plan);
    if (!GetFreeSpace(ExistingAncestor(m_options.strFolder).c_str(), nFree)) {
        m_reporter.Tell(BuildFault{kExitOutput, m_options.strFolder, std::strerror(errno)});
        return kExitOutput;
    }
    m_reporter.TellSpace(nNeeded, nFree);
    return nNeeded <= nFree || m_options.bIgnoreSpace ? kExitDone : kExitNoSpace;
}

// Makes the folder, or in a dry run only finds out whether it could be made and written to.
BuildFault SourceBuild::PrepareFolder() const {
    int nError = WhyNotWritable(m_options.strFolder);
    std::error_code error;
    if (nError == 0 && !m_options.bDryRun) fs::create_directories(m_options.strFolder, error);
    if (error) nError = error.value();
    if (nError == 0) return {};
    return {kExitOutput, m_options.strFolder, std::strerror(nError)};
}

void SourceBuild::Count(const BuildOutcome& outcome) {
    const bool bPasses = outcome.finding.action == BuildAction::SkipExisting ||
                         outcome.finding.action == BuildAction::SkipSource;
    if (outcome.end == BuildOutcome::End::Built) {
        ++m_tally.nBuilt;
        m_tally.nBytes += outcome.nBytes;
    } else if (outcome.code != kExitDone) {
        ++m_tally.nFailed;
    } else {
        ++(bPasses ? m_tally.nSkipped : m_tally.nWouldBuild);
    }
}

// Stops at the first failure. A bank that is busy, stale or in the way does not stop it.
ExitCode SourceBuild::BuildAll(BuildRun& run, const std::vector<BuildPlan>& plans) {
    ExitCode worst = kExitDone;
    m_tally.nNotBegun = static_cast<unsigned>(plans.size());
    for (const BuildPlan& plan : plans) {
        const BuildOutcome outcome = run.BuildOne(plan);
        m_reporter.Tell(plan, outcome);
        Count(outcome);
        --m_tally.nNotBegun;
        worst = Graver(worst, outcome.code);
        if (outcome.bStops || CancelSignal() != 0) break;
    }
    return worst;
}

}  // namespace Kestrova
