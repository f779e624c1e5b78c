// InfoCommand.h - kvbank info: what a bank or source bank holds, and how large its banks would be.
#pragma once

#include <string>

#include "tools/kvbank/Command.h"
#include "tools/kvbank/InfoReporter.h"
#include "tools/kvbank/engine/EngineRun.h"

namespace Kestrova {

class InfoCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    ExitCode TellFile(InfoReporter& reporter) const;
    ExitCode TellAnalysis(InfoReporter& reporter, bool bNumber);
    SourceFacts FactsOfSource();

    std::string m_strFile;

    EngineRun m_run;
};

}  // namespace Kestrova
