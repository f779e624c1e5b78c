#include "tools/kvbank/ImportCommand.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <optional>
#include <system_error>

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

ImportWatch WatchForSignals() {
    ImportWatch watch;
    watch.isStopped = [] { return CancelSignal() != 0; };
    return watch;
}

}  // namespace

void ImportCommand::Describe(CLI::App& verb) {
    verb.add_option("INPUT", m_strInput, "what to import: a SoundFont file, version 2.01 to 2.04")
        ->required();
    verb.add_option("-o,--output", m_strOutput, "the source bank to make")->type_name("OUT");
    verb.add_option_function<std::vector<std::string>>(
            "--preset",
            [this](const std::vector<std::string>& presets) {
                for (const std::string& strPreset : presets) {
                    const std::optional<ProgramNumber> number = ParsePreset(strPreset);
                    if (!number)
                        throw CLI::ValidationError("--preset",
                                                   "'" + strPreset + "': give bank and program as 0:12");
                    m_presets.insert(*number);
                }
            },
            "only this preset; may be given several times")
        ->type_name("BANK:PROGRAM")
        ->type_size(1)
        ->expected(1)
        ->allow_extra_args(false)  // one for each --preset: what follows may be the input
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    verb.add_flag("--list", m_bList, "only list the presets");
    verb.add_flag("--strict", m_bStrict, "fail (exit code 6) when anything would be repaired or dropped");
    verb.add_flag("-f,--force", m_bForce, "replace OUT when it is there");
}

int ImportCommand::Run(Console& console) {
    ImportReporter reporter(console, m_strInput, m_strOutput);
    return reporter.Finish(m_bList ? List(reporter) : Import(reporter));
}

Ending ImportCommand::List(ImportReporter& reporter) {
    Ending ending = OpenInput(reporter);
    if (ending.IsDone()) reporter.TellPresets(ChosenPresets());
    return ending;
}

// Everything that could be lost is known before the first byte is written.
Ending ImportCommand::Import(ImportReporter& reporter) {
    Ending ending = CheckOutput();
    if (ending.IsDone()) ending = OpenInput(reporter);
    if (!ending.IsDone()) return ending;
    ImportPlan plan;
    ending = EndingOf(m_pInstrument->MakePlan(m_presets, plan, m_report, WatchForSignals()));
    reporter.TellReport(m_report);
    if (ending.IsDone()) ending = CheckPlan(plan);
    WrittenBank bank;
    if (ending.IsDone()) ending = WriteBank(plan, reporter, bank);
    if (ending.IsDone()) reporter.TellBank(bank, plan, m_report);
    return ending;
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
    const std::vector<InstrumentProgram> programs = m_pInstrument->GetPrograms();
    for (const ProgramNumber& number : m_presets) {
        const bool bThere =
            std::any_of(programs.begin(), programs.end(),
                        [&](const InstrumentProgram& program) { return program.number == number; });
        if (!bThere) return {kExitUsage, m_strInput + ": there is no preset " + PresetText(number)};
    }
    return {};
}

std::vector<InstrumentProgram> ImportCommand::ChosenPresets() const {
    std::vector<InstrumentProgram> programs = m_pInstrument->GetPrograms();
    std::erase_if(programs, [this](const InstrumentProgram& program) {
        return !m_presets.empty() && m_presets.count(program.number) == 0;
    });
    return programs;
}

Ending ImportCommand::CheckPlan(const ImportPlan& plan) const {
    if (m_bStrict && m_report.HasLosses())
        return {kExitLoss,
                m_strInput + ": nothing is written, because --strict forbids losses: " + SummaryOf(m_report)};
    if (plan.waves.empty()) return EndingOf(Refused("no preset plays a sample"));
    return {};
}

Ending ImportCommand::WriteBank(const ImportPlan& plan, const ImportReporter& reporter,
                                WrittenBank& bank) const {
    const auto start = std::chrono::steady_clock::now();
    PartFile part(m_strOutput);
    if (part.Path().empty()) return EndingOf(NotWritten(errno, "the file cannot be created"));
    ImportOutcome outcome;
    {
        Progress bar = reporter.MakeBar();
        ImportWatch watch = WatchForSignals();
        watch.progress = [&bar](double fraction, uint64_t nBytes) { bar.Show(fraction, nBytes); };
        outcome = WriteSourceBank(part.Path().string(), plan, *m_pInstrument, watch);
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
