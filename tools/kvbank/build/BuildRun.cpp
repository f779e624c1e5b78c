#include "tools/kvbank/build/BuildRun.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

#include "shared/System/kvCancelSignal.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kBetweenLooks{100};
constexpr const char* kIsLocked = "another process keeps the folder locked";
constexpr const char* kIsBuilding = "another process is building it";

uint64_t FileSize(const fs::path& path) {
    std::error_code error;
    const uintmax_t nSize = fs::file_size(path, error);
    return error ? 0 : nSize;
}

std::string RateText(const BuildPlan& plan) { return std::to_string(plan.nRate) + " Hz: "; }

BuildFault OutputFault(const std::string& strPath, const std::string& strCause) {
    return {kExitOutput, strPath, strCause};
}

const BankFile* BusyOf(const BuildFinding& finding) {
    return finding.action == BuildAction::Busy ? &finding.bank : nullptr;
}

}  // namespace

ExitCode ExitCodeOf(BuildAction action) {
    switch (action) {
        case BuildAction::Busy: return kExitBusy;
        case BuildAction::Stale:
        case BuildAction::InTheWay: return kExitProblem;
        default: return kExitDone;
    }
}

std::string BuildRun::Place(const std::string& strName) const {
    return (fs::path(m_options.strFolder) / strName).string();
}

// --- Turns.

BuildFinding BuildRun::FindingOf(const BuildPlan& plan) {
    return LookAt(m_options, m_run.Engine(), m_origin, plan, m_pFolder ? m_pFolder->Path() : fs::path());
}

// On the first call tells what is waited for. Then sleeps a moment; false when the waiting is over.
bool BuildRun::Wait(const std::string& strWhy) {
    if (!m_waitEnd) {
        m_waitEnd = Clock::now() + *m_options.wait;
        m_watcher.OnWait(strWhy);
    }
    if (CancelSignal() != 0 || Clock::now() >= *m_waitEnd) return false;
    std::this_thread::sleep_for(kBetweenLooks);
    return true;
}

// Takes a turn and looks. When waiting is asked for, the turn is given up and taken again as long as another
// process has the lock or is building a bank that the look finds. The last turn is kept.
BuildRun::Turn BuildRun::TakeTurn(const BusyLook& look) {
    for (bool bWaits = m_options.wait.has_value();;) {
        auto pTurn = std::make_unique<FolderLock>(m_options.strFolder, m_options.turnWait);
        const FolderLock::Outcome outcome = pTurn->GetOutcome();
        if (outcome == FolderLock::Outcome::NoLocks) m_watcher.OnNoLocks(pTurn->GetError());
        const BankFile* const pBusy = pTurn->IsTurn() ? look() : nullptr;
        if (!bWaits || (pBusy == nullptr && outcome != FolderLock::Outcome::Busy)) return pTurn;
        const std::string strWhy = pBusy != nullptr ? pBusy->path.filename().string() + ": " + kIsBuilding
                                                    : m_options.strFolder + ": " + kIsLocked;
        pTurn->Release();
        bWaits = Wait(strWhy);
    }
}

BuildRun::Turn BuildRun::TurnFor(const BuildPlan& plan, BuildFinding& finding) {
    return TakeTurn([&]() -> const BankFile* {
        finding = FindingOf(plan);
        return BusyOf(finding);
    });
}

// Nothing is done without a turn.
BuildFault BuildRun::WhyNoTurn(const FolderLock& turn) const {
    switch (turn.GetOutcome()) {
        case FolderLock::Outcome::Cancelled: return Cancelled();
        case FolderLock::Outcome::Busy: return {kExitBusy, m_options.strFolder, kIsLocked};
        default: return OutputFault(m_options.strFolder, std::strerror(turn.GetError()));
    }
}

BuildFault BuildRun::Cancelled() const {
    return {kExitProblem, m_options.strSource, DescribeResult(kBankCancelled)};
}

// --- Before the first bank.

BuildRun::Survey BuildRun::Look() {
    Survey survey;
    survey.plans = MakePlans(m_options, m_run.Engine());
    const auto lookAtAll = [&] {
        for (BuildPlan& plan : survey.plans) plan.finding = FindingOf(plan);
    };
    std::error_code ignored;
    if (m_options.bDryRun || !fs::exists(m_options.strFolder, ignored)) {
        lookAtAll();
        return survey;
    }
    const Turn pTurn = TakeTurn([]() -> const BankFile* { return nullptr; });
    if (!pTurn->IsTurn()) {
        survey.fault = WhyNoTurn(*pTurn);
        return survey;
    }
    m_run.Engine().SetDstDir(m_options.strFolder.c_str());
    m_run.Engine().RemoveInterrupted(survey.nRemoved);
    PrivateFolder::Cleaned cleaned = PrivateFolder::RemoveAbandoned(m_options.strFolder, *pTurn);
    survey.nRemoved += cleaned.nFolders;
    survey.left = std::move(cleaned.left);
    lookAtAll();
    return survey;
}

BuildFault BuildRun::Reserve(std::vector<BuildPlan>& plans) {
    const Turn pTurn = TakeTurn([&] {
        const BankFile* pBusy = nullptr;
        for (BuildPlan& plan : plans) {
            plan.finding = FindingOf(plan);
            if (pBusy == nullptr) pBusy = BusyOf(plan.finding);
        }
        return pBusy;
    });
    if (CancelSignal() != 0) return Cancelled();
    return pTurn->IsTurn() ? Mark(plans, *pTurn) : WhyNoTurn(*pTurn);
}

