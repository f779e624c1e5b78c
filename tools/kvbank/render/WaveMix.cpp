#include "tools/kvbank/render/WaveMix.h"

#include <algorithm>

namespace Kestrova {
namespace {

constexpr int64_t kFullScale = 8388607;  // of 24 bits

// A sample of 16 or 24 bits at the scale of 24.
int32_t ValueAt(const uint8_t* p, uint32_t nBits) {
    const uint32_t nTop = nBits == 16 ? uint32_t{p[0]} << 16 | uint32_t{p[1]} << 24
                                      : uint32_t{p[0]} << 8 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 24;
    return static_cast<int32_t>(nTop) / 256;
}

// n / nDivisor, rounded to the nearest, halves away from zero.
int64_t Divided(int64_t n, int64_t nDivisor) {
    return (n < 0 ? n - nDivisor / 2 : n + nDivisor / 2) / nDivisor;
}

}  // namespace

WaveMix::WaveMix(const WaveForm& form, uint64_t nFrames) : m_form(form), m_sums(nFrames * form.nChannels) {}

void WaveMix::Add(std::span<const uint8_t> frames, uint32_t nBits, uint32_t nChannels, uint64_t nFirst,
                  uint64_t nFade) {
    const size_t nWidth = nBits / 8, nFrameBytes = nWidth * nChannels;
    const uint64_t nFrames = frames.size() / nFrameBytes;
    for (uint64_t n = 0; n < nFrames; ++n) {
        const uint64_t nLeft = nFrames - n;
        for (uint32_t nSide = 0; nSide < m_form.nChannels; ++nSide) {
            const uint32_t nChannel = std::min(nSide, nChannels - 1);
            const int64_t nValue = ValueAt(&frames[n * nFrameBytes + nChannel * nWidth], nBits);
            m_sums[(nFirst + n) * m_form.nChannels + nSide] +=
                nLeft > nFade ? nValue
                              : Divided(nValue * static_cast<int64_t>(nLeft), static_cast<int64_t>(nFade));
        }
    }
}

// As a positive number: the lowest value counts as the highest, which is one less far from zero.
int64_t WaveMix::Loudest() const {
    int64_t nLoudest = 0;
    for (const int64_t nSum : m_sums) nLoudest = std::max(nLoudest, nSum < 0 ? -1 - nSum : nSum);
    return nLoudest;
}

double WaveMix::Gain() const {
    const int64_t nLoudest = Loudest();
    return nLoudest <= kFullScale ? 1.0 : static_cast<double>(kFullScale) / static_cast<double>(nLoudest);
}

std::vector<uint8_t> WaveMix::Frames() const {
    const int64_t nLoudest = std::max(Loudest(), kFullScale);
    const int64_t nUnit = m_form.nBits == 16 ? 256 : 1;
    const int64_t nHighest = kFullScale / nUnit;
    std::vector<uint8_t> bytes;
    bytes.reserve(m_sums.size() * m_form.nBits / 8);
    for (const int64_t nSum : m_sums) {
        const int64_t nLowered = nLoudest == kFullScale ? nSum : Divided(nSum * kFullScale, nLoudest);
        const int64_t nValue = std::clamp(Divided(nLowered, nUnit), -1 - nHighest, nHighest);
        for (uint32_t nShift = 0; nShift < m_form.nBits; nShift += 8)
            bytes.push_back(static_cast<uint8_t>(static_cast<uint64_t>(nValue) >> nShift));
    }
    return bytes;
}

}  // namespace Kestrova
