#include "tools/kvbank/ImportReporter.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>

#include "bank/BankRates.h"
#include "tools/kvbank/terminal/PredictedSizes.h"

namespace Kestrova {
namespace {

constexpr size_t kMostKindsTold = 3;  // without -v

struct EventRow {
    const char* pszName;  // in lines
    const char* pszKey;   // in the JSON document; null: not there
    bool bTold;           // in lines of its own
    bool bToldAlways;     // not only with -v
};

// By ImportEvent.
constexpr std::array<EventRow, static_cast<size_t>(ImportEvent::Count)> kEvents = {{
    {"joined", "joined", true, false},
    {"copied", "copied", true, false},
    {"repaired", "repaired", true, true},
    {"dropped", "dropped", true, true},
    {"accepted", "accepted", true, true},
    {"not carried", "not_carried", true, false},
    {"not carried", nullptr, false, false},  // told in one line, by TellNotCarried
}};

std::string LineOf(const EventRow& row, const ImportReport::Entry& entry) {
    std::string strLine = std::string(row.pszName) + ": " + entry.strWhat;
    if (!entry.strCause.empty()) strLine += ": " + entry.strCause;
    if (entry.nTimes > 1) strLine += " (" + std::to_string(entry.nTimes) + " times)";
    return strLine;
}

Json RowsOf(const std::vector<ImportReport::Entry>& entries) {
    Json rows = Json::array();
    for (const ImportReport::Entry& entry : entries) {
        Json row = {{"what", entry.strWhat}};
        if (!entry.strCause.empty()) row["cause"] = entry.strCause;
        row["times"] = entry.nTimes;
        rows.push_back(row);
    }
    return rows;
}

std::string PresetRow(const std::string& strNumber, const std::string& strZones, const std::string& strPerKey,
                      const std::string& strUnsplit, const std::string& strName) {
    char columns[64];
    std::snprintf(columns, sizeof columns, "%-9s %5s %10s %10s  ", strNumber.c_str(), strZones.c_str(),
                  strPerKey.c_str(), strUnsplit.c_str());
    return columns + strName;
}

std::string SizeText(const std::optional<unsigned int>& nMegabytes) {
    return nMegabytes ? ReadableSize(*nMegabytes * kBytesPerMegabyte) : "-";
}

std::string RegionRow(const std::string& strPreset, const std::string& strKeys,
                      const std::string& strVelocities, const std::string& strSamples) {
    char columns[64];
    std::snprintf(columns, sizeof columns, "%-9s %-9s %-10s  ", strPreset.c_str(), strKeys.c_str(),
                  strVelocities.c_str());
    return columns + strSamples;
}

std::string RangeText(const MidiRange& range) {
    return std::to_string(range.nLow) + "-" + std::to_string(range.nHigh);
}

}  // namespace

std::string PresetText(const ProgramNumber& number) {
    return std::to_string(number.first) + ":" + std::to_string(number.second);
}

std::string SummaryOf(const ImportReport& report) {
    std::string strText;
    for (const ImportEvent event :
         {ImportEvent::Joined, ImportEvent::Copied, ImportEvent::Repaired, ImportEvent::Dropped})
        strText += (strText.empty() ? "" : ", ") + std::to_string(report.CountOf(event)) + " " +
                   kEvents[static_cast<size_t>(event)].pszName;
    return strText;
}

ImportReporter::ImportReporter(Console& console, std::string strInput, std::string strOutput)
    : m_console(console), m_strInput(std::move(strInput)), m_strOutput(std::move(strOutput)) {
    m_document["font"] = m_strInput;
    if (!m_strOutput.empty()) m_document["output"] = m_strOutput;
}

void ImportReporter::TellInput(const InstrumentFacts& facts) {
    if (!facts.strWarning.empty()) m_console.Warn(m_strInput + ": " + facts.strWarning);
    m_document["format"] = facts.strFormat;
    m_document["name"] = facts.strName;
    if (!facts.strVersion.empty()) m_document["version"] = facts.strVersion;
    if (facts.nBits != 0) m_document["bits"] = facts.nBits;
}

void ImportReporter::TellPresets(const std::vector<ListedPreset>& presets) {
    m_document["presets"] = Json::array();
    m_console.Say(PresetRow("PRESET", "ZONES", "PER-KEY", "UNSPLIT", "NAME"));
    for (const ListedPreset& preset : presets) {
        const InstrumentProgram& program = preset.program;
        m_console.Say(PresetRow(PresetText(program.number), std::to_string(program.nZones),
                                SizeText(preset.nPerKey), SizeText(preset.nUnsplit), program.strName));
        Json row = {{"bank", program.number.first},
                    {"program", program.number.second},
                    {"name", program.strName},
                    {"zones", program.nZones}};
        if (preset.nPerKey) row["per_key_mib"] = *preset.nPerKey;
        if (preset.nUnsplit) row["unsplit_mib"] = *preset.nUnsplit;
        m_document["presets"].push_back(row);
    }
    m_console.Say("PER-KEY, UNSPLIT: a per-key bank of the preset alone at " + std::to_string(kListedRate) +
                  " Hz, with its keys split or (--unsplit) not");
}

void ImportReporter::TellSizes(const PlanSpace& space) {
    std::vector<PredictedSize> sizes;
    for (const int nListed : iSPS) {
        const auto nRate = static_cast<unsigned int>(nListed);
        sizes.push_back({nRate, space.Predict(nRate, false), space.Predict(nRate, true)});
    }
    m_document["predicted"] = TellPredicted(m_console, sizes);
}

void ImportReporter::TellRule(const std::string& strRule, const ImportPlan& plan,
                              const ImportReport& report) {
    Json rows = Json::array();
    m_document["rule"] = strRule;
    std::istringstream rule(strRule);
    for (std::string strLine; std::getline(rule, strLine);) m_console.Say(strLine);
    m_console.Say(RegionRow("PRESET", "KEYS", "VELOCITIES", "SAMPLE"));
    for (const PlannedProgram& program : plan.programs)
        for (const PlannedRegion& region : program.regions) {
            const auto& [keys, velocities] = region.range;
            m_console.Say(RegionRow(PresetText(program.Number()), RangeText(keys), RangeText(velocities),
                                    region.strName));
            rows.push_back({{"bank", program.nBank},
                            {"program", program.nProgram},
                            {"low_key", keys.nLow},
                            {"high_key", keys.nHigh},
                            {"low_velocity", velocities.nLow},
                            {"high_velocity", velocities.nHigh},
                            {"name", region.strName}});
        }
    m_document["regions"] = rows;
    TellReport(report);
}

void ImportReporter::TellReport(const ImportReport& report) {
    for (size_t i = 0; i < kEvents.size(); ++i) {
        const EventRow& row = kEvents[i];
        const std::vector<ImportReport::Entry>& entries = report.Of(static_cast<ImportEvent>(i));
        if (row.pszKey != nullptr) m_document[row.pszKey] = RowsOf(entries);
        if (!row.bTold || !(row.bToldAlways || m_console.bVerbose)) continue;
        for (const ImportReport::Entry& entry : entries) m_console.Say(LineOf(row, entry));
    }
}

void ImportReporter::TellBank(const WrittenBank& bank, const ImportPlan& plan, const ImportReport& report) {
    m_document["counts"] = {{"presets", plan.programs.size()},  {"banks", plan.CountBanks()},
                            {"programs", plan.programs.size()}, {"regions", plan.CountRegions()},
                            {"layers", plan.CountLayers()},     {"samples", plan.waves.size()}};
    m_document["bytes"] = bank.nBytes;
    m_document["seconds"] = bank.seconds;
    m_console.Say(m_strOutput + ": " + Counted(plan.CountBanks(), "bank") + ", " +
                  Counted(plan.programs.size(), "preset") + ", " + Counted(plan.CountRegions(), "region") +
                  ", " + Counted(plan.CountLayers(), "layer") + ", " + Counted(plan.waves.size(), "sample") +
                  "; " + SummaryOf(report));
    m_console.Say(m_strOutput + ": " + ReadableSize(bank.nBytes) + " in " + ReadableTime(bank.seconds));
    TellNotCarried(report);
}

void ImportReporter::TellNotCarried(const ImportReport& report) {
    std::vector<ImportReport::Entry> kinds = report.Of(ImportEvent::LeftOutKind);
    if (kinds.empty()) return;
    std::stable_sort(kinds.begin(), kinds.end(),
                     [](const auto& a, const auto& b) { return a.nTimes > b.nTimes; });
    const size_t nTold = m_console.bVerbose ? kinds.size() : std::min(kinds.size(), kMostKindsTold);
    std::string strLine;
    for (size_t i = 0; i < nTold; ++i)
        strLine += (i == 0 ? "" : ", ") + kinds[i].strWhat + " on " + Grouped(kinds[i].nTimes) +
                   (kinds[i].nTimes == 1 ? " layer" : " layers");
    if (nTold < kinds.size()) strLine += "; -v names " + std::to_string(kinds.size() - nTold) + " more";
    m_console.Say(m_strOutput + ": not carried: " + strLine);
}

Progress ImportReporter::MakeBar() const {
    return Progress(m_console, std::filesystem::path(m_strOutput).filename().string(), 0);
}

int ImportReporter::Finish(const Ending& ending) {
    if (!ending.IsDone()) m_console.Error(ending.strError);
    return m_console.Finish("import", ending.code, m_document);
}

}  // namespace Kestrova
