// PackedFont.h - a made SoundFont with its samples compressed as SF3 files have them. Needs
// kv::sound_file_maker.
#pragma once

#include <sndfile.h>

#include "tests/support/SoundFileMaker.h"
#include "tests/support/SoundFontMaker.h"

namespace Kestrova::Test {

// The frames as an Ogg Vorbis file; with two channels each frame is there twice.
inline Bytes VorbisOf(const std::vector<int16_t>& frames, int nChannels = 1) {
    const TempDir dir;
    std::vector<int32_t> numbers;
    for (const int16_t nFrame : frames)
        numbers.insert(numbers.end(), static_cast<size_t>(nChannels), nFrame * 65536);
    WriteSound(dir.File("a.ogg"), SF_FORMAT_OGG | SF_FORMAT_VORBIS, nChannels, 44100, numbers);
    return ReadFile(dir.File("a.ogg"));
}

// Puts sounds one behind the other as the font's wave data, as those of its samples in order.
inline void SetSounds(FontSpec& spec, const std::vector<Bytes>& sounds) {
    Bytes bytes;
    for (size_t i = 0; i < sounds.size(); ++i) {
        spec.samples[i].nStart = static_cast<uint32_t>(bytes.size());
        bytes.insert(bytes.end(), sounds[i].begin(), sounds[i].end());
        spec.samples[i].nEnd = static_cast<uint32_t>(bytes.size());
    }
    bytes.resize(bytes.size() + bytes.size() % 2);
    spec.wave.clear();
    for (size_t i = 0; i < bytes.size(); i += 2)
        spec.wave.push_back(static_cast<int16_t>(bytes[i] | bytes[i + 1] << 8));
}

// Version 3.01, every sample marked as compressed, its loop counted from its own start.
inline FontSpec Packed(FontSpec spec) {
    std::vector<Bytes> sounds;
    for (FontSpec::Sample& sample : spec.samples) {
        sounds.push_back(VorbisOf({spec.wave.begin() + sample.nStart, spec.wave.begin() + sample.nEnd}));
        sample.nLoopStart -= sample.nStart;
        sample.nLoopEnd -= sample.nStart;
        sample.nType |= 0x10;
    }
    SetSounds(spec, sounds);
    spec.nMajor = 3;
    spec.nMinor = 1;
    return spec;
}

}  // namespace Kestrova::Test
