// DemoCommand.h - kvbank demo: writes a small synthesised instrument as a source bank.
#pragma once

#include <string>

#include "tools/kvbank/Command.h"
#include "tools/kvbank/demo/DemoInstrument.h"
#include "tools/kvbank/terminal/Ending.h"

namespace Kestrova {

class DemoCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    Ending Write(DemoFacts& facts) const;

    std::string m_strFile;
    bool m_bForce = false;
};

}  // namespace Kestrova
