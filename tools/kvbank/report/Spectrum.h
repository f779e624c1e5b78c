// Spectrum.h - the spectrum of a wave, and two of them as a picture.
#pragma once

#include <string>
#include <vector>

#include "tools/kvbank/report/WavePicture.h"

namespace Kestrova {

// The mean power of a wave by frequency: pieces of 4096 frames, half over one another, each under a Hann
// window; at most 64 pieces, spread over the wave. The last piece is filled up with silence.
struct Spectrum {
    uint32_t nRate = 0;            // Hz; entry i is at i * nRate / 4096
    std::vector<double> decibels;  // of full scale; empty without frames
};
Spectrum SpectrumOf(const MonoWave& wave, uint32_t nRate);

// An SVG element with both curves: 20 Hz to 100 kHz, logarithmic, and 0 to -120 dB.
std::string SpectraSvg(const Spectrum& before, const Spectrum& after);

}  // namespace Kestrova
