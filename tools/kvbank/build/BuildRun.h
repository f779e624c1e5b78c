// BuildRun.h - carries out the plans of a build, bank by bank.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/kvbank/build/BuildPlan.h"
#include "tools/kvbank/engine/EngineRun.h"
#include "tools/kvbank/folder/PrivateFolder.h"

namespace Kestrova {

// Each bank is looked for again in a turn at the folder, in which it is marked as being built, and once more
// in the turn in which it takes its place: what others have done meanwhile stays. No turn lasts while a bank
// is filled.
class BuildRun {
public:
    // All three must outlive the run.
    BuildRun(Console& console, EngineRun& run, const BuildOptions& options)
        : m_console(console), m_run(run), m_options(options) {}

    // Tells each bank on the console and in `rows`; the gravest exit code. The first failure is the end, a
    // bank that is busy or in the way is not. REQUIRES: unless it is a dry run, the folder is there.
    ExitCode Run(const std::vector<BuildPlan>& plans, Json& rows);

private:
    using Clock = std::chrono::steady_clock;

    ExitCode BuildOne(const BuildPlan& plan, Json& row);
    std::optional<ExitCode> Begin(const BuildPlan& plan, Json& row);
    bool MakeFolder(const FolderLock& turn, int& nError);
    BankResult Start(const BuildPlan& plan, const FolderLock& turn);
    BankResult Await(const BuildPlan& plan);
    ExitCode Publish(const BuildPlan& plan, Json& row);
    void RemoveOtherLayout(const BuildPlan& plan, const FolderLock& turn);

    ExitCode Tell(const BuildPlan& plan, const BuildFinding& finding, Json& row);
    void TellExisting(const BuildPlan& plan, const BankFile& bank, Json& row);
    void TellBuilt(const BuildPlan& plan, Json& row);
    ExitCode StopWithoutTurn(const FolderLock& turn, Json& row);
    ExitCode StopWith(BankResult result, const BuildPlan& plan, Json& row);
    ExitCode Stop(const std::filesystem::path& path, const std::string& strCause);

    std::filesystem::path Place(const std::string& strName) const;
    BuildFinding Look(const BuildPlan& plan) const;

    Console& m_console;
    EngineRun& m_run;
    const BuildOptions& m_options;
    std::unique_ptr<PrivateFolder> m_pFolder;  // made with the first bank that is built
    Clock::time_point m_start;                 // of the bank being built
    bool m_bStopped = false;
};

}  // namespace Kestrova
