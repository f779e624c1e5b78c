// ImportReport.h - what an import joined, copied, repaired, dropped, accepted and left out, by name. It is
// data only: each program prints it in its own way.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Kestrova {

enum class ImportEvent {
    Joined,    // two mono samples became one of two channels
    Copied,    // a sample was written again, for a use with another root key, tune, loop or range of frames
    Repaired,  // a value was changed to make it usable
    Dropped,   // something the file holds is not in the bank
    Accepted,  // the format forbids it, but its meaning is clear and nothing was lost
    LeftOut,   // a setting that no record expresses; counted by its uses in the file
    LeftOutKind,  // a kind of such settings, as "filters"; counted by the layers that have any of them
    Count
};

class ImportReport {
public:
    struct Entry {
        std::string strWhat;   // "sample "Piano C4""
        std::string strCause;  // may be empty
        uint64_t nTimes = 0;
    };

    // Equal events become one entry; entries stand in the order in which they were first noted.
    void Note(ImportEvent event, const std::string& strWhat, const std::string& strCause = "",
              uint64_t nTimes = 1);

    const std::vector<Entry>& Of(ImportEvent event) const { return m_lists[static_cast<size_t>(event)]; }

    // Anything repaired or dropped.
    bool HasLosses() const;

    // How many different things were repaired or dropped, however often each was met. For the
    // other events: how often they were noted.
    uint64_t CountOf(ImportEvent event) const;

private:
    static constexpr size_t kLists = static_cast<size_t>(ImportEvent::Count);
    std::array<std::vector<Entry>, kLists> m_lists;
    std::array<std::map<std::pair<std::string, std::string>, size_t>, kLists> m_places;
};

}  // namespace Kestrova
