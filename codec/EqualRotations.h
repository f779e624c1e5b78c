// EqualRotations.h - the comparison of a block's rotations answered from tables, equal rotations included.
#pragma once

#include "codec/WaveFormat.h"

namespace Kestrova {

inline constexpr uint32_t kOvershootBytes = 20;  // copied behind a block, so that comparing needs no wrapping
inline constexpr uint32_t kHeadBytes = 6;        // compared first, and without a look at the ranks

// Part of the compressor's working storage. A block that does not repeat exactly uses only part of it.
struct EqualRotationsArrays {
    static constexpr size_t kPlaces = WaveFormat::kBlockSize + kOvershootBytes;

    uint32_t place[kPlaces];                 // of the rotation in sorted order; equal ones share it
    uint32_t tie[kPlaces];                   // the greater of two equal ones has the greater
    uint32_t order[WaveFormat::kBlockSize];  // for sorting the ranks
};

// In a block that repeats exactly some rotations are equal, and where the block itself stands among its
// equals is part of the stream: its origin pointer. There the comparison of the block sort tells equal
// rotations apart by the ranks that its steps have given to positions so far. The first position behind the
// head at which the two differ in rank decides; when there is none, they are equal. Comparing position by
// position can take as long as the block is; here two tables give the same answer at once.
class EqualRotations {
public:
    // Does not own the arrays.
    explicit EqualRotations(EqualRotationsArrays& arrays) : m_arrays(arrays) {}

    // Starts with a block, of whose positions none has a rank yet.
    //   order: its nCount rotations, sorted, nCopies of them equal to each other at a time
    void Start(const uint32_t* order, uint32_t nCount, uint32_t nCopies);

    // To be called when positions have got their ranks.
    //   ranks:    one per position; 0 where there is none yet
    //   isRanked: which byte values have their positions ranked
    //   bShared:  positions with the same byte may share a rank
    void TakeRanks(const uint8_t* block, const uint16_t* ranks,
                   const bool (&isRanked)[WaveFormat::kByteValues], bool bShared);

    // True when the rotation at i1 sorts behind the one at i2. Both may lie in the overshoot up to
    // kOvershootBytes - kHeadBytes.
    bool IsGreater(uint32_t i1, uint32_t i2) const {
        if (m_arrays.place[i1] != m_arrays.place[i2]) return m_arrays.place[i1] > m_arrays.place[i2];
        return m_arrays.tie[i1 + kHeadBytes] > m_arrays.tie[i2 + kHeadBytes];
    }

private:
    void CloseCircle(uint32_t* table) const;

    EqualRotationsArrays& m_arrays;
    uint32_t m_nCount = 0;
};

}  // namespace Kestrova
