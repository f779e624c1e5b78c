// ResampleLoops.h - one template per method of resampling over the sample formats.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "bank/resample/KernelArgs.h"
#include "bank/resample/SampleFormat.h"

namespace Kestrova {

// More frames than any memory holds; this limit keeps sums of hostile counts within 64 bits.
inline constexpr int64_t kMostFrames = int64_t{1} << 44;

// a + (b - a) * f >> 15 between neighbouring frames. Lies between both, so clamping never changes it.
template <class TFormat>
int LinearSample(const char* pSample, int nPhase) {
    using Product = typename TFormat::Product;
    const int a = TFormat::Load(pSample);
    const int b = TFormat::Load(pSample + TFormat::kFrameBytes);
    return a + static_cast<int>((static_cast<Product>(b - a) * nPhase) >> 15);
}

// n / 2, toward zero for 16-bit samples and downwards for 24-bit ones. Deliberate (Q94).
template <class TFormat>
int CubicHalf(int n) {
    if constexpr (TFormat::kSampleBits == 24) return n >> 1;
    return n / 2;
}

// n * f >> 15; the 16-bit product is 32-bit and wraps, as steep waves need.
template <class TFormat>
int CubicScale(int n, int nPhase) {
    if constexpr (TFormat::kSampleBits == 24) return static_cast<int>((int64_t{n} * nPhase) >> 15);
    return static_cast<int32_t>(static_cast<uint32_t>(n) * static_cast<uint32_t>(nPhase)) >> 15;
}

// Catmull-Rom through the frames -1..2 around a position, in Horner form, not clamped.
template <class TFormat>
int CubicSample(const char* pSample, int nPhase) {
    constexpr int kFrame = TFormat::kFrameBytes;
    const int y0 = TFormat::Load(pSample);
    if constexpr (TFormat::kChannels == 2)
        if (nPhase == 0) return y0;
    const int yBefore = TFormat::Load(pSample - kFrame);
    const int y1 = TFormat::Load(pSample + kFrame);
    const int y2 = TFormat::Load(pSample + ptrdiff_t{2} * kFrame);
    const int a = CubicHalf<TFormat>(y2 + 3 * (y0 - y1) - yBefore);
    const int b = yBefore + 2 * y1 - CubicHalf<TFormat>(y2 + 5 * y0);
    const int c = CubicHalf<TFormat>(y1 - yBefore);
    const int nCurve = CubicScale<TFormat>(CubicScale<TFormat>(a, nPhase) + b, nPhase) + c;
    return y0 + CubicScale<TFormat>(nCurve, nPhase);
}

// A method tells how one sample is made, whether the loop still runs when the position is exactly at the
// source end, and how far the write position advances per frame.
template <class TFormat>
struct LinearMethod {
    using Format = TFormat;
    // Deliberate (Q90): 16-bit stereo alone stops before the source end; destination sizes depend on it.
    static constexpr bool kRunsAtEnd = !std::is_same_v<TFormat, Stereo16>;
    // Deliberate (Q91): 24-bit stereo fills every other frame place; banks made so differ otherwise.
    static constexpr int kAdvance = TFormat::kFrameBytes * (std::is_same_v<TFormat, Stereo24> ? 2 : 1);
    int Sample(char* pSample, const _Args& state) const {
        return LinearSample<TFormat>(pSample, state.nPhase);
    }
};

template <class TFormat>
struct CubicMethod {
    using Format = TFormat;
    static constexpr bool kRunsAtEnd = true;
    static constexpr int kAdvance = TFormat::kFrameBytes;
    int Sample(char* pSample, const _Args& state) const {
        return CubicSample<TFormat>(pSample, state.nPhase);
    }
};

using FilterKernelFunction = int (*)(char* position, _Args* state);

template <class TFormat>
struct FilterMethod {
    using Format = TFormat;
    static constexpr bool kRunsAtEnd = false;
    static constexpr int kAdvance = TFormat::kFrameBytes;
    FilterKernelFunction pKernel;
    int Sample(char* pSample, _Args& state) const { return pKernel(pSample, &state); }
};

// How many frames a loop of this step computes before its position leaves a wave of nSourceFrames.
inline int64_t FramesComputed(int64_t nSourceFrames, int nStep, bool bRunsAtEnd) {
    const int64_t nPositions = std::min(nSourceFrames, kMostFrames) + (bRunsAtEnd ? 1 : 0);
    return nPositions <= 0 ? 0 : (nPositions * 32768 + nStep - 1) / nStep;
}

// The frames of the destination. Computed frames are stored as long as there is room. The others are only
// counted, which tells how far the write position went.
class Destination {
public:
    Destination(int64_t nFrames, int nFrameBytes, int nAdvance)
        : m_nFrames(std::clamp<int64_t>(nFrames, 0, kMostFrames)),
          m_nFrameBytes(nFrameBytes),
          m_nAdvance(nAdvance) {}

