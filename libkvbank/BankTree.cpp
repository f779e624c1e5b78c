#include "libkvbank/BankTree.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "include/kvbank.h"

namespace Kestrova {
namespace {

constexpr uint32_t kSdbNoID = 0xFFFFFFFF;

// The rows of notes by their ids; of notes with the same id the first counts.
class RowsById {
public:
    explicit RowsById(const std::vector<Note>& notes) {
        m_rows.reserve(notes.size());
        for (const Note& note : notes) m_rows.emplace_back(note.id, static_cast<uint32_t>(m_rows.size()));
        if (!std::is_sorted(m_rows.begin(), m_rows.end())) std::sort(m_rows.begin(), m_rows.end());
    }

    // KVB_NONE when there is none.
    uint32_t Find(uint32_t id) const {
        const auto it = std::lower_bound(m_rows.begin(), m_rows.end(), std::pair<uint32_t, uint32_t>{id, 0});
        return it != m_rows.end() && it->first == id ? it->second : KVB_NONE;
    }

private:
    std::vector<std::pair<uint32_t, uint32_t>> m_rows;  // id, row
};

// Puts the children in the order of their parents and drops those of none. Their parents' rows then stand
// in idParent.
void GroupByParent(const std::vector<Note>& parents, std::vector<Note>& children) {
    const RowsById rows(parents);
    for (Note& child : children) child.idParent = rows.Find(child.idParent);
    std::erase_if(children, [](const Note& child) { return child.idParent == KVB_NONE; });
    const auto isBefore = [](const Note& a, const Note& b) { return a.idParent < b.idParent; };
    if (!std::is_sorted(children.begin(), children.end(), isBefore))
        std::stable_sort(children.begin(), children.end(), isBefore);
}

// Adds a row to those of its parent. REQUIRES: rows come in the order of their parents.
void Extend(Rows& rows, size_t nRow) {
    if (rows.nCount++ == 0) rows.nFirst = static_cast<uint32_t>(nRow);
}

bool FitsRows(const NoteList& notes) {
    const size_t nMost = std::max({notes.banks.size(), notes.programs.size(), notes.regions.size(),
                                   notes.layers.size(), notes.samples.size()});
    return nMost < std::numeric_limits<uint32_t>::max();
}

}  // namespace

int BankTree::Build(std::span<const uint8_t> file, NoteList& notes) {
    bEnriched = notes.bEnriched;
    for (const Note& note : notes.samples) samples.push_back({note.body, note.id});
    const bool bRead = FitsRows(notes) && ReadInfo(file, notes) && ReadPrograms(file, notes) &&
                       ReadRegions(file, notes) && ReadLayers(file, notes);
    return bRead ? KVB_OK : KVB_ERROR_DAMAGED;
}

bool BankTree::ReadInfo(std::span<const uint8_t> file, const NoteList& notes) {
    return notes.info ? info.Read(file, notes.info->body) : !bEnriched;
}

bool BankTree::ReadPrograms(std::span<const uint8_t> file, NoteList& notes) {
    GroupByParent(notes.banks, notes.programs);
    for (const Note& note : notes.programs) {
        BankRecord bank;
        ProgramRecord program;
        if (!bank.Read(file, notes.banks[note.idParent].body) || !program.Read(file, note.body)) return false;
        programs.push_back({note.body, bank.nNumber, program.nNumber, {}});
    }
    return true;
}

bool BankTree::ReadRegions(std::span<const uint8_t> file, NoteList& notes) {
    GroupByParent(notes.programs, notes.regions);
    regions.reserve(notes.regions.size());
    for (const Note& note : notes.regions) {
        RegionRecord region;
        if (!region.Read(file, note.body)) return false;
        Extend(programs[note.idParent].regions, regions.size());
        regions.push_back({note.body, note.idParent, region.nLowKey, region.nHighKey, region.nLowVelocity,
                           region.nHighVelocity, Rows{}});
    }
    return true;
}

bool BankTree::ReadLayers(std::span<const uint8_t> file, NoteList& notes) {
    GroupByParent(notes.regions, notes.layers);
    const RowsById sampleRows(notes.samples);
    layers.reserve(notes.layers.size());
    for (const Note& note : notes.layers) {
        LayerRecord layer;
        if (!layer.Read(file, note.body)) return false;
        const uint32_t nSample = layer.idSample == kSdbNoID ? KVB_NONE : sampleRows.Find(layer.idSample);
        if (nSample == KVB_NONE && layer.idSample != kSdbNoID) return false;
        Extend(regions[note.idParent].layers, layers.size());
        layers.push_back({nSample, layer.values});
    }
    return true;
}

}  // namespace Kestrova
