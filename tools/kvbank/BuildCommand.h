// BuildCommand.h - kvbank build: makes the banks of a source at the rates asked for.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/kvbank/Command.h"
#include "tools/kvbank/EngineRun.h"
#include "tools/kvbank/PrivateFolder.h"

namespace Kestrova {

class BuildCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    enum class Action { Build, SkipExisting, SkipSource, Busy };

    struct Plan {
        unsigned int nRate = 0;
        Action action = Action::Build;
        unsigned int nMegabytes = 0;  // predicted
        std::string strName;          // of the file, without folder
    };

    ExitCode Prepare(Console& console);
    std::vector<Plan> MakePlans();
    Action ActionFor(int nKind, const std::string& strName) const;
    ExitCode CheckSpace(Console& console, const std::vector<Plan>& plans, Json& report) const;
    ExitCode BuildOne(Console& console, PrivateFolder& folder, const Plan& plan, Json& row);
    ExitCode BuildAll(Console& console, const std::vector<Plan>& plans, Json& rows);
    ExitCode Publish(Console& console, PrivateFolder& folder, const Plan& plan);

    std::string m_strSource;
    std::string m_strFolder;
    std::vector<unsigned int> m_arRates;
    BankLayout m_layout = BankLayout::Plain;
    int m_nQuality = kHighestQuality;
    bool m_bForce = false;
    bool m_bDryRun = false;

    EngineRun m_run;
};

}  // namespace Kestrova
