// SDBIndexList.h - an ascending list of entry numbers: append at the end, take any out, find the next.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Kestrova {

// Numbers lie in sorted chunks. So a search takes O(log n), and a removal moves at most one chunk, whatever
// the order of removals is. A list of one number takes no heap: most notes have at most one child.
// Threads: FirstFrom from any while none changes the list. Errors: Append throws std::bad_alloc and leaves
// the list as it was.
class CSDBIndexList {
public:
    static constexpr uint32_t kNone = 0xFFFFFFFF;

    CSDBIndexList() = default;
    CSDBIndexList(const CSDBIndexList& other);
    CSDBIndexList(CSDBIndexList&&) = default;
    CSDBIndexList& operator=(CSDBIndexList&&) = default;

    void Append(uint32_t n);               // REQUIRES: above every number in the list, below kNone
    void Erase(uint32_t n);                // nothing when it is not there
    uint32_t FirstFrom(uint32_t n) const;  // the smallest number >= n, or kNone

private:
    using Chunk = std::vector<uint32_t>;  // ascending, never empty

    static constexpr size_t kChunkNumbers = 512;

    std::vector<Chunk>::iterator ChunkOf(uint32_t n) const;

    uint32_t m_nOnly = kNone;                       // the one number, while there are no chunks
    std::unique_ptr<std::vector<Chunk>> m_pChunks;  // from the second number on
};

}  // namespace Kestrova
