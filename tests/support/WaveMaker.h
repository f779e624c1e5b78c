// WaveMaker.h - waves for tests, the same on every run.
#pragma once

#include <cstdint>

#include "tests/support/TempDir.h"

namespace Kestrova::Test {

// nFrames frames of nChannels little-endian samples of nBits (8, 16, 24 or 32): a falling tone with some
// noise, another one for each seed.
Bytes MakeWave(uint32_t nFrames, uint32_t nBits, uint32_t nChannels, uint32_t nSeed = 1);

// nSize bytes without any pattern.
Bytes MakeNoise(size_t nSize, uint32_t nSeed = 1);

}  // namespace Kestrova::Test
