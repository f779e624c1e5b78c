#include "tools/kvbank/BuildCommand.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "tools/kvbank/build/BuildRun.h"
#include "tools/kvbank/terminal/RateOptions.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

// The folder, or for one that is still to be made, the nearest above it that is there.
fs::path ExistingAncestor(fs::path path) {
    std::error_code ignored;
    path = fs::absolute(path, ignored);
    while (!fs::exists(path, ignored) && path.has_relative_path()) path = path.parent_path();
    return path;
}

// errno, 0 when files can be made in the folder, or the folder in what is above it. Reading is for the lock.
int WhyNotWritable(const std::string& strFolder) {
    const fs::path there = ExistingAncestor(strFolder);
    std::error_code ignored;
    if (!fs::is_directory(there, ignored)) return ENOTDIR;
    const int nReading = fs::exists(strFolder, ignored) ? R_OK : 0;
    return faccessat(AT_FDCWD, there.c_str(), nReading | W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

bool Builds(const std::vector<BuildPlan>& plans) {
    return std::any_of(plans.begin(), plans.end(),
                       [](const BuildPlan& plan) { return plan.finding.action == BuildAction::Build; });
}

}  // namespace

void BuildCommand::Describe(CLI::App& verb) {
    verb.add_option("SOURCE", m_options.strSource, "the source bank")->required();
    verb.add_option("-d,--dir", m_options.strFolder, "the folder the banks go to; made when it is not there")
        ->type_name("DIR")
        ->required();
    AddRateOption(verb, m_options.arRates);
    AddLayoutOption(verb, m_options.layout);
    verb.add_option("--quality", m_options.nQuality,
                    "of the conversion: 0 linear, 2 cubic, up to 7 (default), the best")
        ->check(CLI::Range(0, kHighestQuality))
        ->type_name("0..7");
    verb.add_flag("-f,--force", m_options.bForce, "build anew banks that are there");
    verb.add_flag("-n,--dry-run", m_options.bDryRun, "only say what would be done");
}

int BuildCommand::Run(Console& console) {
    Json report = {{"source", m_options.strSource},
                   {"folder", m_options.strFolder},
                   {"layout", LayoutName(m_options.layout)},
                   {"dry_run", m_options.bDryRun}};
    std::vector<BuildPlan> plans;
    ExitCode code = m_run.OpenSource(console, m_options.strSource);
    if (code == kExitDone) code = Plan(console, plans);
    if (code != kExitDone) return console.Finish("build", code, report);
    code = CheckSpace(console, plans, report);
    report["banks"] = Json::array();
    if (code == kExitDone && Builds(plans)) code = PrepareFolder(console);
    if (code == kExitDone) code = BuildRun(console, m_run, m_options).Run(plans, report["banks"]);
    return console.Finish("build", code, report);
}

// Looks at the folder, if it is there. Interrupted builds in it are removed.
ExitCode BuildCommand::Plan(Console& console, std::vector<BuildPlan>& plans) {
    std::error_code ignored;
    if (m_options.bDryRun || !fs::exists(m_options.strFolder, ignored)) {
        plans = MakePlans(m_options, m_run.Engine());
        return kExitDone;
    }
    FolderLock turn(m_options.strFolder, m_options.turnWait);
    if (!turn.IsHeld()) return SayNoTurn(console, turn, m_options);
    const unsigned nRemoved = RemoveLeftovers(turn);
    plans = MakePlans(m_options, m_run.Engine());
    turn.Release();
    if (nRemoved > 0) console.Say("removed what " + Counted(nRemoved, "interrupted build") + " had left");
    return kExitDone;
}

unsigned BuildCommand::RemoveLeftovers(const FolderLock& turn) {
    unsigned nRemoved = 0;
    m_run.Engine().SetDstDir(m_options.strFolder.c_str());
    m_run.Engine().RemoveInterrupted(nRemoved);
    return nRemoved + PrivateFolder::RemoveAbandoned(m_options.strFolder, turn);
}

ExitCode BuildCommand::CheckSpace(Console& console, const std::vector<BuildPlan>& plans, Json& report) const {
    uint64_t nNeeded = 0;
    for (const BuildPlan& plan : plans)
        if (plan.finding.action == BuildAction::Build) nNeeded += PredictedBytes(plan);
    std::error_code error;
    const fs::space_info space = fs::space(ExistingAncestor(m_options.strFolder), error);
    if (error) {
        console.Error(m_options.strFolder + ": " + error.message());
        return kExitOutput;
    }
    report["bytes_needed"] = nNeeded;
    report["bytes_free"] = static_cast<uint64_t>(space.available);
    if (nNeeded <= space.available) return kExitDone;
    console.Error(m_options.strFolder + ": " + ReadableSize(nNeeded) + " are needed, " +
                  ReadableSize(space.available) + " are free");
    return kExitNoSpace;
}

// Makes the folder, or in a dry run only finds out whether it could be made and written to.
ExitCode BuildCommand::PrepareFolder(Console& console) const {
    int nError = WhyNotWritable(m_options.strFolder);
    std::error_code error;
    if (nError == 0 && !m_options.bDryRun) fs::create_directories(m_options.strFolder, error);
    if (error) nError = error.value();
    if (nError == 0) return kExitDone;
    console.Error(m_options.strFolder + ": " + std::strerror(nError));
    return kExitOutput;
}

}  // namespace Kestrova
