#include "tools/kvbank/ImportCommand.h"

#include <cerrno>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <system_error>

#include "import/PlanSpace.h"
#include "import/SourceBankWriter.h"
#include "import/formats/OpenInstrument.h"
#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/NewSource.h"
#include "tools/kvbank/terminal/Progress.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

// "0:12" as bank and program.
std::optional<ProgramNumber> ParsePreset(const std::string& strText) {
    ProgramNumber number{};
    const char* const pEnd = strText.data() + strText.size();
    const auto bank = std::from_chars(strText.data(), pEnd, number.first);
    if (bank.ec != std::errc() || bank.ptr == pEnd || *bank.ptr != ':') return std::nullopt;
    const auto program = std::from_chars(bank.ptr + 1, pEnd, number.second);
    if (program.ec != std::errc() || program.ptr != pEnd) return std::nullopt;
    return number;
}

void AddProgramOption(CLI::App& verb, const char* pszName, std::set<ProgramNumber>& numbers,
                      const char* pszText) {
    verb.add_option_function<std::vector<std::string>>(
            pszName,
            [pszName, &numbers](const std::vector<std::string>& texts) {
                for (const std::string& strText : texts) {
                    const std::optional<ProgramNumber> number = ParsePreset(strText);
                    if (!number)
                        throw CLI::ValidationError(pszName,
                                                   "'" + strText + "': give bank and program as 0:12");
                    numbers.insert(*number);
                }
            },
            pszText)
        ->type_name("BANK:PROGRAM")
        ->type_size(1)
        ->expected(1)
        ->allow_extra_args(false)  // one for each option: what follows may be the input
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

ImportWatch WatchForSignals() {
    ImportWatch watch;
    watch.isStopped = [] { return CancelSignal() != 0; };
    return watch;
}

}  // namespace

void ImportCommand::Describe(CLI::App& verb) {
    verb.add_option(
            "INPUT", m_strInput,
            "a SoundFont file (2.01 to 2.04, or SF3), an SFZ file, or a folder of samples named by note")
        ->required();
    verb.add_option("-o,--output", m_strOutput, "the source bank to make")->type_name("OUT");
    AddProgramOption(verb, "--preset", m_presets, "only this preset; may be given several times");
    AddProgramOption(verb, "--unsplit", m_unsplit,
                     "do not split this program in the per-key layout; may be given several times");
    verb.add_flag("--list", m_bList, "only list the presets, and the sizes of their banks");
    verb.add_flag("--strict", m_bStrict, "fail (exit code 6) when anything would be repaired or dropped");
    verb.add_flag("-f,--force", m_bForce, "replace OUT when it is there");
}

int ImportCommand::Run(Console& console) {
    ImportReporter reporter(console, m_strInput, m_strOutput);
    return reporter.Finish(m_bList ? List(reporter) : Import(reporter));
}

Ending ImportCommand::List(ImportReporter& reporter) {
    Ending ending = OpenInput(reporter);
    if (ending.IsDone()) ending = MakePlan();
    if (!ending.IsDone()) return ending;
    reporter.TellPresets(ChosenPresets());
    if (!m_plan.waves.empty()) reporter.TellSizes(PlanSpace(m_plan));
    const InstrumentFacts facts = m_pInstrument->GetFacts();
    if (!facts.strRule.empty()) reporter.TellRule(facts.strRule, m_plan, m_report);
    return ending;
}

// Everything that could be lost is known before the first byte is written.
Ending ImportCommand::Import(ImportReporter& reporter) {
    Ending ending = CheckOutput();
    if (ending.IsDone()) ending = OpenInput(reporter);
    if (!ending.IsDone()) return ending;
    ending = MakePlan();
    reporter.TellReport(m_report);
    if (ending.IsDone()) ending = CheckPlan();
    WrittenBank bank;
    if (ending.IsDone()) ending = WriteBank(reporter, bank);
    if (ending.IsDone()) reporter.TellBank(bank, m_plan, m_report);
    return ending;
}

Ending ImportCommand::MakePlan() {
    const ImportOutcome made = m_pInstrument->MakePlan(m_presets, m_plan, m_report, WatchForSignals());
    if (!made.IsDone()) return EndingOf(made);
    m_waves.emplace(*m_pInstrument).Unsplit(m_plan, m_unsplit, m_report);
    return {};
}

