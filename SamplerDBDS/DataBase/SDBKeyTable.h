// SDBKeyTable.h - the index, in memory, of one open database file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "SamplerDBDS/DataBase/SDBFormat.h"
#include "SamplerDBDS/DataBase/SDBIdMap.h"
#include "SamplerDBDS/DataBase/SDBTypeTree.h"

namespace Kestrova {

class CXFile;

// One entry per note of the file, in file order, and the searches over them. A deleted note keeps its entry
// and its id, but no search finds it any more.
// Threads: none of its own. Searches may run in parallel while no thread changes the table.
// Owner:   owns its entries; a pointer returned here is good until the next Rebuild or Clear.
// Errors:  searches return nullptr for "no such live note"; Rebuild and Append return false, also when memory
//          runs out.
// Cost:    every step O(log n), whatever was deleted. Memory for each of a million notes, their 24 bytes of
//          SDBNOTE included: 46 bytes without parents, 44 with ten children to a parent, 65 with one, and 53
//          with two of different types. Ids that lie far apart take up to 54 more, and so do parents' ids.
//          The Memory rows of bench/DatabaseBench.cpp measure it.
class CSDBKeyTable {
public:
    // Lists the notes of an open file, by its quick-load table when the first note is one, else by a scan.
    // bDirty is set when a scanned note has a state other than 0. On failure the table is left empty; the
    // file then tells the first failed operation, ENOMEM for want of memory, or no error when its quick-load
    // table is cut short.
    bool Rebuild(CXFile& file, bool& bDirty);
    void Clear();

    // The file that Rebuild read begins with a quick-load table: whoever opens it lists what the table has.
    bool HasTable() const { return m_bHasTable; }

    bool Append(const SDBNOTE& note);
    // Sets bit 7 of the state. REQUIRES: an entry of this table.
    void MarkDeleted(const SDBNOTE* note);

    // Entries by number, deleted ones too.
    size_t GetCount() const { return m_arEntries.size(); }
    const SDBNOTE& operator[](size_t n) const { return m_arEntries[n]; }

    // The first live note in file order that is asked for; a type above 254 is any.
    const SDBNOTE* FindLive(uint32_t id) const;
    const SDBNOTE* FindAfter(const SDBNOTE* after, uint32_t nType) const;  // null: from the head
    const SDBNOTE* FindChild(uint32_t idParent, uint32_t nType) const;
    // Behind `note`, under its parent. The note may be of another type, and deleted meanwhile.
    const SDBNOTE* FindSibling(const SDBNOTE* note, uint32_t nType) const;

    // An id that no entry, live or deleted, has as its id or as its parent; false when there is none left.
    bool TakeNewID(uint32_t& id);
    uint32_t GetNextID() const { return m_nNextID; }

private:
    struct Entry : SDBNOTE {
        Entry(const SDBNOTE& note, uint32_t nAt) : SDBNOTE(note), nIndex(nAt) {}

        uint32_t nIndex;
        uint32_t nNextSibling = kNone;  // the next entry, live or not, with the same parent
    };

    // The entries of one parent, live or not.
    struct Family {
        uint32_t nFirst = kNone;
        uint32_t nLast = kNone;
        uint32_t nCount = 0;
        uint32_t nLarge = kNone;  // in m_arLarge, for more than kSmallFamily entries
    };

    // What a large family needs besides, because its entries cannot be walked one by one.
    struct LargeFamily {
        std::vector<uint32_t> arEntries;  // in file order
        CSDBTypeTree tree;                // over them

        size_t PlaceOf(uint32_t nEntry) const;
    };

    enum class QuickLoad { kLoaded, kFailed, kNotUsable };

    static constexpr uint32_t kNone = CSDBIdMap::kNone;
    static constexpr uint32_t kSmallFamily = 32;

    bool ReadNotes(CXFile& file, bool& bDirty);
    QuickLoad ReadQuickLoad(CXFile& file, const SDBNOTE& first);
    bool ListQuickLoad(CXFile& file, const uint8_t* pTable, size_t nEntries);
    bool List(CXFile& file, const SDBNOTE& note);
    void Prepare(const Entry& entry, Family& family);
    void Link(Entry& entry, Family& family);
    void PrepareSameID(uint32_t id, uint32_t nHead);
    void LinkSameID(const Entry& entry, uint32_t& nHead);
    void PassDeadHeads(uint32_t& nHead);
    Family& FamilyOf(uint32_t idParent);
    void MakeLarge(Family& family);
    const Family* FindFamily(uint32_t idParent) const;
    LargeFamily* FindLarge(uint32_t idParent);
    const SDBNOTE* NoteAt(uint32_t nEntry) const;
    const SDBNOTE* FindFrom(uint32_t nEntry, uint32_t idParent, uint32_t nType) const;

    static uint32_t IndexOf(const SDBNOTE* note) { return static_cast<const Entry*>(note)->nIndex; }

    // Where a tree finds its notes.
    auto EntryAt() const {
        return [this](size_t n) -> const SDBNOTE& { return m_arEntries[n]; };
    }
    auto MemberOf(const LargeFamily& large) const {
        return [this, &large](size_t n) -> const SDBNOTE& { return m_arEntries[large.arEntries[n]]; };
    }

    std::deque<Entry> m_arEntries;    // file order; a deque because entries must not move
    CSDBTypeTree m_tree;              // over all of them
    std::deque<Family> m_arFamilies;  // by parent
    std::deque<LargeFamily> m_arLarge;
    CSDBIdMap m_mapParents;     // parent id -> family
    CSDBIdMap m_mapIDs;         // id -> its first live entry, or its last one when none is live
    CSDBIdMap m_mapLastSameID;  // id -> its last entry, for ids that occur more than once
    CSDBIdMap m_mapNextSameID;  // entry -> the next one with its id, if there is one
    uint32_t m_nNextID = 0;
    bool m_bHasTable = false;
};

}  // namespace Kestrova
