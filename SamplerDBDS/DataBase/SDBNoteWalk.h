// SDBNoteWalk.h - the headers of a database file one after the other, as they stand in the file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/DataBase/SDBFormat.h"

namespace Kestrova {

// Reads headers only. Each is expected where the body of the note before ends, by that note's header. This
// may be beyond the end of the file: the last note's body can be cut short.
// Small notes are read a window at a time, of the 64 KiB in the walk itself; of large bodies little more than
// the headers between them is read.
// Threads: one. Owner: the file is the caller's. The caller may move the file's position between two steps,
//          and write over bytes that the walk has passed.
class CSDBNoteWalk {
public:
    static constexpr size_t kWindowBytes = 65536;

    explicit CSDBNoteWalk(CXFile& file) : m_file(file) {}

    // The next header, with its position. False when no whole header is left, or when reading failed.
    bool Next(SDBNOTE& note) {
        const uint64_t nOffset = m_posNext - m_posWindow;
        if ((nOffset > m_nFilled || m_nFilled - nOffset < NoteHeader::kBytes) && !Load()) return false;
        DecodeNoteHeader(m_arWindow.data() + (m_posNext - m_posWindow), note);
        note.posHeader = m_posNext;
        m_posNext = note.PosEnd();
        return true;
    }
    // True when a seek failed, or bytes that the file has could not be read. So Next was false although it
    // had not come to the end of the notes.
    bool HasFailed() const { return m_bFailed; }

    // `nBytes` of the file as they were read, when all of them lie in the window; else null. Good until the
    // next step.
    const uint8_t* BytesAt(uint64_t pos, size_t nBytes) const {
        const uint64_t nOffset = pos - m_posWindow;
        return nOffset <= m_nFilled && nBytes <= m_nFilled - nOffset ? m_arWindow.data() + nOffset : nullptr;
    }

private:
    bool Load();

    CXFile& m_file;
    uint64_t m_posNext = FileHeader::kBytes;
    uint64_t m_posWindow = 0;
    uint64_t m_nFilled = 0;
    size_t m_nReadAhead = kLeastReadAhead;  // bytes that the next load asks for
    bool m_bFailed = false;
    std::array<uint8_t, kWindowBytes> m_arWindow;  // m_nFilled bytes of it are set

    static constexpr size_t kLeastReadAhead = 2048;
};

// True when the whole body lies inside the file; false also when its size cannot be had.
bool HasWholeBody(CXFile& file, const SDBNOTE& note);

}  // namespace Kestrova
