// FilterKernelSimd.h - the filter kernels over blocks of frames, written once for all instruction sets.
// Included only by the FilterKernel<Set>.cpp files. TOps must have internal linkage. Everything here then has
// it too, and the linker cannot replace a copy that every processor can run by one built for a newer
// processor. For the same reason nothing here uses an inline function of another header.
//
// TOps gives Vec (kLanes of 32 bits) and, lane by lane: Load, Store, Set, And, Or, Add, Less (all bits or
// none), ShiftLeft16, ShiftRight<n> (arithmetic), Gather (table entries by index), MulAddPairs (the product
// of the low halves plus that of the high halves, each half a signed 16-bit number); further Ramp(n) = {0, n,
// 2n, ...} and Total (the wrapping sum of the lanes).
#pragma once

#include "bank/resample/FilterBlock.h"

namespace Kestrova {

// Row entries from pairs: coefficient + (difference * fraction >> 7), as {coefficient, 1}.
// multiplier is {128, fraction}: the sum of the two products shifted by 7 is exactly that.
template <class TOps>
typename TOps::Vec RowEntries(typename TOps::Vec pairs, typename TOps::Vec multiplier) {
    const auto coefficients = TOps::template ShiftRight<7>(TOps::MulAddPairs(pairs, multiplier));
    return TOps::Or(TOps::And(coefficients, TOps::Set(0xFFFF)), TOps::Set(0x10000));
}

// A wing at table step 32768: all its entries have one fraction and lie together in a phase table.
template <class TOps>
void BuildPhaseWing(const int32_t* pPhases, int h, int nFractionMask, int nTaps, int32_t* pRow) {
    const int32_t* const pWing = pPhases + (h >> 7) * nTaps;
    const auto multiplier = TOps::Set(((h & nFractionMask) << 16) | 128);
    for (int i = 0; i < nTaps; i += TOps::kLanes)
        TOps::Store(pRow + i, RowEntries<TOps>(TOps::Load(pWing + i), multiplier));
}

// A wing at any table step: h is the position of its first entry and grows by hStep. At hLimit the table ends
// for this wing; row entries from there on are 0.
template <class TOps>
void BuildWing(const FilterRowShape& shape, int h, int hStep, int hLimit, int nTaps, int32_t* pRow) {
    auto places = TOps::Add(TOps::Set(h), TOps::Ramp(hStep));
    for (int i = 0; i < nTaps; i += TOps::kLanes) {
        const auto inside = TOps::Less(places, TOps::Set(hLimit));
        const auto entries = TOps::template ShiftRight<7>(TOps::And(places, inside));
        const auto pairs = TOps::And(TOps::Gather(shape.pPairs, entries), inside);
        const auto fractions = TOps::ShiftLeft16(TOps::And(places, TOps::Set(shape.nFractionMask)));
        TOps::Store(pRow + i, RowEntries<TOps>(pairs, TOps::Or(fractions, TOps::Set(128))));
        places = TOps::Add(places, TOps::Set(hStep * TOps::kLanes));
    }
}

template <class TOps>
void BuildRow(const FilterRowShape& shape, int nPhase, int32_t* pRow) {
    const int hLeft = (nPhase * shape.nTableStep) >> 15;
    const int hRight = (shape.nTableStep * (32768 - nPhase)) >> 15;
    if (shape.nTableStep == 32768) {
        BuildPhaseWing<TOps>(shape.pLeftPhases, hLeft, shape.nFractionMask, shape.nLeftTaps, pRow);
        BuildPhaseWing<TOps>(shape.pRightPhases, hRight, shape.nFractionMask, shape.nRightTaps,
                             pRow + shape.nLeftTaps);
    } else {
        // The left wing is stored backwards. The right one stops an entry earlier, deliberately.
        const int hFarthest = hLeft + (shape.nLeftTaps - 1) * shape.nTableStep;
        BuildWing<TOps>(shape, hFarthest, -shape.nTableStep, shape.nEntries << 7, shape.nLeftTaps, pRow);
        BuildWing<TOps>(shape, hRight, shape.nTableStep, (shape.nEntries - 1) << 7, shape.nRightTaps,
                        pRow + shape.nLeftTaps);
    }
}

// The rounded terms of row entries and window frames: (c * x + 8192) >> 14 each.
template <class TOps, int kBits>
typename TOps::Vec Terms(typename TOps::Vec row, const int32_t* const (&arPlanes)[2], int nAt) {
    const auto first = TOps::MulAddPairs(row, TOps::Load(arPlanes[0] + nAt));
    if constexpr (kBits == 16) {
        return TOps::template ShiftRight<14>(first);
    } else {
        const auto low = TOps::MulAddPairs(row, TOps::Load(arPlanes[1] + nAt));
        return TOps::template ShiftRight<6>(TOps::Add(first, TOps::template ShiftRight<8>(low)));
    }
}

template <class TOps, int kBits, int kChannels>
void SumFrame(const int32_t* pRow, int nTaps, const FilterBlock& block, int nOffset, int nFrame) {
    auto left = TOps::Set(0);
    auto right = TOps::Set(0);
    for (int i = 0; i < nTaps; i += TOps::kLanes) {
        const auto row = TOps::Load(pRow + i);
        left = TOps::Add(left, Terms<TOps, kBits>(row, block.arPlanes[0], nOffset + i));
        if constexpr (kChannels == 2)
            right = TOps::Add(right, Terms<TOps, kBits>(row, block.arPlanes[1], nOffset + i));
    }
    block.arSums[0][nFrame] = TOps::Total(left);
    if constexpr (kChannels == 2) block.arSums[1][nFrame] = TOps::Total(right);
}

template <class TOps, int kBits, int kChannels>
void SumBlock(const FilterBlock& block) {
    alignas(64) int32_t arRow[kMaxRowTaps];
    const int nTaps = block.row.nLeftTaps + block.row.nRightTaps;
    int nRowPhase = -1;
    int nPhase = block.nPhase;
    int nOffset = 0;
    for (int n = 0; n < block.nFrames; ++n) {
        if (nPhase != nRowPhase) BuildRow<TOps>(block.row, nPhase, arRow);  // a whole ratio keeps one phase
        nRowPhase = nPhase;
        SumFrame<TOps, kBits, kChannels>(arRow, nTaps, block, nOffset, n);
        nPhase += block.nStep;
        nOffset += nPhase >> 15;
        nPhase &= 0x7FFF;
    }
}

template <class TOps>
void SumFrames(const FilterBlock& block) {
    static constexpr SumFramesFunction kByFormat[2][2] = {{SumBlock<TOps, 16, 1>, SumBlock<TOps, 16, 2>},
                                                          {SumBlock<TOps, 24, 1>, SumBlock<TOps, 24, 2>}};
    kByFormat[block.nSampleBits == 24][block.nChannels - 1](block);
}

}  // namespace Kestrova
