#include "tools/kvbank/ImportReporter.h"

#include <array>

namespace Kestrova {
namespace {

struct EventRow {
    const char* pszName;  // in lines
    const char* pszKey;   // in the JSON document
    bool bAlwaysSaid;
};

// By ImportEvent.
constexpr std::array<EventRow, static_cast<size_t>(ImportEvent::Count)> kEvents = {{
    {"joined", "joined", false},
    {"copied", "copied", false},
    {"repaired", "repaired", true},
    {"dropped", "dropped", true},
    {"not carried", "not_carried", false},
}};

std::string LineOf(const EventRow& row, const ImportReport::Entry& entry) {
    std::string strLine = std::string(row.pszName) + ": " + entry.strWhat;
    if (!entry.strCause.empty()) strLine += ": " + entry.strCause;
    if (entry.nTimes > 1) strLine += " (" + std::to_string(entry.nTimes) + " times)";
    return strLine;
}

}  // namespace

void SayEntries(const ImportReport& report, Console& console) {
    for (size_t i = 0; i < kEvents.size(); ++i)
        for (const ImportReport::Entry& entry : report.Of(static_cast<ImportEvent>(i)))
            if (kEvents[i].bAlwaysSaid || console.bVerbose) console.Say(LineOf(kEvents[i], entry));
}

std::string SummaryOf(const ImportReport& report) {
    std::string strText;
    for (const ImportEvent event :
         {ImportEvent::Joined, ImportEvent::Copied, ImportEvent::Repaired, ImportEvent::Dropped})
        strText += (strText.empty() ? "" : ", ") + std::to_string(report.CountOf(event)) + " " +
                   kEvents[static_cast<size_t>(event)].pszName;
    return strText;
}

void AddToDocument(const ImportReport& report, Json& document) {
    for (size_t i = 0; i < kEvents.size(); ++i) {
        Json rows = Json::array();
        for (const ImportReport::Entry& entry : report.Of(static_cast<ImportEvent>(i))) {
            Json row = {{"what", entry.strWhat}};
            if (!entry.strCause.empty()) row["cause"] = entry.strCause;
            row["times"] = entry.nTimes;
            rows.push_back(row);
        }
        document[kEvents[i].pszKey] = rows;
    }
}

}  // namespace Kestrova
