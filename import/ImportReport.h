// ImportReport.h - what an import joined, copied, repaired, dropped and left out, by name: data, which a
// reporter tells.
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
    Dropped,   // something the font holds is not in the bank
    LeftOut,   // a setting that no record expresses
    Count
};

class ImportReport {
public:
    struct Entry {
        std::string strWhat;   // "sample "Piano C4""
        std::string strCause;  // may be empty
        uint64_t nTimes = 0;
    };

    // Equal events become one entry; entries keep the order of their first time.
    void Note(ImportEvent event, const std::string& strWhat, const std::string& strCause = "",
              uint64_t nTimes = 1);

    const std::vector<Entry>& Of(ImportEvent event) const { return m_lists[static_cast<size_t>(event)]; }

    // What --strict forbids: anything repaired or dropped.
    bool HasLosses() const;

    // Records that were joined, copied or left out; or how many different things were repaired and dropped,
    // however often each was met.
    uint64_t CountOf(ImportEvent event) const;

private:
    static constexpr size_t kLists = static_cast<size_t>(ImportEvent::Count);
    std::array<std::vector<Entry>, kLists> m_lists;
    std::array<std::map<std::pair<std::string, std::string>, size_t>, kLists> m_places;
};

}  // namespace Kestrova
