#include "tests/support/WaveMaker.h"

#include <cmath>
#include <random>

namespace Kestrova::Test {

Bytes MakeWave(uint32_t nFrames, uint32_t nBits, uint32_t nChannels, uint32_t nSeed) {
    std::mt19937 random(nSeed);
    Bytes bytes;
    for (uint32_t nFrame = 0; nFrame < nFrames; ++nFrame) {
        const double fTone = std::sin(nFrame * 0.01 * (1 + nSeed % 7)) / (1 + nFrame * 0.001);
        for (uint32_t nChannel = 0; nChannel < nChannels; ++nChannel) {
            const double fNoise = static_cast<int>(random() % 1000) * 1e-6;
            const auto n = static_cast<int32_t>((0.9 * fTone + fNoise) * 2147483647.0);
            const uint32_t nTop = static_cast<uint32_t>(n) >> (32 - nBits);
            for (uint32_t nShift = 0; nShift < nBits; nShift += 8)
                bytes.push_back(static_cast<uint8_t>(nTop >> nShift));
        }
    }
    return bytes;
}

Bytes MakeNoise(size_t nSize, uint32_t nSeed) {
    std::mt19937 random(nSeed);
    Bytes bytes(nSize);
    for (uint8_t& n : bytes) n = static_cast<uint8_t>(random());
    return bytes;
}

}  // namespace Kestrova::Test
