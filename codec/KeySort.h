// KeySort.h - sorts the rotations of a block by several bytes at a time, and proves that this may be done.
#pragma once

#include <span>

#include "codec/WaveFormat.h"

namespace Kestrova {

// What KeySorter must know of the defined steps.
namespace SortSteps {

inline constexpr int32_t kBucketBytes = 2;    // equal in all rotations of a bucket
inline constexpr int32_t kSimpleRange = 20;   // a range that is no longer, or
inline constexpr int32_t kSimpleDepth = 10;   // that is deeper, is not divided any further
inline constexpr uint32_t kMaxRanges = 1000;  // that may wait while a bucket is divided

}  // namespace SortSteps

// Part of the compressor's working storage.
struct KeySortArrays {
    static constexpr uint32_t kMaxKeys = 4096;

    uint64_t keys[kMaxKeys];  // some bytes of a rotation, and below them its start
    uint64_t merged[kMaxKeys];
};

// Of the defined steps, which compare a byte or four at a time, three things reach the stream: the order,
// whether their work passes the limit, and whether their stack of ranges overflows. Where all rotations
// differ any steps lead to the same order. So this sort takes a shorter way, and adds up what the defined
// steps could need at the very most, of work and of places on the stack. As long as they have that much, its
// answer is theirs. Otherwise, or when rotations may be equal, it refuses the block, and the defined steps
// must be gone through. Waves come nowhere near these bounds, unless they repeat exactly.
// Time: bounded by the work limit, as each step here stands for work that is added up.
class KeySorter {
public:
    // Owns neither the arrays nor the scratch, which has a word for each rotation.
    KeySorter(KeySortArrays& arrays, uint32_t* scratch) : m_arrays(arrays), m_scratch(scratch) {}

    // Starts with a block, behind which its first kOvershootBytes bytes stand once more.
    void Start(const uint8_t* block, uint32_t nCount, uint64_t nWorkLimit);

    // Sort all rotations of a block (up to kMaxKeys) that the defined steps leave in one range, or those that
    // have the same two bytes in front. False: refused, and the order is of no use.
    bool SortWhole(std::span<uint32_t> order);
    bool SortBucket(std::span<uint32_t> bucket);

private:
    // A class is all rotations of a bucket that are equal in their first nDepth bytes.
    bool SortClass(std::span<uint32_t> rotations, uint32_t nDepth, uint32_t nWaiting);
    bool DivideClass(std::span<uint32_t> rotations, uint32_t nDepth, uint32_t nWaiting);
    bool SortByKeys(std::span<uint32_t> rotations, uint32_t nDepth, uint32_t nPasses);
    void MakeKeys(std::span<const uint32_t> rotations, uint32_t nDepth);
    bool TakeStarts(std::span<uint32_t> rotations) const;
    bool SortEqualKeys(std::span<uint32_t> rotations, uint32_t nDepth, uint32_t nPasses);
    bool SortFew(std::span<uint32_t> rotations, uint32_t nDepth, uint32_t nPasses);
    bool IsGreater(uint32_t i1, uint32_t i2, uint32_t nDepth, uint32_t& nRounds) const;
    bool SpendWork(uint64_t nRotations, uint64_t nPasses, uint64_t nRounds);
    uint64_t BytesAt(uint32_t iStart, uint32_t nDepth) const;

    KeySortArrays& m_arrays;
    uint32_t* const m_scratch;
    const uint8_t* m_block = nullptr;
    uint32_t m_nCount = 0;
    uint32_t m_nMaxDepth = 0;     // rotations with so many equal bytes are not told apart
    uint32_t m_nLeastPasses = 0;  // through a range of any size
    uint64_t m_nWorkLeft = 0;
};

}  // namespace Kestrova
