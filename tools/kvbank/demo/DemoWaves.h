// DemoWaves.h - the waves of the demo instrument, computed in integers.
#pragma once

#include <cstdint>
#include <vector>

namespace Kestrova {

// The frames of a sound, channels interleaved, each value of 24 bits whatever the sound's format is.
using DemoFrames = std::vector<int32_t>;

// What a sound is and how it is made.
struct DemoSound {
    const char* pszName;
    uint32_t nRate;
    uint32_t nBits;
    uint32_t nChannels;
    uint32_t nFrames;
    uint32_t nRootKey;
    uint32_t nLoopFrames;  // at its end; 0: no loop
    // For a plucked string: frames of its delay line. For a bell and a block: Hz.
    // For a sustained sound: periods in the loop.
    uint32_t nPitch;
    DemoFrames (*make)(const DemoSound& sound);
};

DemoFrames MakePluck(const DemoSound& sound);      // noise through a delay line that smoothes it
DemoFrames MakeBell(const DemoSound& sound);       // partials that are not harmonic, each with its own decay
DemoFrames MakeSustained(const DemoSound& sound);  // harmonics of two voices a little apart; loops seamlessly
DemoFrames MakeBlock(const DemoSound& sound);      // a tone and noise that fade quickly

}  // namespace Kestrova
