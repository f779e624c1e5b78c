// WaveMix.h - waves added to one, which then becomes the frames of a WAV file.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace Kestrova {

struct WaveForm {
    uint32_t nRate = 0;      // Hz
    uint32_t nBits = 16;     // 16 or 24
    uint32_t nChannels = 1;  // 1 or 2

    uint32_t FrameBytes() const { return nBits / 8 * nChannels; }
};

// Sums are kept in 64 bits at 24 bits' scale, so none wraps. Threads: one. May throw std::bad_alloc.
class WaveMix {
public:
    WaveMix(const WaveForm& form, uint64_t nFrames);

    // Adds frames of 16 or 24 bits in one or two channels from nFirst on, faded to silence in a straight line
    // over the last nFade of them. One channel is heard on both sides. REQUIRES: the form has as many channels
    // as the frames or more, and the frames end within the mix.
    void Add(std::span<const uint8_t> frames, uint32_t nBits, uint32_t nChannels, uint64_t nFirst,
             uint64_t nFade);

    // The frames as a WAV file has them. When the loudest is beyond the full scale, all are lowered in
    // proportion so that it just fits. Values are rounded to the nearest.
    std::vector<uint8_t> Frames() const;
    // What all are multiplied with for that: 1 when nothing needs to be lowered.
    double Gain() const;

private:
    int64_t Loudest() const;

    const WaveForm m_form;
    std::vector<int64_t> m_sums;  // channel after channel in each frame
};

}  // namespace Kestrova
