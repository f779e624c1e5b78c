#include "tools/kvbank/build/BuildReporter.h"

#include <cstring>

#include "tools/kvbank/terminal/RateOptions.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

std::string RateText(const BuildPlan& plan) { return std::to_string(plan.nRate) + " Hz"; }

std::string LeftText(const Leftover& left) {
    return left.path.string() + ": what a build left here cannot be removed: " + std::strerror(left.nError);
}

// Two different sizes that look the same in short form are given in bytes.
std::string SpaceText(uint64_t nNeeded, uint64_t nFree) {
    const bool bAlike = ReadableSize(nNeeded) == ReadableSize(nFree);
    const auto text = [bAlike](uint64_t nBytes) {
        return bAlike ? Counted(nBytes, "byte") : ReadableSize(nBytes);
    };
    return text(nNeeded) + " are needed, " + text(nFree) + " are free";
}

}  // namespace

BuildReporter::BuildReporter(Console& console, const BuildOptions& options)
    : m_console(console), m_options(options) {
    m_report = {{"source", options.strSource},
                {"folder", options.strFolder},
                {"layout", LayoutName(options.layout)},
                {"dry_run", options.bDryRun}};
    TellConversion(options.conversion, m_report);
}

// --- While it goes on.

void BuildReporter::OnProgress(const BuildPlan& plan, uint64_t nBytes, ProgressPhase phase) {
    const uint64_t nPredicted = PredictedBytes(plan);
    if (!m_pProgress) m_pProgress = std::make_unique<Progress>(m_console, RateText(plan), nPredicted);
    m_pProgress->Show(nPredicted == 0 ? 0 : static_cast<double>(nBytes) / static_cast<double>(nPredicted),
                      nBytes, phase);
}

void BuildReporter::OnWait(const std::string& strWhy) {
    m_pProgress.reset();
    m_console.Say(strWhy + "; waiting for it to end");
}

void BuildReporter::OnNoLocks(int nError) {
    if (m_bToldNoLocks) return;
    m_bToldNoLocks = true;
    m_console.Warn(m_options.strFolder + ": the file system has no locks (" + std::strerror(nError) +
                   "), so nothing keeps other builds away from this one's banks; run one build at a time in "
                   "this folder");
}

// --- Around the banks.

void BuildReporter::Tell(const BuildFault& fault) { m_console.Error(fault.strPath + ": " + fault.strCause); }

void BuildReporter::TellRemoved(unsigned nRemoved, const std::vector<Leftover>& left) {
    if (nRemoved > 0) m_console.Say("removed what " + Counted(nRemoved, "interrupted build") + " had left");
    for (const Leftover& one : left) m_console.Warn(LeftText(one));
}

void BuildReporter::TellSpace(uint64_t nNeeded, uint64_t nFree) {
    m_nNeeded = nNeeded;
    m_report["bytes_needed"] = nNeeded;
    m_report["bytes_free"] = nFree;
    if (nNeeded <= nFree) return;
    const std::string strText = m_options.strFolder + ": " + SpaceText(nNeeded, nFree);
    if (m_options.bIgnoreSpace)
        m_console.Warn(strText);
    else
        m_console.Error(strText);
}

bool BuildReporter::TellLeft(const std::vector<Leftover>& left) {
    for (const Leftover& one : left) m_console.Error(LeftText(one));
    return !left.empty();
}

// --- The banks.

void BuildReporter::Tell(const BuildPlan& plan, const BuildOutcome& outcome) {
    m_pProgress.reset();
    Json row = {{"rate", plan.nRate}, {"file", plan.strName}, {"predicted_mib", plan.nMegabytes}};
    switch (outcome.end) {
        case BuildOutcome::End::NotBegun: TellNotBegun(plan, outcome.finding, row); break;
        case BuildOutcome::End::Built: TellBuilt(plan, outcome, row); break;
        case BuildOutcome::End::Busy: row["action"] = "busy"; break;
        case BuildOutcome::End::Failed: row["action"] = "failed"; break;
    }
    if (outcome.result != kBankDone) row["engine_result"] = static_cast<int>(outcome.result);
    if (outcome.fault.code != kExitDone) Tell(outcome.fault);
    m_report["banks"].push_back(row);
}

void BuildReporter::TellNotBegun(const BuildPlan& plan, const BuildFinding& finding, Json& row) {
    switch (finding.action) {
        case BuildAction::Build: return TellWouldBuild(plan, finding.bank, row);
        case BuildAction::SkipExisting: return TellExisting(plan, finding.bank, row);
        case BuildAction::SkipSource:
            row["action"] = "is the source";
            return m_console.Say(RateText(plan) + ": " + plan.strName +
                                 " is the source itself; left as it is");
        case BuildAction::Stale:
            row["action"] = "stale";
            row["cause"] = finding.bank.strCause;
            return m_console.Error(finding.bank.path.string() +
                                   ": stale, it was not made from this source: " + finding.bank.strCause +
                                   "; -f builds the bank in its place");
        case BuildAction::Busy:
            row["action"] = "busy";
            return m_console.Error(finding.bank.path.filename().string() +
                                   ": another process is building it");
        case BuildAction::InTheWay: return TellInTheWay(finding.bank, row);
    }
}

void BuildReporter::TellWouldBuild(const BuildPlan& plan, const BankFile& damaged, Json& row) {
    row["action"] = "would be built";
    std::string strText = RateText(plan) + ": would be built as " + plan.strName + ", about " +
                          ReadableSize(PredictedBytes(plan));
    if (!damaged.path.empty()) {
        row["replaces_damaged"] = damaged.strCause;
        strText += ", in place of a damaged one: " + damaged.strCause;
    }
    m_console.Say(strText);
}

void BuildReporter::TellExisting(const BuildPlan& plan, const BankFile& bank, Json& row) {
    row["action"] = "skipped";
    row["found_layout"] = LayoutName(bank.layout);
    if (bank.layout == m_options.layout)
        m_console.Say(RateText(plan) + ": there already; -f builds it again");
    else
        m_console.Say(RateText(plan) + ": there already, but in the " + LayoutName(bank.layout) +
                      " layout (" + bank.path.filename().string() + "); -f builds the " +
                      LayoutName(m_options.layout) + " one in its place");
}

void BuildReporter::TellInTheWay(const BankFile& bank, Json& row) {
    row["action"] = "in the way";
    row["cause"] = bank.strCause;
    const bool bFile = WhyNoFile(bank.path) == nullptr;
    m_console.Error(bank.path.string() + ": in the way: " + bank.strCause +
                    (bFile ? "; -f builds the bank in its place" : ""));
}

void BuildReporter::TellBuilt(const BuildPlan& plan, const BuildOutcome& outcome, Json& row) {
    row["action"] = "built";
    if (!plan.finding.bank.path.empty()) {
        row["replaces_damaged"] = plan.finding.bank.strCause;
        m_console.Say(plan.finding.bank.path.string() + ": was damaged: " + plan.finding.bank.strCause +
                      "; built again");
    }
    const bool bMeasured = outcome.nBytes != 0;
    if (bMeasured) row["bytes"] = outcome.nBytes;
    row["seconds"] = outcome.seconds;
    m_console.Say(RateText(plan) + ": " + (fs::path(m_options.strFolder) / plan.strName).string() +
                  (bMeasured ? ", " + ReadableSize(outcome.nBytes) : "") + " in " +
                  ReadableTime(outcome.seconds));
}

}  // namespace Kestrova
