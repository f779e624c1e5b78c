#include "tools/kvbank/BuildCommand.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "shared/System/kvCancelSignal.h"
#include "shared/System/kvPath.h"
#include "tools/kvbank/terminal/RateOptions.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

// The folder itself, or the nearest existing folder above it when it is still to be made.
fs::path ExistingAncestor(fs::path path) {
    std::error_code ignored;
    path = fs::absolute(path, ignored);
    while (!fs::exists(path, ignored) && path.has_relative_path()) path = path.parent_path();
    return path;
}

// 0 when files can be made in the folder, or the folder itself can be made,
// else errno. Locking needs the right to read.
int WhyNotWritable(const std::string& strFolder) {
    const fs::path there = ExistingAncestor(strFolder);
    std::error_code ignored;
    if (!fs::is_directory(there, ignored)) return ENOTDIR;
    const int nReading = fs::exists(strFolder, ignored) ? R_OK : 0;
    return faccessat(AT_FDCWD, there.c_str(), nReading | W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

// For "--wait" without a value the parser gives "true": wait without a time limit.
constexpr const char* kNoLimit = "true";
constexpr std::chrono::seconds kForEver = std::chrono::hours(24 * 365 * 100);

std::chrono::seconds ParseWait(const std::string& strWait) {
    if (strWait == kNoLimit) return kForEver;
    uint32_t nSeconds = 0;
    const char* const pEnd = strWait.data() + strWait.size();
    const auto [pStop, error] = std::from_chars(strWait.data(), pEnd, nSeconds);
    if (error != std::errc() || pStop != pEnd)
        throw CLI::ValidationError("'" + strWait + "': give a number of seconds, or none");
    return std::min<std::chrono::seconds>(std::chrono::seconds(nSeconds), kForEver);
}

ExitCode Graver(ExitCode a, ExitCode b) { return std::max(a, b); }

}  // namespace

void BuildCommand::Describe(CLI::App& verb) {
    verb.add_option("SOURCE", m_options.strSource, "the source bank")->required();
    verb.add_option("-d,--dir", m_options.strFolder, "the folder for the banks; made when it is missing")
        ->type_name("DIR")
        ->required();
    AddRateOption(verb, m_options.arRates);
    AddLayoutOption(verb, m_options.layout);
    verb.add_option("--quality", m_options.nQuality,
                    "quality of the conversion: 0 is linear, 2 is cubic, 7 (default) is the best")
        ->check(CLI::Range(0, kHighestQuality))
        ->type_name("0..7");
    verb.add_flag("-f,--force", m_options.bForce, "build also banks that are there already, stale ones too");
    verb.add_flag(
        "--sums", m_options.bSums,
        "also write the SHA-256 sum of each bank it builds to NAME.sha256 beside it, for verify and "
        "sha256sum -c");
    verb.add_flag("-n,--dry-run", m_options.bDryRun, "only say what would be done");
    verb.add_flag("--ignore-space", m_options.bIgnoreSpace, "build even if the free space seems too small");
    verb.add_flag("--wait", m_strWait,
                  "wait while another process builds these banks; --wait=SECONDS: at most that long")
        ->each([this](const std::string& strWait) { m_options.wait = ParseWait(strWait); });
}

int BuildCommand::Run(Console& console) {
    m_options.bEngineNumbers = console.bVerbose || console.bJson;
    BuildReporter reporter(console, m_options);
    if (const ExitCode code = m_run.OpenSource(console, m_options.strSource); code != kExitDone)
        return reporter.Finish(code);
    BankOrigin origin(m_run.Engine(), m_options.strSource);
    BuildRun run(m_run, origin, m_options, reporter);
    ExitCode code = Build(run, reporter);
    if (reporter.TellLeft(run.End())) code = Graver(code, kExitProblem);
    return reporter.Finish(code);
}

ExitCode BuildCommand::Build(BuildRun& run, BuildReporter& reporter) {
    BuildRun::Survey survey = run.Look();
    if (survey.fault.code != kExitDone) {
        reporter.Tell(survey.fault);
        return survey.fault.code;
    }
    reporter.TellRemoved(survey.nRemoved, survey.left);
    const ExitCode space = CheckSpace(survey.plans, reporter);
    reporter.BeginBanks();
    if (space != kExitDone) return space;
    BuildFault fault;
    if (std::any_of(survey.plans.begin(), survey.plans.end(),
                    [this](const BuildPlan& plan) { return MayBuild(plan); })) {
        fault = PrepareFolder();
        if (fault.code == kExitDone && !m_options.bDryRun) fault = run.Reserve(survey.plans);
    }
    if (fault.code == kExitDone) return BuildAll(run, survey.plans, reporter);
    reporter.Tell(fault);
    return fault.code;
}

// A bank that another process is building may still have to be built here after the wait.
bool BuildCommand::MayBuild(const BuildPlan& plan) const {
    const BuildAction action = plan.finding.action;
    return action == BuildAction::Build || (action == BuildAction::Busy && m_options.wait);
}

ExitCode BuildCommand::CheckSpace(const std::vector<BuildPlan>& plans, BuildReporter& reporter) const {
    uint64_t nNeeded = 0, nFree = 0;
    for (const BuildPlan& plan : plans)
        if (MayBuild(plan)) nNeeded += PredictedBytes(plan);
    if (!GetFreeSpace(ExistingAncestor(m_options.strFolder).c_str(), nFree)) {
        reporter.Tell(BuildFault{kExitOutput, m_options.strFolder, std::strerror(errno)});
        return kExitOutput;
    }
    reporter.TellSpace(nNeeded, nFree);
    return nNeeded <= nFree || m_options.bIgnoreSpace ? kExitDone : kExitNoSpace;
}

// Makes the folder, or in a dry run only finds out whether it could be made and written to.
BuildFault BuildCommand::PrepareFolder() const {
    int nError = WhyNotWritable(m_options.strFolder);
    std::error_code error;
    if (nError == 0 && !m_options.bDryRun) fs::create_directories(m_options.strFolder, error);
    if (error) nError = error.value();
    if (nError == 0) return {};
    return {kExitOutput, m_options.strFolder, std::strerror(nError)};
}

// Stops at the first failure. A bank that is busy, stale or in the way does not stop it.
ExitCode BuildCommand::BuildAll(BuildRun& run, const std::vector<BuildPlan>& plans,
                                BuildReporter& reporter) const {
    ExitCode worst = kExitDone;
    for (const BuildPlan& plan : plans) {
        const BuildOutcome outcome = run.BuildOne(plan);
        reporter.Tell(plan, outcome);
        worst = Graver(worst, outcome.code);
        if (outcome.bStops || CancelSignal() != 0) break;
    }
    return worst;
}

}  // namespace Kestrova
