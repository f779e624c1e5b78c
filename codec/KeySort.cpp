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
constexpr uint32_t kFew = 16;              // so many are compared with each other, which needs no keys
constexpr uint32_t kComparedBytes = 8;     // of two rotations at once
constexpr uint32_t kMaxDepth = 1000;
constexpr uint32_t kFreeDepth = 8;
static_assert(kComparedBytes <= kOvershootBytes && kSimpleDepth <= kOvershootBytes);

// How often the shell sort of the defined steps goes through a range.
uint32_t PassesThrough(size_t nRotations) {
    uint32_t nPasses = 0;
    for (size_t nStep = 1; nStep < nRotations; nStep = 3 * nStep + 1) ++nPasses;
    return nPasses;
}

// The next three have no branch that depends on the keys, because no processor could foretell it.

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

// Merges two sorted halves, of which the second may be longer by one key. It works from both ends at once,
// and for as many keys as the first half has, so that neither half runs out; one key may be left in the
// middle.
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

// nWaiting: the most ranges that can wait on the stack of the defined steps when they take a range of this
// class from it. They divide it into a smaller, an equal and a greater part, and go on with the greater one,
// while two wait; then with the equal one, at the next depth, while one waits; then with the smaller one.
// - The greater part is shorter by two rotations or more, because the pivot is a median of three. So as many
//   ranges as the class has rotations, one for each depth, and three that are being pushed, are always
//   enough.
// - The greater part also has fewer values of the byte at this depth. So two ranges for each value but one,
//   and one more for the equal part, are enough for what waits on the way to the next depth. This serves for
//   large classes; these are divided here by all values at once.
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

// nPasses: the most passes that the shell sort of the defined steps makes through a range with two of these
// rotations. Such a range is short, or is all the bucket has of its depth, and then lies within this class
// unless the class is deeper. The first six bytes behind a range's depth count no work, nor do up to three
// that follow. So neither do those that a round from a depth below kFreeDepth looks at.
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

// nRounds: raised to the number of rounds that this took; where there is no answer, beyond m_nMaxDepth.
bool KeySorter::IsGreater(uint32_t i1, uint32_t i2, uint32_t nDepth, uint32_t& nRounds) const {
    for (uint32_t nRound = 1;; ++nRound, nDepth += kComparedBytes) {
        nRounds = std::max(nRounds, nRound);
        if (nDepth + kComparedBytes > m_nMaxDepth) return false;
        const uint64_t bytes1 = BytesAt(i1, nDepth), bytes2 = BytesAt(i2, nDepth);
        if (bytes1 != bytes2) return bytes1 > bytes2;
    }
}

// The work that the defined steps may do on these rotations. A pass compares any two of them once or not at
// all, and a round looks at no more than eight of their bytes, in which at most two steps of four bytes end.
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
