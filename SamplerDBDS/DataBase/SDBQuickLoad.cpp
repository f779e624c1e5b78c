// Continues CSDB: reserve and write the quick-load table.
#include <algorithm>
#include <array>

#include "SamplerDBDS/DataBase/SDBEngine.h"

namespace Kestrova {

namespace {

constexpr size_t kPieceEntries = 256;
using Piece = std::array<uint8_t, kPieceEntries * QuickLoadEntry::kBytes>;

void PutEntry(uint8_t* pEntry, const SDBNOTE& note) {
    PutField<QuickLoadEntry::kType>(pEntry, uint32_t{note.nType});
    PutField<QuickLoadEntry::kId>(pEntry, note.idNote);
    PutField<QuickLoadEntry::kParent>(pEntry, note.idParent);
    PutField<QuickLoadEntry::kBodySize>(pEntry, note.nSize);
}

bool WriteZeros(CXFile& file, uint64_t nBytes) {
    static constexpr Piece kZeros{};
    for (; nBytes > kZeros.size(); nBytes -= kZeros.size())
        if (!file.Write(kZeros.data(), kZeros.size())) return false;
    return file.Write(kZeros.data(), nBytes);
}

}  // namespace

// The table has an entry for its own note, too.
bool CSDB::ReserveQuickLoad(uint32_t count) {
    const uint64_t nBytes = (uint64_t{count} + 1) * QuickLoadEntry::kBytes;
    if (!m_bWritable || nBytes > UINT32_MAX || GetNoteCount() != 0 || m_keys.HasTable()) return false;
    SDBNOTE note;
    note.nType = kSdbQuickLoad;
    note.idParent = kSdbNoID;
    note.nSize = static_cast<uint32_t>(nBytes);
    return Add(note, [&] { return WriteZeros(m_file, nBytes); });
}

bool CSDB::CreateQuickLoad() {
    if (!m_bWritable || GetNoteCount() == 0 || m_keys[0].nType != kSdbQuickLoad) return false;
    // Deliberate (Q70): the table is written only when it is exactly full.
    if (GetNoteCount() != m_keys[0].nSize / QuickLoadEntry::kBytes) return false;
    const NoteHeaderBytes header = EncodeNoteHeader(m_keys[0]);
    return m_file.SeekToPos(FileHeader::kBytes) && m_file.Write(header.data(), header.size()) &&
           WriteQuickLoadTable() && m_file.Flush();
}

bool CSDB::WriteQuickLoadTable() {
    Piece arPiece;
    for (size_t n = 0; n < GetNoteCount(); n += kPieceEntries) {
        const size_t nEntries = std::min(kPieceEntries, GetNoteCount() - n);
        for (size_t i = 0; i < nEntries; ++i) PutEntry(&arPiece[i * QuickLoadEntry::kBytes], m_keys[n + i]);
        if (!m_file.Write(arPiece.data(), nEntries * QuickLoadEntry::kBytes)) return false;
    }
    return true;
}

}  // namespace Kestrova
