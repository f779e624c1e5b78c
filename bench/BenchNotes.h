// BenchNotes.h - containers of many small notes, the same on every run: bodies of 100 bytes, ten notes below
// each note.
#pragma once

#include <cstdint>
#include <string>

#include "SamplerDBDS/DataBase/SDBEngine.h"

namespace Kestrova::Bench {

inline constexpr size_t kNoteBytes = 100;
inline constexpr char kNoteBody[kNoteBytes] = "the body of a note";

// Adds note nNote, the notes before it being there already. Behind a quick-load table each id is one more.
bool AddNote(CSDB& database, uint32_t nNote);
bool AddNotes(CSDB& database, uint32_t nNotes);

// Writes a committed file.
bool MakeContainer(const std::string& strPath, uint32_t nNotes, bool bQuickLoad);

// As many look-ups as there are notes, in no order. `find` takes an id and answers whether it is there.
template <class TFind>
bool FindEach(uint32_t nNotes, TFind find) {
    uint32_t nRandom = 1;
    for (uint32_t n = 0; n < nNotes; ++n) {
        nRandom = static_cast<uint32_t>(uint64_t{nRandom} * 48271 % 2147483647);
        if (!find(nRandom % nNotes)) return false;
    }
    return true;
}

}  // namespace Kestrova::Bench
