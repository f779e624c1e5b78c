// SDBKeyTable.h - the index, in memory, of one open database file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>

#include "SamplerDBDS/DataBase/SDBFormat.h"
#include "SamplerDBDS/DataBase/SDBIdMap.h"
#include "SamplerDBDS/DataBase/SDBIndexList.h"

namespace Kestrova {

class CXFile;

// The live notes of one parent, or of the whole file, by type.
class CSDBNoteFamily {
public:
    void Append(uint32_t nEntry, uint8_t nType);
    void Erase(uint32_t nEntry, uint8_t nType);
    // The first entry >= nEntry of the type; a type above 254 is any. CSDBIndexList::kNone: there is none.
    uint32_t FirstFrom(uint32_t nEntry, uint32_t nType) const;

private:
    using TypeLists = std::map<uint8_t, CSDBIndexList>;

    static constexpr uint16_t kNoType = 0x100;

    CSDBIndexList m_all;
    uint16_t m_nType = kNoType;            // the only type so far, while there are no lists by type
    std::unique_ptr<TypeLists> m_pByType;  // from the second type on
};

// One entry per note of the file, in file order, and the searches over them. A deleted note keeps its entry
// and its id, but no search finds it any more.
// Threads: none of its own. Searches may run in parallel while no thread changes the table.
// Owner:   owns its entries; a pointer returned here is good until the next Rebuild or Clear.
// Errors:  searches return nullptr for "no such live note"; Rebuild and Append return false, also when memory
//          runs out.
// Cost:    every step O(log n), whatever was deleted. Memory for each of a million notes: 59 bytes without
//          parents, 79 with ten children to a parent, 106 with one, and 229 with two of different types.
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
        Entry(const SDBNOTE& note, uint32_t nAt) : SDBNOTE(note), nIndex(nAt), nNextSameID(nAt) {}

        uint32_t nIndex;
        uint32_t nNextSameID;  // a ring in file order; the last entry of an id leads to its first live one
    };

    enum class QuickLoad { kLoaded, kFailed, kNotUsable };

    bool ReadNotes(CXFile& file, bool& bDirty);
    QuickLoad ReadQuickLoad(CXFile& file, const SDBNOTE& first);
    bool List(CXFile& file, const SDBNOTE& note);
    bool ListQuickLoad(CXFile& file, const uint8_t* pTable, size_t nEntries);
    void Link(Entry& entry);
    void Unlist(const Entry& entry);
    void DropDeadHeads(Entry& last);
    CSDBNoteFamily& FamilyOf(uint32_t idParent);
    const SDBNOTE* NoteAt(uint32_t nEntry) const;
    const SDBNOTE* FindUnder(uint32_t idParent, uint32_t nType, uint32_t nFrom) const;

    static uint32_t IndexOf(const SDBNOTE* note) { return static_cast<const Entry*>(note)->nIndex; }

    std::deque<Entry> m_arEntries;            // file order; a deque because entries must not move
    CSDBNoteFamily m_allNotes;                // the live notes of the whole file
    std::deque<CSDBNoteFamily> m_arFamilies;  // the live notes by parent
    CSDBIdMap m_mapParents;                   // parent id -> family
    CSDBIdMap m_mapIDs;                       // id -> last entry of its ring
    uint32_t m_nNextID = 0;
    bool m_bHasTable = false;
};

}  // namespace Kestrova
