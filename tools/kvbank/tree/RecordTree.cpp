#include "tools/kvbank/tree/RecordTree.h"

#include <algorithm>
#include <utility>

namespace Kestrova {
namespace {

class TreeMaker {
public:
    explicit TreeMaker(const NoteScan& scan) : m_scan(scan), m_placed(scan.Notes().size()) {
        for (const SDBNOTE& note : scan.Notes())
            if (note.IsLive() && ParentOf(note) != nullptr) m_byParent.push_back(&note);
        std::stable_sort(m_byParent.begin(), m_byParent.end(),
                         [](const SDBNOTE* a, const SDBNOTE* b) { return a->idParent < b->idParent; });
    }

    std::vector<TreeRow> Make() {
        for (const SDBNOTE& note : m_scan.Notes()) {
            if (!note.IsLive() || ParentOf(note) != nullptr) continue;
            const bool bTop = note.idParent == kSdbNoID;
            Place({&note, 1, bTop ? TreeFault::None : TreeFault::MissingParent});
        }
        // What is left lies in a circle of parents, or below one.
        for (const SDBNOTE& note : m_scan.Notes())
            if (note.IsLive() && !IsPlaced(note)) Place({&OnCircle(note), 1, TreeFault::OwnAncestor});
        return std::move(m_rows);
    }

private:
    const SDBNOTE* ParentOf(const SDBNOTE& note) const {
        return note.idParent == kSdbNoID ? nullptr : m_scan.Find(note.idParent);
    }

    size_t IndexOf(const SDBNOTE& note) const { return static_cast<size_t>(&note - m_scan.Notes().data()); }
    bool IsPlaced(const SDBNOTE& note) const { return m_placed[IndexOf(note)]; }

    // Climbs until a record comes again: that one is on the circle. What is passed will all be placed below
    // it, so no record is passed in two climbs.
    const SDBNOTE& OnCircle(const SDBNOTE& note) {
        m_passed.resize(m_placed.size());
        const SDBNOTE* pNote = &note;
        for (; !m_passed[IndexOf(*pNote)]; pNote = ParentOf(*pNote)) m_passed[IndexOf(*pNote)] = true;
        return *pNote;
    }

    // Places a record and all below it.
    void Place(const TreeRow& top) {
        std::vector<TreeRow> waiting = {top};  // the next to be placed is the last
        while (!waiting.empty()) {
            const TreeRow row = waiting.back();
            waiting.pop_back();
            if (IsPlaced(*row.pNote)) continue;
            m_placed[IndexOf(*row.pNote)] = true;
            m_rows.push_back(row);
            const auto [pFirst, pEnd] = ChildrenOf(*row.pNote);
            for (auto pChild = pEnd; pChild != pFirst;)
                waiting.push_back({*--pChild, row.nLevel + 1, TreeFault::None});
        }
    }

    using Children = std::vector<const SDBNOTE*>::const_iterator;
    std::pair<Children, Children> ChildrenOf(const SDBNOTE& note) const {
        if (m_scan.Find(note.idNote) != &note) return {m_byParent.end(), m_byParent.end()};
        struct ByParent {
            bool operator()(const SDBNOTE* pNote, uint32_t id) const { return pNote->idParent < id; }
            bool operator()(uint32_t id, const SDBNOTE* pNote) const { return id < pNote->idParent; }
        };
        return std::equal_range(m_byParent.begin(), m_byParent.end(), note.idNote, ByParent());
    }

    const NoteScan& m_scan;
    std::vector<const SDBNOTE*> m_byParent;  // those that have one, by its id, then in file order
    std::vector<bool> m_placed;              // by place in the file
    std::vector<bool> m_passed;              // in a climb; empty before the first
    std::vector<TreeRow> m_rows;
};

}  // namespace

std::vector<TreeRow> MakeTree(const NoteScan& scan) { return TreeMaker(scan).Make(); }

}  // namespace Kestrova
