// FilterKernel.h - the scalar filter kernel. It is the reference: every SIMD variant gives the same bits.
#pragma once

#include <cstddef>
#include <cstdint>

#include "bank/resample/FilterTables.h"
#include "bank/resample/KernelArgs.h"
#include "bank/resample/SampleFormat.h"

namespace Kestrova {

struct SmallTable {
    static constexpr int kEntries = kSmallFilterEntries;
    static constexpr const int16_t (&kImp)[kEntries] = SmallFilterImp;
    static constexpr const int16_t (&kImpD)[kEntries] = SmallFilterImpD;
};

struct LargeTable {
    static constexpr int kEntries = kLargeFilterEntries;
    static constexpr const int16_t (&kImp)[kEntries] = LargeFilterImp;
    static constexpr const int16_t (&kImpD)[kEntries] = LargeFilterImpD;
};

// The coefficient at position h, which counts 1/128 table entries.
template <class TTable, bool kInterpolate>
int Coefficient(int h) {
    const int i = h >> 7;
    if constexpr (!kInterpolate) return TTable::kImp[i];
    return TTable::kImp[i] + ((TTable::kImpD[i] * (h & 127)) >> 7);
}

// Each product is rounded on its own before it is added; the sums wrap at 32 bits. Deliberate (Q96).
template <class TFormat>
uint32_t FilterTerm(int nCoefficient, int nSample) {
    using Product = typename TFormat::Product;
    return static_cast<uint32_t>((static_cast<Product>(nCoefficient) * nSample + 8192) >> 14);
}

// Sums one side of the filter: the table entries from position h on up to nLastEntry, with at most nFrames
// samples from pSample on that are nStride bytes apart.
template <class TFormat, class TTable, bool kInterpolate>
uint32_t WingSum(const char* pSample, int nStride, int h, int nTableStep, int nLastEntry, ptrdiff_t nFrames) {
    uint32_t sum = 0;
    for (; nFrames > 0 && (h >> 7) <= nLastEntry; --nFrames) {
        sum += FilterTerm<TFormat>(Coefficient<TTable, kInterpolate>(h), TFormat::Load(pSample));
        h += nTableStep;
        pSample += nStride;
    }
    return sum;
}

// The sum scaled to an output sample; the product is 32-bit for 16-bit samples and wraps there. Deliberate
// (Q95).
template <class TFormat>
int ApplyGain(uint32_t sum, int nGain) {
    const int nQuarter = static_cast<int32_t>(sum) >> 2;
    if constexpr (TFormat::kSampleBits == 24) return static_cast<int>((int64_t{nQuarter} * nGain) >> 13);
    return static_cast<int32_t>(static_cast<uint32_t>(nQuarter) * static_cast<uint32_t>(nGain)) >> 13;
}

// How many frames may be read around a position, the guard frames
// included; without limit when no wave is given.
struct FrameReach {
    ptrdiff_t nBefore;  // with the current one
    ptrdiff_t nAfter;
};

template <class TFormat>
FrameReach ReachOf(const char* position, const _Args& state) {
    if (state.pSourceEnd == nullptr) return {PTRDIFF_MAX, PTRDIFF_MAX};
    constexpr ptrdiff_t kFrame = TFormat::kFrameBytes;
    const ptrdiff_t nAll = (state.pSourceEnd - state.pSource) / kFrame + 2 * ptrdiff_t{kGuardFrames};
    const ptrdiff_t nEarlier = (position - state.pSource + kGuardFrames * kFrame) / kFrame;
    return {nEarlier + 1, nAll - nEarlier - 1};
}

template <class TFormat, class TTable, bool kInterpolate>
int ScalarKernel(const char* position, const _Args& state) {
    // A table step of 0 to 2 always has a gain of 0, so summing over the whole wave would be wasted time.
    if (state.nGain == 0) return 0;
    constexpr int kStride = TFormat::kFrameBytes;
    const int nTableStep = state.nTableStep;
    const int nAhead = 32768 - state.nPhase;
    const int hLeft = (state.nPhase * nTableStep) >> 15;
    const int hRight = ((nTableStep * nAhead) >> 15) + (nAhead == 0 ? nTableStep : 0);
    const FrameReach reach = ReachOf<TFormat>(position, state);
    // The right wing stops one entry earlier than the left one, deliberately (Q93).
    const uint32_t sum =
        WingSum<TFormat, TTable, kInterpolate>(position, -kStride, hLeft, nTableStep, TTable::kEntries - 1,
                                               reach.nBefore) +
        WingSum<TFormat, TTable, kInterpolate>(position + kStride, kStride, hRight, nTableStep,
                                               TTable::kEntries - 2, reach.nAfter);
    return ApplyGain<TFormat>(sum, state.nGain);
}

}  // namespace Kestrova
