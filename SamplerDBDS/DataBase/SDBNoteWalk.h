// SDBNoteWalk.h - the headers of a database file one after the other, as they stand in the file.
#pragma once

#include <cstdint>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/DataBase/SDBFormat.h"

namespace Kestrova {

// Reads headers only. Each is expected where the body of the note before ends, by that note's header. This
// may be beyond the end of the file: the last note's body can be cut short.
// Threads: one. Owner: the file is the caller's. The caller may move the file's position between two steps.
class CSDBNoteWalk {
public:
    explicit CSDBNoteWalk(CXFile& file) : m_file(file) {}

    // The next header, with its position. False when no whole header is left, or when reading failed.
    bool Next(SDBNOTE& note);
    // True when a seek failed, or bytes that the file has could not be read. So Next was false although it
    // had not come to the end of the notes.
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
