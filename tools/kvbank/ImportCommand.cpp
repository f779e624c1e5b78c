#include "tools/kvbank/ImportCommand.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <optional>
#include <system_error>

#include "import/SourceBankWriter.h"
#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/NewSource.h"
#include "tools/kvbank/terminal/Progress.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

// "0:12" as bank and program.
std::optional<PresetNumber> ParsePreset(const std::string& strText) {
    PresetNumber number{};
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
    verb.add_option("FONT", m_strFont, "the SoundFont file: version 2, that is 2.01 to 2.04")->required();
    verb.add_option("-o,--output", m_strOutput, "the source bank to make")->type_name("OUT");
    verb.add_option_function<std::vector<std::string>>(
            "--preset",
            [this](const std::vector<std::string>& presets) {
                for (const std::string& strPreset : presets) {
                    const std::optional<PresetNumber> number = ParsePreset(strPreset);
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
        ->allow_extra_args(false)  // one for each --preset: what follows may be the font
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    verb.add_flag("--list", m_bList, "only list the presets");
    verb.add_flag("--strict", m_bStrict, "fail (exit code 6) when anything would be repaired or dropped");
    verb.add_flag("-f,--force", m_bForce, "replace OUT when it is there");
}

int ImportCommand::Run(Console& console) {
    ImportReporter reporter(console, m_strFont, m_strOutput);
    return reporter.Finish(m_bList ? List(reporter) : Import(reporter));
}

Ending ImportCommand::List(ImportReporter& reporter) {
    Ending ending = OpenFont(reporter);
    if (ending.IsDone()) reporter.TellPresets(ChosenPresets());
    return ending;
}

// Everything that could be lost is known before the first byte is written.
Ending ImportCommand::Import(ImportReporter& reporter) {
    Ending ending = CheckOutput();
    if (ending.IsDone()) ending = OpenFont(reporter);
    if (!ending.IsDone()) return ending;
    SoundFontPlan plan;
    ending = EndingOf(SoundFontPlanner(m_font, m_report).Make(m_presets, plan, WatchForSignals()));
    reporter.TellReport(m_report);
    if (ending.IsDone()) ending = CheckPlan(plan);
    WrittenBank bank;
    if (ending.IsDone()) ending = WriteBank(plan, reporter, bank);
    if (ending.IsDone()) reporter.TellBank(bank, plan.bank, m_report);
    return ending;
}

Ending ImportCommand::CheckOutput() const {
    std::error_code ignored;
    if (m_strOutput.empty()) return {kExitUsage, "-o OUT is required"};
    if (fs::equivalent(m_strFont, m_strOutput, ignored))
        return {kExitUsage, m_strOutput + ": this is the SoundFont file itself"};
    return CheckNewSource(m_strOutput, m_bForce);
}

Ending ImportCommand::OpenFont(ImportReporter& reporter) {
    if (Ending ending = EndingOf(m_font.Open(m_strFont)); !ending.IsDone()) return ending;
    reporter.TellFont({m_font.GetName(), m_font.GetVersion(), m_font.GetBits(), m_font.GetWarning()});
    return CheckPresets();
}

Ending ImportCommand::CheckPresets() const {
    const std::span<const FontPreset> presets = m_font.GetPresets();
    for (const PresetNumber& number : m_presets) {
        const bool bThere = std::any_of(presets.begin(), presets.end(), [&](const FontPreset& preset) {
            return PresetNumber{preset.nBank, preset.nProgram} == number;
        });
        if (!bThere)
            return {kExitUsage,
                    m_strFont + ": there is no preset " + PresetText(number.first, number.second)};
    }
    return {};
}

std::vector<PresetFacts> ImportCommand::ChosenPresets() const {
    std::vector<PresetFacts> presets;
    for (const FontPreset& preset : m_font.GetPresets())
        if (m_presets.empty() || m_presets.count({preset.nBank, preset.nProgram}) != 0)
            presets.push_back(
                {preset.nBank, preset.nProgram, preset.strName, MergePresetZones(preset.zones).zones.size()});
    std::stable_sort(presets.begin(), presets.end(), [](const PresetFacts& a, const PresetFacts& b) {
        return PresetNumber{a.nBank, a.nProgram} < PresetNumber{b.nBank, b.nProgram};
    });
    return presets;
}

Ending ImportCommand::CheckPlan(const SoundFontPlan& plan) const {
    if (m_bStrict && m_report.HasLosses())
        return {kExitLoss,
                m_strFont + ": nothing is written, because --strict forbids losses: " + SummaryOf(m_report)};
    if (plan.waves.empty()) return EndingOf(Refused("no preset plays a sample"));
    return {};
}

Ending ImportCommand::WriteBank(const SoundFontPlan& plan, const ImportReporter& reporter,
                                WrittenBank& bank) const {
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
        outcome = WriteSourceBank(part.Path().string(), plan.bank, SoundFontWaves(m_font, plan.waves), watch);
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
        case ImportEnd::Cancelled: return {kExitProblem, m_strFont + ": " + Explain(outcome)};
        case ImportEnd::Refused:
        case ImportEnd::Unreadable: return {kExitBadInput, m_strFont + ": " + Explain(outcome)};
        case ImportEnd::NotWritten: return {kExitOutput, m_strOutput + ": " + Explain(outcome)};
        case ImportEnd::NoMemory: return {kExitNoMemory, m_strFont + ": " + Explain(outcome)};
    }
    return {kExitInternal, m_strFont + ": unknown end of an import"};
}

}  // namespace Kestrova
