#include "codec/BlockSort.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include "codec/BitStream.h"
#include "codec/RandomTable.h"
#include "codec/RotationSort.h"

namespace Kestrova {
namespace {

using namespace SortSteps;
using WaveFormat::kByteValues;

constexpr uint32_t kSimpleSortBlock = 4000;  // below this last index buckets are not worth their cost
static_assert(kSimpleSortBlock <= KeySortArrays::kMaxKeys);
constexpr uint32_t kSortedFlag = 0x200000;  // in a radix entry: this bucket is in order
constexpr uint32_t kMaxRank = 65534;
constexpr uint32_t kWorkStep = 4, kLongestStride = 4096;  // positions compared at once

constexpr int32_t incs[] = {1, 4, 13, 40, 121, 364, 1093, 3280, 9841, 29524, 88573, 265720, 797161, 2391484};

uint8_t MedianOf(uint8_t a, uint8_t b, uint8_t c) {
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

}  // namespace

// A full stack deliberately (Q61) fails the whole compression.
class BlockSorter::RangeStack {
public:
    bool IsEmpty() const { return m_nCount == 0; }
    Range Pop() { return m_ranges[--m_nCount]; }
    // False: full.
    bool Push(Range range) {
        if (m_nCount == kMaxRanges) return false;
        m_ranges[m_nCount++] = range;
        return true;
    }

private:
    Range m_ranges[kMaxRanges];
    size_t m_nCount = 0;
};

BlockSorter::BlockSorter(BlockSortArrays& arrays, uint32_t nWorkPerByte)
    : m_block(arrays.block + 1),
      m_quadrant(arrays.quadrant),
      m_order(arrays.order),
      m_radix(arrays.radix),
      m_scratch(arrays.equals.tie),
      m_equals(arrays.equals),
      m_keySorter(arrays.keys, arrays.equals.tie),
      m_nWorkPerByte(nWorkPerByte) {}

bool BlockSorter::doReversibleTransformation(uint32_t nCount, bool (&used)[kByteValues]) {
    m_nCount = nCount;
    m_nWork = 0;
    // Deliberate (Q62): the work limit randomises a block, small ones too.
    m_nWorkLimit = uint64_t{m_nWorkPerByte} * (nCount - 1);
    m_bRandomised = false;
    if (SortByKeys()) return FindOrigin();
    m_bFailed = false;
    m_eRanges = Ranges::kCompared;
    sortIt();
    if (IsOverLimit() && !m_bFailed) {
        randomiseBlock(used);
        SortRandomised();
    }
    return !m_bFailed && FindOrigin();
}

bool BlockSorter::SortByKeys() {
    m_bFailed = false;
    m_eRanges = Ranges::kByKeys;
    m_keySorter.Start(m_block, m_nCount, m_nWorkLimit);
    sortIt();
    return !m_bFailed;
}

void BlockSorter::randomiseBlock(bool (&used)[kByteValues]) {
    RandomiseBytes(m_block, m_nCount);
    std::fill(std::begin(used), std::end(used), false);
    for (uint32_t i = 0; i < m_nCount; ++i) used[m_block[i]] = true;
    m_bRandomised = true;
}

void BlockSorter::SortRandomised() {
    m_nWork = 0;  // and stays so: only the first attempt counts
    m_eRanges = Ranges::kUntouched;
    sortIt();
    if (m_bFailed) return;
    const uint32_t nCopies = SortRotations(std::span<const uint8_t>(m_block, m_nCount), m_order, m_scratch);
    if (nCopies == 1) return;
    m_equals.Start(m_order, m_nCount, nCopies);
    m_eRanges = Ranges::kComparedByTables;
    sortIt();
}

bool BlockSorter::FindOrigin() {
    const uint32_t* pOrigin = std::find(m_order, m_order + m_nCount, 0u);
    m_iOrigin = static_cast<uint32_t>(pOrigin - m_order);
    return m_iOrigin < m_nCount;
}

void BlockSorter::sortIt() {
    CopyOvershoot();
    if (m_nCount - 1 < kSimpleSortBlock) {
        std::iota(m_order, m_order + m_nCount, 0u);
        SortSmallBlock();
    } else {
        FillBuckets();
        SortGroups();
    }
}

void BlockSorter::SortSmallBlock() {
    if (m_eRanges == Ranges::kByKeys)
        m_bFailed = !m_keySorter.SortWhole({m_order, m_nCount});
    else
        simpleSort(0, static_cast<int32_t>(m_nCount) - 1, 0);
}

void BlockSorter::CopyOvershoot() {
    m_block[-1] = m_block[m_nCount - 1];
    for (uint32_t i = 0; i < kOvershootBytes; ++i) m_block[m_nCount + i] = m_block[i % m_nCount];
    std::fill_n(m_quadrant, m_nCount + kOvershootBytes, uint16_t{0});
}

// Every position goes to the bucket of the two bytes that start there; the
// overshoot holds the byte after the last one.
void BlockSorter::FillBuckets() {
    const auto bucketAt = [this](uint32_t i) { return uint32_t{m_block[i]} << 8 | m_block[i + 1]; };
    std::fill_n(m_radix, 0x10000 + 1, 0u);
    for (uint32_t i = 0; i < m_nCount; ++i) ++m_radix[bucketAt(i)];
    std::partial_sum(m_radix, m_radix + 0x10000 + 1, m_radix);
    for (uint32_t i = 0; i < m_nCount; ++i) m_order[--m_radix[bucketAt(i)]] = i;
}

uint32_t BlockSorter::BucketStart(uint32_t bucket) const { return m_radix[bucket] & ~kSortedFlag; }

uint32_t BlockSorter::GroupSize(uint32_t group) const {
    return BucketStart((group + 1) << 8) - BucketStart(group << 8);
}

// A group is all rotations with the same first byte. Small groups go first: each finished group also puts
// buckets of the larger groups in order.
void BlockSorter::SortGroups() {
    uint32_t groups[kByteValues];
    std::iota(std::begin(groups), std::end(groups), 0u);
    for (uint32_t step : {121u, 40u, 13u, 4u, 1u})
        for (uint32_t i = step; i < kByteValues; ++i) {
            const uint32_t group = groups[i];
            uint32_t j = i;
            for (; j >= step && GroupSize(groups[j - step]) > GroupSize(group); j -= step)
                groups[j] = groups[j - step];
            groups[j] = group;
        }
    bool done[kByteValues] = {};
    for (const uint32_t group : groups) {
        if (!SortBucketsOf(group)) return;
        done[group] = true;
        if (m_eRanges != Ranges::kByKeys) RankGroup(group);
        if (m_eRanges == Ranges::kComparedByTables)
            m_equals.TakeRanks(m_block, m_quadrant, done, GroupSize(group) > kMaxRank);
        DeriveBucketsEndingIn(group, done);
    }
}

bool BlockSorter::SortBucketsOf(uint32_t group) {
    for (uint32_t bucket = group << 8; bucket < (group + 1) << 8; ++bucket) {
        if ((m_radix[bucket] & kSortedFlag) != 0) continue;
        SortBucket(BucketStart(bucket), BucketStart(bucket + 1));
        if (MustGiveUp()) return false;
        m_radix[bucket] |= kSortedFlag;
    }
    return true;
}

void BlockSorter::SortBucket(uint32_t iBegin, uint32_t iEnd) {
    if (iEnd - iBegin < 2) return;
    if (m_eRanges == Ranges::kByKeys)
        m_bFailed = !m_keySorter.SortBucket({m_order + iBegin, m_order + iEnd});
    else
        qSort3(static_cast<int32_t>(iBegin), static_cast<int32_t>(iEnd) - 1, kBucketBytes);
}

// The order within a finished group becomes the rank of its positions, which all later comparisons use. Ranks
// of a large group are coarser, to fit 16 bits.
void BlockSorter::RankGroup(uint32_t group) {
    const uint32_t nSize = GroupSize(group);
    const uint32_t* pOrder = m_order + BucketStart(group << 8);
    unsigned nShift = 0;
    while (nSize >> nShift > kMaxRank) ++nShift;
    for (uint32_t i = 0; i < nSize; ++i) {
        const uint32_t iPosition = pOrder[i];
        m_quadrant[iPosition] = static_cast<uint16_t>(i >> nShift);
        if (iPosition < kOvershootBytes)
            m_quadrant[m_nCount + iPosition] = static_cast<uint16_t>(i >> nShift);
    }
}

// A group in order gives the order of the positions just before its own, bucket by bucket.
void BlockSorter::DeriveBucketsEndingIn(uint32_t group, const bool (&done)[kByteValues]) {
    uint32_t next[kByteValues];
    for (uint32_t first = 0; first < kByteValues; ++first) next[first] = BucketStart(first << 8 | group);
    const uint32_t iEnd = BucketStart((group + 1) << 8);
    for (uint32_t i = BucketStart(group << 8); i < iEnd; ++i) {
        const uint32_t iPosition = m_order[i];
        const uint8_t first = (m_block + iPosition)[-1];
        if (!done[first]) m_order[next[first]++] = iPosition == 0 ? m_nCount - 1 : iPosition - 1;
    }
    for (uint32_t first = 0; first < kByteValues; ++first) m_radix[first << 8 | group] |= kSortedFlag;
}

void BlockSorter::qSort3(int32_t lo, int32_t hi, int32_t depth) {
    RangeStack ranges;
    ranges.Push({lo, hi, depth});
    while (!ranges.IsEmpty() && !MustGiveUp()) {
        const Range range = ranges.Pop();
        if (range.hi - range.lo < kSimpleRange || range.depth > kSimpleDepth)
            simpleSort(range.lo, range.hi, range.depth);
        else
            PartitionInto(ranges, range);
    }
}

uint8_t BlockSorter::PivotOf(Range range) const {
    const uint8_t* pKeys = m_block + range.depth;
    const int32_t middle = (range.lo + range.hi) >> 1;
    return MedianOf(pKeys[m_order[range.lo]], pKeys[m_order[range.hi]], pKeys[m_order[middle]]);
}

// Three parts by the byte at the depth: less, equal, greater. Equal keys gather at both ends first and are
// then swapped into the middle.
void BlockSorter::PartitionInto(RangeStack& ranges, Range range) {
    const auto [lo, hi, depth] = range;
    const uint8_t* const pKeys = m_block + depth;
    const uint8_t pivot = PivotOf(range);
    int32_t unLo = lo, ltLo = lo, unHi = hi, gtHi = hi;
    for (;;) {
        for (; unLo <= unHi && pKeys[m_order[unLo]] <= pivot; ++unLo)
            if (pKeys[m_order[unLo]] == pivot) std::swap(m_order[unLo], m_order[ltLo++]);
        for (; unLo <= unHi && pKeys[m_order[unHi]] >= pivot; --unHi)
            if (pKeys[m_order[unHi]] == pivot) std::swap(m_order[unHi], m_order[gtHi--]);
        if (unLo > unHi) break;
        std::swap(m_order[unLo++], m_order[unHi--]);
    }
    if (gtHi < ltLo) {
        m_bFailed = !ranges.Push({lo, hi, depth + 1});
        return;
    }
    const int32_t nLess = unLo - ltLo, nGreater = gtHi - unHi;
    const int32_t nLowSwap = std::min(ltLo - lo, nLess), nHighSwap = std::min(hi - gtHi, nGreater);
    vswap(lo, unLo - nLowSwap, nLowSwap);
    vswap(unLo, hi - nHighSwap + 1, nHighSwap);
    m_bFailed = !ranges.Push({lo, lo + nLess - 1, depth}) ||
                !ranges.Push({lo + nLess, hi - nGreater, depth + 1}) ||
                !ranges.Push({hi - nGreater + 1, hi, depth});
}

void BlockSorter::vswap(int32_t i1, int32_t i2, int32_t n) {
    std::swap_ranges(m_order + i1, m_order + i1 + n, m_order + i2);
}

void BlockSorter::simpleSort(int32_t lo, int32_t hi, int32_t depth) {
    if (m_eRanges == Ranges::kCompared)
        ShellSort(lo, hi, depth, [this](uint32_t i1, uint32_t i2) { return fullGtU(i1, i2); });
    else if (m_eRanges == Ranges::kComparedByTables)
        ShellSort(lo, hi, depth, [this](uint32_t i1, uint32_t i2) { return m_equals.IsGreater(i1, i2); });
}

// After every three insertions it looks whether the work limit has been passed.
template <class TGreater>
void BlockSorter::ShellSort(int32_t lo, int32_t hi, int32_t depth, TGreater isGreater) {
    const int32_t nSize = hi - lo + 1;
    if (nSize < 2) return;
    size_t nSteps = 0;
    while (incs[nSteps] < nSize) ++nSteps;
    while (nSteps > 0) {
        const int32_t step = incs[--nSteps];
        for (int32_t i = lo + step; i <= hi;) {
            const int32_t iEnd = std::min(i + 3, hi + 1);
            for (; i < iEnd; ++i) InsertDown(i, lo + step, step, depth, isGreater);
            if (MustGiveUp()) return;
        }
    }
}

template <class TGreater>
void BlockSorter::InsertDown(int32_t iPlace, int32_t iLowest, int32_t step, int32_t depth,
                             TGreater isGreater) {
    const uint32_t value = m_order[iPlace];
    const auto nDepth = static_cast<uint32_t>(depth);
    while (iPlace >= iLowest && isGreater(m_order[iPlace - step] + nDepth, value + nDepth)) {
        m_order[iPlace] = m_order[iPlace - step];
        iPlace -= step;
    }
    m_order[iPlace] = value;
}

// True when the rotation at i1 sorts behind the one at i2. The head decides most comparisons.
bool BlockSorter::fullGtU(uint32_t i1, uint32_t i2) {
    constexpr unsigned kOtherBits = 64 - 8 * kHeadBytes;
    const uint64_t head1 = LoadBigEndian64(m_block + i1) >> kOtherBits;
    const uint64_t head2 = LoadBigEndian64(m_block + i2) >> kOtherBits;
    if (head1 != head2) return head1 > head2;
    return RestGreater(i1 + kHeadBytes, i2 + kHeadBytes);
}

// Compares four positions per step of work, byte and rank in turn, until all positions have been
// compared. Equal rotations are not greater. As long as all is equal the strides grow, which changes
// neither the result nor the work counted.
bool BlockSorter::RestGreater(uint32_t i1, uint32_t i2) {
    uint32_t nStride = kWorkStep;
    for (auto nLeft = static_cast<int32_t>(m_nCount); nLeft >= 0;) {
        if (nStride > m_nCount - std::max(i1, i2) || nStride > static_cast<uint32_t>(nLeft))
            nStride = kWorkStep;
        if (!AreEqual(i1, i2, nStride)) {
            if (nStride == kWorkStep) return IsGreaterInFour(i1, i2);
            nStride = kWorkStep;
            continue;
        }
        i1 = Wrapped(i1 + nStride);
        i2 = Wrapped(i2 + nStride);
        nLeft -= static_cast<int32_t>(nStride);
        m_nWork += nStride / kWorkStep;
        nStride = std::min(2 * nStride, kLongestStride);
    }
    return false;
}

bool BlockSorter::AreEqual(uint32_t i1, uint32_t i2, uint32_t nStride) const {
    if (nStride == kWorkStep) return AreFourEqual(i1, i2);
    return std::memcmp(m_block + i1, m_block + i2, nStride) == 0 &&
           std::memcmp(m_quadrant + i1, m_quadrant + i2, nStride * sizeof(*m_quadrant)) == 0;
}

bool BlockSorter::AreFourEqual(uint32_t i1, uint32_t i2) const {
    return std::memcmp(m_block + i1, m_block + i2, kWorkStep) == 0 &&
           std::memcmp(m_quadrant + i1, m_quadrant + i2, kWorkStep * sizeof(*m_quadrant)) == 0;
}

bool BlockSorter::IsGreaterInFour(uint32_t i1, uint32_t i2) const {
    for (;; ++i1, ++i2) {
        if (m_block[i1] != m_block[i2]) return m_block[i1] > m_block[i2];
        if (m_quadrant[i1] != m_quadrant[i2]) return m_quadrant[i1] > m_quadrant[i2];
    }
}

}  // namespace Kestrova
