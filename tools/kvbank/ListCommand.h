// ListCommand.h - kvbank list: the banks in a folder.
#pragma once

#include <string>
#include <vector>

#include "tools/kvbank/Command.h"

namespace Kestrova {

class ListCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    std::string m_strFolder;
    std::string m_strSource;
    std::vector<unsigned int> m_arRates;  // none: all
};

}  // namespace Kestrova
