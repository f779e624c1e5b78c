#include "import/soundfont/SoundFontWaves.h"

#include <cstring>

namespace Kestrova {

ImportOutcome SoundFontWaves::ReadFrames(size_t nWave, uint64_t nFirst, uint64_t nFrames,
                                         uint8_t* pOut) const {
    const FontWave& wave = m_waves[nWave];
    const size_t nSampleBytes = m_font.GetBits() / 8;
    const size_t nStride = nSampleBytes * wave.Channels();
    ImportOutcome outcome = ReadChannel(wave.left, nFirst, nFrames, pOut, nStride);
    if (outcome.IsDone() && wave.right)
        outcome = ReadChannel(*wave.right, nFirst, nFrames, pOut + nSampleBytes, nStride);
    return outcome;
}

ImportOutcome SoundFontWaves::ReadChannel(const WavePart& part, uint64_t nFirst, uint64_t nFrames,
                                          uint8_t* pOut, size_t nStride) const {
    const uint64_t nThere = nFirst < part.nFrames ? std::min(nFrames, part.nFrames - nFirst) : 0;
    for (uint64_t i = nThere; i < nFrames; ++i) std::memset(pOut + i * nStride, 0, m_font.GetBits() / 8);
    return m_font.ReadFramesFor(part.nSample, part.nStart + nFirst, nThere, pOut, nStride);
}

}  // namespace Kestrova
