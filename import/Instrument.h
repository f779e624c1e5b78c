// Instrument.h - an opened input of any format: what it holds, its plan, and the frames of the plan's waves.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "import/ImportOutcome.h"
#include "import/ImportPlan.h"
#include "import/ImportReport.h"
#include "import/WaveReader.h"

namespace Kestrova {

using ProgramNumber = std::pair<uint16_t, uint16_t>;  // bank and program

struct InstrumentFacts {
    std::string strFormat;        // "SoundFont", "SFZ"
    std::string strName;          // of the instrument; may be empty
    uint32_t nBits = 0;           // the most that a wave has; 0: known by the plan only
    std::string strWarning = {};  // what of the file is not used, and why; empty: all of it is
    std::string strVersion = {};  // of the format, as "2.04"; empty: it has none
    std::string strRule = {};     // how the programs were found, where the input does not say so itself
};

// A program of the file, before it is planned.
struct InstrumentProgram {
    ProgramNumber number;
    std::string strName;
    size_t nZones = 0;  // of the program itself; what a zone is depends on the format
};

// Each format has its own, in its own folder; OpenInstrument finds the right one. It is an IWaveReader of the
// waves of the last plan made.
// Threads: opened and planned on one; then ReadFrames on any.
class IInstrument : public IWaveReader {
public:
    virtual InstrumentFacts GetFacts() const = 0;
    // By bank and number; of several with one number the plan takes the first.
    virtual std::vector<InstrumentProgram> GetPrograms() const = 0;
    // Plans all programs, or those chosen. Everything repaired, dropped, joined, copied or left out is noted in
    // the report. A plan without waves is valid: no program plays a sample then.
    virtual ImportOutcome MakePlan(const std::set<ProgramNumber>& chosen, ImportPlan& plan,
                                   ImportReport& report, const ImportWatch& watch = {}) = 0;
};

}  // namespace Kestrova
