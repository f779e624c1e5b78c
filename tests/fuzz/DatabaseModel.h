// DatabaseModel.h - a database as a plain list of notes. Each operation of CSDB is here as simply as it can
// be written, so that the engine can be held against it.
#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "SamplerDBDS/DataBase/SDBRecord.h"
#include "tests/support/TestDatabase.h"

namespace Kestrova::Test {

// The notes of one open, writable database in file order, deleted ones too.
class DatabaseModel {
public:
    using Notes = std::vector<NoteFields>;

    // What an open finds. None of the notes is a quick-load table.
    void Open(const Notes& notes) {
        m_notes = notes;
        m_idNext = 0;
        for (const NoteFields& note : m_notes)
            if (note.id >= m_idNext) m_idNext = note.id + 1;
    }

    const Notes& All() const { return m_notes; }

    // The notes that stay when those with this state are dropped.
    Notes Settled(uint8_t nDrop) const {
        Notes notes;
        for (const NoteFields& note : m_notes)
            if ((note.nState & nDrop) == 0) notes.push_back(Committed(note));
        return notes;
    }

    // The notes of a copy under another name: each live one is read by its id.
    Notes Copied() const {
        Notes notes;
        for (const size_t n : Live(kSdbAny)) notes.push_back(Committed(m_notes[FindLive(m_notes[n].id)]));
        return notes;
    }

    bool IsDirty() const {
        return std::any_of(m_notes.begin(), m_notes.end(), [](const auto& note) { return note.nState != 0; });
    }

    // Their numbers, in file order.
    std::vector<size_t> Live(uint32_t nType) const {
        return Those([&](const NoteFields& note) { return IsOfType(note, nType); });
    }
    std::vector<size_t> LiveChildren(uint32_t idParent, uint32_t nType) const {
        return Those(
            [&](const NoteFields& note) { return note.idParent == idParent && IsOfType(note, nType); });
    }

    // The number of the first live note with this id, or that of all notes.
    size_t FindLive(uint32_t id) const {
        const auto it = std::find_if(m_notes.begin(), m_notes.end(),
                                     [&](const NoteFields& note) { return IsLive(note) && note.id == id; });
        return static_cast<size_t>(it - m_notes.begin());
    }
    bool HasLive(uint32_t id) const { return FindLive(id) < m_notes.size(); }

    // Where the header of a note stands. Nothing lies between the notes of a file that was just settled or
    // made, nor between those that were added since.
    uint64_t PositionOf(size_t n) const {
        uint64_t pos = FileHeader::kBytes;
        for (size_t i = 0; i < n; ++i) pos += NoteHeader::kBytes + m_notes[i].strBody.size();
        return pos;
    }

    uint32_t TakeNewID() {
        for (;;) {
            const uint32_t id = m_idNext;
            m_idNext = id >= kSdbNoID - 1 ? 0 : id + 1;
            if (id != kSdbNoID && !IsUsed(id)) return id;
        }
    }

    // The new id, or kSdbNoID.
    uint32_t Add(uint8_t nType, uint32_t idParent, const std::string& strBody) {
        if (idParent != kSdbNoID && !HasLive(idParent)) return kSdbNoID;
        const uint32_t id = TakeNewID();
        m_notes.push_back({kSdbStateNew, nType, id, idParent, strBody});
        return id;
    }

    bool Change(uint32_t id, uint32_t idParent, const std::string& strBody) {
        const size_t nOld = FindLive(id);
        if (nOld == m_notes.size()) return false;
        m_notes.push_back({kSdbStateNew, m_notes[nOld].nType, id, idParent, strBody});
        m_notes[nOld].nState |= kSdbStateDeleted;
        return true;
    }

    bool Delete(uint32_t id) {
        const size_t n = FindLive(id);
        if (n == m_notes.size()) return false;
        m_notes[n].nState |= kSdbStateDeleted;
        DeleteChildren(id);
        return true;
    }

    void DeleteChildren(uint32_t idParent) {
        for (const size_t n : LiveChildren(idParent, kSdbAny)) {
            if (!IsLive(m_notes[n])) continue;  // one of those before it was its parent, too
            m_notes[n].nState |= kSdbStateDeleted;
            DeleteChildren(m_notes[n].id);
        }
    }

    // A note and all its live descendants, parents first. Those of an id come once.
    Notes Branch(size_t nRoot) const {
        Notes branch;
        std::set<uint32_t> entered;
        AddBranch(nRoot, nRoot, branch, entered);
        return branch;
    }

    struct Inserted {
        bool bDone = true;
        unsigned long nLeft = 0;
        uint32_t idRoot = kSdbNoID;

        bool operator==(const Inserted&) const = default;
    };

    Inserted Insert(uint32_t idParent, const Notes& branch) {
        std::map<uint32_t, uint32_t> newIDs;
        Inserted inserted{true, branch.size(), kSdbNoID};
        for (const NoteFields& note : branch) {
            --inserted.nLeft;
            const auto it = newIDs.find(note.idParent);
            const uint32_t id = Add(note.nType, it != newIDs.end() ? it->second : idParent, note.strBody);
            inserted.bDone = id != kSdbNoID;
            if (!inserted.bDone) break;
            newIDs.emplace(note.id, id);
            if (inserted.idRoot == kSdbNoID) inserted.idRoot = id;
        }
        return inserted;
    }

    static bool IsLive(const NoteFields& note) { return (note.nState & kSdbStateDeleted) == 0; }
    static bool IsOfType(const NoteFields& note, uint32_t nType) {
        return nType >= kSdbAny || note.nType == nType;
    }

private:
    bool IsUsed(uint32_t id) const {
        return std::any_of(m_notes.begin(), m_notes.end(),
                           [&](const NoteFields& note) { return note.id == id || note.idParent == id; });
    }

    template <class TCondition>
    std::vector<size_t> Those(TCondition isOne) const {
        std::vector<size_t> found;
        for (size_t n = 0; n < m_notes.size(); ++n)
            if (IsLive(m_notes[n]) && isOne(m_notes[n])) found.push_back(n);
        return found;
    }

    static NoteFields Committed(NoteFields note) {
        note.nState = 0;
        return note;
    }

    void AddBranch(size_t n, size_t nRoot, Notes& branch, std::set<uint32_t>& entered) const {
        branch.push_back(m_notes[n]);
        if (!entered.insert(m_notes[n].id).second) return;
        for (const size_t nChild : LiveChildren(m_notes[n].id, kSdbAny))
            if (nChild != nRoot) AddBranch(nChild, nRoot, branch, entered);
    }

    Notes m_notes;
    uint32_t m_idNext = 0;
};

}  // namespace Kestrova::Test
