// TreeCommand.h - kvbank tree: the records of a bank or source bank as a tree.
#pragma once

#include "tools/kvbank/Command.h"
#include "tools/kvbank/tree/TreeReporter.h"

namespace Kestrova {

class TreeCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    Ending Tell(TreeReporter& reporter) const;

    std::string m_strFile;
    TreeOptions m_options;
};

}  // namespace Kestrova
