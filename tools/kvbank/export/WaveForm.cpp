#include "tools/kvbank/export/WaveForm.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>

#include "SamplerDBDS/DataBase/SDBIWaveFile.h"
#include "tools/kvbank/contents/SampleRecord.h"

namespace Kestrova {
namespace {

constexpr uint32_t kFloat32 = 32 | kSampleFormatFlag;
constexpr double kFullScale = 2147483648.0;  // 2^31

// Full scale is 2^31; a value that is no number becomes 0. More than fits is held to what a number of 64 bits
// surely takes.
int64_t FromFloat(const uint8_t* p, bool& bExact) {
    float fSample = 0;
    std::memcpy(&fSample, p, sizeof fSample);
    const double value = std::isnan(fSample) ? 0 : std::clamp(double{fSample}, -2.0, 2.0) * kFullScale;
    const double whole = std::nearbyint(value);
    bExact = !std::isnan(fSample) && std::abs(fSample) <= 2.0F && whole == value;
    return static_cast<int64_t>(whole);
}

int64_t Widened(const uint8_t* p, uint32_t nFormat, bool& bExact) {
    bExact = true;
    switch (nFormat) {
        case 8: return static_cast<int32_t>((uint32_t{p[0]} ^ 0x80) << 24);
        case 16: return static_cast<int32_t>(Word16(p) << 16);
        case 24: return static_cast<int32_t>(Word16(p) << 8 | uint32_t{p[2]} << 24);
        case 32: return static_cast<int32_t>(Word32(p));
        default: return FromFloat(p, bExact);
    }
}

void Put(uint8_t* p, int32_t nValue, uint32_t nBits) {
    for (uint32_t nShift = 32 - nBits; nShift < 32; nShift += 8)
        *p++ = static_cast<uint8_t>(static_cast<uint32_t>(nValue) >> nShift);
}

}  // namespace

bool IsConvertible(uint32_t nFormat) {
    return nFormat == 8 || nFormat == 16 || nFormat == 24 || nFormat == 32 || nFormat == kFloat32;
}

int32_t SampleAt(const uint8_t* p, uint32_t nFormat, uint32_t nBits, uint64_t& nRounded) {
    const int64_t nStep = int64_t{1} << (32 - nBits);
    const int64_t nLargest = std::numeric_limits<int32_t>::max() / nStep;
    bool bExact = false;
    const int64_t nValue = Widened(p, nFormat, bExact);
    // Rounded to the nearest step; a half goes up. An arithmetic shift rounds down.
    const int64_t nSteps = std::clamp((nValue + nStep / 2) >> (32 - nBits), -nLargest - 1, nLargest);
    if (!bExact || nSteps * nStep != nValue) ++nRounded;
    return static_cast<int32_t>(nSteps * nStep);
}

std::unique_ptr<CSDBISampleBase> InBits(const CSDBISampleBase& sample, uint32_t nBits, uint64_t& nRounded) {
    const uint32_t nWidth = sample.GetSampleBytes();
    const uint64_t nSamples =
        sample.m_info.lWave / std::max<uint64_t>(sample.GetFrameBytes(), 1) * sample.m_info.nChannels;
    auto pMade = std::make_unique<CSDBISampleEUWave>(sample.GetID(), kSdbNoID);
    pMade->CopyHeader(sample);
    pMade->m_info.nSampleRate = sample.m_info.nSampleRate;
    pMade->m_info.nFormat = nBits;
    if (!pMade->CopyOwned(sample) || !pMade->AllocWave(nSamples * (nBits / 8))) return nullptr;
    const uint8_t* pFrom = sample.m_info.pWave;
    uint8_t* pTo = pMade->m_info.pWave;
    for (uint64_t i = 0; i < nSamples; ++i, pFrom += nWidth, pTo += nBits / 8)
        Put(pTo, SampleAt(pFrom, sample.m_info.nFormat, nBits, nRounded), nBits);
    return pMade;
}

uint32_t MendLoops(CSDBISampleBase& sample, uint64_t nFrames) {
    std::vector<SDBLOOP> kept;
    uint32_t nMended = 0;
    for (uint32_t i = 0; i < sample.m_info.cLayerLoops; ++i) {
        SDBLOOP loop = sample.GetLoops()[i];
        const std::optional<LoopFrames> within = LoopWithin(loop, nFrames);
        if (!within || within->nEnd != loop.nEnd) ++nMended;
        if (!within) continue;
        loop.nEnd = within->nEnd;
        kept.push_back(loop);
    }
    if (nMended == 0) return 0;
    if (!sample.AllocLoops(static_cast<uint32_t>(kept.size()))) throw std::bad_alloc();
    std::copy(kept.begin(), kept.end(), sample.GetLoops());
    return nMended;
}

// Deliberate (Q143): unlike the writer of external waves, which leaves the root key (Q89).
void NamePitchUpward(CSDBISampleBase& sample) {
    if (sample.m_info.nFineTune >= 0 || sample.m_info.nRootKey == 0) return;
    sample.m_info.nFineTune += 100;
    --sample.m_info.nRootKey;
}

}  // namespace Kestrova
