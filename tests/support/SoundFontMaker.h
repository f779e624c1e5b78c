// SoundFontMaker.h - small SoundFont files, byte by byte.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"

namespace Kestrova::Test {

struct FontSpec {
    using Gens = std::vector<std::pair<uint16_t, int>>;  // operator and amount, as they stand in the file

    struct Zone {
        Gens gens;
        uint32_t nModulators = 0;
    };
    struct Sample {
        std::string strName = "Sample";
        uint32_t nStart = 0, nEnd = 100, nLoopStart = 10, nLoopEnd = 90;
        uint32_t nRate = 44100;
        uint8_t nRootKey = 60;
        int8_t nCorrection = 0;
        uint16_t nLink = 0;
        uint16_t nType = 1;
    };
    struct Instrument {
        std::string strName = "Instrument";
        std::vector<Zone> zones;
    };
    struct Preset {
        std::string strName = "Preset";
        uint16_t nProgram = 0, nBank = 0;
        std::vector<Zone> zones;
    };

    uint16_t nMajor = 2, nMinor = 1;
    std::string strName = "Test font";
    std::string strCopyright = {};
    std::vector<int16_t> wave = {};
    std::optional<Bytes> low = {};  // the 24-bit part
    std::vector<Sample> samples = {};
    std::vector<Instrument> instruments = {};
    std::vector<Preset> presets = {};
};

// Low and high of a range, as a generator's amount.
constexpr int RangeAmount(int nLow, int nHigh) { return nLow | nHigh << 8; }

// A ramp of nFrames, each unlike its neighbours.
std::vector<int16_t> MakeRamp(size_t nFrames);

// One preset 0:0 with one zone, one instrument with one zone of the generators given, before its sample 0,
// which has 100 frames of a wave of 200.
FontSpec SimpleFont(const FontSpec::Gens& gens = {});

// The chunks of a font, for tests that break one of them.
struct FontChunkBytes {
    std::string strList, strTag;
    Bytes body;
};
std::vector<FontChunkBytes> MakeFontChunks(const FontSpec& spec);
Bytes AssembleFont(const std::vector<FontChunkBytes>& chunks);
Bytes MakeFont(const FontSpec& spec);

// The body of a chunk among others; an exception when it is not there.
Bytes& BodyOf(std::vector<FontChunkBytes>& chunks, const std::string& strTag);

}  // namespace Kestrova::Test
