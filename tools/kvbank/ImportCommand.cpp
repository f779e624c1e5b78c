#include "tools/kvbank/ImportCommand.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>

#include "import/soundfont/SoundFontImport.h"
#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/ImportReporter.h"
#include "tools/kvbank/folder/PartFile.h"
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

std::string PresetText(const PresetNumber& number) {
    return std::to_string(number.first) + ":" + std::to_string(number.second);
}

// The engine names banks by the source's name up to its first dot; without one it takes no source.
bool IsSourceName(const std::string& strName) {
    const size_t nDot = strName.find('.');
    return nDot != std::string::npos && nDot != 0;
}

std::string PresetRow(const std::string& strNumber, const std::string& strZones, const std::string& strName) {
    char columns[32];
    std::snprintf(columns, sizeof columns, "%-9s %5s  ", strNumber.c_str(), strZones.c_str());
    return columns + strName;
}

ExitCode ExitCodeOf(ImportEnd end) {
    switch (end) {
        case ImportEnd::Done: return kExitDone;
        case ImportEnd::Cancelled: return kExitProblem;
        case ImportEnd::Unreadable: return kExitBadInput;
        case ImportEnd::NotWritten: return kExitOutput;
        case ImportEnd::NoMemory: return kExitNoMemory;
    }
    return kExitInternal;
}

}  // namespace

void ImportCommand::Describe(CLI::App& verb) {
    verb.add_option("FONT", m_strFont, "the SoundFont file, version 2.01 to 2.04")->required();
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
            "only this preset; may be given again for more")
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
    Json report = {{"font", m_strFont}};
    ExitCode code = m_bList ? kExitDone : CheckOutput(console);
    if (code == kExitDone && !m_font.Open(m_strFont)) {
        console.Error(m_strFont + ": " + m_font.GetError());
        code = kExitBadInput;
    }
    if (code != kExitDone) return console.Finish("import", code, report);
    report["name"] = m_font.GetName();
    report["version"] = m_font.GetVersion();
    report["bits"] = m_font.GetBits();
    code = CheckPresets(console);
    if (code == kExitDone) code = m_bList ? ListPresets(console, report) : Import(console, report);
    return console.Finish("import", code, report);
}

ExitCode ImportCommand::CheckOutput(Console& console) const {
    std::error_code ignored;
    if (m_strOutput.empty()) {
        console.Error("-o OUT is required");
    } else if (!IsSourceName(fs::path(m_strOutput).filename().string())) {
        console.Error(m_strOutput +
                      ": give it a name with an extension; banks are named by what is before it");
    } else if (fs::equivalent(m_strFont, m_strOutput, ignored)) {
        console.Error(m_strOutput + ": this is the SoundFont file itself");
    } else if (fs::exists(m_strOutput, ignored) && !fs::is_regular_file(m_strOutput, ignored)) {
        console.Error(m_strOutput + ": this is not a file");
    } else if (fs::exists(m_strOutput, ignored) && !m_bForce) {
        console.Error(m_strOutput + ": there already; -f replaces it");
    } else {
        return kExitDone;
    }
    return kExitUsage;
}

ExitCode ImportCommand::CheckPresets(Console& console) const {
    const std::span<const FontPreset> presets = m_font.GetPresets();
    for (const PresetNumber& number : m_presets) {
        const bool bThere = std::any_of(presets.begin(), presets.end(), [&](const FontPreset& preset) {
            return PresetNumber{preset.nBank, preset.nProgram} == number;
        });
        if (bThere) continue;
        console.Error(m_strFont + ": there is no preset " + PresetText(number));
        return kExitUsage;
    }
    return kExitDone;
}

