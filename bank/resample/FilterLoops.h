// FilterLoops.h - the filter methods block by block, through the SIMD kernels.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numeric>

#include "bank/resample/FilterWings.h"
#include "bank/resample/ResampleLoops.h"

namespace Kestrova {

// One conversion by a filter method through a block function.
template <class TFormat>
class FilterLoop {
public:
    FilterLoop(_Args& state, const FilterWings& wings, FilterBlockFunction pFilterBlock)
        : m_state(state), m_pFilterBlock(pFilterBlock), m_nSpacing(SpacingOf(state.nStep)) {
        m_block.wings = wings;
        m_block.nSampleBits = TFormat::kSampleBits;
        m_block.nChannels = TFormat::kChannels;
        m_block.nGain = state.nGain;
        m_block.nStep = state.nStep;
        for (int n = 0; n < kMostStreams; ++n) m_block.arOut[n] = m_arOut[n];
    }

    // The same frames, tail and count as RunLoop makes with the scalar kernels.
    int64_t Run(int64_t nSourceFrames, int64_t nDestinationFrames) {
        const int64_t nComputed = FramesComputed(nSourceFrames, m_state.nStep, false);
        const Destination destination(nDestinationFrames, kFrame, kFrame);
        char* pOut = m_state.pDestination;
        for (int64_t nLeft = destination.Stored(nComputed); nLeft > 0;) {
            m_block.nStreams = StreamsFor(nLeft);
            const int64_t nFrames = m_block.nStreams == 1 ? nLeft : m_nSpacing;
            RunStreams(nFrames, pOut);
            pOut += nFrames * m_block.nStreams * kFrame;
            nLeft -= nFrames * m_block.nStreams;
        }
        destination.ClearTail(m_state.pDestination, nComputed);
        return destination.Produced(nComputed);
    }

private:
    static constexpr int64_t kFrame = TFormat::kFrameBytes;
    static constexpr size_t kOutValues = kBlockFrames * size_t{TFormat::kFrameBytes} / sizeof(int16_t) + 4;

    static size_t Bytes(int64_t nFrames) { return static_cast<size_t>(nFrames * kFrame); }

    // The phases repeat after 32768 / gcd(step, 32768) output frames; the least multiple of that which fills
    // blocks.
    static int64_t SpacingOf(int nStep) {
        const int64_t nPeriod = 32768 / std::gcd(nStep, 32768);
        return std::max<int64_t>(nPeriod, kBlockFrames);
    }

    // As many streams as the frames left fill, if two rows are at most half a stream's window.
    int StreamsFor(int64_t nLeft) const {
        int nStreams = kMostPlanes / TFormat::kChannels;
        while (nStreams > 1 && (nStreams * m_nSpacing > nLeft || 2 * Taps() > kWindowFrames / nStreams))
            nStreams /= 2;
        return nStreams;
    }

    int Taps() const { return 2 * m_block.wings.nRowTaps; }
    int64_t SourceFramesApart() const { return m_nSpacing * m_state.nStep >> 15; }

    // The next nFrames output frames of each stream; the first stream begins at the current frame.
    void RunStreams(int64_t nFrames, char* pOut) {
        for (int64_t nLeft = nFrames; nLeft > 0; nLeft -= m_block.nFrames) {
            RunBlock(nLeft);
            for (int n = 0; n < m_block.nStreams; ++n)
                std::memcpy(pOut + n * m_nSpacing * kFrame, m_arOut[n], Bytes(m_block.nFrames));
            pOut += m_block.nFrames * kFrame;
        }
        m_nFrame += (m_block.nStreams - 1) * SourceFramesApart();
    }

    // The output frames until a stream's window is used up; at least one.
    int FramesOfBlock(int64_t nLeft) const {
        const int64_t nRoom = int64_t{kWindowFrames / m_block.nStreams - Taps()} << 15;
        const int64_t nFrames = (nRoom - m_state.nPhase) / m_state.nStep + 1;
        return static_cast<int>(std::min({nFrames, nLeft, int64_t{kBlockFrames}}));
    }

    void RunBlock(int64_t nLeft) {
        m_block.nPhase = m_state.nPhase;
        m_block.nFrames = FramesOfBlock(nLeft);
        const int64_t nLast = m_block.nPhase + (m_block.nFrames - 1) * int64_t{m_block.nStep};
        m_block.nSourceFrames = static_cast<int>(nLast >> 15) + Taps();
        for (int n = 0; n < m_block.nStreams; ++n)
            m_block.arSources[n] = Window(
                m_nFrame + n * SourceFramesApart() - (m_block.wings.nRowTaps - 1), m_block.nSourceFrames,
                m_arWindows + Bytes(int64_t{n} * (kWindowFrames / m_block.nStreams)));
        m_pFilterBlock(m_block);
        const int64_t nNext = nLast + m_block.nStep;
        m_nFrame += nNext >> 15;
        m_state.nPhase = static_cast<int>(nNext & 0x7FFF);
    }

    static int Clip(int64_t n, int nCount) { return static_cast<int>(std::clamp<int64_t>(n, 0, nCount)); }

    // The nCount frames from nFirst on; the wave's first frame is number 0. They are the wave's own where all
    // of them may be read, else a copy at pCopy in which frames out of reach are silence.
    const char* Window(int64_t nFirst, int nCount, char* pCopy) const {
        const int64_t nWaveFrames = (m_state.pSourceEnd - m_state.pSource) / kFrame;
        const int nFrom = Clip(-kGuardFrames - nFirst, nCount);
        const int nTo = std::max(nFrom, Clip(nWaveFrames + kGuardFrames - nFirst, nCount));
        if (nFrom == 0 && nTo == nCount) return m_state.pSource + nFirst * kFrame;
        std::memset(pCopy, 0, Bytes(nCount));
        if (nFrom < nTo)
            std::memcpy(pCopy + nFrom * kFrame, m_state.pSource + (nFirst + nFrom) * kFrame,
                        Bytes(nTo - nFrom));
        return pCopy;
    }

    _Args& m_state;
    FilterBlockFunction m_pFilterBlock;
    const int64_t m_nSpacing;  // output frames from one stream to the next
    int64_t m_nFrame = 0;      // the source frame that the state's phase belongs to
    FilterBlock m_block{};
    char m_arWindows[kWindowFrames * size_t{TFormat::kFrameBytes}];
    alignas(64) int16_t m_arOut[kMostStreams][kOutValues];
};

}  // namespace Kestrova
