// TestDatabase.h - sample database files made and looked at byte by byte, and a record that is any bytes.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {

// One note of a file.
struct NoteFields {
    uint8_t nState = 0;
    uint8_t nType = kSdbBank;
    uint32_t id = 0;
    uint32_t idParent = kSdbNoID;
    std::string strBody = {};

    bool operator==(const NoteFields&) const = default;
};

inline void PutLittle(Bytes& bytes, uint64_t value, size_t nWidth) {
    for (size_t i = 0; i < nWidth; ++i) bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

inline void PutText(Bytes& bytes, const std::string& strText) {
    bytes.insert(bytes.end(), strText.begin(), strText.end());
}

inline void PutNote(Bytes& bytes, const NoteFields& note) {
    PutLittle(bytes, note.nState, 1);
    PutLittle(bytes, note.nType, 1);
    PutLittle(bytes, note.id, 4);
    PutLittle(bytes, note.idParent, 4);
    PutLittle(bytes, note.strBody.size(), 4);
    PutText(bytes, note.strBody);
}

// A whole file with the identity 1, 2, 3, 4.
inline Bytes DatabaseImage(const std::vector<NoteFields>& arNotes, uint32_t nFormat = kSdbFormatPlain) {
    Bytes bytes;
    PutLittle(bytes, nFormat, 4);
    for (uint32_t nWord = 1; nWord <= 4; ++nWord) PutLittle(bytes, nWord, 4);
    for (const NoteFields& note : arNotes) PutNote(bytes, note);
    return bytes;
}

// The bytes without the last n of them.
inline Bytes WithoutLast(const Bytes& bytes, std::ptrdiff_t n) {
    return Bytes(bytes.begin(), bytes.end() - n);
}

inline uint64_t GetLittle(const Bytes& bytes, size_t nAt, size_t nWidth) {
    uint64_t value = 0;
    for (size_t i = 0; i < nWidth; ++i) value |= uint64_t{bytes.at(nAt + i)} << (8 * i);
    return value;
}

// The notes of a file as its bytes say, up to the first that is not whole.
inline std::vector<NoteFields> NotesOf(const Bytes& bytes) {
    std::vector<NoteFields> arNotes;
    for (size_t nAt = 20; nAt + 14 <= bytes.size();) {
        const size_t nSize = GetLittle(bytes, nAt + 10, 4);
        if (nSize > bytes.size() - nAt - 14) break;
        const auto itBody = bytes.begin() + static_cast<std::ptrdiff_t>(nAt) + 14;
        arNotes.push_back({bytes[nAt], bytes[nAt + 1], static_cast<uint32_t>(GetLittle(bytes, nAt + 2, 4)),
                           static_cast<uint32_t>(GetLittle(bytes, nAt + 6, 4)),
                           std::string(itBody, itBody + static_cast<std::ptrdiff_t>(nSize))});
        nAt += 14 + nSize;
    }
    return arNotes;
}

inline std::vector<NoteFields> NotesOf(const std::string& strPath) { return NotesOf(ReadFile(strPath)); }

// A record whose body is any bytes.
class CRawRecord : public CSDBInterpreter {
public:
    CRawRecord(SDBTYPE type, uint32_t id, uint32_t idParent = kSdbNoID, std::string strBody = {})
        : CSDBInterpreter(type, id, idParent), m_strBody(std::move(strBody)), m_nSize(m_strBody.size()) {}

    using CSDBInterpreter::Read;
    using CSDBInterpreter::Write;
    bool Read(CXFile* file, unsigned long size) override {
        m_strBody.assign(size, '\0');
        return file->Read(m_strBody.data(), size);
    }
    bool Write(CXFile* file) override {
        return file->Write(m_strBody.data(), m_strBody.size()) && !m_bWriteFails;
    }
    int Compare(CSDBInterpreter&) override { return 0; }
    unsigned long GetSize() override { return m_nSize; }

    std::string m_strBody;
    unsigned long m_nSize;       // what GetSize answers
    bool m_bWriteFails = false;  // after the bytes were written
};

// Adds a note with a text as body and returns its id, kSdbNoID when that fails.
inline uint32_t AddNote(CSDB& db, uint8_t nType, uint32_t idParent, const std::string& strBody) {
    SDBNOTE note;
    note.nType = nType;
    note.idParent = idParent;
    note.nSize = static_cast<uint32_t>(strBody.size());
    return db.AddNewNote(&note, strBody.data()) ? note.idNote : kSdbNoID;
}

inline bool ChangeNote(CSDB& db, uint32_t id, uint32_t idParent, const std::string& strBody) {
    const SDBNOTE* const old = db.GetNoteByID(id);
    SDBNOTE note;
    note.nType = old != nullptr ? old->nType : uint8_t{0};
    note.idNote = id;
    note.idParent = idParent;
    note.nSize = static_cast<uint32_t>(strBody.size());
    return db.ChangeNote(&note, strBody.data());
}

// The body as ReadNote gives it; "<unread>" when it fails. The note must be live.
inline std::string BodyOf(CSDB& db, uint32_t id) {
    SDBNOTE note;
    void* pBody = nullptr;
    if (!db.ReadNote(id, &note, &pBody)) return "<unread>";
    const std::string strBody(static_cast<const char*>(pBody), note.nSize);
    std::free(pBody);
    return strBody;
}

// The ids of the live notes in file order: of a type, and of a parent's children.
inline std::vector<uint32_t> IdsOfType(const CSDB& db, uint32_t nType) {
    std::vector<uint32_t> arIDs;
    for (const SDBNOTE* note = db.GetNoteByType(nullptr, nType); note != nullptr;
         note = db.GetNoteByType(note, nType))
        arIDs.push_back(note->idNote);
    return arIDs;
}

inline std::vector<uint32_t> ChildrenOf(const CSDB& db, uint32_t idParent, uint32_t nType = kSdbAny) {
    std::vector<uint32_t> arIDs;
    for (const SDBNOTE* note = db.GetFirstNote(idParent, nType); note != nullptr;
         note = db.GetNextNote(note, nType))
        arIDs.push_back(note->idNote);
    return arIDs;
}

// A database in a folder of its own, made anew or opened on given bytes.
class DatabaseTest : public testing::Test {
protected:
    bool Create() { return m_db.Create(m_strPath.c_str(), kSdbFormatPlain); }
    bool Open(bool bWritable = true) { return m_db.Open(m_strPath.c_str(), kSdbFormatPlain, bWritable); }
    bool OpenImage(const Bytes& image, bool bWritable = true) {
        WriteFile(m_strPath, image);
        return Open(bWritable);
    }

    const TempDir m_dir;
    const std::string m_strPath = m_dir.File("test.kvn");
    CSDB m_db;
};

}  // namespace Kestrova::Test