    int64_t Bytes() const { return m_nFrames * m_nFrameBytes; }
    int64_t Stored(int64_t nComputed) const {
        return std::min(nComputed, (Bytes() + m_nAdvance - 1) / m_nAdvance);
    }
    int64_t Produced(int64_t nComputed) const { return std::min(nComputed, m_nFrames); }

    // Clears what is behind the last frame, when a conversion made some frames but not all.
    void ClearTail(char* pDestination, int64_t nComputed) const {
        if (nComputed < 1) return;
        const int64_t nWritten = nComputed * m_nAdvance;
        if (nWritten < Bytes())
            std::memset(pDestination + nWritten, 0, static_cast<size_t>(Bytes() - nWritten));
    }

private:
    int64_t m_nFrames;
    int m_nFrameBytes;
    int m_nAdvance;
};

// One place in the wave: the current frame, and in the state the phase behind that frame.
struct Cursor {
    char* pFrame;
    _Args state;  // a copy of its own, so that the phase can live in a register

    void Advance(int nFrameBytes) {
        const int64_t nPosition = int64_t{state.nPhase} + state.nStep;
        pFrame += (nPosition >> 15) * nFrameBytes;
        state.nPhase = static_cast<int>(nPosition & 0x7FFF);
    }
};

template <class TMethod>
void StoreFrame(const TMethod& method, Cursor& cursor, char* pOut) {
    using Format = typename TMethod::Format;
    for (int nOffset = 0; nOffset < Format::kFrameBytes; nOffset += Format::kSampleBytes)
        Format::Store(pOut + nOffset, Format::Clamp(method.Sample(cursor.pFrame + nOffset, cursor.state)));
}

// Runs a method over the wave of state, leaving the last phase there. Returns the frames produced.
template <class TMethod>
int64_t RunLoop(const TMethod& method, _Args& state, int64_t nSourceFrames, int64_t nDestinationFrames) {
    using Format = typename TMethod::Format;
    const int64_t nComputed = FramesComputed(nSourceFrames, state.nStep, TMethod::kRunsAtEnd);
    const Destination destination(nDestinationFrames, Format::kFrameBytes, TMethod::kAdvance);
    char* const pEnd = state.pDestination + destination.Bytes();
    char* pOut = state.pDestination;
    Cursor cursor{state.pSource, state};
    for (int64_t n = destination.Stored(nComputed); n > 0; --n) {
        StoreFrame(method, cursor, pOut);
        // Deliberate (Q92): a 24-bit sample is written as four bytes; the fourth is seen where there is a
        // gap.
        if constexpr (TMethod::kAdvance > Format::kFrameBytes)
            if (pEnd - pOut > Format::kFrameBytes) pOut[Format::kFrameBytes] = 0;
        pOut += TMethod::kAdvance;
        cursor.Advance(Format::kFrameBytes);
    }
    state.nPhase = cursor.state.nPhase;
    destination.ClearTail(state.pDestination, nComputed);
    return destination.Produced(nComputed);
}

}  // namespace Kestrova
