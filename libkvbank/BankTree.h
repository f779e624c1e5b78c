// BankTree.h - programs, regions, layers and samples as a player looks them up: in memory, checked, and each
// level in tables that the level above points into.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "libkvbank/NoteList.h"

namespace Kestrova {

// Consecutive rows of a table.
struct Rows {
    uint32_t nFirst = 0;
    uint32_t nCount = 0;
};

struct TreeProgram {
    RecordBody body;
    uint32_t nBank = 0;  // numbers
    uint32_t nNumber = 0;
    Rows regions;
};

struct TreeRegion {
    RecordBody body;
    uint32_t nProgram = 0;  // its row
    int32_t nLowKey = 0, nHighKey = 0;
    int32_t nLowVelocity = 0, nHighVelocity = 0;
    Rows layers;

    bool Sounds(int nKey, int nVelocity) const {
        return nLowKey <= nKey && nKey <= nHighKey && nLowVelocity <= nVelocity && nVelocity <= nHighVelocity;
    }
};

struct TreeLayer {
    uint32_t nSample = 0;  // its row, or KVB_NONE
    std::array<uint32_t, 4> values = {};
};

struct TreeSample {
    RecordBody body;
    uint32_t id = 0;
};

// Children stand in the order of their parents, those of one parent in the order of the file. A record whose
// parent is not there, or of the wrong type, belongs to nothing and is left out. Constant after Build.
struct BankTree {
    bool bEnriched = false;
    InfoRecord info;  // empty when there is none; its texts point into the file
    std::vector<TreeProgram> programs;
    std::vector<TreeRegion> regions;
    std::vector<TreeLayer> layers;
    std::vector<TreeSample> samples;

    // Once for each object. Returns a KVB_ result: damaged are a record that does not decode whole, a layer of
    // a sample that is not there, and a built bank without an information record. May throw std::bad_alloc.
    int Build(std::span<const uint8_t> file, NoteList& notes);

private:
    bool ReadInfo(std::span<const uint8_t> file, const NoteList& notes);
    bool ReadPrograms(std::span<const uint8_t> file, NoteList& notes);
    bool ReadRegions(std::span<const uint8_t> file, NoteList& notes);
    bool ReadLayers(std::span<const uint8_t> file, NoteList& notes);
};

}  // namespace Kestrova
