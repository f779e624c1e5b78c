// SpaceCommand.h - kvbank space: the space that the banks of a source would take in a folder.
#pragma once

#include "tools/kvbank/Command.h"
#include "tools/kvbank/build/SpaceReporter.h"
#include "tools/kvbank/engine/EngineRun.h"

namespace Kestrova {

class SpaceCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    BuildOptions m_options;
    EngineRun m_run;
};

}  // namespace Kestrova
