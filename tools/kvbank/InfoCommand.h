// InfoCommand.h - kvbank info: what a bank or source bank holds, and how large its banks would be.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/kvbank/Command.h"
#include "tools/kvbank/engine/EngineRun.h"

namespace Kestrova {

class InfoCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    ExitCode TellFile(Console& console, Json& report);
    void TellRecords(Console& console, CSDB& database, Json& report) const;
    void TellInformation(Console& console, CSDB& database, Json& report) const;
    void TellSamples(Console& console, Json& report);
    void TellPredictions(Console& console, Json& report);

    std::string m_strFile;

    EngineRun m_run;
};

}  // namespace Kestrova
