// NoteList.h - the notes of a bank's file: where each record lies, and whose child it is.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "libkvbank/Records.h"

namespace Kestrova {

// One live note. Its body lies within the file.
struct Note {
    uint32_t id = 0;
    uint32_t idParent = 0;
    RecordBody body;
};

// The notes a player needs, by type, each kind in the order of the file.
struct NoteList {
    bool bEnriched = false;    // a built bank
    std::optional<Note> info;  // the first
    std::vector<Note> banks, programs, regions, layers, samples;

    // Takes the notes from the quick-load table if the file begins with one, else from header after header.
    // Notes that were deleted or replaced are left out. Returns a KVB_ result. May throw std::bad_alloc; the
    // memory it takes is in proportion to the file.
    int Read(std::span<const uint8_t> file);

private:
    int ReadTable(std::span<const uint8_t> file, const RecordBody& table);
    int Walk(std::span<const uint8_t> file);
    void Add(uint8_t nType, const Note& note);
};

}  // namespace Kestrova
