#include "tools/kvbank/build/BuildRun.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/terminal/Progress.h"
#include "tools/kvbank/terminal/RateOptions.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

std::string RateText(const BuildPlan& plan) { return std::to_string(plan.nRate) + " Hz"; }

uint64_t FileSize(const fs::path& path) {
    std::error_code error;
    const uintmax_t nSize = fs::file_size(path, error);
    return error ? 0 : nSize;
}

}  // namespace

fs::path BuildRun::Place(const std::string& strName) const { return fs::path(m_options.strFolder) / strName; }

BuildFinding BuildRun::Look(const BuildPlan& plan) const {
    return LookAt(m_options, m_run.Engine(), plan, m_pFolder ? m_pFolder->Path() : fs::path());
}

ExitCode BuildRun::Run(const std::vector<BuildPlan>& plans, Json& rows) {
    ExitCode worst = kExitDone;
    for (const BuildPlan& plan : plans) {
        Json row = {{"rate", plan.nRate}, {"file", plan.strName}, {"predicted_mib", plan.nMegabytes}};
        const bool bBuilds = plan.finding.action == BuildAction::Build && !m_options.bDryRun;
        worst = std::max(worst, bBuilds ? BuildOne(plan, row) : Tell(plan, plan.finding, row));
        rows.push_back(row);
        if (m_bStopped || CancelSignal() != 0) break;
    }
    return worst;
}

ExitCode BuildRun::BuildOne(const BuildPlan& plan, Json& row) {
    row["action"] = "failed";
    m_start = Clock::now();
    if (const std::optional<ExitCode> end = Begin(plan, row)) return *end;
    const BankResult result = Await(plan);
    const ExitCode code = result == kBankDone ? Publish(plan, row) : StopWith(result, plan, row);
    m_pFolder->Discard(plan.strName);  // left there it would say that the bank is still being built
    return code;
}

// Starts the engine, unless the bank is not to be built after all.
std::optional<ExitCode> BuildRun::Begin(const BuildPlan& plan, Json& row) {
    FolderLock turn(m_options.strFolder, m_options.turnWait);
    if (!turn.IsHeld()) return StopWithoutTurn(turn, row);
    const BuildFinding finding = Look(plan);
    int nError = 0;
    BankResult result = kBankDone;
    if (finding.action == BuildAction::Build && MakeFolder(turn, nError)) result = Start(plan, turn);
    turn.Release();
    if (finding.action != BuildAction::Build) return Tell(plan, finding, row);
    if (nError != 0) return Stop(m_options.strFolder, std::strerror(nError));
    if (result != kBankDone) return StopWith(result, plan, row);
    return std::nullopt;
}

bool BuildRun::MakeFolder(const FolderLock& turn, int& nError) {
    if (!m_pFolder) m_pFolder = std::make_unique<PrivateFolder>(m_options.strFolder, turn);
    nError = m_pFolder->Path().empty() ? errno : 0;
    return nError == 0;
}

// The file that the engine makes in the private folder is the mark, so a turn must last until that is there.
BankResult BuildRun::Start(const BuildPlan& plan, const FolderLock&) {
    m_run.Engine().SetDstDir(m_pFolder->Path().c_str());
    return m_run.Start(plan.nRate, m_options.layout, m_options.nQuality);
}

BankResult BuildRun::Await(const BuildPlan& plan) {
    const fs::path made = m_pFolder->Path() / plan.strName;
    const uint64_t nPredicted = PredictedBytes(plan);
    Progress progress(m_console, RateText(plan), nPredicted);
    return m_run.Finish([&] {
        const uint64_t nBytes = FileSize(made);
        progress.Show(nPredicted == 0 ? 0 : static_cast<double>(nBytes) / static_cast<double>(nPredicted),
                      nBytes);
    });
}

