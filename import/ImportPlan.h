// ImportPlan.h - the plan of a source bank, whatever format it comes from: its programs, regions and waves.
// The plan is complete before anything is written.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Kestrova {

// Keys or velocities, both ends included.
struct MidiRange {
    int nLow = 0;
    int nHigh = 127;
    bool IsEmpty() const { return nLow > nHigh; }
    bool IsOne() const { return nLow == nHigh; }
    auto operator<=>(const MidiRange&) const = default;
};

MidiRange Intersect(const MidiRange& a, const MidiRange& b);

// The keys and velocities that make a region sound.
struct PlayRange {
    MidiRange keys;
    MidiRange velocities;
    bool IsEmpty() const { return keys.IsEmpty() || velocities.IsEmpty(); }
    auto operator<=>(const PlayRange&) const = default;
};

// What a sample record says about its wave.
struct WaveTune {
    uint32_t nRate = 0;     // Hz
    uint32_t nRootKey = 0;  // 0 to 127; with the fine tune the pitch at which the wave plays unchanged
    int32_t nFineTune = 0;  // cents above the root key, -49 to 50
    bool bLoop = false;
    uint64_t nLoopStart = 0;  // frames from the wave's start
    uint64_t nLoopEnd = 0;    // the last frame played
    auto operator<=>(const WaveTune&) const = default;
};

// One sample record of the plan. Its frames come from the format's IWaveReader.
struct PlannedWave {
    std::string strName;
    uint32_t nBits = 16;  // 16 or 24
    uint32_t nChannels = 1;
    uint64_t nFrames = 0;  // of each channel
    WaveTune tune;

    size_t FrameBytes() const { return size_t{nBits / 8} * nChannels; }
};

struct PlannedRegion {
    std::string strName;
    PlayRange range;
    std::vector<size_t> layers;  // the waves they play
};

struct PlannedProgram {
    std::string strName;
    uint16_t nBank = 0;
    uint16_t nProgram = 0;
    std::vector<PlannedRegion> regions;
    bool bSplit = true;  // by the per-key layout

    std::pair<uint16_t, uint16_t> Number() const { return {nBank, nProgram}; }
};

// In a valid plan every region has a layer, every program has a region and every wave has frames; layers name
// waves of the plan, and loops lie within their waves.
struct ImportPlan {
    std::string strName;
    std::string strDescription;
    std::vector<PlannedWave> waves;
    std::vector<PlannedProgram> programs;  // by bank and program number

    size_t CountBanks() const;
    size_t CountRegions() const;
    size_t CountLayers() const;
    uint64_t CountRecords() const;  // of the source bank
};

}  // namespace Kestrova
