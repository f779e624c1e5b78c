// Continues CSDB: copy a subtree out to memory and in again.
#include <cstring>
#include <new>
#include <vector>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "SamplerDBDS/DataBase/SDBIdMap.h"

namespace Kestrova {

namespace {

// The notes of a branch, parents first, children in file order; each once, also where parents form a cycle or
// an id occurs twice: the children of an id are entered only once.
class CSDBBranchWalk {
public:
    CSDBBranchWalk(const CSDBKeyTable& keys, const SDBNOTE* root) : m_keys(keys), m_pRoot(root) {}

    // The next note; the root first, null at the end.
    const SDBNOTE* Next() {
        const SDBNOTE* note = m_pRoot;
        if (m_bStarted) note = Enter(m_arPath.back()->idNote);
        m_bStarted = true;
        while (note == nullptr && m_arPath.size() > 1) {
            note = SkipRoot(m_keys.FindSibling(m_arPath.back(), kSdbAny));
            m_arPath.pop_back();
        }
        if (note != nullptr) m_arPath.push_back(note);
        return note;
    }

private:
    const SDBNOTE* Enter(uint32_t id) {
        uint32_t& nEntered = m_mapEntered.At(id);
        if (nEntered != CSDBIdMap::kNone) return nullptr;
        nEntered = 1;
        return SkipRoot(m_keys.FindChild(id, kSdbAny));
    }

    const SDBNOTE* SkipRoot(const SDBNOTE* note) const {
        return note == m_pRoot ? m_keys.FindSibling(note, kSdbAny) : note;
    }

    const CSDBKeyTable& m_keys;
    const SDBNOTE* const m_pRoot;
    bool m_bStarted = false;
    CSDBIdMap m_mapEntered;
    std::vector<const SDBNOTE*> m_arPath;  // from the root to the note given last
};

uint64_t BranchBytes(const SDBNOTE& note) { return BranchHeader::kBytes + uint64_t{note.nSize}; }

void PutBranchHeader(uint8_t* pHeader, const SDBNOTE& note) {
    std::memset(pHeader, 0, BranchHeader::kBytes);
    PutField<BranchHeader::kState>(pHeader, note.nState);
    PutField<BranchHeader::kType>(pHeader, note.nType);
    PutField<BranchHeader::kId>(pHeader, note.idNote);
    PutField<BranchHeader::kParent>(pHeader, note.idParent);
    PutField<BranchHeader::kBodySize>(pHeader, note.nSize);
    PutField<BranchHeader::kPosition>(pHeader, note.posHeader);
}

SDBNOTE GetBranchHeader(const uint8_t* pHeader) {
    SDBNOTE note;
    GetField<BranchHeader::kType>(pHeader, note.nType);
    GetField<BranchHeader::kId>(pHeader, note.idNote);
    GetField<BranchHeader::kParent>(pHeader, note.idParent);
    GetField<BranchHeader::kBodySize>(pHeader, note.nSize);
    return note;
}

// Deliberate (Q75): whether the body could be read is not reported; one that could not is zeros.
void PutBranchBody(uint8_t* pBody, const SDBNOTE& note, CXFile& file) {
    if (!file.ReadAtPos(note.PosBody(), pBody, note.nSize)) std::memset(pBody, 0, note.nSize);
}

// Measures the branch, or writes it at *cursor when there is one.
unsigned long WalkBranch(const CSDBKeyTable& keys, const SDBNOTE* root, uint8_t** cursor, CXFile& file) {
    CSDBBranchWalk walk(keys, root);
    unsigned long nNotes = 0;
    unsigned long nBytes = 0;
    while (const SDBNOTE* const note = walk.Next()) {
        if (cursor != nullptr) {
            PutBranchHeader(*cursor, *note);
            PutBranchBody(*cursor + BranchHeader::kBytes, *note, file);
            *cursor += BranchBytes(*note);
        }
        ++nNotes;
        nBytes += BranchBytes(*note);
    }
    return cursor != nullptr ? nNotes : nBytes;
}

}  // namespace

unsigned long CSDB::GetNotesBranch(const SDBNOTE* note, uint8_t** cursor) {
    try {
        return WalkBranch(m_keys, note, cursor, m_file);
    } catch (const std::bad_alloc&) {
        NoMemory();
        return 0;
    }
}

bool CSDB::InsertNotesBranch(uint32_t idParent, unsigned long& count, const uint8_t*& cursor,
                             uint32_t& idRoot) {
    if (!m_bWritable) return false;
    bool bDone = false;
    try {
        bDone = InsertNotes(idParent, count, cursor, idRoot);
    } catch (const std::bad_alloc&) {
        NoMemory();
    }
    m_bChanged = true;
    return bDone;
}

// Where several notes of the buffer have one old id, a parent of that id is the first of them.
bool CSDB::InsertNotes(uint32_t idParent, unsigned long& count, const uint8_t*& cursor, uint32_t& idRoot) {
    CSDBIdMap mapNewIDs;
    idRoot = count == 0 ? idParent : kSdbNoID;
    while (count > 0) {
        SDBNOTE note = GetBranchHeader(cursor);
        const uint8_t* const pBody = cursor + BranchHeader::kBytes;
        cursor += BranchBytes(note);
        --count;
        uint32_t& idNew = mapNewIDs.At(note.idNote);
        const uint32_t idNewParent = mapNewIDs.Find(note.idParent);
        note.idParent = idNewParent != CSDBIdMap::kNone ? idNewParent : idParent;
        if (!AddNewNote(&note, pBody)) return false;
        if (idNew == CSDBIdMap::kNone) idNew = note.idNote;
        if (idRoot == kSdbNoID) idRoot = note.idNote;
    }
    return true;
}

}  // namespace Kestrova
