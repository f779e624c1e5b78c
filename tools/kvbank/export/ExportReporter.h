// ExportReporter.h - what an export says, to a person and as JSON.
#pragma once

#include <string>

#include "tools/kvbank/contents/BankContents.h"
#include "tools/kvbank/export/WaveExport.h"
#include "tools/kvbank/terminal/Ending.h"
#include "tools/kvbank/terminal/Progress.h"

namespace Kestrova {

// What became of one sample.
struct ExportedWave {
    std::string strFile;  // the name alone
    uint64_t nBytes = 0;  // of the file; 0: there is none
    uint32_t nBits = 0;   // as written
    MadeWave made;        // its cause tells why there is no file
};

// What became of one program.
struct ExportedMap {
    std::string strFile;  // the name alone
    uint64_t nBytes = 0;
    uint64_t nRegions = 0;
    uint64_t nLeftOut = 0;  // layers
};

class ExportReporter {
public:
    ExportReporter(Console& console, std::string strFile, std::string strFolder, WaveOptions options,
                   bool bMaps);

    Progress MakeBar() const { return Progress(m_console, m_strFolder, 0); }

    // In the order of the bank. The wave itself is not looked at any more.
    void Tell(const SampleFacts& sample, const ExportedWave& wave);
    void Tell(const ProgramFacts& program, const ExportedMap& map);
    // At the end of an export that was not broken off.
    void TellTotal(double seconds);
    int Finish(const Ending& ending);

private:
    void TellWarnings();

    Console& m_console;
    const std::string m_strFile;
    const std::string m_strFolder;
    const WaveOptions m_options;
    const bool m_bMaps;
    Json m_document = Json::object();
    uint64_t m_nWaves = 0;
    uint64_t m_nMaps = 0;
    uint64_t m_nBytes = 0;
    uint64_t m_nRounded = 0;  // values
    uint64_t m_nRoundedWaves = 0;
    uint64_t m_nMendedLoops = 0;
    uint64_t m_nLostLoops = 0;  // samples whose loops the files do not hold
    uint64_t m_nLeftOut = 0;    // layers
};

}  // namespace Kestrova
