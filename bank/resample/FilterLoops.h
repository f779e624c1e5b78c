// FilterLoops.h - the filter methods block by block, through the SIMD kernels.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "bank/resample/FilterKernel.h"
#include "bank/resample/PackedFilter.h"
#include "bank/resample/ResampleLoops.h"

namespace Kestrova {

// Source frames unpacked as FilterBlock wants them. Frames out of reach are silence.
template <class TFormat>
class FilterWindow {
public:
    // Fills the window with the nCount frames from nFirst on; the wave's first frame is number 0.
    void Load(const _Args& state, int64_t nFirst, int nCount) {
        const int64_t nFrames = (state.pSourceEnd - state.pSource) / TFormat::kFrameBytes;
        const int nFrom = Clip(-kGuardFrames - nFirst, nCount);
        const int nTo = std::max(nFrom, Clip(nFrames + kGuardFrames - nFirst, nCount));
        FillSilence(0, nFrom);
        if (nFrom < nTo) Unpack(state.pSource + (nFirst + nFrom) * TFormat::kFrameBytes, nFrom, nTo);
        FillSilence(nTo, nCount);
    }

    static constexpr size_t kParts = TFormat::kSampleBits == 24 ? 2 : 1;

    const int32_t* Plane(int nChannel, size_t nPart) const { return m_arPlanes[nChannel][nPart]; }

private:
    static constexpr int kRounding = 8192 << 16;

    static int Clip(int64_t n, int nCount) { return static_cast<int>(std::clamp<int64_t>(n, 0, nCount)); }

    void Put(int nChannel, int nFrame, int nSample) {
        if constexpr (kParts == 1) {
            m_arPlanes[nChannel][0][nFrame] = (nSample & 0xFFFF) | kRounding;
        } else {
            m_arPlanes[nChannel][0][nFrame] = (nSample >> 8) & 0xFFFF;
            m_arPlanes[nChannel][1][nFrame] = (nSample & 0xFF) | kRounding;
        }
    }

    void FillSilence(int nFrom, int nTo) {
        for (int n = nFrom; n < nTo; ++n)
            for (int nChannel = 0; nChannel < TFormat::kChannels; ++nChannel) Put(nChannel, n, 0);
    }

    void Unpack(const char* pSample, int nFrom, int nTo) {
        for (int n = nFrom; n < nTo; ++n)
            for (int nChannel = 0; nChannel < TFormat::kChannels; ++nChannel) {
                Put(nChannel, n, TFormat::Load(pSample));
                pSample += TFormat::kSampleBytes;
            }
    }

    int32_t m_arPlanes[TFormat::kChannels][kParts][kWindowFrames];
};

// One conversion by a filter method through a block function.
template <class TFormat>
class FilterLoop {
public:
    FilterLoop(_Args& state, const FilterRowShape& shape, SumFramesFunction pSumFrames)
        : m_state(state), m_pSumFrames(pSumFrames) {
        m_block.row = shape;
        m_block.nSampleBits = TFormat::kSampleBits;
        m_block.nChannels = TFormat::kChannels;
        m_block.nStep = state.nStep;
        for (int nChannel = 0; nChannel < TFormat::kChannels; ++nChannel) {
            m_block.arSums[nChannel] = m_arSums[nChannel];
            for (size_t nPart = 0; nPart < m_window.kParts; ++nPart)
                m_block.arPlanes[nChannel][nPart] = m_window.Plane(nChannel, nPart);
        }
    }

    // The same frames, tail and count as RunLoop makes with the scalar kernels.
    int64_t Run(int64_t nSourceFrames, int64_t nDestinationFrames) {
        const int64_t nComputed = FramesComputed(nSourceFrames, m_state.nStep, false);
        const Destination destination(nDestinationFrames, TFormat::kFrameBytes, TFormat::kFrameBytes);
        char* pOut = m_state.pDestination;
        for (int64_t nLeft = destination.Stored(nComputed); nLeft > 0; nLeft -= m_block.nFrames) {
            RunBlock(nLeft, pOut);
            pOut += m_block.nFrames * TFormat::kFrameBytes;
        }
        destination.ClearTail(m_state.pDestination, nComputed);
        return destination.Produced(nComputed);
    }

private:
    int Taps() const { return m_block.row.nLeftTaps + m_block.row.nRightTaps; }

    // The output frames until the window is used up; at least one, because a row is at most half a window.
    int FramesOfBlock(int64_t nLeft) const {
        const int64_t nRoom = int64_t{kWindowFrames - Taps()} << 15;
        const int64_t nFrames = (nRoom - m_state.nPhase) / m_state.nStep + 1;
        return static_cast<int>(std::min({nFrames, nLeft, int64_t{kBlockFrames}}));
    }

    void RunBlock(int64_t nLeft, char* pOut) {
        m_block.nPhase = m_state.nPhase;
        m_block.nFrames = FramesOfBlock(nLeft);
        const int64_t nLast = m_block.nPhase + (m_block.nFrames - 1) * int64_t{m_block.nStep};
        m_window.Load(m_state, m_nFrame - (m_block.row.nLeftTaps - 1),
                      static_cast<int>(nLast >> 15) + Taps());
        m_pSumFrames(m_block);
        Store(pOut);
        const int64_t nNext = nLast + m_block.nStep;
        m_nFrame += nNext >> 15;
        m_state.nPhase = static_cast<int>(nNext & 0x7FFF);
    }

    void Store(char* pOut) const {
        for (int n = 0; n < m_block.nFrames; ++n)
            for (int nChannel = 0; nChannel < TFormat::kChannels; ++nChannel) {
                const auto sum = static_cast<uint32_t>(m_arSums[nChannel][n]);
                TFormat::Store(pOut, TFormat::Clamp(ApplyGain<TFormat>(sum, m_state.nGain)));
                pOut += TFormat::kSampleBytes;
            }
    }

    _Args& m_state;
    SumFramesFunction m_pSumFrames;
    int64_t m_nFrame = 0;  // the source frame that the state's phase belongs to
    FilterBlock m_block{};
    FilterWindow<TFormat> m_window;
    int32_t m_arSums[TFormat::kChannels][kBlockFrames];
};

}  // namespace Kestrova
