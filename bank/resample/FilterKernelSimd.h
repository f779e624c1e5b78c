// FilterKernelSimd.h - the filter kernels over blocks of frames, written once for all instruction sets.
// Included only by the FilterKernel<Set>.cpp files. TOps must have internal linkage. Everything here then has
// it too, and the linker cannot replace a copy that every processor can run by one built for a newer
// processor. For the same reason nothing here uses an inline function of another header. Loops without TOps
// are left to the compiler, which makes vectors of them for the set of each file.
//
// TOps gives Vec (kTaps lanes of 16 bits or kLanes = kTaps / 2 of 32) and
//   Load, Store             from and to memory, at any address
//   Widen(p)                kLanes packed 24-bit samples, each in the upper bytes of its lane; the lowest is
//                           any
//   Zero                    all lanes 0
//   RoundingHigh(a, b)      (a * b + 2^14) >> 15 of 16-bit lanes
//   AddProducts(sum, a, b)  each 32-bit lane of sum plus the two products of 16-bit lanes that lie there
//   AddPairs(sum, a)        the same with a's lanes alone
//   Fold(sum)               as a Part, fewer lanes with the same total; Vec itself where that is no faster
//   Totals(parts)           lane i is the sum of all lanes of part i
//   PartOps                 the same from Load to AddPairs for Parts: they take what does not fill a Vec
// 32-bit sums wrap, so they are the scalar kernel's in whatever order they are made.
#pragma once

#include <cstddef>

#include "bank/resample/FilterBlock.h"

namespace Kestrova {

// The kind of a block. The sums treat the channels of all streams alike, as so many planes.
template <int kSampleBits, size_t kChannelCount, size_t kStreamCount>
struct BlockKind {
    static constexpr int kBits = kSampleBits;
    static constexpr size_t kChannels = kChannelCount;
    static constexpr size_t kStreams = kStreamCount;
    static constexpr size_t kPlanes = kChannels * kStreams;
    static constexpr size_t kWindow = kWindowFrames / kStreams;
    static constexpr size_t kPlane = kWindow + 96;  // no power of two apart, for the cache's sake
};

// The source samples of one channel in the order in which a wing meets them. 16 bits: the samples; 24 bits:
// their high and their doubled low parts.
template <class TOps, class TKind>
struct WingPlane {
    int16_t arFirst[TKind::kPlane];
    int16_t arLow[TKind::kBits == 24 ? TKind::kPlane : 1];
};

// A block's source frames: planes in rising time for right wings, and in falling time for left ones; the
// channels of a stream lie together.
template <class TOps, class TKind>
struct BlockPlanes {
    WingPlane<TOps, TKind> arRising[TKind::kPlanes];
    WingPlane<TOps, TKind> arFalling[TKind::kPlanes];
};

template <class TOps, class TKind>
void Unpack16(const char* p, int nFrames, WingPlane<TOps, TKind>* arPlanes) {
    for (int n = 0; n < nFrames; ++n)
        for (size_t nChannel = 0; nChannel < TKind::kChannels; ++nChannel, p += 2)
            __builtin_memcpy(&arPlanes[nChannel].arFirst[n], p, 2);
}

// Four bytes at any address, for sets that widen samples one by one.
template <class TOps>
int32_t FourBytes(const char* p) {
    int32_t n = 0;
    __builtin_memcpy(&n, p, sizeof n);
    return n;
}

// First to 32 bits; the last samples, which do not fill a vector, one by one.
template <class TOps, class TKind>
void Unpack24(const char* pSource, int nFrames, WingPlane<TOps, TKind>* arPlanes) {
    int32_t arSamples[TKind::kWindow * TKind::kChannels];
    const int nSamples = nFrames * static_cast<int>(TKind::kChannels);
    int nWide = 0;
    for (; nWide <= nSamples - TOps::kLanes; nWide += TOps::kLanes)
        TOps::Store(arSamples + nWide, TOps::Widen(pSource + ptrdiff_t{3} * nWide));
    for (; nWide < nSamples; ++nWide) {
        arSamples[nWide] = 0;
        __builtin_memcpy(reinterpret_cast<char*>(arSamples + nWide) + 1, pSource + ptrdiff_t{3} * nWide, 3);
    }
    const int32_t* p = arSamples;
    for (int n = 0; n < nFrames; ++n)
        for (size_t nChannel = 0; nChannel < TKind::kChannels; ++nChannel, ++p) {
            arPlanes[nChannel].arFirst[n] = static_cast<int16_t>(*p >> 22);
            arPlanes[nChannel].arLow[n] = static_cast<int16_t>(*p >> 7 & 0x7FFE);
        }
}

template <class TOps>
void Reverse(const int16_t* pFrom, int nCount, int16_t* pTo) {
    for (int n = 0; n < nCount; ++n) pTo[n] = pFrom[nCount - 1 - n];
}

template <class TOps, class TKind>
void Unpack(const FilterBlock& block, BlockPlanes<TOps, TKind>& planes) {
    for (size_t nStream = 0; nStream < TKind::kStreams; ++nStream) {
        auto* const arPlanes = planes.arRising + nStream * TKind::kChannels;
        if constexpr (TKind::kBits == 16)
            Unpack16<TOps>(block.arSources[nStream], block.nSourceFrames, arPlanes);
        else
            Unpack24<TOps>(block.arSources[nStream], block.nSourceFrames, arPlanes);
    }
    for (size_t nPlane = 0; nPlane < TKind::kPlanes; ++nPlane) {
        const auto& rising = planes.arRising[nPlane];
        auto& falling = planes.arFalling[nPlane];
        Reverse<TOps>(rising.arFirst, block.nSourceFrames, falling.arFirst);
        if constexpr (TKind::kBits == 24) Reverse<TOps>(rising.arLow, block.nSourceFrames, falling.arLow);
    }
}

// The rows of both sides at one phase, and how many of their taps are great.
struct PhaseRows {
    const int16_t* pLeft;
    const int16_t* pRight;
    int nGreatLeft;
    int nGreatRight;
};

// Where a phase's rows come from. All sources give the same rows.
// Ready rows at table step 32768 of the long filter, where the place is the phase itself and sizes are known.
template <class TOps>
class WholeStepRows {
public:
    static constexpr ptrdiff_t kTaps = 32;

