#include "tools/kvbank/build/BuildRun.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

#include "shared/System/kvCancelSignal.h"
#include "shared/System/kvSafeFile.h"
#include "tools/kvbank/build/BuildSpace.h"
#include "tools/kvbank/sums/BankSums.h"
#include "tools/kvbank/terminal/RateOptions.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kBetweenLooks{100};
constexpr const char* kIsLocked = "another process keeps the folder locked";
constexpr const char* kIsBuilding = "another process is building it";

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

// A dry run takes no turn, but tells what would keep it from one: a folder that cannot be read.
BuildFault BuildRun::WhyNoTurnCouldBeHad() const {
    const FileDescriptor folder(OpenFolder(m_options.strFolder.c_str()));
    const std::error_code error(folder < 0 ? errno : 0, std::generic_category());
    return !error || IsNoFolder(error) ? BuildFault() : OutputFault(m_options.strFolder, error.message());
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
        survey.fault = WhyNoTurnCouldBeHad();
        lookAtAll();
        return survey;
    }
    const Turn pTurn = TakeTurn([]() -> const BankFile* { return nullptr; });
    if (!pTurn->IsTurn()) {
        survey.fault = WhyNoTurn(*pTurn);
        return survey;
    }
    if (Ending cleaned = m_run.RemoveInterrupted(m_options.strFolder, survey.nRemoved); !cleaned.IsDone()) {
        survey.fault = {cleaned.code, m_options.strFolder, std::move(cleaned.strError)};
        return survey;
    }
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
    return m_run.Start(m_pFolder->Path(), plan.nRate, m_options.layout, m_options.nQuality);
}

BankResult BuildRun::Await(const BuildPlan& plan) {
    const fs::path made = m_pFolder->Path() / plan.strName;
    return m_run.Finish([&] {
        m_watcher.OnProgress(plan, FileSize(made),
                             m_run.HasWrittenAll() ? ProgressPhase::Sync : ProgressPhase::Work);
    });
}

void BuildRun::Publish(const BuildPlan& plan, BuildOutcome& outcome) {
    std::string strSum;
    if (const BuildFault fault = TakeSum(plan, strSum); fault.code != kExitDone) {
        Fail(fault, outcome);
        return;
    }
    const Turn pTurn = TurnFor(plan, outcome.finding);
    if (!pTurn->IsTurn()) {
        FailWithoutTurn(*pTurn, outcome);
        return;
    }
    outcome.code = ExitCodeOf(outcome.finding.action);
    if (outcome.finding.action != BuildAction::Build) return;
    if (const BuildFault fault = Move(plan, *pTurn); fault.code != kExitDone) {
        Fail(fault, outcome);
        return;
    }
    if (const BuildFault fault = Settle(plan, strSum, *pTurn); fault.code != kExitDone) Fail(fault, outcome);
    if (const BuildFault fault = Measure(plan, outcome.nBytes); fault.code != kExitDone) Fail(fault, outcome);
    outcome.end = BuildOutcome::End::Built;
}

// Before the turn, which must not last while a bank is read.
BuildFault BuildRun::TakeSum(const BuildPlan& plan, std::string& strSum) const {
    if (!m_options.bSums) return {};
    const std::string strMade = (m_pFolder->Path() / plan.strName).string();
    const SumsProgress watch = [&](uint64_t nBytes) {
        m_watcher.OnProgress(plan, nBytes, ProgressPhase::Sum);
        return CancelSignal() == 0;
    };
    const SumsOutcome sum = SumBank(strMade, watch, strSum);
    if (sum.kind == SumsOutcome::Kind::Cancelled) return Cancelled();
    if (sum.kind == SumsOutcome::Kind::Done) return {};
    return OutputFault(Place(plan.strName), "its sum cannot be taken: " + sum.strCause);
}

// The sums file of the bank that is replaced goes first, and that of the new one comes after it (Settle): a
// sums file never stands beside a bank that it does not belong to.
BuildFault BuildRun::Move(const BuildPlan& plan, const FolderLock& turn) {
    const std::string strPlace = Place(plan.strName);
    if (const SumsOutcome sums = RemoveSums(strPlace); sums.kind == SumsOutcome::Kind::Failed)
        return OutputFault(sums.strPath,
                           "it cannot be removed, so no new bank is put beside it: " + sums.strCause);
    if (m_pFolder->Publish(plan.strName, turn)) return {};
    return OutputFault(strPlace, std::strerror(errno));
}

// What follows once the bank is in its place. The first failure is told; it does not keep the bank from
// getting its sums file.
BuildFault BuildRun::Settle(const BuildPlan& plan, const std::string& strSum, const FolderLock& turn) {
    BuildFault fault;
    if (turn.Sync()) {
        fault = RemoveOtherLayout(plan, turn);
    } else {
        const std::string strError = std::strerror(errno);
        fault = OutputFault(Place(plan.strName),
                            "the bank is in its place, but may be lost in a power failure: " + strError);
    }
    if (!m_options.bSums) return fault;
    const SumsOutcome sums = PutSums(Place(plan.strName), strSum);
    if (sums.kind == SumsOutcome::Kind::Done || fault.code != kExitDone) return fault;
    return {ExitCodeOfOutput(sums.nError), sums.strPath,
            "the bank is in its place, but its sums file cannot be written: " + sums.strCause};
}

BuildFault BuildRun::Measure(const BuildPlan& plan, uint64_t& nBytes) const {
    int nError = 0;
    nBytes = FileSize(Place(plan.strName), &nError);
    if (nError == 0) return {};
    return {kExitProblem, Place(plan.strName),
            std::string("the bank is in its place, but its size cannot be read: ") + std::strerror(nError)};
}

// The source may bear such a name, and stays.
BuildFault BuildRun::RemoveOtherLayout(const BuildPlan& plan, const FolderLock&) {
    const std::string strOther =
        Place(MakeBankFileName("", m_run.Engine().GetBaseName(), plan.nRate, OtherLayout(m_options.layout))
                  .substr(1));
    std::error_code ignored;
    if (fs::equivalent(strOther, m_options.strSource, ignored)) return {};
    const EngineRun::Removal removal = m_run.Remove(strOther);
    if (removal.code == kExitDone) return {};
    return {removal.code, strOther,
            "the bank in the " + std::string(LayoutName(m_options.layout)) +
                " layout is built, but this one in the other layout cannot be removed: " + removal.strCause};
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
