#include "SamplerDBDS/DataBase/SDBKeyTable.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <utility>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/DataBase/SDBNewID.h"
#include "SamplerDBDS/DataBase/SDBNoteWalk.h"
#include "SamplerDBDS/DataBase/SDBRecord.h"

namespace Kestrova {

// --- Listing a file ---

bool CSDBKeyTable::Rebuild(CXFile& file, bool& bDirty) {
    Clear();
    if (ReadNotes(file, bDirty)) return true;
    Clear();
    return false;
}

void CSDBKeyTable::Clear() {
    m_arEntries.clear();
    m_tree.Clear();
    m_arFamilies.clear();
    m_arLarge.clear();
    m_mapParents.Clear();
    m_mapIDs.Clear();
    m_mapLastSameID.Clear();
    m_mapNextSameID.Clear();
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

// --- Entries ---

// Everything that can run out of memory comes before the first link.
bool CSDBKeyTable::Append(const SDBNOTE& note) {
    const size_t nCount = m_arEntries.size();
    if (nCount >= kNone) return false;
    try {
        m_arEntries.emplace_back(note, static_cast<uint32_t>(nCount));
        Family& family = FamilyOf(note.idParent);
        uint32_t& nHead = m_mapIDs.At(note.idNote);
        if (nHead != kNone) PrepareSameID(note.idNote, nHead);
        Prepare(m_arEntries.back(), family);
        Link(m_arEntries.back(), family);
        if (nHead == kNone)
            nHead = m_arEntries.back().nIndex;
        else
            LinkSameID(m_arEntries.back(), nHead);
        return true;
    } catch (const std::bad_alloc&) {
        if (m_arEntries.size() > nCount) m_arEntries.pop_back();
        return false;
    }
}

CSDBKeyTable::Family& CSDBKeyTable::FamilyOf(uint32_t idParent) {
    uint32_t& nFamily = m_mapParents.At(idParent);
    if (nFamily == kNone) {
        m_arFamilies.emplace_back();
        nFamily = static_cast<uint32_t>(m_arFamilies.size() - 1);
    }
    return m_arFamilies[nFamily];
}

void CSDBKeyTable::Prepare(const Entry& entry, Family& family) {
    m_tree.Reserve(entry.nIndex);
    if (family.nCount == kSmallFamily && family.nLarge == kNone) MakeLarge(family);
    if (family.nLarge == kNone) return;
    LargeFamily& large = m_arLarge[family.nLarge];
    large.tree.Reserve(large.arEntries.size());
    large.arEntries.push_back(entry.nIndex);
}

void CSDBKeyTable::Link(Entry& entry, Family& family) {
    (family.nLast == kNone ? family.nFirst : m_arEntries[family.nLast].nNextSibling) = entry.nIndex;
    family.nLast = entry.nIndex;
    ++family.nCount;
    if (!entry.IsLive()) return;
    m_tree.Add(entry.nIndex, entry.nType);
    if (family.nLarge == kNone) return;
    LargeFamily& large = m_arLarge[family.nLarge];
    large.tree.Add(large.arEntries.size() - 1, entry.nType);
}

void CSDBKeyTable::MakeLarge(Family& family) {
    LargeFamily large;
    for (uint32_t n = family.nFirst; n != kNone; n = m_arEntries[n].nNextSibling) {
        const size_t nPlace = large.arEntries.size();
        large.tree.Reserve(nPlace);
        large.arEntries.push_back(n);
        if (m_arEntries[n].IsLive()) large.tree.Add(nPlace, m_arEntries[n].nType);
    }
    m_arLarge.push_back(std::move(large));
    family.nLarge = static_cast<uint32_t>(m_arLarge.size() - 1);
}

// nHead: the value of the id in m_mapIDs, here and below.
void CSDBKeyTable::PrepareSameID(uint32_t id, uint32_t nHead) {
    uint32_t& nLast = m_mapLastSameID.At(id);
    if (nLast == kNone) nLast = nHead;
    m_mapNextSameID.At(nLast);
}

// The maps have room for all of it.
void CSDBKeyTable::LinkSameID(const Entry& entry, uint32_t& nHead) {
    uint32_t& nLast = m_mapLastSameID.At(entry.idNote);
    m_mapNextSameID.At(nLast) = entry.nIndex;
    nLast = entry.nIndex;
    PassDeadHeads(nHead);
}

// An entry is passed at most once, so all calls together take linear time.
void CSDBKeyTable::PassDeadHeads(uint32_t& nHead) {
    while (!m_arEntries[nHead].IsLive()) {
        const uint32_t nNext = m_mapNextSameID.Find(nHead);
        if (nNext == kNone) return;
        nHead = nNext;
    }
}

void CSDBKeyTable::MarkDeleted(const SDBNOTE* note) {
    Entry& entry = m_arEntries[IndexOf(note)];
    if (!entry.IsLive()) return;
    entry.nState |= kSdbStateDeleted;
    m_tree.Remove(entry.nIndex, m_arEntries.size(), EntryAt());
    if (LargeFamily* const pLarge = FindLarge(entry.idParent))
        pLarge->tree.Remove(pLarge->PlaceOf(entry.nIndex), pLarge->arEntries.size(), MemberOf(*pLarge));
    PassDeadHeads(m_mapIDs.At(entry.idNote));
}

// --- Searches ---

size_t CSDBKeyTable::LargeFamily::PlaceOf(uint32_t nEntry) const {
    return static_cast<size_t>(std::lower_bound(arEntries.begin(), arEntries.end(), nEntry) -
                               arEntries.begin());
}

const CSDBKeyTable::Family* CSDBKeyTable::FindFamily(uint32_t idParent) const {
    const uint32_t nFamily = m_mapParents.Find(idParent);
    return nFamily != kNone ? &m_arFamilies[nFamily] : nullptr;
}

CSDBKeyTable::LargeFamily* CSDBKeyTable::FindLarge(uint32_t idParent) {
    const Family* const pFamily = FindFamily(idParent);
    return pFamily != nullptr && pFamily->nLarge != kNone ? &m_arLarge[pFamily->nLarge] : nullptr;
}

const SDBNOTE* CSDBKeyTable::NoteAt(uint32_t nEntry) const {
    return nEntry != kNone ? &m_arEntries[nEntry] : nullptr;
}

const SDBNOTE* CSDBKeyTable::FindLive(uint32_t id) const {
    const SDBNOTE* const note = NoteAt(m_mapIDs.Find(id));
    return note != nullptr && note->IsLive() ? note : nullptr;
}

const SDBNOTE* CSDBKeyTable::FindAfter(const SDBNOTE* after, uint32_t nType) const {
    const size_t nFrom = after != nullptr ? size_t{IndexOf(after)} + 1 : 0;
    return NoteAt(m_tree.FirstFrom(nFrom, nType, m_arEntries.size(), EntryAt()));
}

const SDBNOTE* CSDBKeyTable::FindChild(uint32_t idParent, uint32_t nType) const {
    const Family* const pFamily = FindFamily(idParent);
    return pFamily != nullptr ? FindFrom(pFamily->nFirst, idParent, nType) : nullptr;
}

const SDBNOTE* CSDBKeyTable::FindSibling(const SDBNOTE* note, uint32_t nType) const {
    return FindFrom(static_cast<const Entry*>(note)->nNextSibling, note->idParent, nType);
}

// Walks as far as a small family can be. What lies behind is found by the tree of the large one.
const SDBNOTE* CSDBKeyTable::FindFrom(uint32_t nEntry, uint32_t idParent, uint32_t nType) const {
    for (uint32_t n = 0; n < kSmallFamily && nEntry != kNone; ++n) {
        const Entry& entry = m_arEntries[nEntry];
        if (IsLiveOfType(entry, nType)) return &entry;
        nEntry = entry.nNextSibling;
    }
    if (nEntry == kNone) return nullptr;
    const LargeFamily& large = m_arLarge[FindFamily(idParent)->nLarge];
    const uint32_t nPlace =
        large.tree.FirstFrom(large.PlaceOf(nEntry), nType, large.arEntries.size(), MemberOf(large));
    return NoteAt(nPlace != kNone ? large.arEntries[nPlace] : kNone);
}

bool CSDBKeyTable::TakeNewID(uint32_t& id) {
    return StepToFreeID(m_nNextID, id, [this](uint32_t nCandidate) {
        return m_mapIDs.Find(nCandidate) != kNone || m_mapParents.Find(nCandidate) != kNone;
    });
}

}  // namespace Kestrova
