#include "tools/kvbank/ImportReport.h"

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

void ImportReport::Note(ImportEvent event, const std::string& strWhat, const std::string& strCause,
                        uint64_t nTimes) {
    std::vector<Entry>& list = m_lists[static_cast<size_t>(event)];
    const auto [place, bNew] =
        m_places[static_cast<size_t>(event)].try_emplace({strWhat, strCause}, list.size());
    if (bNew) list.push_back({strWhat, strCause, 0});
    list[place->second].nTimes += nTimes;
}

bool ImportReport::HasLosses() const {
    return !Of(ImportEvent::Repaired).empty() || !Of(ImportEvent::Dropped).empty();
}

void ImportReport::SayEntries(Console& console) const {
    for (size_t i = 0; i < kLists; ++i)
        for (const Entry& entry : m_lists[i])
            if (kEvents[i].bAlwaysSaid || console.bVerbose) console.Say(LineOf(kEvents[i], entry));
}

uint64_t ImportReport::CountOf(ImportEvent event) const {
    if (event == ImportEvent::Repaired || event == ImportEvent::Dropped) return Of(event).size();
    uint64_t nTimes = 0;
    for (const Entry& entry : Of(event)) nTimes += entry.nTimes;
    return nTimes;
}

std::string ImportReport::Summary() const {
    std::string strText;
    for (const ImportEvent event :
         {ImportEvent::Joined, ImportEvent::Copied, ImportEvent::Repaired, ImportEvent::Dropped})
        strText += (strText.empty() ? "" : ", ") + std::to_string(CountOf(event)) + " " +
                   kEvents[static_cast<size_t>(event)].pszName;
    return strText;
}

void ImportReport::AddTo(Json& report) const {
    for (size_t i = 0; i < kLists; ++i) {
        Json rows = Json::array();
        for (const Entry& entry : m_lists[i]) {
            Json row = {{"what", entry.strWhat}};
            if (!entry.strCause.empty()) row["cause"] = entry.strCause;
            row["times"] = entry.nTimes;
            rows.push_back(row);
        }
        report[kEvents[i].pszKey] = rows;
    }
}

}  // namespace Kestrova
