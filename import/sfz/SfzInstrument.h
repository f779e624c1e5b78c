// SfzInstrument.h - an SFZ text with its sound files as an import takes any input.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "import/Instrument.h"
#include "import/sfz/FileFinder.h"
#include "import/sfz/SfzPlanner.h"
#include "import/sfz/SfzRegions.h"

namespace Kestrova {

// Has one program, 0:0, named after the file; its zones are the regions of the text. The sound files are
// opened when the plan is made, and again while their frames are read.
class SfzInstrument : public IInstrument {
public:
    // Whether a file that begins with these bytes is one.
    static bool IsSfz(std::string_view head);

    // Reads the text and what it includes; the sound files need not be there yet.
    ImportOutcome Open(const std::string& strPath);

    InstrumentFacts GetFacts() const override;
    std::vector<InstrumentProgram> GetPrograms() const override;
    ImportOutcome MakePlan(const std::set<ProgramNumber>& chosen, ImportPlan& plan, ImportReport& report,
                           const ImportWatch& watch = {}) override;
    ImportOutcome ReadFrames(size_t nWave, uint64_t nFirst, uint64_t nFrames, uint8_t* pOut) const override;

private:
    std::string m_strName;
    std::string m_strFolder;
    std::string m_strText;  // the regions have views into it
    std::vector<SfzRegion> m_regions;
    ImportReport m_textReport;  // what was noted while the text was read
    std::unique_ptr<WaveFiles> m_pFiles;
    std::vector<SfzWave> m_waves;  // of the last plan
};

}  // namespace Kestrova
