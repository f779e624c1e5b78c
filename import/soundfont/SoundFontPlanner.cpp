#include "import/soundfont/SoundFontPlanner.h"

#include <algorithm>

namespace Kestrova {
namespace {

constexpr int kHardPan = 500;

std::string InstrumentText(const FontInstrument& instrument) {
    return "instrument \"" + instrument.strName + "\"";
}

std::string PresetText(const FontPreset& preset) {
    return "preset " + std::to_string(preset.nBank) + ":" + std::to_string(preset.nProgram) + " \"" +
           preset.strName + "\"";
}

ProgramNumber NumberOf(const FontPreset& preset) { return {preset.nBank, preset.nProgram}; }

}  // namespace

SoundFontPlanner::SoundFontPlanner(const SoundFont& font, ImportReport& report)
    : m_font(font), m_report(report), m_voices(font, report), m_instruments(font.GetInstruments().size()) {}

ImportOutcome SoundFontPlanner::Make(const std::set<ProgramNumber>& chosen, SoundFontPlan& plan,
                                     const ImportWatch& watch) {
    return CatchNoMemory([&] {
        ReportFont();
        m_plan.bank.strName = m_font.GetName();
        m_plan.bank.strDescription = m_font.GetCopyright();
        ImportOutcome outcome = PlanPresets(chosen, watch);
        ReportWaves();
        ReportLeftOut();
        plan = std::move(m_plan);
        return outcome;
    });
}

ImportOutcome SoundFontPlanner::PlanPresets(const std::set<ProgramNumber>& chosen, const ImportWatch& watch) {
    for (const FontPreset* const pPreset : PresetsInOrder(chosen)) {
        if (watch.isStopped()) return Cancelled();
        PlannedProgram program{pPreset->strName, pPreset->nBank, pPreset->nProgram, {}};
        if (ImportOutcome outcome = PlanPreset(*pPreset, program); !outcome.IsDone()) return outcome;
        if (program.regions.empty())
            m_report.Note(ImportEvent::Dropped, PresetText(*pPreset), "none of its zones plays a sample");
        else
            m_plan.bank.programs.push_back(std::move(program));
    }
    return {};
}

std::vector<const FontPreset*> SoundFontPlanner::PresetsInOrder(const std::set<ProgramNumber>& chosen) {
    std::map<ProgramNumber, const FontPreset*> firsts;
    for (const FontPreset& preset : m_font.GetPresets()) {
        if (!chosen.empty() && chosen.count(NumberOf(preset)) == 0) continue;
        if (!firsts.try_emplace(NumberOf(preset), &preset).second)
            m_report.Note(ImportEvent::Dropped, PresetText(preset), "another preset has its number");
    }
    std::vector<const FontPreset*> presets;
    presets.reserve(firsts.size());
    for (const auto& [number, pPreset] : firsts) presets.push_back(pPreset);
    return presets;
}

ImportOutcome SoundFontPlanner::PlanPreset(const FontPreset& preset, PlannedProgram& program) {
    Regions regions;
    for (const MergedZone& zone : Settled(MergePresetZones(preset.zones), PresetText(preset), "instrument",
                                          m_font.GetInstruments().size())) {
        const std::vector<MergedZone>& zones = ZonesOf(zone.nTarget);
        m_nZonePairs += zones.size();
        if (m_nZonePairs > kMostZonePairs)
            return Refused("it has more than " + std::to_string(kMostZonePairs) +
                           " pairs of a preset's zone and an instrument's zone");
        AddVoices(VoicesOf(zone, zones), m_font.GetInstruments()[zone.nTarget].strName, regions);
    }
    for (auto& [range, region] : regions) program.regions.push_back(std::move(region));
    return {};
}

const std::vector<MergedZone>& SoundFontPlanner::ZonesOf(uint32_t nInstrument) {
    std::optional<std::vector<MergedZone>>& zones = m_instruments[nInstrument];
    if (!zones) {
        const FontInstrument& instrument = m_font.GetInstruments()[nInstrument];
        zones = Settled(MergeInstrumentZones(instrument.zones), InstrumentText(instrument), "sample",
                        m_font.GetSamples().size());
    }
    return *zones;
}

// The zones that can sound. The others are noted in the report.
std::vector<MergedZone> SoundFontPlanner::Settled(MergedZones merged, const std::string& strOwner,
                                                  const char* pszTarget, size_t nTargets) {
    const std::string strTarget = pszTarget;
    if (merged.nWithoutTarget > 0)
        m_report.Note(ImportEvent::Dropped, strOwner, "a zone without " + strTarget, merged.nWithoutTarget);
    if (merged.nCutRanges > 0)
        m_report.Note(ImportEvent::Repaired, strOwner, "a range cut to 127", merged.nCutRanges);
    std::erase_if(merged.zones, [&](const MergedZone& zone) {
        const bool bMissing = zone.nTarget >= nTargets;
        const bool bEmpty = zone.range.IsEmpty();
        if (bMissing)
            m_report.Note(
                ImportEvent::Dropped, strOwner,
                "a zone with " + strTarget + " " + std::to_string(zone.nTarget) + ", which is not there");
        else if (bEmpty)
            m_report.Note(ImportEvent::Dropped, strOwner, "a zone with an empty range");
        return bMissing || bEmpty;
    });
    return std::move(merged.zones);
}

std::vector<FontVoice> SoundFontPlanner::VoicesOf(const MergedZone& presetZone,
                                                  const std::vector<MergedZone>& zones) {
    std::vector<FontVoice> voices;
    for (const MergedZone& zone : zones) {
        const PlayRange range = {Intersect(presetZone.range.keys, zone.range.keys),
                                 Intersect(presetZone.range.velocities, zone.range.velocities)};
        if (range.IsEmpty()) continue;
        std::optional<FontVoice> voice = m_voices.Make(range, zone.nTarget, AddValues(presetZone, zone));
        if (!voice) continue;
        voice->nModulators = presetZone.nModulators + zone.nModulators;
        voices.push_back(*voice);
    }
    return voices;
}

// Each voice, or pair of voices, becomes a layer of the region with its range.
// A pair is placed where its left half was.
void SoundFontPlanner::AddVoices(const std::vector<FontVoice>& voices, const std::string& strInstrument,
                                 Regions& regions) {
    std::vector<const FontVoice*> rights(voices.size());
    std::vector<bool> isRight(voices.size());
    for (const StereoPair& pair : JoinStereo(m_font, voices)) {
        rights[pair.nLeft] = &voices[pair.nRight];
        isRight[pair.nRight] = true;
    }
    for (size_t i = 0; i < voices.size(); ++i) {
        if (isRight[i]) continue;
        CountLayer(voices[i], rights[i]);
        const auto [place, bNew] = regions.try_emplace(voices[i].range);
        if (bNew) place->second = {strInstrument, voices[i].range, {}};
        place->second.layers.push_back(WaveFor(voices[i], rights[i]));
    }
}

size_t SoundFontPlanner::WaveFor(const FontVoice& left, const FontVoice* pRight) {
    FontWave wave{left.part, std::nullopt};
    WaveSource source{left.part.nSample, std::nullopt};
    if (pRight != nullptr) {
        wave.right = pRight->part;
        source.second = pRight->part.nSample;
    }
    const auto [place, bNew] = m_places.try_emplace({wave.left, wave.right, left.tune}, m_plan.waves.size());
    if (!bNew) return place->second;
    m_plan.bank.waves.push_back(
        {NameOf(source), m_font.GetBits(), wave.Channels(), wave.Frames(), left.tune});
    m_plan.waves.push_back(wave);
    ++m_uses[source];
    return place->second;
}

std::string SoundFontPlanner::NameOf(const WaveSource& source) const {
    const std::string& strLeft = m_font.GetSamples()[source.first].strName;
    return source.second ? JoinedName(strLeft, m_font.GetSamples()[*source.second].strName) : strLeft;
}

void SoundFontPlanner::CountLayer(const FontVoice& left, const FontVoice* pRight) {
    const bool bPanCarried = pRight != nullptr && left.nPan == -kHardPan && pRight->nPan == kHardPan;
    UseSet uses = CountVoice(left, bPanCarried);
    if (pRight != nullptr) uses |= CountVoice(*pRight, bPanCarried);
    for (size_t n = 0; n < kGenUseCount; ++n) m_arLayers[n] += uses[n];
}

// What is left out of the voice.
SoundFontPlanner::UseSet SoundFontPlanner::CountVoice(const FontVoice& voice, bool bPanCarried) {
    UseSet uses;
    for (size_t n = 0; n < kGenCount; ++n) {
        const bool bPan = n == kGenPan && voice.nPan != 0 && !bPanCarried;
        if (!bPan && voice.leftOut[n] == InfoOf(n).nDefault) continue;
        ++m_arVoices[n];
        uses.set(static_cast<size_t>(InfoOf(n).use));
    }
    m_nUntilRelease += voice.bUntilRelease;
    uses.set(static_cast<size_t>(GenUse::ReleaseLoop), voice.bUntilRelease);
    m_nModulators += voice.nModulators;
    uses.set(static_cast<size_t>(GenUse::Modulator), voice.nModulators > 0);
    return uses;
}

void SoundFontPlanner::ReportFont() {
    if (!m_font.GetWarning().empty())
        m_report.Note(ImportEvent::Dropped, "24-bit part", "it does not fit the font");
    for (const std::string& strNote : m_font.GetNotes()) m_report.Note(ImportEvent::Accepted, strNote);
}

void SoundFontPlanner::ReportWaves() {
    for (const auto& [source, nWaves] : m_uses) {
        const std::string strWhat = "sample \"" + NameOf(source) + "\"";
        if (source.second) m_report.Note(ImportEvent::Joined, strWhat);
        if (nWaves > 1) m_report.Note(ImportEvent::Copied, strWhat, "", nWaves - 1);
    }
}

void SoundFontPlanner::ReportLeftOut() {
    const auto note = [this](ImportEvent event, const char* pszWhat, uint64_t nTimes) {
        if (nTimes > 0) m_report.Note(event, pszWhat, "", nTimes);
    };
    for (size_t n = 0; n < kGenCount; ++n) note(ImportEvent::LeftOut, InfoOf(n).pszName, m_arVoices[n]);
    note(ImportEvent::LeftOut, "end of loops at release", m_nUntilRelease);
    note(ImportEvent::LeftOut, "modulators", m_nModulators);
    for (size_t n = 0; n < kGenUseCount; ++n)
        note(ImportEvent::LeftOutKind, LeftOutName(static_cast<GenUse>(n)), m_arLayers[n]);
}

}  // namespace Kestrova
