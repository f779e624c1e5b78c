// RemoveCommand.h - kvbank remove: deletes banks of a source from a folder, or what interrupted runs have
// left there.
#pragma once

#include <string>
#include <vector>

#include "tools/kvbank/Command.h"
#include "tools/kvbank/engine/EngineRun.h"
#include "tools/kvbank/folder/BankFolder.h"

namespace Kestrova {

class RemoveCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    bool IsChosen(const BankFile& bank) const;
    int ClearLeftovers(Console& console) const;
    bool Confirm(Console& console, const std::vector<BankFile>& banks) const;
    ExitCode RemoveOne(Console& console, const BankFile& bank, Json& rows);

    std::string m_strFolder;
    std::string m_strSource;
    std::vector<unsigned int> m_arRates;
    bool m_bYes = false;
    bool m_bLeftovers = false;

    EngineRun m_run;
};

}  // namespace Kestrova
