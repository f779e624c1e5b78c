#include "import/soundfont/SoundFontPlan.h"

#include <algorithm>

#include "shared/System/kvCancelSignal.h"

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

PresetNumber NumberOf(const FontPreset& preset) { return {preset.nBank, preset.nProgram}; }

}  // namespace

size_t ImportPlan::CountBanks() const {
    std::set<uint16_t> banks;
    for (const PlannedProgram& program : programs) banks.insert(program.nBank);
    return banks.size();
}

size_t ImportPlan::CountRegions() const {
    size_t nCount = 0;
    for (const PlannedProgram& program : programs) nCount += program.regions.size();
    return nCount;
}

size_t ImportPlan::CountLayers() const {
    size_t nCount = 0;
    for (const PlannedProgram& program : programs)
        for (const PlannedRegion& region : program.regions) nCount += region.layers.size();
    return nCount;
}

SoundFontPlanner::SoundFontPlanner(const SoundFont& font, ImportReport& report)
    : m_font(font), m_report(report), m_voices(font, report), m_instruments(font.GetInstruments().size()) {}

bool SoundFontPlanner::Make(const std::set<PresetNumber>& chosen, ImportPlan& plan) {
    for (const FontPreset* const pPreset : PresetsInOrder(chosen)) {
        if (CancelSignal() != 0) break;
        PlannedProgram program{pPreset->strName, pPreset->nBank, pPreset->nProgram, {}};
        if (!PlanPreset(*pPreset, program)) return false;
        if (program.regions.empty())
            m_report.Note(ImportEvent::Dropped, PresetText(*pPreset), "nothing sounds in it");
        else
            plan.programs.push_back(std::move(program));
    }
    plan.waves = std::move(m_waves);
    ReportCounts();
    return true;
}

std::vector<const FontPreset*> SoundFontPlanner::PresetsInOrder(const std::set<PresetNumber>& chosen) {
    std::map<PresetNumber, const FontPreset*> firsts;
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

bool SoundFontPlanner::PlanPreset(const FontPreset& preset, PlannedProgram& program) {
    Regions regions;
    for (const MergedZone& zone : Settled(MergePresetZones(preset.zones), PresetText(preset), "instrument",
                                          m_font.GetInstruments().size())) {
        const std::vector<MergedZone>& zones = ZonesOf(zone.nTarget);
        m_nMeetings += zones.size();
        if (m_nMeetings > kMostMeetings) return false;
        AddVoices(VoicesOf(zone, zones), m_font.GetInstruments()[zone.nTarget].strName, regions);
    }
    for (auto& [range, region] : regions) program.regions.push_back(std::move(region));
    return true;
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

// The zones that can sound; what else there is is noted.
std::vector<MergedZone> SoundFontPlanner::Settled(MergedZones merged, const std::string& strOwner,
                                                  const char* pszTarget, size_t nTargets) {
    const std::string strTarget = pszTarget;
    if (merged.nWithoutTarget > 0)
        m_report.Note(ImportEvent::Dropped, strOwner, "a zone without " + strTarget, merged.nWithoutTarget);
    if (merged.nCutRanges > 0)
        m_report.Note(ImportEvent::Repaired, strOwner, "a range cut to 127", merged.nCutRanges);
    std::erase_if(merged.zones, [&](const MergedZone& zone) {
        const bool bMissing = zone.nTarget >= nTargets;
        const bool bEmpty = zone.keys.IsEmpty() || zone.velocities.IsEmpty();
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
        const VoiceRange range = {Intersect(presetZone.keys, zone.keys),
                                  Intersect(presetZone.velocities, zone.velocities)};
        if (range.keys.IsEmpty() || range.velocities.IsEmpty()) continue;
        std::optional<FontVoice> voice = m_voices.Make(range, zone.nTarget, AddValues(presetZone, zone));
        if (!voice) continue;
        voice->nModulators = presetZone.nModulators + zone.nModulators;
        voices.push_back(*voice);
    }
    return voices;
}

// Each voice, or pair of voices, becomes a layer of the region of its range; a pair stands where its left
// half stood.
void SoundFontPlanner::AddVoices(const std::vector<FontVoice>& voices, const std::string& strInstrument,
                                 Regions& regions) {
    std::vector<const FontVoice*> rights(voices.size());
    std::vector<bool> isRight(voices.size());
    for (const StereoPair& pair : JoinStereo(m_font, voices)) {
        rights[pair.nLeft] = &voices[pair.nRight];
        isRight[pair.nRight] = true;
        const bool bPanCarried = voices[pair.nLeft].nPan == -kHardPan && voices[pair.nRight].nPan == kHardPan;
        CountLeftOut(voices[pair.nLeft], bPanCarried);
        CountLeftOut(voices[pair.nRight], bPanCarried);
    }
    for (size_t i = 0; i < voices.size(); ++i) {
        if (isRight[i]) continue;
        if (rights[i] == nullptr) CountLeftOut(voices[i], false);
        const auto [place, bNew] = regions.try_emplace(voices[i].range);
        if (bNew) place->second = {strInstrument, voices[i].range, {}};
        place->second.layers.push_back(WaveFor(voices[i], rights[i]));
    }
}

size_t SoundFontPlanner::WaveFor(const FontVoice& left, const FontVoice* pRight) {
    PlannedWave wave{"", left.part, std::nullopt, left.tune};
    WaveSource source{left.part.nSample, std::nullopt};
    if (pRight != nullptr) {
        wave.right = pRight->part;
        source.second = pRight->part.nSample;
    }
    const auto [place, bNew] = m_places.try_emplace({wave.left, wave.right, wave.tune}, m_waves.size());
    if (!bNew) return place->second;
    wave.strName = NameOf(source);
    m_waves.push_back(std::move(wave));
    ++m_uses[source];
    return place->second;
}

std::string SoundFontPlanner::NameOf(const WaveSource& source) const {
    const std::string& strLeft = m_font.GetSamples()[source.first].strName;
    return source.second ? JoinedName(strLeft, m_font.GetSamples()[*source.second].strName) : strLeft;
}

void SoundFontPlanner::CountLeftOut(const FontVoice& voice, bool bPanCarried) {
    for (size_t n = 0; n < kGenCount; ++n)
        if (voice.leftOut[n] != InfoOf(n).nDefault) ++m_leftOut[n];
    if (voice.nPan != 0 && !bPanCarried) ++m_leftOut[kGenPan];
    if (voice.bUntilRelease) ++m_nUntilRelease;
    m_nModulators += voice.nModulators;
}

// Counts that run over the whole font become entries at its end.
void SoundFontPlanner::ReportCounts() {
    for (const auto& [source, nWaves] : m_uses) {
        const std::string strWhat = "sample \"" + NameOf(source) + "\"";
        if (source.second) m_report.Note(ImportEvent::Joined, strWhat);
        if (nWaves > 1) m_report.Note(ImportEvent::Copied, strWhat, "", nWaves - 1);
    }
    for (size_t n = 0; n < kGenCount; ++n)
        if (m_leftOut[n] != 0)
            m_report.Note(ImportEvent::LeftOut, InfoOf(n).pszName, "", static_cast<uint64_t>(m_leftOut[n]));
    if (m_nUntilRelease > 0)
        m_report.Note(ImportEvent::LeftOut, "end of loops at release", "", m_nUntilRelease);
    if (m_nModulators > 0) m_report.Note(ImportEvent::LeftOut, "modulators", "", m_nModulators);
}

}  // namespace Kestrova