ExitCode BuildRun::Publish(const BuildPlan& plan, Json& row) {
    FolderLock turn(m_options.strFolder, m_options.turnWait);
    if (!turn.IsHeld()) return StopWithoutTurn(turn, row);
    const BuildFinding finding = Look(plan);
    const bool bMoved = finding.action == BuildAction::Build && m_pFolder->Publish(plan.strName, turn);
    const bool bSynced = bMoved && turn.Sync();
    const int nError = errno;
    if (bSynced) RemoveOtherLayout(plan, turn);
    turn.Release();
    if (finding.action != BuildAction::Build) return Tell(plan, finding, row);
    if (!bMoved) return Stop(Place(plan.strName), std::strerror(nError));
    TellBuilt(plan, row);
    if (bSynced) return kExitDone;
    return Stop(Place(plan.strName),
                std::string("the bank is in its place, but may not outlast a loss of power: ") +
                    std::strerror(nError));
}

void BuildRun::RemoveOtherLayout(const BuildPlan& plan, const FolderLock&) {
    m_run.Engine().SetDstDir(m_options.strFolder.c_str());
    m_run.Engine().RemoveDB(plan.nRate, m_options.layout == BankLayout::Plain ? 2 : 1);
}

ExitCode BuildRun::Tell(const BuildPlan& plan, const BuildFinding& finding, Json& row) {
    switch (finding.action) {
        case BuildAction::Build:
            row["action"] = "would be built";
            m_console.Say(RateText(plan) + ": would be built as " + plan.strName + ", about " +
                          ReadableSize(PredictedBytes(plan)));
            return kExitDone;
        case BuildAction::SkipExisting: TellExisting(plan, finding.bank, row); return kExitDone;
        case BuildAction::SkipSource:
            row["action"] = "is the source";
            m_console.Say(RateText(plan) + ": " + plan.strName + " is the source itself; left as it is");
            return kExitDone;
        case BuildAction::Busy:
            row["action"] = "busy";
            m_console.Error(finding.bank.path.filename().string() + ": another process is building it");
            return kExitBusy;
        case BuildAction::InTheWay: break;
    }
    row["action"] = "in the way";
    row["cause"] = finding.bank.strCause;
    const bool bFile = WhyNoFile(finding.bank.path) == nullptr;
    m_console.Error(finding.bank.path.string() + ": in the way: " + finding.bank.strCause +
                    (bFile ? "; -f builds the bank in its place" : ""));
    return kExitProblem;
}

void BuildRun::TellExisting(const BuildPlan& plan, const BankFile& bank, Json& row) {
    row["action"] = "skipped";
    row["found_layout"] = LayoutName(bank.layout);
    if (bank.layout == m_options.layout)
        m_console.Say(RateText(plan) + ": there already; -f builds it anew");
    else
        m_console.Say(RateText(plan) + ": there already, but in the " + LayoutName(bank.layout) +
                      " layout (" + bank.path.filename().string() + "); -f builds the " +
                      LayoutName(m_options.layout) + " one in its place");
}

void BuildRun::TellBuilt(const BuildPlan& plan, Json& row) {
    const fs::path place = Place(plan.strName);
    const uint64_t nSize = FileSize(place);
    const double seconds = std::chrono::duration<double>(Clock::now() - m_start).count();
    row["action"] = "built";
    row["bytes"] = nSize;
    row["seconds"] = seconds;
    m_console.Say(RateText(plan) + ": " + place.string() + ", " + ReadableSize(nSize) + " in " +
                  ReadableTime(seconds));
}

ExitCode BuildRun::StopWithoutTurn(const FolderLock& turn, Json& row) {
    m_bStopped = true;
    if (turn.GetOutcome() == FolderLock::Outcome::Busy) row["action"] = "busy";
    return SayNoTurn(m_console, turn, m_options);
}

ExitCode BuildRun::StopWith(BankResult result, const BuildPlan& plan, Json& row) {
    row["engine_result"] = static_cast<int>(result);
    Stop(m_run.IsTargetToBlame(result) ? Place(plan.strName) : fs::path(m_options.strSource),
         RateText(plan) + ": " + m_run.Explain(result, m_console.bVerbose || m_console.bJson));
    return m_run.ExitCodeFor(result);
}

ExitCode BuildRun::Stop(const fs::path& path, const std::string& strCause) {
    m_bStopped = true;
    m_console.Error(path.string() + ": " + strCause);
    return kExitOutput;
}

}  // namespace Kestrova
