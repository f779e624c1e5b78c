// SDBIdMap.h - a map from 32-bit ids to 32-bit numbers, 4 to 8 bytes an id when the ids lie close together.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Kestrova {

// The values of eight ids in a row lie in one page, and a hash table with open addresses finds the page. Ids
// are counted up, so pages are full and the table is small; an id alone on its page takes 32 bytes, and 11 to
// 22 in the table. Any 32-bit id can be a key; keys are never removed. Each map has a random seed for its
// hash, so that nobody can write a file whose pages all collide.
// Threads: Find from any while none changes the map. Errors: At throws std::bad_alloc and changes nothing.
class CSDBIdMap {
public:
    static constexpr uint32_t kNone = 0xFFFFFFFF;  // "no value"

    CSDBIdMap();

    // kNone for a key that is not there.
    uint32_t Find(uint32_t key) const;

    // The key's value, to be read and set; kNone when it was not there, and the caller then sets it. The
    // reference is good until the next At of a key that is not there.
    uint32_t& At(uint32_t key);

    void Clear();

private:
    static constexpr unsigned kPageBits = 3;
    static constexpr uint32_t kPlaceMask = (1u << kPageBits) - 1;

    using Page = std::array<uint32_t, kPlaceMask + 1>;  // kNone: not there

    struct Slot {
        uint32_t nKey = 0;       // the ids of the page without their last bits
        uint32_t nPage = kNone;  // kNone: a free slot
    };

    size_t SlotOf(uint32_t nKey) const;
    void Grow();
    Slot MakePage(uint32_t nKey);

    std::vector<Slot> m_arSlots;  // empty, or a power of two of them, at most three quarters in use
    std::vector<Page> m_arPages;
    Slot m_last;  // of the last At
    uint64_t m_nSeed;
};

}  // namespace Kestrova
