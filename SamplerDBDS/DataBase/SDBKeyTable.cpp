#include "SamplerDBDS/DataBase/SDBKeyTable.h"

#include <algorithm>
#include <cerrno>
#include <new>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/DataBase/SDBNewID.h"
#include "SamplerDBDS/DataBase/SDBNoteWalk.h"
#include "SamplerDBDS/DataBase/SDBRecord.h"

namespace Kestrova {

namespace {

constexpr uint32_t kNone = CSDBIndexList::kNone;

bool IsAnyType(uint32_t nType) { return nType > kSdbQuickLoad; }

}  // namespace

// --- CSDBNoteFamily ---

void CSDBNoteFamily::Append(uint32_t nEntry, uint8_t nType) {
    if (m_pByType == nullptr && m_nType != nType && m_nType != kNoType) {
        auto pByType = std::make_unique<TypeLists>();
        pByType->emplace(static_cast<uint8_t>(m_nType), m_all);
        m_pByType = std::move(pByType);
    }
    m_nType = nType;
    m_all.Append(nEntry);
    if (m_pByType != nullptr) (*m_pByType)[nType].Append(nEntry);
}

void CSDBNoteFamily::Erase(uint32_t nEntry, uint8_t nType) {
    m_all.Erase(nEntry);
    if (m_pByType == nullptr) return;
    const auto it = m_pByType->find(nType);
    if (it != m_pByType->end()) it->second.Erase(nEntry);
}

uint32_t CSDBNoteFamily::FirstFrom(uint32_t nEntry, uint32_t nType) const {
    if (IsAnyType(nType)) return m_all.FirstFrom(nEntry);
    if (m_pByType == nullptr) return m_nType == nType ? m_all.FirstFrom(nEntry) : kNone;
    const auto it = m_pByType->find(static_cast<uint8_t>(nType));
    return it != m_pByType->end() ? it->second.FirstFrom(nEntry) : kNone;
}

// --- CSDBKeyTable: listing a file ---

bool CSDBKeyTable::Rebuild(CXFile& file, bool& bDirty) {
    Clear();
    if (ReadNotes(file, bDirty)) return true;
    Clear();
    return false;
}

void CSDBKeyTable::Clear() {
    m_arEntries.clear();
    m_allNotes = {};
    m_arFamilies.clear();
    m_mapParents.Clear();
    m_mapIDs.Clear();
    m_nNextID = 0;
    m_bHasTable = false;
}

bool CSDBKeyTable::ReadNotes(CXFile& file, bool& bDirty) {
    CSDBNoteWalk walk(file);
    SDBNOTE note;
    if (!walk.Next(note)) return !walk.HasFailed();
    if (note.nType == kSdbQuickLoad) {
        m_bHasTable = note.nSize % QuickLoadEntry::kBytes == 0;
        const QuickLoad result = ReadQuickLoad(file, note);
        if (result != QuickLoad::kNotUsable) return result == QuickLoad::kLoaded;
    }
    do {
        if (!List(file, note)) return false;
        if (note.nState != 0) bDirty = true;
        // An id of 0xFFFFFFFF takes the counter back to 0, from where lower ids raise it again. Deliberate
        // (Q67).
        if (note.idNote >= m_nNextID) m_nNextID = note.idNote + 1;
    } while (walk.Next(note));
    return !walk.HasFailed();
}

CSDBKeyTable::QuickLoad CSDBKeyTable::ReadQuickLoad(CXFile& file, const SDBNOTE& first) {
    if (first.nSize == 0) return QuickLoad::kLoaded;  // deliberate (Q68): such a file opens without any note
    if (!m_bHasTable) return QuickLoad::kNotUsable;
    if (!HasWholeBody(file, first)) return QuickLoad::kFailed;
    const std::unique_ptr<uint8_t[]> pTable(new (std::nothrow) uint8_t[first.nSize]);
    if (pTable == nullptr) return QuickLoad::kNotUsable;
    const bool bListed = file.SeekToPos(first.PosBody()) && file.Read(pTable.get(), first.nSize) &&
                         ListQuickLoad(file, pTable.get(), first.nSize / QuickLoadEntry::kBytes);
    return bListed ? QuickLoad::kLoaded : QuickLoad::kFailed;
}

// The table is believed: positions follow from its sizes, and every note counts as committed. Deliberate
// (Q69).
bool CSDBKeyTable::ListQuickLoad(CXFile& file, const uint8_t* pTable, size_t nEntries) {
    SDBNOTE note;
    note.posHeader = FileHeader::kBytes;
    uint32_t idMax = 0;
    for (const uint8_t* pEntry = pTable; pEntry != pTable + nEntries * QuickLoadEntry::kBytes;
         pEntry += QuickLoadEntry::kBytes) {
        uint32_t nType;
        GetField<QuickLoadEntry::kType>(pEntry, nType);
        note.nType = static_cast<uint8_t>(nType);
        GetField<QuickLoadEntry::kId>(pEntry, note.idNote);
        GetField<QuickLoadEntry::kParent>(pEntry, note.idParent);
        GetField<QuickLoadEntry::kBodySize>(pEntry, note.nSize);
        if (!List(file, note)) return false;
        idMax = std::max(idMax, note.idNote);
        note.posHeader = note.PosEnd();
    }
    m_nNextID = idMax + 1;
    return true;
}

bool CSDBKeyTable::List(CXFile& file, const SDBNOTE& note) {
    if (Append(note)) return true;
    file.NoteError(ENOMEM);
    return false;
}

// --- CSDBKeyTable: entries ---

bool CSDBKeyTable::Append(const SDBNOTE& note) {
    const size_t nCount = m_arEntries.size();
    if (nCount >= kNone) return false;
    try {
        m_arEntries.emplace_back(note, static_cast<uint32_t>(nCount));
        Link(m_arEntries.back());
        return true;
    } catch (const std::bad_alloc&) {
        if (m_arEntries.size() > nCount) {
            Unlist(m_arEntries.back());
            m_arEntries.pop_back();
        }
        return false;
    }
}

// Everything that can run out of memory comes before the change of the ring, because Append cannot undo that.
void CSDBKeyTable::Link(Entry& entry) {
    CSDBNoteFamily& family = FamilyOf(entry.idParent);
    uint32_t& nLastSameID = m_mapIDs.At(entry.idNote);
    if (entry.IsLive()) {
        m_allNotes.Append(entry.nIndex, entry.nType);
        family.Append(entry.nIndex, entry.nType);
    }
    if (nLastSameID != kNone) std::swap(entry.nNextSameID, m_arEntries[nLastSameID].nNextSameID);
    nLastSameID = entry.nIndex;
    DropDeadHeads(entry);
}

void CSDBKeyTable::Unlist(const Entry& entry) {
    m_allNotes.Erase(entry.nIndex, entry.nType);
    const uint32_t nFamily = m_mapParents.Find(entry.idParent);
    if (nFamily != kNone) m_arFamilies[nFamily].Erase(entry.nIndex, entry.nType);
}

CSDBNoteFamily& CSDBKeyTable::FamilyOf(uint32_t idParent) {
    uint32_t& nFamily = m_mapParents.At(idParent);
    if (nFamily == kNone) {
        m_arFamilies.emplace_back();
        nFamily = static_cast<uint32_t>(m_arFamilies.size() - 1);
    }
    return m_arFamilies[nFamily];
}

// Makes the first live entry with this id the head of its ring. An entry leaves its ring at most once, so all
// calls together take linear time.
void CSDBKeyTable::DropDeadHeads(Entry& last) {
    while (last.nNextSameID != last.nIndex && !m_arEntries[last.nNextSameID].IsLive())
        last.nNextSameID = m_arEntries[last.nNextSameID].nNextSameID;
}

void CSDBKeyTable::MarkDeleted(const SDBNOTE* note) {
    Entry& entry = m_arEntries[IndexOf(note)];
    Unlist(entry);
    entry.nState |= kSdbStateDeleted;
    DropDeadHeads(m_arEntries[m_mapIDs.Find(entry.idNote)]);
}

// --- CSDBKeyTable: searches ---

const SDBNOTE* CSDBKeyTable::NoteAt(uint32_t nEntry) const {
    return nEntry != kNone ? &m_arEntries[nEntry] : nullptr;
}

const SDBNOTE* CSDBKeyTable::FindLive(uint32_t id) const {
    const uint32_t nLast = m_mapIDs.Find(id);
    if (nLast == kNone) return nullptr;
    const Entry& first = m_arEntries[m_arEntries[nLast].nNextSameID];
    return first.IsLive() ? &first : nullptr;
}

const SDBNOTE* CSDBKeyTable::FindAfter(const SDBNOTE* after, uint32_t nType) const {
    return NoteAt(m_allNotes.FirstFrom(after != nullptr ? IndexOf(after) + 1 : 0, nType));
}

const SDBNOTE* CSDBKeyTable::FindUnder(uint32_t idParent, uint32_t nType, uint32_t nFrom) const {
    const uint32_t nFamily = m_mapParents.Find(idParent);
    return nFamily != kNone ? NoteAt(m_arFamilies[nFamily].FirstFrom(nFrom, nType)) : nullptr;
}

const SDBNOTE* CSDBKeyTable::FindChild(uint32_t idParent, uint32_t nType) const {
    return FindUnder(idParent, nType, 0);
}

const SDBNOTE* CSDBKeyTable::FindSibling(const SDBNOTE* note, uint32_t nType) const {
    return FindUnder(note->idParent, nType, IndexOf(note) + 1);
}

bool CSDBKeyTable::TakeNewID(uint32_t& id) {
    return StepToFreeID(m_nNextID, id, [this](uint32_t nCandidate) {
        return m_mapIDs.Find(nCandidate) != kNone || m_mapParents.Find(nCandidate) != kNone;
    });
}

}  // namespace Kestrova
