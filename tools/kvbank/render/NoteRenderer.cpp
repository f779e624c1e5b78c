#include "tools/kvbank/render/NoteRenderer.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "tools/kvbank/precise/PreciseConverter.h"
#include "tools/kvbank/render/OpenedBank.h"
#include "tools/kvbank/render/PitchedWave.h"

namespace Kestrova {
namespace {

constexpr uint32_t kMostHertz = 768000;  // what is above it is no rate of a wave
constexpr int kHighestKey = 127;
constexpr int kMajorScale[] = {0, 2, 4, 5, 7, 9, 11, 12};
constexpr int kChord[] = {0, 4, 7, 12};
constexpr double kScaleStep = 0.4;  // seconds from note to note
constexpr double kChordHeld = 2.0;  // seconds

uint64_t FramesOf(double seconds, uint32_t nRate) {
    return static_cast<uint64_t>(std::llround(seconds * nRate));
}

// Frames of one note, its release included.
uint64_t Length(const PlayedNote& note, uint32_t nRate) {
    return FramesOf(note.held, nRate) + FramesOf(note.release, nRate);
}

std::string SampleText(const kvb_sample& sample) {
    return "sample " + std::to_string(sample.id) + " \"" + sample.name + "\"";
}

// Why a sample cannot be played, or nothing.
const char* WhyUnplayable(const kvb_sample& sample) {
    const bool bBits = sample.is_float == 0 && (sample.bits == 16 || sample.bits == 24);
    if (!bBits) return "only integers of 16 and 24 bits can be played";
    if (sample.channels != 1 && sample.channels != 2) return "only one and two channels can be played";
    if (sample.rate == 0 || sample.rate > kMostHertz) return "its sample rate cannot be played";
    if (sample.frames == 0) return "it has no frames";
    return nullptr;
}

}  // namespace

std::vector<PlayedNote> DemoNotes(const PlayedNote& first) {
    std::vector<PlayedNote> notes;
    double start = 0;
    for (const int nStep : kMajorScale) {
        notes.push_back({first.nKey + nStep, first.nVelocity, start, kScaleStep, first.release});
        start += kScaleStep;
    }
    for (const int nStep : kChord)
        notes.push_back(
            {first.nKey + nStep, first.nVelocity, start + first.release, kChordHeld, first.release});
    std::erase_if(notes, [](const PlayedNote& note) { return note.nKey > kHighestKey; });
    return notes;
}

NoteRenderer::NoteRenderer(const kvb_bank* pBank, const std::string& strFile, uint32_t nProgram,
                           Conversion conversion)
    : m_pBank(pBank),
      m_strFile(strFile),
      m_nProgram(nProgram),
      m_conversion(conversion),
      m_waves(pBank, strFile) {}

Ending NoteRenderer::Render(const std::vector<PlayedNote>& notes, RenderedWave& wave) {
    for (size_t n = 0; n < notes.size(); ++n)
        if (Ending ending = FindLayers(notes[n], n, wave); !ending.IsDone()) return ending;
    if (Ending ending = ChooseForm(wave); !ending.IsDone()) return ending;
    for (const PlayedNote& note : notes)
        wave.nFrames =
            std::max(wave.nFrames, FramesOf(note.start, wave.form.nRate) + Length(note, wave.form.nRate));
    WaveMix mix(wave.form, wave.nFrames);
    for (PlayedLayer& layer : wave.layers)
        if (Ending ending = Mix(notes[layer.nNote], layer, wave.form, mix); !ending.IsDone()) return ending;
    wave.gain = mix.Gain();
    wave.frames = mix.Frames();
    return {};
}

// A note without a layer would be silence that nobody asked for.
Ending NoteRenderer::FindLayers(const PlayedNote& note, size_t nNote, RenderedWave& wave) const {
    const size_t nBefore = wave.layers.size();
    uint32_t nRegion = KVB_NONE;
    while (kvb_find_region(m_pBank, m_nProgram, note.nKey, note.nVelocity, nRegion, &nRegion) == KVB_OK)
        if (Ending ending = AddLayersOf(nRegion, nNote, wave); !ending.IsDone()) return ending;
    if (wave.layers.size() > nBefore) return {};
    return {kExitUsage, m_strFile + ": the program plays nothing for key " + std::to_string(note.nKey) +
                            " at velocity " + std::to_string(note.nVelocity)};
}

Ending NoteRenderer::AddLayersOf(uint32_t nRegion, size_t nNote, RenderedWave& wave) const {
    kvb_layer layer;
    for (uint32_t n = 0; kvb_get_layer(m_pBank, nRegion, n, &layer, sizeof layer) == KVB_OK; ++n)
        if (layer.sample != KVB_NONE)
            if (Ending ending = AddLayer(layer.sample, nNote, wave); !ending.IsDone()) return ending;
    return {};
}

Ending NoteRenderer::AddLayer(uint32_t nSample, size_t nNote, RenderedWave& wave) const {
    PlayedLayer layer{.nNote = nNote, .nSample = nSample};
    const int nError = kvb_get_sample(m_pBank, nSample, &layer.sample, sizeof layer.sample);
    if (nError != KVB_OK) return EndingOfReader(nError, m_strFile);
    if (const char* const pszCause = WhyUnplayable(layer.sample))
        return {kExitBadInput, m_strFile + ": " + SampleText(layer.sample) + ": " + pszCause};
    wave.layers.push_back(layer);
    return {};
}

Ending NoteRenderer::ChooseForm(RenderedWave& wave) const {
    kvb_bank_info info;
    if (const int nError = kvb_get_bank(m_pBank, &info, sizeof info); nError != KVB_OK)
        return EndingOfReader(nError, m_strFile);
    uint32_t nHighest = 0;
    for (const PlayedLayer& layer : wave.layers) {
        nHighest = std::max(nHighest, layer.sample.rate);
        wave.form.nBits = std::max(wave.form.nBits, layer.sample.bits);
        wave.form.nChannels = std::max(wave.form.nChannels, layer.sample.channels);
    }
    wave.form.nRate = info.rate != 0 && info.rate <= kMostHertz ? info.rate : nHighest;
    return {};
}

double NoteRenderer::RatioOf(const kvb_sample& sample, int nKey, uint32_t nRate) const {
    return m_conversion == Conversion::Standard ? PlayRatio(sample, nKey, nRate)
                                                : PrecisePlayRatio(sample, nKey, nRate);
}

std::optional<std::vector<uint8_t>> NoteRenderer::Play(const WaveFrames& wave, const PlayedLayer& layer,
                                                       const std::optional<kvb_loop>& loop, int nKey,
                                                       uint64_t nFrames) const {
    if (m_conversion == Conversion::Standard)
        return PlayWave(wave, layer.sample.frame_bytes, loop, layer.ratio, nFrames);
    const bool bDither = m_conversion == Conversion::PreciseDithered;
    return PlayWavePrecisely(wave, layer.sample, loop, layer.ratio, nFrames,
                             bDither ? std::optional(DitherSeed(layer.sample.id, nKey)) : std::nullopt);
}

Ending NoteRenderer::Mix(const PlayedNote& note, PlayedLayer& layer, const WaveForm& form, WaveMix& mix) {
    WaveFrames wave;
    if (Ending ending = m_waves.Get(layer.nSample, layer.sample, wave); !ending.IsDone()) return ending;
    const std::optional<kvb_loop> loop = PlayedLoop(m_pBank, layer.nSample, layer.sample);
    layer.bLooped = loop.has_value();
    layer.ratio = RatioOf(layer.sample, note.nKey, form.nRate);
    const std::optional<std::vector<uint8_t>> played =
        Play(wave, layer, loop, note.nKey, Length(note, form.nRate));
    if (!played)
        return {kExitBadInput, m_strFile + ": " + SampleText(layer.sample) + ": its root key " +
                                   std::to_string(layer.sample.root_key) + " is too far from key " +
                                   std::to_string(note.nKey)};
    mix.Add(*played, layer.sample.bits, layer.sample.channels, FramesOf(note.start, form.nRate),
            FramesOf(note.release, form.nRate));
    return {};
}

}  // namespace Kestrova
