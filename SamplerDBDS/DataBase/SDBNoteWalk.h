// SDBNoteWalk.h - the headers of a database file one after the other, as they stand in the file.
#pragma once

#include <cstdint>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/DataBase/SDBFormat.h"

namespace Kestrova {

// Reads headers only, each where the one before says that its body ends; that may lie beyond the end of the
// file, so the last note's body can be cut short.
// Threads: one. Owner: the file is the caller's. The caller may move the file's position between two steps.
class CSDBNoteWalk {
public:
    explicit CSDBNoteWalk(CXFile& file) : m_file(file) {}

    // The next header, with its position. False when no whole header is left, or when reading failed.
    bool Next(SDBNOTE& note);
    // A seek failed, or bytes that the file has could not be read: false was not the end of the notes.
    bool HasFailed() const { return m_bFailed; }

private:
    bool IsAtEnd();

    CXFile& m_file;
    uint64_t m_posNext = FileHeader::kBytes;
    bool m_bFailed = false;
};

// True when the whole body lies inside the file; false also when its size cannot be had.
bool HasWholeBody(CXFile& file, const SDBNOTE& note);

}  // namespace Kestrova
