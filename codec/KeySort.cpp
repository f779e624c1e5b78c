#include "codec/KeySort.h"

#include <algorithm>
#include <numeric>

#include "codec/BitStream.h"
#include "codec/EqualRotations.h"

namespace Kestrova {
namespace {

using namespace SortSteps;
using WaveFormat::kByteValues;

constexpr uint32_t kKeyBytes = 5, kStartBits = 24;
constexpr uint64_t kStartMask = (uint64_t{1} << kStartBits) - 1;
static_assert(WaveFormat::kBlockSize <= kStartMask && 8 * kKeyBytes + kStartBits == 64);

constexpr uint32_t kSameKey = 0x80000000;  // in the order: this rotation has the key of the one before
constexpr uint32_t kFew = 16;              // rotations that are compared with each other rather than by keys
constexpr uint32_t kComparedBytes = 8;
constexpr uint32_t kMaxDepth = 1000;
constexpr uint32_t kFreeDepth = 8;  // the head of a comparison and more; up to here no work is counted
static_assert(kComparedBytes <= kOvershootBytes && kSimpleDepth <= kOvershootBytes);

// How often the shell sort of the defined steps goes through a range.
uint32_t PassesThrough(size_t nRotations) {
    uint32_t nPasses = 0;
    for (size_t nStep = 1; nStep < nRotations; nStep = 3 * nStep + 1) ++nPasses;
    return nPasses;
}

// None of what follows branches by the keys, which nobody can foretell.

void PutInOrder(uint64_t& a, uint64_t& b) {
    const uint64_t less = std::min(a, b);
    b = std::max(a, b);
    a = less;
}

// n: 1 to 4
void SortUpToFour(uint64_t* keys, size_t n) {
    if (n == 4) PutInOrder(keys[2], keys[3]);
    if (n >= 2) PutInOrder(keys[0], keys[1]);
    if (n >= 3) PutInOrder(keys[0], keys[2]);
    if (n == 4) PutInOrder(keys[1], keys[3]);
    if (n >= 3) PutInOrder(keys[1], keys[2]);
}

// Two sorted halves into one. The second may be longer by one. From each end goes on as many keys as the first half
// has, so that no half runs out on the way; one key may be left in the middle.
void MergeHalves(const uint64_t* keys, size_t n, uint64_t* merged) {
    const size_t nHalf = n / 2;
    const uint64_t *pLow1 = keys, *pLow2 = keys + nHalf, *pHigh1 = pLow2 - 1, *pHigh2 = keys + n - 1;
    for (size_t i = 0; i < nHalf; ++i) {
        const bool bLow1 = *pLow1 < *pLow2;
        merged[i] = bLow1 ? *pLow1 : *pLow2;
        pLow1 += bLow1;
        pLow2 += !bLow1;
        const bool bHigh2 = *pHigh1 < *pHigh2;
        merged[n - 1 - i] = bHigh2 ? *pHigh2 : *pHigh1;
        pHigh1 -= !bHigh2;
        pHigh2 -= bHigh2;
    }
    if (n % 2 == 1) merged[nHalf] = pLow1 <= pHigh1 ? *pLow1 : *pLow2;
}

void SortKeys(uint64_t* keys, size_t n, uint64_t* merged) {
    if (n <= 4) return SortUpToFour(keys, n);
    SortKeys(keys, n / 2, merged);
    SortKeys(keys + n / 2, n - n / 2, merged);
    MergeHalves(keys, n, merged);
    std::copy_n(merged, n, keys);
}

}  // namespace

void KeySorter::Start(const uint8_t* block, uint32_t nCount, uint64_t nWorkLimit) {
    m_block = block;
    m_nCount = nCount;
    m_nMaxDepth = std::min(nCount, kMaxDepth);
    m_nWorkLeft = nWorkLimit;
}

bool KeySorter::SortWhole(std::span<uint32_t> order) {
    m_nLeastPasses = PassesThrough(order.size());
    return SortByKeys(order, 0, m_nLeastPasses);
}

bool KeySorter::SortBucket(std::span<uint32_t> bucket) {
    m_nLeastPasses = PassesThrough(kSimpleRange);
    return SortClass(bucket, kBucketBytes, 0);
}

// nWaiting: the most ranges that wait on the stack of the defined steps when they come to a range of this class.
// Of each range they push the smaller, equal and greater part, and go on with the last.
// - The greater part lacks two rotations at least, because the pivot is a median of three. Of the parts with equal
//   bytes, one waits for each byte of the depth. So a class can add no more ranges than it has rotations, and a few.
// - The greater part lacks a byte value at least, the pivot. So before its equal part is reached a class adds no
//   more than two ranges for each value. This holds for the large classes, which are divided here by all values
//   at once.
bool KeySorter::SortClass(std::span<uint32_t> rotations, uint32_t nDepth, uint32_t nWaiting) {
    constexpr uint32_t kDepths = kSimpleDepth + 1 - kBucketBytes, kParts = 3;
    const bool bFewEnough = nWaiting + rotations.size() + kDepths + kParts <= kMaxRanges;
    if (!bFewEnough && nDepth <= kSimpleDepth) return DivideClass(rotations, nDepth, nWaiting);
    return rotations.size() <= KeySortArrays::kMaxKeys && SortByKeys(rotations, nDepth, 0);
}

bool KeySorter::DivideClass(std::span<uint32_t> rotations, uint32_t nDepth, uint32_t nWaiting) {
    const uint8_t* const pBytes = m_block + nDepth;
    uint32_t ends[kByteValues] = {}, sizes[kByteValues];
    for (const uint32_t iStart : rotations) ++ends[pBytes[iStart]];
    std::copy(std::begin(ends), std::end(ends), sizes);
    const auto nValues = static_cast<uint32_t>(kByteValues - std::count(sizes, sizes + kByteValues, 0u));
    const uint32_t nWaitingInside = nWaiting + 2 * (nValues - 1) + 1;
    if (nWaitingInside + 2 > kMaxRanges) return false;
    std::exclusive_scan(std::begin(ends), std::end(ends), std::begin(ends), 0u);
    std::copy(rotations.begin(), rotations.end(), m_scratch);
    for (size_t i = 0; i < rotations.size(); ++i) rotations[ends[pBytes[m_scratch[i]]]++] = m_scratch[i];
    for (unsigned ch = 0; ch < kByteValues; ++ch) {
        const auto inside = rotations.subspan(ends[ch] - sizes[ch], sizes[ch]);
        if (inside.size() > 1 && !SortClass(inside, nDepth + 1, nWaitingInside)) return false;
    }
    return true;
}

// nPasses: most passes of the defined steps through a range that these rotations are in. It is one of those that
// are always short; or a deep one, all of which is in this class as long as the class is not deeper.
bool KeySorter::SortByKeys(std::span<uint32_t> rotations, uint32_t nDepth, uint32_t nPasses) {
    if (nDepth <= kSimpleDepth + 1) nPasses = std::max(m_nLeastPasses, PassesThrough(rotations.size()));
    if (nDepth >= m_nMaxDepth) return false;
    if (nDepth >= kFreeDepth && !SpendWork(rotations.size(), nPasses, 1)) return false;
    MakeKeys(rotations, nDepth);
    SortKeys(m_arrays.keys, rotations.size(), m_arrays.merged);
    return TakeStarts(rotations) || SortEqualKeys(rotations, nDepth + kKeyBytes, nPasses);
}

void KeySorter::MakeKeys(std::span<const uint32_t> rotations, uint32_t nDepth) {
    for (size_t i = 0; i < rotations.size(); ++i)
        m_arrays.keys[i] = (BytesAt(rotations[i], nDepth) & ~kStartMask) | rotations[i];
}

// False: some keys are equal, and their rotations have been marked.
bool KeySorter::TakeStarts(std::span<uint32_t> rotations) const {
    const uint64_t* const keys = m_arrays.keys;
    uint64_t before = ~keys[0];
    bool bAllDiffer = true;
    for (size_t i = 0; i < rotations.size(); ++i) {
        const bool bSame = (keys[i] ^ before) <= kStartMask;
        rotations[i] = static_cast<uint32_t>(keys[i] & kStartMask) | (bSame ? kSameKey : 0);
        bAllDiffer &= !bSame;
        before = keys[i];
    }
    return bAllDiffer;
}

bool KeySorter::SortEqualKeys(std::span<uint32_t> rotations, uint32_t nDepth, uint32_t nPasses) {
    const auto isMarked = [&](size_t i) { return i < rotations.size() && (rotations[i] & kSameKey) != 0; };
    for (size_t i = 1; i < rotations.size(); ++i) {
        if (!isMarked(i)) continue;
        const size_t iFirst = i - 1;
        for (; isMarked(i); ++i) rotations[i] &= ~kSameKey;
        const auto equal = rotations.subspan(iFirst, i - iFirst);
        const bool bSorted =
            equal.size() <= kFew ? SortFew(equal, nDepth, nPasses) : SortByKeys(equal, nDepth, nPasses);
        if (!bSorted) return false;
    }
    return true;
}

bool KeySorter::SortFew(std::span<uint32_t> rotations, uint32_t nDepth, uint32_t nPasses) {
    uint32_t nRounds = 0;
    for (size_t i = 1; i < rotations.size(); ++i) {
        const uint32_t iMoved = rotations[i];
        size_t iPlace = i;
        for (; iPlace > 0 && IsGreater(rotations[iPlace - 1], iMoved, nDepth, nRounds); --iPlace)
            rotations[iPlace] = rotations[iPlace - 1];
        rotations[iPlace] = iMoved;
    }
    return nDepth + nRounds * kComparedBytes <= m_nMaxDepth && SpendWork(rotations.size(), nPasses, nRounds);
}

// nRounds: raised to the number of rounds that it took; one too many for m_nMaxDepth when there is no answer.
bool KeySorter::IsGreater(uint32_t i1, uint32_t i2, uint32_t nDepth, uint32_t& nRounds) const {
    for (uint32_t nRound = 1;; ++nRound, nDepth += kComparedBytes) {
        nRounds = std::max(nRounds, nRound);
        if (nDepth + kComparedBytes > m_nMaxDepth) return false;
        const uint64_t bytes1 = BytesAt(i1, nDepth), bytes2 = BytesAt(i2, nDepth);
        if (bytes1 != bytes2) return bytes1 > bytes2;
    }
}

// What sorting these rotations could be counted for in the defined steps. A pass compares each two of them once
// at most. A round looks at eight bytes or fewer, and of the steps of work, which take four bytes each,
// two or fewer end in it.
bool KeySorter::SpendWork(uint64_t nRotations, uint64_t nPasses, uint64_t nRounds) {
    const uint64_t nPairs = nRotations * (nRotations - 1) / 2, nMost = 2 * nRounds * nPasses * nPairs;
    if (nMost > m_nWorkLeft) return false;
    m_nWorkLeft -= nMost;
    return true;
}

// Eight bytes of a rotation as a number. REQUIRES: nDepth is not above nCount.
uint64_t KeySorter::BytesAt(uint32_t iStart, uint32_t nDepth) const {
    const uint32_t i = iStart + nDepth;
    return LoadBigEndian64(m_block + (i < m_nCount ? i : i - m_nCount));
}

}  // namespace Kestrova
