#include "import/soundfont/SoundFontVoice.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "import/TuneRules.h"

namespace Kestrova {
namespace {

constexpr int kNoPitch = 255;
constexpr int kRootOfNoPitch = 60;
constexpr int64_t kCoarseFrames = 32768;  // of one step of a coarse offset
constexpr int kModeLoop = 1;
constexpr int kModeUntilRelease = 3;

int64_t Offset(const GenValues& values, FontGen fine, FontGen coarse) {
    return values[fine] + values[coarse] * kCoarseFrames;
}

// Holds a position to 0..nEnd; true when it was outside.
bool Hold(int64_t& n, int64_t nEnd) {
    const int64_t nHeld = std::clamp<int64_t>(n, 0, nEnd);
    return std::exchange(n, nHeld) != nHeld;
}

// The pitch, in cents, at which the wave plays unchanged, for a record whose keys are 100 cents apart. When
// the range is one key, the font's own distance between keys and a fixed key number are exact.
int UnchangedPitch(const MidiRange& keys, int nRoot, int nTune, const GenValues& values) {
    if (!keys.IsOne()) return nRoot * kCentsPerKey - nTune;
    const int nKey = values[kGenKey] >= 0 ? values[kGenKey] : keys.nLow;
    return keys.nLow * kCentsPerKey - (nKey - nRoot) * values[kGenScaleTuning] - nTune;
}

// The values that ranges, waves and tuning cannot express; all others are at their defaults.
GenValues LeftOutOf(const GenValues& values, const MidiRange& keys) {
    GenValues leftOut{};
    for (size_t n = 0; n < kGenCount; ++n) {
        const bool bTuned = keys.IsOne() && (n == kGenKey || n == kGenScaleTuning);
        const bool bLeftOut = IsLeftOut(InfoOf(n).use) && n != kGenPan && !bTuned;
        leftOut[n] = bLeftOut ? values[n] : InfoOf(n).nDefault;
    }
    return leftOut;
}

}  // namespace

std::string SampleText(const FontSample& sample) { return "sample \"" + sample.strName + "\""; }

VoiceMaker::VoiceMaker(SoundFont& font, ImportReport& report)
    : m_font(font), m_report(report), m_headers(font.GetSamples().size()) {}

std::optional<FontVoice> VoiceMaker::Make(const PlayRange& range, uint32_t nSample, const GenValues& values) {
    const Header& header = HeaderOf(nSample);
    if (!header.bUsable) return std::nullopt;
    const std::optional<WavePart> part = PartOf(nSample, values);
    if (!part) return std::nullopt;
    FontVoice voice;
    voice.range = range;
    voice.part = *part;
    voice.tune.nRate = header.nRate;
    voice.leftOut = LeftOutOf(values, range.keys);
    voice.nPan = values[kGenPan];
    SetPitch(voice, header.nRootKey, values);
    SetLoop(voice, values);
    return voice;
}

const VoiceMaker::Header& VoiceMaker::HeaderOf(uint32_t nSample) {
    Header& header = m_headers[nSample];
    if (header.bKnown) return header;
    const FontSample& sample = m_font.GetSamples()[nSample];
    header.bKnown = true;
    header.bUsable = IsPlayable(sample) && OpenSample(nSample);
    if (!header.bUsable) return header;
    header.nRate = HoldRate(sample.nRate, SampleText(sample), m_report);
    header.nRootKey = RootKeyOf(sample);
    return header;
}

bool VoiceMaker::OpenSample(uint32_t nSample) {
    ImportOutcome outcome = m_font.OpenSample(nSample);
    if (outcome.IsDone()) return true;
    outcome.strRecord = SampleText(m_font.GetSamples()[nSample]);
    if (m_failure.IsDone()) m_failure = outcome;
    return false;
}

bool VoiceMaker::IsPlayable(const FontSample& sample) {
    constexpr uint16_t kKnown = kFontMono | kFontRight | kFontLeft | kFontLinked | kFontPacked;
    if ((sample.nType & kFontRom) != 0) {
        m_report.Note(ImportEvent::Dropped, SampleText(sample), "its wave is in ROM");
        return false;
    }
    if ((sample.nType & ~kKnown) == 0) return true;
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "its type 0x%04x is unknown", unsigned{sample.nType});
    m_report.Note(ImportEvent::Dropped, SampleText(sample), text.data());
    return false;
}

int VoiceMaker::RootKeyOf(const FontSample& sample) {
    if (sample.nRootKey <= kHighestMidiKey) return sample.nRootKey;
    if (sample.nRootKey != kNoPitch)
        m_report.Note(
            ImportEvent::Repaired, SampleText(sample),
            "root key " + std::to_string(sample.nRootKey) + " taken as " + std::to_string(kRootOfNoPitch));
    return kRootOfNoPitch;
}

std::optional<WavePart> VoiceMaker::PartOf(uint32_t nSample, const GenValues& values) {
    const FontSample& sample = m_font.GetSamples()[nSample];
    const auto nAll = static_cast<int64_t>(m_font.GetFramesFor(nSample));
    int64_t nStart = sample.nStart + Offset(values, kGenStartOffset, kGenStartCoarseOffset);
    int64_t nEnd = sample.nEnd + Offset(values, kGenEndOffset, kGenEndCoarseOffset);
    bool bCut = Hold(nStart, nAll);
    bCut = Hold(nEnd, nAll) || bCut;
    if (nEnd <= nStart) {
        m_report.Note(ImportEvent::Dropped, SampleText(sample), "it has no frames");
        return std::nullopt;
    }
    if (bCut) m_report.Note(ImportEvent::Repaired, SampleText(sample), "cut to the file's wave data");
    return WavePart{nSample, static_cast<uint64_t>(nStart), static_cast<uint64_t>(nEnd - nStart)};
}

void VoiceMaker::SetPitch(FontVoice& voice, int nHeaderRoot, const GenValues& values) {
    const FontSample& sample = m_font.GetSamples()[voice.part.nSample];
    const int nOwnRoot = values[kGenRootKey];
    const int nRoot = nOwnRoot >= 0 && nOwnRoot <= kHighestMidiKey ? nOwnRoot : nHeaderRoot;
    const int nTune = values[kGenCoarseTune] * kCentsPerKey + values[kGenFineTune] + sample.nCorrection;
    SettlePitch(voice.tune, UnchangedPitch(voice.range.keys, nRoot, nTune, values), SampleText(sample),
                m_report);
}

void VoiceMaker::SetLoop(FontVoice& voice, const GenValues& values) {
    const int nMode = values[kGenSampleModes] & 3;
    if (nMode != kModeLoop && nMode != kModeUntilRelease) return;
    const FontSample& sample = m_font.GetSamples()[voice.part.nSample];
    const auto nBase = static_cast<int64_t>(voice.part.nStart);
    const int64_t nStart =
        sample.nLoopStart + Offset(values, kGenLoopStartOffset, kGenLoopStartCoarseOffset) - nBase;
    const int64_t nEnd = sample.nLoopEnd + Offset(values, kGenLoopEndOffset, kGenLoopEndCoarseOffset) - nBase;
    const bool bSet = SettleLoop(voice.tune, nStart, nEnd, voice.part.nFrames, SampleText(sample), m_report);
    voice.bUntilRelease = bSet && nMode == kModeUntilRelease;
}

}  // namespace Kestrova
