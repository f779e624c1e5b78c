// SDBFormat.h - the layout of a sample database file as data, little-endian throughout; a FieldSpan is
// {offset, width} in bytes. One place for reader and writer.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Kestrova {

// Format codes, the first four bytes of a file as a 32-bit tag.
inline constexpr uint32_t kSdbFormatPlain = 0x42445851;     // "QXDB"
inline constexpr uint32_t kSdbFormatEnriched = 0x55455851;  // "QXEU"

// Bits of a note's state; 0 is committed. We set no other bits, but a file may hold them.
inline constexpr uint8_t kSdbStateNew = 0x01;      // written since the last commit
inline constexpr uint8_t kSdbStateDeleted = 0x80;  // deleted since the last commit

// One note as the key table lists it: its header's fields and where the header stands.
struct SDBNOTE {
    uint64_t posHeader = 0;  // in the file; the body follows the 14 bytes of the header
    uint32_t idNote = 0;
    uint32_t idParent = 0;  // kSdbNoID: none
    uint32_t nSize = 0;     // of the body, in bytes
    uint8_t nState = 0;
    uint8_t nType = 0;  // an SDBTYPE, or what else a file holds

    bool IsLive() const { return (nState & kSdbStateDeleted) == 0; }
    uint64_t PosBody() const;
    uint64_t PosEnd() const;  // where the next note's header stands
};

struct FieldSpan {
    size_t offset;
    size_t width;
};

// One field of a record in memory, whatever its alignment. Hosts are little-endian (kvAssert.cpp).
template <FieldSpan kField, class TValue>
void PutField(uint8_t* pRecord, TValue value) {
    static_assert(sizeof(TValue) == kField.width, "the value is the field");
    std::memcpy(pRecord + kField.offset, &value, sizeof value);
}

template <FieldSpan kField, class TValue>
void GetField(const uint8_t* pRecord, TValue& value) {
    static_assert(sizeof(TValue) == kField.width, "the value is the field");
    std::memcpy(&value, pRecord + kField.offset, sizeof value);
}

// The file: its header, then notes back to back to the end.
namespace FileHeader {
inline constexpr FieldSpan kFormat{0, 4}, kIdentity{4, 16};
inline constexpr size_t kBytes = 20;
static_assert(kIdentity.offset + kIdentity.width == kBytes, "notes begin behind the last field");
}  // namespace FileHeader

namespace NoteHeader {
inline constexpr FieldSpan kState{0, 1}, kType{1, 1}, kId{2, 4}, kParent{6, 4}, kBodySize{10, 4};
inline constexpr size_t kBytes = 14;
static_assert(kBodySize.offset + kBodySize.width == kBytes, "no gap after the last field");
}  // namespace NoteHeader

// The body of a quick-load note: one entry per note of the file, in file order, itself first.
namespace QuickLoadEntry {
inline constexpr FieldSpan kType{0, 4}, kId{4, 4}, kParent{8, 4}, kBodySize{12, 4};
inline constexpr size_t kBytes = 16;
static_assert(kBodySize.offset + kBodySize.width == kBytes, "no gap after the last field");
}  // namespace QuickLoadEntry

// A note in a branch buffer (memory only), followed by its body. Bytes 2, 3 and 24 to 27 are reserved.
namespace BranchHeader {
inline constexpr FieldSpan kState{0, 1}, kType{1, 1}, kId{4, 4}, kParent{8, 4}, kBodySize{12, 4},
    kPosition{16, 8};
inline constexpr size_t kBytes = 28;
}  // namespace BranchHeader

// The id of a chunk or an item; its bytes in file order spell the four characters.
constexpr uint32_t ChunkId(const char (&sz)[5]) {
    uint32_t id = 0;
    for (int i = 3; i >= 0; --i) id = id << 8 | static_cast<unsigned char>(sz[i]);
    return id;
}
static_assert(ChunkId("FSNM") == 0x4D4E5346);

using NoteHeaderBytes = std::array<uint8_t, NoteHeader::kBytes>;

inline NoteHeaderBytes EncodeNoteHeader(const SDBNOTE& note) {
    NoteHeaderBytes bytes;
    PutField<NoteHeader::kState>(bytes.data(), note.nState);
    PutField<NoteHeader::kType>(bytes.data(), note.nType);
    PutField<NoteHeader::kId>(bytes.data(), note.idNote);
    PutField<NoteHeader::kParent>(bytes.data(), note.idParent);
    PutField<NoteHeader::kBodySize>(bytes.data(), note.nSize);
    return bytes;
}

// Everything but the position, which is the caller's. pHeader: NoteHeader::kBytes bytes.
inline void DecodeNoteHeader(const uint8_t* pHeader, SDBNOTE& note) {
    GetField<NoteHeader::kState>(pHeader, note.nState);
    GetField<NoteHeader::kType>(pHeader, note.nType);
    GetField<NoteHeader::kId>(pHeader, note.idNote);
    GetField<NoteHeader::kParent>(pHeader, note.idParent);
    GetField<NoteHeader::kBodySize>(pHeader, note.nSize);
}

inline void DecodeNoteHeader(const NoteHeaderBytes& bytes, SDBNOTE& note) {
    DecodeNoteHeader(bytes.data(), note);
}

inline uint64_t SDBNOTE::PosBody() const { return posHeader + NoteHeader::kBytes; }
inline uint64_t SDBNOTE::PosEnd() const { return PosBody() + nSize; }

}  // namespace Kestrova
