// BuildCommand.h - kvbank build: makes the banks of a source at the rates asked for.
#pragma once

#include <vector>

#include "tools/kvbank/Command.h"
#include "tools/kvbank/build/BuildReporter.h"
#include "tools/kvbank/build/BuildRun.h"

namespace Kestrova {

class BuildCommand : public Command {
public:
    // turnWait: how long each turn at the folder is waited for.
    explicit BuildCommand(std::chrono::milliseconds turnWait = kTurnWait) { m_options.turnWait = turnWait; }

    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    ExitCode Build(BuildRun& run, BuildReporter& reporter);
    ExitCode CheckSpace(const std::vector<BuildPlan>& plans, BuildReporter& reporter) const;
    BuildFault PrepareFolder() const;
    ExitCode BuildAll(BuildRun& run, const std::vector<BuildPlan>& plans, BuildReporter& reporter) const;
    bool MayBuild(const BuildPlan& plan) const;

    BuildOptions m_options;
    std::string m_strWait;  // of --wait, as written
    EngineRun m_run;
};

}  // namespace Kestrova
