#include "tools/kvbank/build/BatchReporter.h"

#include <array>

namespace Kestrova {
namespace {

using State = SourceOutcome::State;

// By State: its name in a line and in the document.
constexpr std::array<const char*, 4> kStates = {"not begun", "done", "failed", "stopped"};
// The order in which the last line and the summary have them.
constexpr std::array kStateOrder = {State::Done, State::Failed, State::Stopped, State::NotBegun};

const char* NameOf(State state) { return kStates.at(static_cast<size_t>(state)); }

struct Totals {
    std::array<unsigned, kStates.size()> states{};
    BuildTally tally;
};

Totals TotalsOf(const std::deque<SourceOutcome>& outcomes) {
    Totals totals;
    for (const SourceOutcome& outcome : outcomes) {
        ++totals.states.at(static_cast<size_t>(outcome.state));
        totals.tally += outcome.tally;
    }
    return totals;
}

void Append(std::string& strText, const std::string& strPart, const char* pszBetween) {
    strText += (strText.empty() ? "" : pszBetween) + strPart;
}

// "2 banks built, 24.3 MB in 0:05; 1 there already"; "" when the build came to no bank.
std::string TextOf(const BuildTally& tally, double seconds) {
    std::string strText;
    if (tally.nBuilt > 0)
        strText = Counted(tally.nBuilt, "bank") + " built, " + ReadableSize(tally.nBytes) + " in " +
                  ReadableTime(seconds);
    if (tally.nWouldBuild > 0) Append(strText, Counted(tally.nWouldBuild, "bank") + " would be built", "; ");
    if (tally.nSkipped > 0) Append(strText, std::to_string(tally.nSkipped) + " there already", "; ");
    if (tally.nFailed > 0) Append(strText, Counted(tally.nFailed, "bank") + " failed", "; ");
    if (tally.nNotBegun > 0) Append(strText, Counted(tally.nNotBegun, "bank") + " not begun", "; ");
    return strText;
}

std::string TextOf(const SourceOutcome& outcome) {
    std::string strText = TextOf(outcome.tally, outcome.seconds);
    if (strText.empty()) strText = NameOf(outcome.state);
    if (outcome.code != kExitDone) strText += " (exit code " + std::to_string(outcome.code) + ")";
    return outcome.strSource + ": " + strText;
}

std::string TextOf(const Totals& totals, size_t nSources, double seconds) {
    std::string strStates;
    for (const State state : kStateOrder)
        if (const unsigned n = totals.states.at(static_cast<size_t>(state)); n > 0)
            Append(strStates, std::to_string(n) + " " + NameOf(state), ", ");
    const std::string strBanks = TextOf(totals.tally, seconds);
    return Counted(nSources, "source") + ": " + strStates + (strBanks.empty() ? "" : "; " + strBanks);
}

Json RowOf(const SourceOutcome& outcome) {
    Json row = Json::object();
    row["source"] = outcome.strSource;
    row["state"] = NameOf(outcome.state);
    if (outcome.state != State::NotBegun) row.update(outcome.facts);
    return row;
}

Json SummaryOf(const Totals& totals, size_t nSources, double seconds) {
    Json summary = Json::object();
    summary["sources"] = nSources;
    for (const State state : kStateOrder) {
        const bool bTwoWords = state == State::NotBegun;
        summary[bTwoWords ? "not_begun" : NameOf(state)] = totals.states.at(static_cast<size_t>(state));
    }
    summary["banks_built"] = totals.tally.nBuilt;
    summary["bytes"] = totals.tally.nBytes;
    summary["seconds"] = seconds;
    return summary;
}

std::string TitleOf(size_t nEnded, size_t nSources) {
    return std::to_string(nEnded) + " of " + Counted(nSources, "source");
}

}  // namespace

BatchReporter::BatchReporter(Console& console, size_t nSources)
    : m_console(console), m_nSources(nSources), m_progress(console, TitleOf(0, nSources), 0) {}

void BatchReporter::OnProgress(size_t nEnded, double fraction, uint64_t nBytes) {
    m_progress.SetTitle(TitleOf(nEnded, m_nSources));
    m_progress.Show(fraction, nBytes);
}

void BatchReporter::OnEnd(const SourceOutcome& outcome) {
    m_progress.Wipe();
    if (m_console.bVerbose) m_console.out << outcome.strLines << std::flush;
    m_console.err << outcome.strErrors << std::flush;
    m_console.Say(TextOf(outcome));
}

void BatchReporter::Tell(const BuildBatch::Clash& clash, const std::string& strFolder) {
    m_console.Error(clash.strFirst + " and " + clash.strSecond + ": the banks of both would be named " +
                    clash.strBaseName + "_... in " + strFolder + "; give each a folder of its own");
}

int BatchReporter::Finish(ExitCode code, const std::deque<SourceOutcome>& outcomes) {
    m_progress.Wipe();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    const Totals totals = TotalsOf(outcomes);
    m_console.Say(TextOf(totals, m_nSources, seconds));
    Json report = Json::object();
    report["sources"] = Json::array();
    for (const SourceOutcome& outcome : outcomes) report["sources"].push_back(RowOf(outcome));
    report["summary"] = SummaryOf(totals, m_nSources, seconds);
    return m_console.Finish("build", code, report);
}

}  // namespace Kestrova