ExitCode ImportCommand::ListPresets(Console& console, Json& report) const {
    std::vector<const FontPreset*> presets;
    for (const FontPreset& preset : m_font.GetPresets())
        if (m_presets.empty() || m_presets.count({preset.nBank, preset.nProgram}) != 0)
            presets.push_back(&preset);
    std::stable_sort(presets.begin(), presets.end(), [](const FontPreset* a, const FontPreset* b) {
        return PresetNumber{a->nBank, a->nProgram} < PresetNumber{b->nBank, b->nProgram};
    });
    report["presets"] = Json::array();
    console.Say(PresetRow("PRESET", "ZONES", "NAME"));
    for (const FontPreset* const pPreset : presets) {
        const size_t nZones = MergePresetZones(pPreset->zones).zones.size();
        console.Say(PresetRow(PresetText({pPreset->nBank, pPreset->nProgram}), std::to_string(nZones),
                              pPreset->strName));
        report["presets"].push_back({{"bank", pPreset->nBank},
                                     {"program", pPreset->nProgram},
                                     {"name", pPreset->strName},
                                     {"zones", nZones}});
    }
    return kExitDone;
}

ExitCode ImportCommand::Import(Console& console, Json& report) {
    ImportPlan plan;
    ExitCode code = MakePlan(console, plan);
    if (code == kExitDone) {
        report["output"] = m_strOutput;
        code = WriteBank(console, plan, report);
    }
    AddToDocument(m_report, report);
    return code;
}

// Everything that could be lost is known before the first byte is written.
ExitCode ImportCommand::MakePlan(Console& console, ImportPlan& plan) {
    if (!m_font.GetWarning().empty()) {
        console.Warn(m_strFont + ": " + m_font.GetWarning());
        m_report.Note(ImportEvent::Dropped, "24-bit part", "it does not fit the font");
    }
    SoundFontPlanner planner(m_font, m_report);
    if (!planner.Make(m_presets, plan)) {
        console.Error(m_strFont + ": its zones meet more than " +
                      std::to_string(SoundFontPlanner::kMostMeetings) + " times");
        return kExitBadInput;
    }
    SayEntries(m_report, console);
    if (CancelSignal() != 0) {
        console.Error(m_strFont + ": " + DescribeResult(kBankCancelled));
        return kExitProblem;
    }
    if (m_bStrict && m_report.HasLosses()) {
        console.Error(m_strFont +
                      ": nothing is written, for not all of it would be whole: " + SummaryOf(m_report));
        return kExitLoss;
    }
    if (!plan.waves.empty()) return kExitDone;
    console.Error(m_strFont + ": nothing sounds in it");
    return kExitBadInput;
}

ExitCode ImportCommand::WriteBank(Console& console, const ImportPlan& plan, Json& report) const {
    const auto start = std::chrono::steady_clock::now();
    PartFile part(m_strOutput);
    if (part.Path().empty()) {
        console.Error(m_strOutput + ": " + std::strerror(errno));
        return kExitOutput;
    }
    SoundFontImport import(m_font, plan);
    ExitCode code = kExitDone;
    {
        Progress progress(console, fs::path(m_strOutput).filename().string(), 0);
        code = ExitCodeOf(import.Write(part.Path().string(), [&](double fraction, uint64_t nBytes) {
            progress.Show(fraction, nBytes);
        }));
    }
    if (code == kExitDone && CancelSignal() != 0) code = kExitProblem;
    if (code != kExitDone) {
        const bool bInput = code == kExitBadInput || code == kExitProblem;
        console.Error((bInput ? m_strFont : m_strOutput) + ": " +
                      (code == kExitProblem ? DescribeResult(kBankCancelled) : import.GetError()));
        return code;
    }
    if (!part.Publish()) {
        console.Error(m_strOutput + ": " + std::strerror(errno));
        return kExitOutput;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    report["counts"] = {{"presets", plan.programs.size()},  {"banks", plan.CountBanks()},
                        {"programs", plan.programs.size()}, {"regions", plan.CountRegions()},
                        {"layers", plan.CountLayers()},     {"samples", plan.waves.size()}};
    report["bytes"] = import.GetBytes();
    report["seconds"] = seconds;
    console.Say(m_strOutput + ": " + Counted(plan.CountBanks(), "bank") + ", " +
                Counted(plan.programs.size(), "preset") + ", " + Counted(plan.CountRegions(), "region") +
                ", " + Counted(plan.CountLayers(), "layer") + ", " + Counted(plan.waves.size(), "sample") +
                "; " + SummaryOf(m_report));
    console.Say(m_strOutput + ": " + ReadableSize(import.GetBytes()) + " in " + ReadableTime(seconds));
    return kExitDone;
}

}  // namespace Kestrova
