// SDBIdMap.h - a hash map from 32-bit ids to 32-bit numbers, 8 bytes a slot.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Kestrova {

// Any 32-bit id can be a key; keys are never removed. Each map has a random seed for its hash, so that nobody
// can write a file whose ids all collide.
// Threads: Find from any while none changes the map. Errors: At throws std::bad_alloc and changes nothing.
class CSDBIdMap {
public:
    static constexpr uint32_t kNone = 0xFFFFFFFF;  // "no value"

    CSDBIdMap();

    // kNone for a key that is not there.
    uint32_t Find(uint32_t key) const;

    // The key's value, to be read and set; kNone when it was not there, and the caller then sets it. The
    // reference is good until the next At.
    uint32_t& At(uint32_t key);

    void Clear();

private:
    struct Slot {
        uint32_t key = 0;
        uint32_t value = kNone;  // kNone: a free slot
    };

    size_t SlotOf(uint32_t key) const;
    void Grow();

    std::vector<Slot> m_arSlots;  // empty, or a power of two of them, at most three quarters in use
    size_t m_nUsed = 0;
    uint64_t m_nSeed;
};

}  // namespace Kestrova
