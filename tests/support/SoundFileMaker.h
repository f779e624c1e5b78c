// SoundFileMaker.h - sound files for tests: WAV and AIFF byte by byte, every other kind through libsndfile.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"

namespace Kestrova::Test {

struct WavSpec {
    uint16_t nTag = 1;  // 1: integers, 3: floating point
    uint16_t nChannels = 1;
    uint32_t nRate = 44100;
    uint16_t nBits = 16;
    Bytes data = {};
    std::vector<std::pair<std::string, Bytes>> chunks = {};  // in front of the data
};

Bytes MakeWav(const WavSpec& spec);

// A WAV file of one channel of 16 bits; each of the frames is unlike its neighbours.
Bytes MakeRampWav(uint32_t nFrames, const std::vector<std::pair<std::string, Bytes>>& chunks = {});
// The frames of it as a bank has them.
Bytes RampFrames(uint32_t nFirst, uint32_t nFrames);

struct SmplLoop {
    uint32_t nType = 0;  // 0 forward, 1 alternating, 2 backward
    uint32_t nStart = 0;
    uint32_t nEnd = 0;  // the last frame played
};
// The body of a `smpl` chunk. The fraction is that of a key, in 1 / 2^32.
Bytes SmplChunk(uint32_t nKey, uint32_t nFraction, const std::vector<SmplLoop>& loops);

// An AIFF file of one channel of 16 bits, which are 0, at 44100 Hz. The instrument has the key and detune,
// and its sustain loop the mode (0 none, 1 forward, 2 alternating) between markers at the two positions.
struct AiffSpec {
    uint32_t nFrames = 100;
    uint8_t nKey = 60;
    int8_t nDetune = 0;
    uint16_t nLoopMode = 0;
    uint32_t nLoopStart = 0;
    uint32_t nLoopEnd = 0;  // in front of this frame
};
Bytes MakeAiff(const AiffSpec& spec);

// Writes numbers of 32 bits, of which the encoding keeps the upper ones, in a format of libsndfile.
void WriteSound(const std::string& strPath, int nFormat, int nChannels, int nRate,
                const std::vector<int32_t>& numbers);

}  // namespace Kestrova::Test