BuildFault BuildRun::Mark(const std::vector<BuildPlan>& plans, const FolderLock& turn) {
    for (const BuildPlan& plan : plans) {
        if (plan.finding.action != BuildAction::Build) continue;
        if (!m_pFolder) m_pFolder = std::make_unique<PrivateFolder>(m_options.strFolder, turn);
        if (m_pFolder->Path().empty()) return OutputFault(m_options.strFolder, std::strerror(errno));
        if (!m_pFolder->Mark(plan.strName, turn)) {
            const std::string strError = std::strerror(errno);
            return OutputFault(Place(plan.strName),
                               RateText(plan) + DescribeResult(kBankTargetNotCreated) + ": " + strError);
        }
    }
    return {};
}

std::vector<Leftover> BuildRun::End() { return m_pFolder ? m_pFolder->Remove() : std::vector<Leftover>(); }

// --- One bank.

BuildOutcome BuildRun::BuildOne(const BuildPlan& plan) {
    BuildOutcome outcome;
    outcome.finding = plan.finding;
    outcome.code = ExitCodeOf(plan.finding.action);
    if (plan.finding.action != BuildAction::Build || m_options.bDryRun) return outcome;
    const Clock::time_point start = Clock::now();
    if (Begin(plan, outcome)) {
        const BankResult result = Await(plan);
        if (result == kBankDone)
            Publish(plan, outcome);
        else
            FailIn(result, plan, outcome);
    }
    m_pFolder->Discard(plan.strName);  // left there it would say that the bank is still being built
    outcome.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    return outcome;
}

// Starts the engine, unless the bank is not to be built after all.
bool BuildRun::Begin(const BuildPlan& plan, BuildOutcome& outcome) {
    const Turn pTurn = TurnFor(plan, outcome.finding);
    if (!pTurn->IsTurn()) return FailWithoutTurn(*pTurn, outcome);
    outcome.code = ExitCodeOf(outcome.finding.action);
    if (outcome.finding.action != BuildAction::Build) return false;
    const BankResult result = Start(plan, *pTurn);
    return result == kBankDone || FailIn(result, plan, outcome);
}

// The engine puts its own file in the place of the mark, so a turn must last until that is there.
BankResult BuildRun::Start(const BuildPlan& plan, const FolderLock&) {
    m_run.Engine().SetDstDir(m_pFolder->Path().c_str());
    return m_run.Start(plan.nRate, m_options.layout, m_options.nQuality);
}

BankResult BuildRun::Await(const BuildPlan& plan) {
    const fs::path made = m_pFolder->Path() / plan.strName;
    return m_run.Finish([&] { m_watcher.OnProgress(plan, FileSize(made)); });
}

void BuildRun::Publish(const BuildPlan& plan, BuildOutcome& outcome) {
    const Turn pTurn = TurnFor(plan, outcome.finding);
    if (!pTurn->IsTurn()) {
        FailWithoutTurn(*pTurn, outcome);
        return;
    }
    outcome.code = ExitCodeOf(outcome.finding.action);
    if (outcome.finding.action != BuildAction::Build) return;
    const std::string strPlace = Place(plan.strName);
    if (!m_pFolder->Publish(plan.strName, *pTurn)) {
        Fail(OutputFault(strPlace, std::strerror(errno)), outcome);
        return;
    }
    outcome.nBytes = FileSize(strPlace);
    if (pTurn->Sync()) {
        RemoveOtherLayout(plan, *pTurn);
    } else {
        const std::string strError = std::strerror(errno);
        Fail(OutputFault(strPlace,
                         "the bank is in its place, but may be lost in a power failure: " + strError),
             outcome);
    }
    outcome.end = BuildOutcome::End::Built;
}

void BuildRun::RemoveOtherLayout(const BuildPlan& plan, const FolderLock&) {
    m_run.Engine().SetDstDir(m_options.strFolder.c_str());
    m_run.Engine().RemoveDB(plan.nRate, m_options.layout == BankLayout::Plain ? 2 : 1);
}

// These answer false: the bank is not built.
bool BuildRun::Fail(const BuildFault& fault, BuildOutcome& outcome) {
    outcome.end = BuildOutcome::End::Failed;
    outcome.fault = fault;
    outcome.code = fault.code;
    outcome.bStops = true;
    return false;
}

// When something cannot be written, the message names the bank; in all other cases it names the source.
bool BuildRun::FailIn(BankResult result, const BuildPlan& plan, BuildOutcome& outcome) {
    outcome.result = result;
    return Fail(
        {m_run.ExitCodeFor(result), m_run.IsTargetToBlame(result) ? Place(plan.strName) : m_options.strSource,
         RateText(plan) + m_run.Explain(result, m_options.bEngineNumbers)},
        outcome);
}

bool BuildRun::FailWithoutTurn(const FolderLock& turn, BuildOutcome& outcome) {
    Fail(WhyNoTurn(turn), outcome);
    if (turn.GetOutcome() == FolderLock::Outcome::Busy) outcome.end = BuildOutcome::End::Busy;
    return false;
}

}  // namespace Kestrova
