#include "libkvbank/NoteList.h"

#include <algorithm>
#include <optional>

#include "SamplerDBDS/DataBase/SDBFormat.h"
#include "include/kvbank.h"

namespace Kestrova {
namespace {

// Types of notes (docs/FORMATS.md).
constexpr uint8_t kInfo = 0, kBank = 17, kProgram = 18, kRegion = 19, kLayer = 20, kSample = 21,
                  kQuickLoad = 254;

// The header at a position; none when it is not whole.
std::optional<SDBNOTE> HeaderAt(std::span<const uint8_t> file, uint64_t pos) {
    NoteHeaderBytes bytes;
    if (pos > file.size() || file.size() - pos < bytes.size()) return std::nullopt;
    std::copy_n(file.begin() + static_cast<ptrdiff_t>(pos), bytes.size(), bytes.begin());
    SDBNOTE note;
    note.posHeader = pos;
    DecodeNoteHeader(bytes, note);
    return note;
}

bool LiesWithin(std::span<const uint8_t> file, const SDBNOTE& note) { return note.PosEnd() <= file.size(); }

Note NoteOf(const SDBNOTE& note) { return {note.idNote, note.idParent, {note.PosBody(), note.nSize}}; }

}  // namespace

int NoteList::Read(std::span<const uint8_t> file) {
    if (file.size() < FileHeader::kBytes) return KVB_ERROR_NOT_A_BANK;
    uint32_t nFormat = 0;
    GetField<FileHeader::kFormat>(file.data(), nFormat);
    if (nFormat != kSdbFormatPlain && nFormat != kSdbFormatEnriched) return KVB_ERROR_NOT_A_BANK;
    bEnriched = nFormat == kSdbFormatEnriched;
    const std::optional<SDBNOTE> first = HeaderAt(file, FileHeader::kBytes);
    // The first note of a bank is committed when everything else is written.
    if (bEnriched && (!first || (first->nState & kSdbStateNew) != 0)) return KVB_ERROR_UNFINISHED;
    const bool bTable = first && first->nType == kQuickLoad && first->nSize % QuickLoadEntry::kBytes == 0;
    if (!bTable) return Walk(file);
    return LiesWithin(file, *first) ? ReadTable(file, NoteOf(*first).body) : KVB_ERROR_DAMAGED;
}

int NoteList::ReadTable(std::span<const uint8_t> file, const RecordBody& table) {
    SDBNOTE note;
    note.posHeader = FileHeader::kBytes;
    for (uint32_t nAt = 0; nAt < table.nSize; nAt += QuickLoadEntry::kBytes) {
        const uint8_t* const pEntry = file.data() + table.posBody + nAt;
        uint32_t nType = 0;
        GetField<QuickLoadEntry::kType>(pEntry, nType);
        GetField<QuickLoadEntry::kId>(pEntry, note.idNote);
        GetField<QuickLoadEntry::kParent>(pEntry, note.idParent);
        GetField<QuickLoadEntry::kBodySize>(pEntry, note.nSize);
        if (!LiesWithin(file, note)) return KVB_ERROR_DAMAGED;
        Add(static_cast<uint8_t>(nType), NoteOf(note));  // the low byte counts
        note.posHeader = note.PosEnd();
    }
    return KVB_OK;
}

int NoteList::Walk(std::span<const uint8_t> file) {
    for (uint64_t pos = FileHeader::kBytes;;) {
        const std::optional<SDBNOTE> note = HeaderAt(file, pos);
        if (!note) return KVB_OK;
        if (!LiesWithin(file, *note)) return KVB_ERROR_DAMAGED;
        if (note->IsLive()) Add(note->nType, NoteOf(*note));
        pos = note->PosEnd();
    }
}

void NoteList::Add(uint8_t nType, const Note& note) {
    switch (nType) {
        case kInfo: info = info ? info : note; return;
        case kBank: return banks.push_back(note);
        case kProgram: return programs.push_back(note);
        case kRegion: return regions.push_back(note);
        case kLayer: return layers.push_back(note);
        case kSample: return samples.push_back(note);
        default: return;  // presets, and what a player has no use for
    }
}

}  // namespace Kestrova
