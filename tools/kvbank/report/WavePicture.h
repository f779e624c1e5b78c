// WavePicture.h - a sample's wave as a picture, and its beginning as a sound.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/kvbank/contents/SampleRecord.h"

namespace Kestrova {

// A record's wave as one channel, the mean of all, with a full scale of 2^31.
// The record must outlive it, and have a loaded wave.
class MonoWave {
public:
    explicit MonoWave(const CSDBISampleBase& sample);

    uint64_t GetFrames() const { return m_nFrames; }  // 0 also for a format that is not known
    int32_t At(uint64_t nFrame) const;

private:
    const CSDBISampleBase& m_sample;
    uint64_t m_nFrames = 0;
};

// An SVG element with the least and the greatest value of each column, and the loop as a shade. "" without
// frames.
std::string WaveformSvg(const MonoWave& wave, const std::optional<LoopFrames>& loop);

// The first frames, at most so many bytes with the header, as a WAV file of 16 bits and one channel, at half
// the rate, a quarter ... where the rate is above 32000 Hz. Empty without frames, or where the rate is 0.
std::vector<uint8_t> ExcerptOf(const MonoWave& wave, uint32_t nRate, size_t nMostBytes);

}  // namespace Kestrova
