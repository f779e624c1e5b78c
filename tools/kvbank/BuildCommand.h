// BuildCommand.h - kvbank build: makes the banks of one source, or of many, at the rates asked for.
#pragma once

#include <vector>

#include "tools/kvbank/Command.h"
#include "tools/kvbank/build/BuildPlan.h"

namespace Kestrova {

class BuildCommand : public Command {
public:
    // turnWait: how long each turn at the folder is waited for.
    explicit BuildCommand(std::chrono::milliseconds turnWait = kTurnWait) { m_options.turnWait = turnWait; }

    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    int RunOne(Console& console);
    int RunMany(Console& console);

    std::vector<std::string> m_sources;
    BuildOptions m_options;  // without the source
    unsigned m_nAtOnce = 1;
    std::string m_strWait;  // of --wait, as written
};

}  // namespace Kestrova