    explicit WholeStepRows(const FilterWings& wings)
        : m_pLeft(wings.pReadyLeft), m_pRight(wings.pReadyRight) {}
    static bool Serves(const FilterWings& wings) {
        return wings.pReadyLeft != nullptr && wings.nTableStep == 32768 && wings.nTaps == kTaps;
    }
    PhaseRows At(int nPhase) const {
        return {m_pLeft + nPhase * kTaps, m_pRight + (32768 - nPhase) * kTaps, 1, 1};
    }

private:
    const int16_t* m_pLeft;
    const int16_t* m_pRight;
};

// Ready rows at any table step.
template <class TOps>
class ReadyRows {
public:
    static constexpr int kTaps = 0;  // not known

    explicit ReadyRows(const FilterWings& wings)
        : m_pLeft(wings.pReadyLeft),
          m_pRight(wings.pReadyRight),
          m_nTableStep(wings.nTableStep),
          m_nRowTaps(wings.nRowTaps),
          m_nGreatTaps(wings.nGreatTaps),
          m_nGreatLimit(wings.nGreatLimit) {}
    static bool Serves(const FilterWings& wings) { return wings.pReadyLeft != nullptr; }
    PhaseRows At(int nPhase) const {
        const int hLeft = (nPhase * m_nTableStep) >> 15;
        const int hRight = (m_nTableStep * (32768 - nPhase)) >> 15;
        return {m_pLeft + hLeft * m_nRowTaps, m_pRight + hRight * m_nRowTaps,
                m_nGreatTaps - (hLeft > m_nGreatLimit ? 1 : 0),
                m_nGreatTaps - (hRight > m_nGreatLimit ? 1 : 0)};
    }

private:
    const int16_t* m_pLeft;
    const int16_t* m_pRight;
    int m_nTableStep;
    ptrdiff_t m_nRowTaps;
    int m_nGreatTaps;
    int m_nGreatLimit;
};

// Rows made when they are needed; once for frames in a row with the same phase, as all have at a whole ratio.
template <class TOps>
class MadeRows {
public:
    static constexpr int kTaps = 0;

