// BlockSort.h - the Burrows-Wheeler transform of a block.
#pragma once

#include "codec/EqualRotations.h"
#include "codec/KeySort.h"
#include "codec/WaveFormat.h"

namespace Kestrova {

// The large arrays of a sort, part of the compressor's working storage.
struct BlockSortArrays {
    uint8_t block[1 + WaveFormat::kBlockSize + kOvershootBytes];  // [0]: a copy of the block's last byte
    uint16_t quadrant[WaveFormat::kBlockSize + kOvershootBytes];  // ranks found so far, per position
    uint32_t order[WaveFormat::kBlockSize];                       // starts of the rotations in sorted order
    uint32_t radix[0x10000 + 1];                                  // first place of each two-byte bucket
    KeySortArrays keys;
    EqualRotationsArrays equals;  // of the second attempt
};

// Sorts the rotations of one block. The order of the defined steps decides when the work limit is reached,
// and so the bytes of the stream: whoever makes a step faster must keep this order.
//
// For most blocks KeySorter knows what the steps would lead to, and none is gone through. For the others
// there is the first attempt, which counts its work.
//
// The second attempt has no work limit. The order of different rotations is the same whatever steps
// lead to it, so a sort in linear time finds it. Two more things depend on the steps: whether the
// stack of ranges overflows, and the order of equal rotations. For these two the steps are repeated:
// for the first without any comparison of rotations; for the second, which only a block that repeats
// exactly needs, with comparisons from tables.
class BlockSorter {
public:
    static constexpr uint32_t kWorkPerByte = 150;  // comparison steps of the first attempt

    // Does not own the arrays. Another work limit than the format's is for tests.
    explicit BlockSorter(BlockSortArrays& arrays, uint32_t nWorkPerByte = kWorkPerByte);

    // Sorts the nCount (1 or more) bytes from arrays.block[1] on into arrays.order. A block that takes too
    // long is randomised, in place and in `used`, and sorted again. False: the stack of ranges overflowed.
    bool doReversibleTransformation(uint32_t nCount, bool (&used)[WaveFormat::kByteValues]);

    uint32_t GetOrigin() const { return m_iOrigin; }  // place of the block itself among its rotations
    bool IsRandomised() const { return m_bRandomised; }

private:
    struct Range {
        int32_t lo, hi;  // places in the order, both included
        int32_t depth;   // leading bytes that are equal in all of them
    };
    class RangeStack;
    // What is done with ranges that are not divided any further. By keys a bucket is sorted whole.
    enum class Ranges { kByKeys, kCompared, kUntouched, kComparedByTables };

    void randomiseBlock(bool (&used)[WaveFormat::kByteValues]);
    bool SortByKeys();
    void SortRandomised();
    bool FindOrigin();

    void sortIt();
    void SortSmallBlock();
    void CopyOvershoot();
    void FillBuckets();
    void SortGroups();
    bool SortBucketsOf(uint32_t group);
    void SortBucket(uint32_t iBegin, uint32_t iEnd);
    void RankGroup(uint32_t group);
    void DeriveBucketsEndingIn(uint32_t group, const bool (&done)[WaveFormat::kByteValues]);

    uint32_t BucketStart(uint32_t bucket) const;
    uint32_t GroupSize(uint32_t group) const;

    void qSort3(int32_t lo, int32_t hi, int32_t depth);
    void PartitionInto(RangeStack& ranges, Range range);
    uint8_t PivotOf(Range range) const;
    void vswap(int32_t i1, int32_t i2, int32_t n);
    void simpleSort(int32_t lo, int32_t hi, int32_t depth);
    template <class TGreater>
    void ShellSort(int32_t lo, int32_t hi, int32_t depth, TGreater isGreater);
    template <class TGreater>
    void InsertDown(int32_t iPlace, int32_t iLowest, int32_t step, int32_t depth, TGreater isGreater);
    bool fullGtU(uint32_t i1, uint32_t i2);
    bool RestGreater(uint32_t i1, uint32_t i2);
    bool AreEqual(uint32_t i1, uint32_t i2, uint32_t nStride) const;
    bool AreFourEqual(uint32_t i1, uint32_t i2) const;
    bool IsGreaterInFour(uint32_t i1, uint32_t i2) const;

    uint32_t Wrapped(uint32_t i) const { return i < m_nCount ? i : i - m_nCount; }

    bool IsOverLimit() const { return m_nWork > m_nWorkLimit; }
    bool MustGiveUp() const { return m_bFailed || IsOverLimit(); }

    uint8_t* const m_block;  // [-1] is the copy of the last byte
    uint16_t* const m_quadrant;
    uint32_t* const m_order;
    uint32_t* const m_radix;
    uint32_t* const m_scratch;
    EqualRotations m_equals;
    KeySorter m_keySorter;
    const uint32_t m_nWorkPerByte;
    uint32_t m_nCount = 0;
    uint32_t m_iOrigin = 0;
    uint64_t m_nWork = 0, m_nWorkLimit = 0;
    Ranges m_eRanges = Ranges::kCompared;
    bool m_bRandomised = false;
    bool m_bFailed = false;  // the stack of ranges overflowed, or the sort by keys refused the block
};

}  // namespace Kestrova
