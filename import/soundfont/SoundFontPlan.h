// SoundFontPlan.h - a font's presets as programs, regions and waves, decided whole before anything is
// written.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "import/ImportReport.h"
#include "import/soundfont/SoundFont.h"
#include "import/soundfont/SoundFontVoice.h"
#include "import/soundfont/StereoJoin.h"

namespace Kestrova {

// One sample record to be: one channel, or the left and the right one.
struct PlannedWave {
    std::string strName;
    WavePart left;
    std::optional<WavePart> right;
    WaveTune tune;

    uint32_t Channels() const { return right ? 2 : 1; }
    uint64_t Frames() const { return right ? std::max(left.nFrames, right->nFrames) : left.nFrames; }
};

struct PlannedRegion {
    std::string strName;  // of the first instrument that sounds in it
    VoiceRange range;
    std::vector<size_t> layers;  // the waves they play
};

struct PlannedProgram {
    std::string strName;
    uint16_t nBank = 0;
    uint16_t nProgram = 0;
    std::vector<PlannedRegion> regions;
};

// REQUIRES of a good plan: every region has a layer, every program a region.
struct ImportPlan {
    std::vector<PlannedWave> waves;        // in the order of their first use
    std::vector<PlannedProgram> programs;  // by bank and program number

    size_t CountBanks() const;
    size_t CountRegions() const;
    size_t CountLayers() const;
};

using PresetNumber = std::pair<uint16_t, uint16_t>;  // bank and program

// One use. A wave is planned once for each use with other frames, tune or loop.
class SoundFontPlanner {
public:
    // Most meetings of a preset's zone with an instrument's zone that a font may have, each of which can give
    // a region and a layer: beyond it a font is refused. Real fonts have a hundredth of it.
    static constexpr uint64_t kMostMeetings = 4000000;

    // Both outlive the planner.
    SoundFontPlanner(const SoundFont& font, ImportReport& report);

    // All presets, or those of the numbers given. Of presets with one number the first in the file counts.
    // False: the font has more than kMostMeetings.
    bool Make(const std::set<PresetNumber>& chosen, ImportPlan& plan);

private:
    using Regions = std::map<VoiceRange, PlannedRegion>;
    using WaveKey = std::tuple<WavePart, std::optional<WavePart>, WaveTune>;
    using WaveSource = std::pair<uint32_t, std::optional<uint32_t>>;  // the samples alone

    std::vector<const FontPreset*> PresetsInOrder(const std::set<PresetNumber>& chosen);
    bool PlanPreset(const FontPreset& preset, PlannedProgram& program);
    const std::vector<MergedZone>& ZonesOf(uint32_t nInstrument);
    std::vector<MergedZone> Settled(MergedZones merged, const std::string& strOwner, const char* pszTarget,
                                    size_t nTargets);
    std::vector<FontVoice> VoicesOf(const MergedZone& presetZone, const std::vector<MergedZone>& zones);
    void AddVoices(const std::vector<FontVoice>& voices, const std::string& strInstrument, Regions& regions);
    size_t WaveFor(const FontVoice& left, const FontVoice* pRight);
    std::string NameOf(const WaveSource& source) const;
    void CountLeftOut(const FontVoice& voice, bool bPanCarried);
    void ReportCounts();

    const SoundFont& m_font;
    ImportReport& m_report;
    VoiceMaker m_voices;
    std::vector<std::optional<std::vector<MergedZone>>> m_instruments;  // merged when first asked for
    uint64_t m_nMeetings = 0;
    std::vector<PlannedWave> m_waves;
    std::map<WaveKey, size_t> m_places;
    std::map<WaveSource, uint64_t> m_uses;  // waves made of the same samples
    GenValues m_leftOut{};                  // voices that each generator would have changed
    uint64_t m_nUntilRelease = 0;
    uint64_t m_nModulators = 0;
};

}  // namespace Kestrova
