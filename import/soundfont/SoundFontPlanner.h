// SoundFontPlanner.h - makes the import plan of a font: its presets as programs, regions and waves.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "import/ImportOutcome.h"
#include "import/ImportPlan.h"
#include "import/ImportReport.h"
#include "import/Instrument.h"
#include "import/soundfont/SoundFont.h"
#include "import/soundfont/SoundFontVoice.h"
#include "import/soundfont/SoundFontWaves.h"
#include "import/soundfont/StereoJoin.h"

namespace Kestrova {

// A plan, and where the font has the frames of each of its waves.
struct SoundFontPlan {
    ImportPlan bank;
    std::vector<FontWave> waves;  // by the bank's wave
};

// Makes one plan. Programs are sorted by bank and number, and regions by their ranges; each region has the
// name of the first instrument that sounds in it. Waves are in the order of their first use. A wave is
// planned once more for each use with other frames, tune or loop.
class SoundFontPlanner {
public:
    // The most pairs of a preset's zone and a zone of its instrument that a font may have. Each pair can give
    // a region and a layer. A font with more is refused; real fonts have about a hundredth of this.
    static constexpr uint64_t kMostZonePairs = 4000000;

    // Both must outlive the planner. Everything repaired, dropped, joined, copied or left out is noted in the
    // report, and so are the font's own notes.
    SoundFontPlanner(const SoundFont& font, ImportReport& report);

    // Plans all presets, or those with the numbers given. When several presets have one number, the first in
    // the file counts. A plan without waves is valid: no preset of the font plays a sample then.
    ImportOutcome Make(const std::set<ProgramNumber>& chosen, SoundFontPlan& plan,
                       const ImportWatch& watch = {});

private:
    using Regions = std::map<PlayRange, PlannedRegion>;
    using WaveKey = std::tuple<WavePart, std::optional<WavePart>, WaveTune>;
    using WaveSource = std::pair<uint32_t, std::optional<uint32_t>>;  // the samples alone
    using UseSet = std::bitset<kGenUseCount>;

    ImportOutcome PlanPresets(const std::set<ProgramNumber>& chosen, const ImportWatch& watch);
    std::vector<const FontPreset*> PresetsInOrder(const std::set<ProgramNumber>& chosen);
    ImportOutcome PlanPreset(const FontPreset& preset, PlannedProgram& program);
    const std::vector<MergedZone>& ZonesOf(uint32_t nInstrument);
    std::vector<MergedZone> Settled(MergedZones merged, const std::string& strOwner, const char* pszTarget,
                                    size_t nTargets);
    std::vector<FontVoice> VoicesOf(const MergedZone& presetZone, const std::vector<MergedZone>& zones);
    void AddVoices(const std::vector<FontVoice>& voices, const std::string& strInstrument, Regions& regions);
    size_t WaveFor(const FontVoice& left, const FontVoice* pRight);
    std::string NameOf(const WaveSource& source) const;
    void CountLayer(const FontVoice& left, const FontVoice* pRight);
    UseSet CountVoice(const FontVoice& voice, bool bPanCarried);
    void ReportFont();
    void ReportWaves();
    void ReportLeftOut();

    const SoundFont& m_font;
    ImportReport& m_report;
    VoiceMaker m_voices;
    std::vector<std::optional<std::vector<MergedZone>>> m_instruments;  // merged when first asked for
    uint64_t m_nZonePairs = 0;
    SoundFontPlan m_plan;
    std::map<WaveKey, size_t> m_places;
    std::map<WaveSource, uint64_t> m_uses;            // waves made of the same samples
    std::array<uint64_t, kGenCount> m_arVoices{};     // voices that each generator would have changed
    std::array<uint64_t, kGenUseCount> m_arLayers{};  // layers by what is left out of them
    uint64_t m_nUntilRelease = 0;                     // voices
    uint64_t m_nModulators = 0;
};

}  // namespace Kestrova
