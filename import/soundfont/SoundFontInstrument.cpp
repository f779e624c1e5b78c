#include "import/soundfont/SoundFontInstrument.h"

#include <algorithm>
#include <utility>

#include "import/soundfont/SoundFontZones.h"

namespace Kestrova {

ImportOutcome SoundFontInstrument::Open(const std::string& strPath) { return m_font.Open(strPath); }

InstrumentFacts SoundFontInstrument::GetFacts() const {
    return {.strFormat = "SoundFont",
            .strName = m_font.GetName(),
            .nBits = m_font.GetBits(),
            .strWarning = m_font.GetWarning(),
            .strVersion = m_font.GetVersion()};
}

std::vector<InstrumentProgram> SoundFontInstrument::GetPrograms() const {
    std::vector<InstrumentProgram> programs;
    for (const FontPreset& preset : m_font.GetPresets())
        programs.push_back(
            {{preset.nBank, preset.nProgram}, preset.strName, MergePresetZones(preset.zones).zones.size()});
    std::stable_sort(programs.begin(), programs.end(),
                     [](const auto& a, const auto& b) { return a.number < b.number; });
    return programs;
}

ImportOutcome SoundFontInstrument::MakePlan(const std::set<ProgramNumber>& chosen, ImportPlan& plan,
                                            ImportReport& report, const ImportWatch& watch) {
    SoundFontPlan made;
    ImportOutcome outcome = SoundFontPlanner(m_font, report).Make(chosen, made, watch);
    plan = std::move(made.bank);
    m_arWaves = std::move(made.waves);
    return outcome;
}

ImportOutcome SoundFontInstrument::ReadFrames(size_t nWave, uint64_t nFirst, uint64_t nFrames,
                                              uint8_t* pOut) const {
    return SoundFontWaves(m_font, m_arWaves).ReadFrames(nWave, nFirst, nFrames, pOut);
}

}  // namespace Kestrova
