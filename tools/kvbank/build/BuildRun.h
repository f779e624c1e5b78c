// BuildRun.h - carries out the plans of a build, bank by bank. It says nothing: outcomes are values, which a
// reporter tells.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bank/place/PrivateFolder.h"
#include "tools/kvbank/build/BuildPlan.h"
#include "tools/kvbank/engine/EngineRun.h"
#include "tools/kvbank/terminal/Progress.h"

namespace Kestrova {

// What failed: the file or folder, why, and the exit code it makes.
struct BuildFault {
    ExitCode code = kExitDone;  // done: nothing failed
    std::string strPath;
    std::string strCause;
};

// What became of one bank.
struct BuildOutcome {
    enum class End {
        NotBegun,  // the finding tells why, or that it would be built (a dry run)
        Built,     // in its place; the fault tells what may be wrong all the same
        Busy,      // the folder stayed locked; the fault tells so
        Failed     // the fault tells why
    };
    End end = End::NotBegun;
    ExitCode code = kExitDone;
    BuildFinding finding;
    BuildFault fault;
    BankResult result = kBankDone;  // of the engine
    uint64_t nBytes = 0;            // of the bank; 0: not known, which the fault tells
    double seconds = 0;
    bool bStops = false;  // no other bank is begun afterwards
};

// Receives the progress of a build.
class BuildWatcher {
public:
    virtual ~BuildWatcher() = default;
    // At most ten times a second while a bank is filled, and often while its sum is taken: the bytes its file
    // has, or those that were summed.
    virtual void OnProgress(const BuildPlan& plan, uint64_t nBytes, ProgressPhase phase) = 0;
    // Called at most once in a run, when it begins to wait for others, with the reason.
    virtual void OnWait(const std::string& strWhy) = 0;
    // Called whenever a turn is taken without a lock, with the system's error.
    virtual void OnNoLocks(int nError) = 0;
};

// In one turn at the folder, all banks that are to be built are looked for and marked as being built. So of
// two builds that want the same banks, the first gets all of them. Each bank is looked for again when its
// building begins, and once more in the turn in which it is moved to its place: what others have made
// meanwhile stays. No turn lasts while a bank is filled.
class BuildRun {
public:
    // All four must outlive the run. run: has analysed the source.
    BuildRun(EngineRun& run, BankOrigin& origin, const BuildOptions& options, BuildWatcher& watcher)
        : m_run(run), m_origin(origin), m_options(options), m_watcher(watcher) {}

    // Removes what interrupted builds have left, unless it is a dry run, and looks at the folder for the
    // first time, if it is there.
    struct Survey {
        BuildFault fault;
        std::vector<BuildPlan> plans;
        unsigned nRemoved = 0;
        std::vector<Leftover> left;  // what could not be removed
    };
    Survey Look();

    // Marks the banks that are to be built. The plans have new findings afterwards.
    // REQUIRES: it is no dry run, and the folder is there.
    BuildFault Reserve(std::vector<BuildPlan>& plans);

    // Builds the bank, if that is what its plan says and it is no dry run. REQUIRES: unless it is a dry run,
    // the plan was reserved.
    BuildOutcome BuildOne(const BuildPlan& plan);

    // Removes the private folder. Returns what could not be removed.
    std::vector<Leftover> End();

private:
    using Clock = std::chrono::steady_clock;
    using Turn = std::unique_ptr<FolderLock>;
    // Looks at the folder in a turn. Returns the bank that another process is building, or null.
    using BusyLook = std::function<const BankFile*()>;

    Turn TakeTurn(const BusyLook& look);
    bool Wait(const std::string& strWhy);
    BuildFault WhyNoTurn(const FolderLock& turn) const;
    BuildFault WhyNoTurnCouldBeHad() const;
    BuildFault Cancelled() const;
    BuildFinding FindingOf(const BuildPlan& plan);
    Turn TurnFor(const BuildPlan& plan, BuildFinding& finding);
    BuildFault Mark(const std::vector<BuildPlan>& plans, const FolderLock& turn);

    bool Begin(const BuildPlan& plan, BuildOutcome& outcome);
    BankResult Start(const BuildPlan& plan, const FolderLock& turn);
    BankResult Await(const BuildPlan& plan);
    void Publish(const BuildPlan& plan, BuildOutcome& outcome);
    BuildFault TakeSum(const BuildPlan& plan, std::string& strSum) const;
    BuildFault Move(const BuildPlan& plan, const FolderLock& turn);
    BuildFault Settle(const BuildPlan& plan, const std::string& strSum, const FolderLock& turn);
    BuildFault Measure(const BuildPlan& plan, uint64_t& nBytes) const;
    BuildFault RemoveOtherLayout(const BuildPlan& plan, const FolderLock& turn);
    bool Fail(const BuildFault& fault, BuildOutcome& outcome);
    bool FailIn(BankResult result, const BuildPlan& plan, BuildOutcome& outcome);
    bool FailWithoutTurn(const FolderLock& turn, BuildOutcome& outcome);

    std::string Place(const std::string& strName) const;

    EngineRun& m_run;
    BankOrigin& m_origin;
    const BuildOptions& m_options;
    BuildWatcher& m_watcher;
    std::unique_ptr<PrivateFolder> m_pFolder;    // made with the first marks
    std::optional<Clock::time_point> m_waitEnd;  // set when the waiting for others begins
};

// The exit code of a build that does not touch a bank.
ExitCode ExitCodeOf(BuildAction action);

}  // namespace Kestrova
