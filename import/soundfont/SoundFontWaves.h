// SoundFontWaves.h - the waves of a planned bank as ranges of a font's frames.
#pragma once

#include <algorithm>
#include <optional>
#include <vector>

#include "import/WaveReader.h"
#include "import/soundfont/SoundFont.h"
#include "import/soundfont/SoundFontVoice.h"

namespace Kestrova {

// One channel, or the left and the right one. The shorter of two ends in silence.
struct FontWave {
    WavePart left;
    std::optional<WavePart> right;

    uint32_t Channels() const { return right ? 2 : 1; }
    uint64_t Frames() const { return right ? std::max(left.nFrames, right->nFrames) : left.nFrames; }
};

class SoundFontWaves : public IWaveReader {
public:
    // Both must outlive the object.
    SoundFontWaves(const SoundFont& font, const std::vector<FontWave>& waves)
        : m_font(font), m_waves(waves) {}

    ImportOutcome ReadFrames(size_t nWave, uint64_t nFirst, uint64_t nFrames, uint8_t* pOut) const override;

private:
    ImportOutcome ReadChannel(const WavePart& part, uint64_t nFirst, uint64_t nFrames, uint8_t* pOut,
                              size_t nStride) const;

    const SoundFont& m_font;
    const std::vector<FontWave>& m_waves;
};

}  // namespace Kestrova