Ending ImportCommand::CheckOutput() const {
    std::error_code ignored;
    if (m_strOutput.empty()) return {kExitUsage, "-o OUT is required"};
    if (fs::equivalent(m_strInput, m_strOutput, ignored))
        return {kExitUsage, m_strOutput + ": this is the file to import itself"};
    return CheckNewSource(m_strOutput, m_bForce);
}

Ending ImportCommand::OpenInput(ImportReporter& reporter) {
    const ImportOutcome opened = OpenInstrument(m_strInput, m_pInstrument, WatchForSignals());
    if (!opened.IsDone()) return EndingOf(opened);
    reporter.TellInput(m_pInstrument->GetFacts());
    return CheckPresets();
}

Ending ImportCommand::CheckPresets() const {
    std::set<ProgramNumber> there;
    for (const InstrumentProgram& program : m_pInstrument->GetPrograms()) there.insert(program.number);
    for (const std::set<ProgramNumber>* const pAsked : {&m_presets, &m_unsplit})
        for (const ProgramNumber& number : *pAsked)
            if (there.count(number) == 0)
                return {kExitUsage, m_strInput + ": there is no preset " + PresetText(number)};
    return {};
}

// Of several presets with one number, and of those without a sample, the sizes are not known.
std::vector<ListedPreset> ImportCommand::ChosenPresets() const {
    std::map<ProgramNumber, const PlannedProgram*> planned;
    for (const PlannedProgram& program : m_plan.programs) planned.emplace(program.Number(), &program);
    std::vector<ListedPreset> presets;
    for (const InstrumentProgram& program : m_pInstrument->GetPrograms()) {
        if (!m_presets.empty() && m_presets.count(program.number) == 0) continue;
        presets.push_back({program, {}, {}});
        const auto place = planned.find(program.number);
        if (place == planned.end()) continue;
        const auto size = [&](bool bSplit) {
            return PlanSpace(m_plan, *place->second, bSplit).Predict(kListedRate, true);
        };
        presets.back().nPerKey = size(true);
        presets.back().nUnsplit = size(false);
        planned.erase(place);
    }
    return presets;
}

Ending ImportCommand::CheckPlan() const {
    if (m_bStrict && m_report.HasLosses())
        return {kExitLoss,
                m_strInput + ": nothing is written, because --strict forbids losses: " + SummaryOf(m_report)};
    if (m_plan.waves.empty()) return EndingOf(Refused("no preset plays a sample"));
    return {};
}

Ending ImportCommand::WriteBank(const ImportReporter& reporter, WrittenBank& bank) const {
    const auto start = std::chrono::steady_clock::now();
    PartFile part(m_strOutput);
    if (part.Path().empty()) return EndingOf(NotWritten(errno, "the file cannot be created"));
    ImportOutcome outcome;
    {
        Progress bar = reporter.MakeBar();
        ImportWatch watch = WatchForSignals();
        // Behind the last wave there are but small records and the end of the file.
        watch.progress = [&bar](double fraction, uint64_t nBytes) {
            bar.Show(fraction, nBytes, fraction < 1 ? ProgressPhase::Work : ProgressPhase::Sync);
        };
        outcome = WriteSourceBank(part.Path().string(), m_plan, *m_waves, watch);
    }
    if (outcome.IsDone() && CancelSignal() != 0) outcome = Cancelled();
    if (!outcome.IsDone()) return EndingOf(outcome);
    bank.nBytes = outcome.nBytes;
    bank.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return PublishSource(part, m_strOutput);
}

Ending ImportCommand::EndingOf(const ImportOutcome& outcome) const {
    switch (outcome.end) {
        case ImportEnd::Done: return {};
        case ImportEnd::Cancelled: return {kExitProblem, m_strInput + ": " + Explain(outcome)};
        case ImportEnd::Refused:
        case ImportEnd::Unreadable: return {kExitBadInput, m_strInput + ": " + Explain(outcome)};
        case ImportEnd::NotWritten: return {kExitOutput, m_strOutput + ": " + Explain(outcome)};
        case ImportEnd::NoMemory: return {kExitNoMemory, m_strInput + ": " + Explain(outcome)};
    }
    return {kExitInternal, m_strInput + ": unknown end of an import"};
}

}  // namespace Kestrova
