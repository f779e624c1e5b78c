// RemoveCommand.h - kvbank remove: deletes banks of a source from a
// folder, or the leftovers of interrupted runs.
#pragma once

#include <string>
#include <vector>

#include "tools/kvbank/Command.h"
#include "tools/kvbank/engine/EngineRun.h"
#include "tools/kvbank/folder/BankFolder.h"
#include "tools/kvbank/listing/RemoveReporter.h"

namespace Kestrova {

class RemoveCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    bool IsChosen(const BankFile& bank) const;
    int ClearLeftovers(Console& console) const;
    std::vector<BankFile> FindBanks(std::error_code& error);
    ExitCode Remove(RemoveReporter& reporter, std::vector<BankFile>& banks, bool bMayAsk);
    bool KeepsStale(RemoveReporter& reporter, std::vector<BankFile>& banks, bool bMayAsk) const;
    RemovedBank RemoveOne(const BankFile& bank);

    std::string m_strFolder;
    std::string m_strSource;
    std::vector<unsigned int> m_arRates;
    bool m_bYes = false;
    bool m_bForce = false;
    bool m_bLeftovers = false;

    EngineRun m_run;
};

}  // namespace Kestrova
