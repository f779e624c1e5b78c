#include "import/wavefile/WaveEncoding.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>

namespace Kestrova {
namespace {

constexpr WaveEncoding kEncodings[] = {
    {SF_FORMAT_PCM_S8, 16, false, nullptr},
    {SF_FORMAT_PCM_U8, 16, false, nullptr},
    {SF_FORMAT_PCM_16, 16, false, nullptr},
    {SF_FORMAT_PCM_24, 24, false, nullptr},
    {SF_FORMAT_PCM_32, 24, false, "32-bit numbers rounded to 24 bits"},
    {SF_FORMAT_FLOAT, 24, true, "32-bit floating point rounded to 24 bits"},
    {SF_FORMAT_DOUBLE, 24, true, "64-bit floating point rounded to 24 bits"},
    {SF_FORMAT_ULAW, 16, false, nullptr},
    {SF_FORMAT_ALAW, 16, false, nullptr},
    {SF_FORMAT_IMA_ADPCM, 16, false, nullptr},
    {SF_FORMAT_MS_ADPCM, 16, false, nullptr},
    {SF_FORMAT_GSM610, 16, false, nullptr},
    {SF_FORMAT_DWVW_12, 16, false, nullptr},
    {SF_FORMAT_DWVW_16, 16, false, nullptr},
    {SF_FORMAT_DWVW_24, 24, false, nullptr},
    {SF_FORMAT_DPCM_8, 16, false, nullptr},
    {SF_FORMAT_DPCM_16, 16, false, nullptr},
    {SF_FORMAT_ALAC_16, 16, false, nullptr},
    {SF_FORMAT_ALAC_20, 24, false, nullptr},
    {SF_FORMAT_ALAC_24, 24, false, nullptr},
    {SF_FORMAT_ALAC_32, 24, false, "32-bit numbers rounded to 24 bits"},
    {SF_FORMAT_VORBIS, 16, true, "Vorbis decoded to 16 bits"},
    {SF_FORMAT_OPUS, 16, true, "Opus decoded to 16 bits"},
    {SF_FORMAT_MPEG_LAYER_I, 16, true, "MPEG sound decoded to 16 bits"},
    {SF_FORMAT_MPEG_LAYER_II, 16, true, "MPEG sound decoded to 16 bits"},
    {SF_FORMAT_MPEG_LAYER_III, 16, true, "MPEG sound decoded to 16 bits"},
};

int32_t Rounded(int32_t nNumber, uint32_t nBits) {
    const uint32_t nShift = 32 - nBits;
    const int64_t nRounded = (int64_t{nNumber} + (int64_t{1} << (nShift - 1))) >> nShift;
    return static_cast<int32_t>(std::min(nRounded, (int64_t{1} << (nBits - 1)) - 1));
}

int32_t Rounded(double number, uint32_t nBits) {
    const double scale = std::ldexp(1.0, static_cast<int>(nBits) - 1);
    if (std::isnan(number)) return 0;
    return static_cast<int32_t>(std::clamp(std::floor(number * scale + 0.5), -scale, scale - 1));
}

template <class TNumber>
void Pack(const TNumber* pNumbers, size_t n, uint32_t nBits, uint8_t* pOut) {
    for (size_t i = 0; i < n; ++i) {
        const auto nNumber = static_cast<uint32_t>(Rounded(pNumbers[i], nBits));
        for (uint32_t nShift = 0; nShift < nBits; nShift += 8)
            *pOut++ = static_cast<uint8_t>(nNumber >> nShift);
    }
}

}  // namespace

const WaveEncoding* FindWaveEncoding(int nFormat) {
    for (const WaveEncoding& encoding : kEncodings)
        if (encoding.nSubtype == (nFormat & SF_FORMAT_SUBMASK)) return &encoding;
    return nullptr;
}

void PackNumbers(const int32_t* pNumbers, size_t n, uint32_t nBits, uint8_t* pOut) {
    Pack(pNumbers, n, nBits, pOut);
}

void PackNumbers(const double* pNumbers, size_t n, uint32_t nBits, uint8_t* pOut) {
    Pack(pNumbers, n, nBits, pOut);
}

}  // namespace Kestrova
