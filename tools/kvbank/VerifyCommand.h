// VerifyCommand.h - kvbank verify: checks database files by themselves, and banks against their source.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/kvbank/Command.h"
#include "tools/kvbank/engine/EngineRun.h"
#include "tools/kvbank/verify/NoteScan.h"
#include "tools/kvbank/verify/ProblemList.h"
#include "tools/kvbank/verify/SourceComparison.h"

namespace Kestrova {

class VerifyCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    ExitCode OpenSource(Console& console);
    ExitCode VerifyFile(Console& console, const std::string& strFile, Json& row);
    ExitCode OpenFile(Console& console, const std::string& strFile, NoteScan& scan) const;
    bool FindProblems(Console& console, NoteScan& scan, ProblemList& problems, Json& row);
    bool Compare(Console& console, NoteScan& scan, uint32_t nRate, bool bPerKey, ProblemList& problems,
                 Json& row);
    ExitCode Tell(Console& console, const NoteScan& scan, const ProblemList& problems, Json& row) const;

    std::vector<std::string> m_files;
    std::string m_strSource;
    int m_nQuality = kHighestQuality;

    EngineRun m_run;
    std::unique_ptr<SourceComparison> m_pComparison;  // null without a source
};

}  // namespace Kestrova
