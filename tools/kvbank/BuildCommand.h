// BuildCommand.h - kvbank build: makes the banks of a source at the rates asked for.
#pragma once

#include <vector>

#include "tools/kvbank/Command.h"
#include "tools/kvbank/build/BuildPlan.h"
#include "tools/kvbank/engine/EngineRun.h"

namespace Kestrova {

class BuildCommand : public Command {
public:
    // turnWait: how long each turn at the folder is waited for.
    explicit BuildCommand(std::chrono::milliseconds turnWait = kTurnWait) { m_options.turnWait = turnWait; }

    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    ExitCode Plan(Console& console, std::vector<BuildPlan>& plans);
    unsigned RemoveLeftovers(const FolderLock& turn);
    ExitCode CheckSpace(Console& console, const std::vector<BuildPlan>& plans, Json& report) const;
    ExitCode PrepareFolder(Console& console) const;

    BuildOptions m_options;
    EngineRun m_run;
};

}  // namespace Kestrova