    explicit MadeRows(const FilterWings& wings) : m_wings(wings) {}
    static bool Serves(const FilterWings& wings) { return wings.pReadyLeft == nullptr; }
    PhaseRows At(int nPhase) {
        if (nPhase != m_nPhase) Make(nPhase);
        m_nPhase = nPhase;
        return m_rows;
    }

private:
    // The right wing stops an entry earlier, deliberately.
    void Make(int nPhase) {
        const int hLeft = (nPhase * m_wings.nTableStep) >> 15;
        const int hRight = (m_wings.nTableStep * (32768 - nPhase)) >> 15;
        MakeWing(m_wings, hLeft, m_wings.nEntries, m_arLeft);
        MakeWing(m_wings, hRight, m_wings.nEntries - 1, m_arRight);
        m_rows = {m_arLeft, m_arRight, m_wings.nGreatTaps - (hLeft > m_wings.nGreatLimit ? 1 : 0),
                  m_wings.nGreatTaps - (hRight > m_wings.nGreatLimit ? 1 : 0)};
    }

    const FilterWings& m_wings;
    int m_nPhase = -1;
    PhaseRows m_rows{};
    alignas(64) int16_t m_arLeft[kMostWingTaps];
    alignas(64) int16_t m_arRight[kMostWingTaps];
};

// Adds the terms of a vector of coefficients with the samples from nAt on, as FilterBlock.h proves them.
template <class TOps, class TKind, class TPlane, class TVec = typename TOps::Vec>
void AddTerms(TVec (&arSums)[TKind::kPlanes], TVec row, const TPlane (&arPlanes)[TKind::kPlanes], int nAt) {
    for (size_t nPlane = 0; nPlane < TKind::kPlanes; ++nPlane) {
        const TVec first = TOps::Load(arPlanes[nPlane].arFirst + nAt);
        TVec& sum = arSums[nPlane];
        if constexpr (TKind::kBits == 16) {
            sum = TOps::AddPairs(sum, TOps::RoundingHigh(row, first));
        } else {
            const TVec low = TOps::Load(arPlanes[nPlane].arLow + nAt);
            sum = TOps::AddProducts(sum, row, first);
            sum = TOps::AddPairs(sum, TOps::RoundingHigh(row, low));
        }
    }
}

// The same for a vector of taps of both sides, from tap k on. Always inlined: left to itself, g++ calls it
// from the loop over taps, with the sums in memory.
template <class TOps, class TKind, class TPlanes, class TVec = typename TOps::Vec>
[[gnu::always_inline]] inline void AddBothTerms(TVec (&arSums)[TKind::kPlanes], const PhaseRows& at, int k,
                                                const TPlanes& planes, int nLeft, int nRight) {
    AddTerms<TOps, TKind>(arSums, TOps::Load(at.pLeft + k), planes.arFalling, nLeft + k);
    AddTerms<TOps, TKind>(arSums, TOps::Load(at.pRight + k), planes.arRising, nRight + k);
}

// Adds the samples that great taps take once more: they are one run of frames around the current one.
template <class TOps, class TKind, class TPlane, class TVec = typename TOps::Vec>
void AddGreatTaps(TVec (&arSums)[TKind::kPlanes], const int16_t* pOnes, int nTaps,
                  const TPlane (&arPlanes)[TKind::kPlanes], int nAt) {
    for (int i = 0; i < nTaps; i += TOps::kTaps) {
        const TVec ones = TOps::Load(pOnes + i);
        for (size_t nPlane = 0; nPlane < TKind::kPlanes; ++nPlane)
            arSums[nPlane] =
                TOps::AddProducts(arSums[nPlane], TOps::Load(arPlanes[nPlane].arFirst + nAt + i), ones);
    }
}

// The sums of all output frames of a block.
template <class TOps, class TKind, class TRows>
void SumBlock(const FilterBlock& block, const BlockPlanes<TOps, TKind>& planes,
              int32_t (&arSums)[TKind::kPlanes][kBlockFrames]) {
    using PartOps = typename TOps::PartOps;
    using Part = typename TOps::Part;
    constexpr int kGroup = TOps::kLanes;  // frames whose sums end in one vector
    constexpr int kLastTaps = PartOps::kTaps < TOps::kTaps ? PartOps::kTaps : 0;  // at most, that parts take
    const int nTaps = TRows::kTaps != 0 ? int{TRows::kTaps} : block.wings.nTaps;
    const int nGreatTaps = TRows::kTaps != 0 ? 2 : 2 * block.wings.nGreatTaps;
    const int16_t* const arGreatTaps = block.wings.arGreatTaps;
    const int nStep = block.nStep;
    const int nBlockFrames = block.nFrames;
    TRows rows(block.wings);
    Part arFrames[TKind::kPlanes][size_t{kGroup}];  // by frame, lanes not yet added up
    for (auto& plane : arFrames)
        for (auto& frame : plane) frame = TOps::Fold(TOps::Zero());
    int nPhase = block.nPhase;
    int nRight = block.wings.nRowTaps;                       // in the rising planes
    int nLeft = block.nSourceFrames - block.wings.nRowTaps;  // in the falling ones
    for (int n = 0; n < nBlockFrames; n += kGroup) {
        const int nFrames = nBlockFrames - n < kGroup ? nBlockFrames - n : kGroup;
        for (int i = 0; i < nFrames; ++i) {
            const PhaseRows at = rows.At(nPhase);
            typename TOps::Vec arWhole[TKind::kPlanes];
            for (auto& whole : arWhole) whole = TOps::Zero();
            int k = 0;
            for (; k < nTaps - kLastTaps; k += TOps::kTaps)
                AddBothTerms<TOps, TKind>(arWhole, at, k, planes, nLeft, nRight);
            // Few taps are great, so a part holds them where a vector would be mostly zeros.
            const auto finish = [&](Part(&arSum)[TKind::kPlanes]) {
                if constexpr (TKind::kBits == 16)
                    AddGreatTaps<PartOps, TKind>(arSum, arGreatTaps - at.nGreatLeft - at.nGreatRight,
                                                 nGreatTaps, planes.arRising, nRight - at.nGreatLeft);
                for (size_t nPlane = 0; nPlane < TKind::kPlanes; ++nPlane)
                    arFrames[nPlane][i] = arSum[nPlane];
            };
            if constexpr (kLastTaps == 0) {
                finish(arWhole);
            } else {
                Part arFolded[TKind::kPlanes];
                for (size_t nPlane = 0; nPlane < TKind::kPlanes; ++nPlane)
                    arFolded[nPlane] = TOps::Fold(arWhole[nPlane]);
                if (k < nTaps) AddBothTerms<PartOps, TKind>(arFolded, at, k, planes, nLeft, nRight);
                finish(arFolded);
            }
            nPhase += nStep;
            nRight += nPhase >> 15;
            nLeft -= nPhase >> 15;
            nPhase &= 0x7FFF;
        }
        for (size_t nPlane = 0; nPlane < TKind::kPlanes; ++nPlane)
            TOps::Store(arSums[nPlane] + n, TOps::Totals(arFrames[nPlane]));
    }
}

// The gain and the limits of the format. The scalar kernel's 64-bit product of 24 bits fits 32 bits in two
// parts: with q = sum >> 2 and q = (q >> 13) * 2^13 + (q & 8191), q * gain >> 13 is the sum below, exactly;
// |q| <= 2^29 and gain < 2^14, so neither product leaves 32 bits.
template <class TOps, int kBits>
int Scaled(int32_t nSum, int nGain) {
    constexpr int kHighest = (1 << (kBits - 1)) - 1;
    const int q = nSum >> 2;
    int nSample = 0;
    if constexpr (kBits == 16)
        nSample = static_cast<int32_t>(static_cast<uint32_t>(q) * static_cast<uint32_t>(nGain)) >> 13;
    else
        nSample = (q >> 13) * nGain + (((q & 8191) * nGain) >> 13);
    nSample = nSample > kHighest ? kHighest : nSample;
    return nSample < -kHighest - 1 ? -kHighest - 1 : nSample;
}

// The next two write nFrames frames of one stream, whose planes arSums are; nFrames is even.
template <class TOps, size_t kChannels>
void Pack16(const int32_t (*arSums)[kBlockFrames], size_t nFrames, int nGain, int16_t* pOut) {
    for (size_t n = 0; n < nFrames; ++n)
        for (size_t nChannel = 0; nChannel < kChannels; ++nChannel)
            pOut[n * kChannels + nChannel] =
                static_cast<int16_t>(Scaled<TOps, 16>(arSums[nChannel][n], nGain));
}

// Two samples at once, in a store of eight bytes; the next store overwrites the last two of them.
template <class TOps, size_t kChannels>
void Pack24(const int32_t (*arSums)[kBlockFrames], size_t nFrames, int nGain, int16_t* pOut) {
    int32_t arSamples[kBlockFrames * kChannels];
    for (size_t n = 0; n < nFrames; ++n)
        for (size_t nChannel = 0; nChannel < kChannels; ++nChannel)
            arSamples[n * kChannels + nChannel] = Scaled<TOps, 24>(arSums[nChannel][n], nGain);
    for (size_t n = 0; n < nFrames * kChannels; n += 2, pOut += 3) {
        const uint64_t nFirst = static_cast<uint32_t>(arSamples[n]) & 0xFFFFFF;
        const uint64_t nBoth = nFirst | static_cast<uint64_t>(static_cast<uint32_t>(arSamples[n + 1])) << 24;
        __builtin_memcpy(pOut, &nBoth, sizeof nBoth);
    }
}

template <class TOps, class TKind>
void FilterFrames(const FilterBlock& block) {
    BlockPlanes<TOps, TKind> planes;
    alignas(64) int32_t arSums[TKind::kPlanes][kBlockFrames];
    Unpack(block, planes);
    if (WholeStepRows<TOps>::Serves(block.wings))
        SumBlock<TOps, TKind, WholeStepRows<TOps>>(block, planes, arSums);
    else if (ReadyRows<TOps>::Serves(block.wings))
        SumBlock<TOps, TKind, ReadyRows<TOps>>(block, planes, arSums);
    else
        SumBlock<TOps, TKind, MadeRows<TOps>>(block, planes, arSums);
    constexpr size_t kGroup = TOps::kLanes;
    // That were stored: whole vectors.
    const size_t nSums = (static_cast<size_t>(block.nFrames) + kGroup - 1) / kGroup * kGroup;
    for (size_t nStream = 0; nStream < TKind::kStreams; ++nStream) {
        const auto* const arStream = arSums + nStream * TKind::kChannels;
        if constexpr (TKind::kBits == 16)
            Pack16<TOps, TKind::kChannels>(arStream, nSums, block.nGain, block.arOut[nStream]);
        else
            Pack24<TOps, TKind::kChannels>(arStream, nSums, block.nGain, block.arOut[nStream]);
    }
}

// Four planes at most: the sums of more would not stay in 16 registers.
template <class TOps, int kBits, size_t kChannels>
void FilterStreams(const FilterBlock& block) {
    if (block.nStreams == 1) return FilterFrames<TOps, BlockKind<kBits, kChannels, 1>>(block);
    if (block.nStreams == 2) return FilterFrames<TOps, BlockKind<kBits, kChannels, 2>>(block);
    if constexpr (kChannels == 1) FilterFrames<TOps, BlockKind<kBits, 1, 4>>(block);
}

template <class TOps>
void RunFilterBlock(const FilterBlock& block) {
    static constexpr FilterBlockFunction kByFormat[2][2] = {
        {FilterStreams<TOps, 16, 1>, FilterStreams<TOps, 16, 2>},
        {FilterStreams<TOps, 24, 1>, FilterStreams<TOps, 24, 2>}};
    kByFormat[block.nSampleBits == 24][block.nChannels - 1](block);
}

}  // namespace Kestrova
