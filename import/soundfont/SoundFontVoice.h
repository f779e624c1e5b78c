// SoundFontVoice.h - one sample as it sounds in one range, in the terms of
// a bank: frames, root key, tune and loop.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <vector>

#include "import/ImportPlan.h"
#include "import/ImportReport.h"
#include "import/soundfont/SoundFont.h"
#include "import/soundfont/SoundFontZones.h"

namespace Kestrova {

// A range of a sample's frames, in the wave data where its positions lie and within it.
struct WavePart {
    uint32_t nSample = 0;
    uint64_t nStart = 0;
    uint64_t nFrames = 0;
    auto operator<=>(const WavePart&) const = default;
};

// What a preset's zone and an instrument's zone give together.
struct FontVoice {
    PlayRange range;  // where both sound
    WavePart part;
    WaveTune tune;
    // The values, except pan, that no record can express; all others are at their defaults.
    GenValues leftOut{};
    int32_t nPan = 0;            // -500 left to 500 right
    bool bUntilRelease = false;  // the font leaves the loop when the key is released; a bank cannot
    uint32_t nModulators = 0;
};

// The rules:
// - Offsets move the ends of the wave and of its loop. A wave that reaches beyond the file's wave data is cut
//   (repaired); one without frames is dropped. A loop is cut to its wave (repaired); one without frames is
//   dropped, and the voice sounds without it.
// - Root key: the zone's, else the sample's; no pitch (255) is 60, 128 to 254 are repaired to 60.
// - Pitch: the tunes of zone and preset and the sample's correction raise what is played, so they lower the
//   key at which the wave plays unchanged. Scale tuning and a fixed key number are exact where the range is
//   one key, and left out of wider ranges. A root key beyond 0 to 127 is held there (repaired).
// - Rate: 0 is repaired to 44100, below 400 to 400, above 192000 to 192000. The format's upper limit of
//   50000 is not enforced: fonts hold waves of 96000, and another rate would change their pitch.
// - ROM waves, and sample types that are no combination of mono, right, left and linked, are dropped.
class VoiceMaker {
public:
    // Both must outlive the object. What is repaired or dropped is noted in the report. Compressed samples are
    // opened when they are first used.
    VoiceMaker(SoundFont& font, ImportReport& report);

    // REQUIRES: nSample is the index of a sample of the font. The answer is empty when the voice is dropped.
    std::optional<FontVoice> Make(const PlayRange& range, uint32_t nSample, const GenValues& values);
    // The first failure to open a compressed sample; done: there was none.
    const ImportOutcome& GetFailure() const { return m_failure; }

private:
    struct Header {
        bool bKnown = false;
        bool bUsable = false;
        uint32_t nRate = 0;
        int nRootKey = 0;
    };

    const Header& HeaderOf(uint32_t nSample);
    bool OpenSample(uint32_t nSample);
    bool IsPlayable(const FontSample& sample);
    int RootKeyOf(const FontSample& sample);
    std::optional<WavePart> PartOf(uint32_t nSample, const GenValues& values);
    void SetPitch(FontVoice& voice, int nHeaderRoot, const GenValues& values);
    void SetLoop(FontVoice& voice, const GenValues& values);

    SoundFont& m_font;
    ImportReport& m_report;
    std::vector<Header> m_headers;  // by sample
    ImportOutcome m_failure;
};

// "sample "NAME"".
std::string SampleText(const FontSample& sample);

}  // namespace Kestrova
