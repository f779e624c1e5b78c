// SoundFontInstrument.h - a SoundFont file as an import takes any input: its presets are the programs.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "import/Instrument.h"
#include "import/soundfont/SoundFont.h"
#include "import/soundfont/SoundFontPlanner.h"
#include "import/soundfont/SoundFontWaves.h"

namespace Kestrova {

class SoundFontInstrument : public IInstrument {
public:
    // Reads all but the waves, and keeps the file open for those.
    ImportOutcome Open(const std::string& strPath);

    InstrumentFacts GetFacts() const override;
    std::vector<InstrumentProgram> GetPrograms() const override;
    ImportOutcome MakePlan(const std::set<ProgramNumber>& chosen, ImportPlan& plan, ImportReport& report,
                           const ImportWatch& watch = {}) override;
    ImportOutcome ReadFrames(size_t nWave, uint64_t nFirst, uint64_t nFrames, uint8_t* pOut) const override;

private:
    SoundFont m_font;
    std::vector<FontWave> m_arWaves;  // of the last plan
};

}  // namespace Kestrova
