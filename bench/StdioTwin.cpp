#include "bench/StdioTwin.h"

#include <unistd.h>

#include <algorithm>

namespace Kestrova::Bench {
namespace {

constexpr uint8_t kFileHeader[FileHeader::kBytes] = {'Q', 'X', 'D', 'B'};

bool ReadNote(std::FILE* pFile, SDBNOTE& note, std::vector<uint8_t>& body) {
    NoteHeaderBytes header;
    if (std::fread(header.data(), 1, header.size(), pFile) != header.size()) return false;
    DecodeNoteHeader(header, note);
    body.resize(note.nSize);
    return std::fread(body.data(), 1, body.size(), pFile) == body.size();
}

bool SyncAndClose(std::FILE* pFile) {
    const bool bSynced = std::fflush(pFile) == 0 && fdatasync(fileno(pFile)) == 0;
    return std::fclose(pFile) == 0 && bSynced;
}

}  // namespace

bool StdioTwin::Create(const std::string& strPath) {
    Close();
    m_pFile = std::fopen(strPath.c_str(), "wb+");
    m_posEnd = sizeof kFileHeader;
    return m_pFile != nullptr &&
           std::fwrite(kFileHeader, 1, sizeof kFileHeader, m_pFile) == sizeof kFileHeader;
}

bool StdioTwin::Add(SDBNOTE& note, const void* pBody) {
    note.nState = kSdbStateNew;
    note.idNote = m_nNextID++;
    note.posHeader = m_posEnd;
    if (!WriteNote(m_pFile, note, pBody)) return false;
    m_posEnd = note.PosEnd();
    Index(note);
    return true;
}

bool StdioTwin::WriteNote(std::FILE* pTo, const SDBNOTE& note, const void* pBody) {
    const NoteHeaderBytes header = EncodeNoteHeader(note);
    return std::fwrite(header.data(), 1, header.size(), pTo) == header.size() &&
           std::fwrite(pBody, 1, note.nSize, pTo) == note.nSize;
}

bool StdioTwin::CommitByCopy(const std::string& strPath) {
    const std::string strNew = strPath + ".new";
    std::FILE* const pNew = std::fopen(strNew.c_str(), "wb");
    if (pNew == nullptr) return false;
    bool bDone = std::fwrite(kFileHeader, 1, sizeof kFileHeader, pNew) == sizeof kFileHeader &&
                 std::fseek(m_pFile, sizeof kFileHeader, SEEK_SET) == 0;
    SDBNOTE note;
    std::vector<uint8_t> body;
    while (bDone && ReadNote(m_pFile, note, body)) {
        if (m_notes.count(note.idNote) == 0) continue;
        note.nState = 0;
        bDone = WriteNote(pNew, note, body.data());
    }
    return SyncAndClose(pNew) && bDone && std::rename(strNew.c_str(), strPath.c_str()) == 0;
}

bool StdioTwin::Scan(const std::string& strPath) {
    Close();
    m_pFile = std::fopen(strPath.c_str(), "rb+");
    if (m_pFile == nullptr || std::fseek(m_pFile, sizeof kFileHeader, SEEK_SET) != 0) return false;
    SDBNOTE note;
    std::vector<uint8_t> body;
    for (m_posEnd = sizeof kFileHeader; ReadNote(m_pFile, note, body); m_posEnd = note.PosEnd()) {
        note.posHeader = m_posEnd;
        Index(note);
    }
    return true;
}

bool StdioTwin::ReadTable(const std::string& strPath) {
    Close();
    m_pFile = std::fopen(strPath.c_str(), "rb");
    SDBNOTE note;
    std::vector<uint8_t> table;
    if (m_pFile == nullptr || std::fseek(m_pFile, sizeof kFileHeader, SEEK_SET) != 0 ||
        !ReadNote(m_pFile, note, table))
        return false;
    note.posHeader = sizeof kFileHeader;
    for (size_t n = 0; n < table.size(); n += QuickLoadEntry::kBytes) {
        GetField<QuickLoadEntry::kId>(&table[n], note.idNote);
        GetField<QuickLoadEntry::kParent>(&table[n], note.idParent);
        GetField<QuickLoadEntry::kBodySize>(&table[n], note.nSize);
        Index(note);
        note.posHeader = note.PosEnd();
    }
    return true;
}

const SDBNOTE* StdioTwin::Find(uint32_t id) const {
    const auto it = m_notes.find(id);
    return it != m_notes.end() ? &it->second : nullptr;
}

size_t StdioTwin::CountBelow(uint32_t idParent) const {
    size_t nCount = 0;
    std::vector<uint32_t> arOpen = {idParent};
    while (!arOpen.empty()) {
        const auto it = m_children.find(arOpen.back());
        arOpen.pop_back();
        if (it == m_children.end()) continue;
        nCount += it->second.size();
        arOpen.insert(arOpen.end(), it->second.rbegin(), it->second.rend());
    }
    return nCount;
}

bool StdioTwin::DeleteBranch(uint32_t id) {
    std::vector<uint32_t> arOpen = {id};
    bool bDone = true;
    while (!arOpen.empty()) {
        const auto itNote = m_notes.find(arOpen.back());
        arOpen.pop_back();
        bDone = bDone && std::fseek(m_pFile, static_cast<long>(itNote->second.posHeader), SEEK_SET) == 0 &&
                std::fputc(kSdbStateDeleted, m_pFile) != EOF;
        const auto it = m_children.find(itNote->first);
        m_notes.erase(itNote);
        if (it == m_children.end()) continue;
        arOpen.insert(arOpen.end(), it->second.rbegin(), it->second.rend());
        m_children.erase(it);
    }
    return bDone && std::fflush(m_pFile) == 0;
}

uint32_t StdioTwin::TakeNewID() {
    while (m_notes.count(m_nNextID) != 0) ++m_nNextID;
    return m_nNextID++;
}

void StdioTwin::Index(const SDBNOTE& note) {
    m_notes[note.idNote] = note;
    m_children[note.idParent].push_back(note.idNote);
    m_nNextID = std::max(m_nNextID, note.idNote + 1);
}

void StdioTwin::Close() {
    if (m_pFile != nullptr) std::fclose(m_pFile);
    m_pFile = nullptr;
    m_notes.clear();
    m_children.clear();
    m_nNextID = 0;
}

}  // namespace Kestrova::Bench
