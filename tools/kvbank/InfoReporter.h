// InfoReporter.h - tells what a database holds, for a person and as JSON.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "SamplerDBDS/BaseClasses/DBUID.h"
#include "tools/kvbank/terminal/Console.h"
#include "tools/kvbank/terminal/PredictedSizes.h"

namespace Kestrova {

// What a file tells about itself.
struct DatabaseFacts {
    struct Information {
        std::string strName;
        std::string strDescription;
        uint32_t nRate = 0;  // 0: none
        bool bPerKey = false;
    };
    bool bEnriched = false;
    DBUID identity = {};
    uint64_t nBytes = 0;
    std::string strDamage;                   // not empty: why it is damaged
    std::optional<Information> information;  // none: no information record, or it cannot be read
    std::map<uint8_t, uint64_t> records;     // how many, by type
};

// What the analysis of a source has found.
struct SourceFacts {
    std::map<uint32_t, uint64_t> samples;  // how many, by sample rate
    uint64_t nWaveBytes = 0;               // expanded
    std::vector<PredictedSize> predicted;
};

class InfoReporter {
public:
    // The console must outlive the reporter.
    InfoReporter(Console& console, const std::string& strFile);

    void Tell(const DatabaseFacts& facts);
    void Tell(const SourceFacts& facts);
    void TellFailure(const std::string& strCause) { m_console.Error(m_strFile + ": " + strCause); }
    // The file has a name that banks cannot be named after.
    void TellUnnamed();

    int Finish(ExitCode code) { return m_console.Finish("info", code, m_report); }

private:
    void TellInformation(const DatabaseFacts::Information& information);
    void TellRecords(const std::map<uint8_t, uint64_t>& records);
    void TellSamples(const SourceFacts& facts);

    Console& m_console;
    const std::string m_strFile;
    Json m_report = Json::object();
};

}  // namespace Kestrova
