// BenchWaves.h - waves for benchmarks, the same on every run: little-endian samples, interleaved channels.
#pragma once

#include <cstdint>

#include "bench/BenchFolder.h"

namespace Kestrova::Bench {

// A struck string: eight harmonics that die away, the higher the sooner, with noise 60 dB below. Each seed is
// another note, each channel another place.
Bytes MakeNote(size_t nFrames, unsigned nBits, unsigned nChannels, uint32_t nSeed);

// A 16-bit stereo note, played again and again: pieces of 6,000,000 bytes, so that no block repeats itself.
Bytes MakeLongNote(size_t nBytes);

Bytes MakeSine(size_t nFrames, unsigned nBits);     // never repeats exactly
Bytes MakeNoise(size_t nBytes);                     // no pattern
Bytes MakePeriodic(size_t nBytes, size_t nPeriod);  // the same nPeriod bytes of noise again and again

// At most nMaxBytes of the 16-bit samples of Debian's timgm6mb-soundfont; empty when it is not installed.
Bytes ReadSoundFontSamples(size_t nMaxBytes);

}  // namespace Kestrova::Bench
