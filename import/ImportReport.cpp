#include "import/ImportReport.h"

namespace Kestrova {

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

uint64_t ImportReport::CountOf(ImportEvent event) const {
    if (event == ImportEvent::Repaired || event == ImportEvent::Dropped) return Of(event).size();
    uint64_t nTimes = 0;
    for (const Entry& entry : Of(event)) nTimes += entry.nTimes;
    return nTimes;
}

}  // namespace Kestrova
