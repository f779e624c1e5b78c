// NoteRenderer.h - plays notes of a program, as the bank holds them, into one wave.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "include/kvbank.h"
#include "tools/kvbank/precise/Conversion.h"
#include "tools/kvbank/render/WaveMix.h"
#include "tools/kvbank/render/WaveStore.h"
#include "tools/kvbank/terminal/Ending.h"

namespace Kestrova {

// A key that is pressed at a time, in seconds, held, and then released; the sound fades away in the release.
struct PlayedNote {
    int nKey = 60;
    int nVelocity = 100;
    double start = 0, held = 2, release = 0.5;
};

// A layer that sounds: a sample in one note.
struct PlayedLayer {
    size_t nNote = 0;
    uint32_t nSample = 0;
    kvb_sample sample = {};
    bool bLooped = false;
    double ratio = 0;  // frames of the sample for each frame played
};

struct RenderedWave {
    WaveForm form;
    uint64_t nFrames = 0;
    double gain = 1;  // below 1 when the layers together were too loud
    std::vector<PlayedLayer> layers;
    std::vector<uint8_t> frames;
};

// A scale of eight notes upwards from the first's key, then the chord of its first, third, fifth and eighth.
std::vector<PlayedNote> DemoNotes(const PlayedNote& first);

// Plays the notes: all layers of all regions that sound for a key and velocity, added. The wave has the
// bank's rate, or in a source bank the highest of the layers' rates, and as many bits and channels as the
// layer with the most of them. The same bank and notes give the same bytes on every machine.
// Threads: one. May throw std::bad_alloc. Errors: the ending, which names file, program, note or sample.
class NoteRenderer {
public:
    // The bank must outlive the renderer; it is kept open by the caller.
    NoteRenderer(const kvb_bank* pBank, const std::string& strFile, uint32_t nProgram,
                 Conversion conversion = Conversion::Standard);

    Ending Render(const std::vector<PlayedNote>& notes, RenderedWave& wave);

private:
    Ending FindLayers(const PlayedNote& note, size_t nNote, RenderedWave& wave) const;
    Ending AddLayersOf(uint32_t nRegion, size_t nNote, RenderedWave& wave) const;
    Ending AddLayer(uint32_t nSample, size_t nNote, RenderedWave& wave) const;
    Ending ChooseForm(RenderedWave& wave) const;
    double RatioOf(const kvb_sample& sample, int nKey, uint32_t nRate) const;
    std::optional<std::vector<uint8_t>> Play(const WaveFrames& wave, const PlayedLayer& layer,
                                             const std::optional<kvb_loop>& loop, int nKey,
                                             uint64_t nFrames) const;
    Ending Mix(const PlayedNote& note, PlayedLayer& layer, const WaveForm& form, WaveMix& mix);

    const kvb_bank* const m_pBank;
    const std::string m_strFile;
    const uint32_t m_nProgram;
    const Conversion m_conversion;
    WaveStore m_waves;
};

}  // namespace Kestrova
