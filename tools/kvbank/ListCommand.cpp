#include "tools/kvbank/ListCommand.h"

#include <algorithm>

#include "tools/kvbank/compare/BankOrigin.h"
#include "tools/kvbank/engine/EngineRun.h"
#include "tools/kvbank/listing/LeftoverReporter.h"
#include "tools/kvbank/listing/ListReporter.h"
#include "tools/kvbank/terminal/RateOptions.h"

namespace Kestrova {

void ListCommand::Describe(CLI::App& verb) {
    verb.add_option("DIR", m_strFolder, "the folder with the banks")->required();
    verb.add_option("--source", m_strSource,
                    "only the banks named after this source bank, and whether they were made from it")
        ->type_name("SOURCE");
    AddRateOption(verb, m_arRates);
    verb.get_option("--rates")->required(false);
}

int ListCommand::Run(Console& console) {
    EngineRun run;
    if (!m_strSource.empty())
        if (const ExitCode code = run.OpenNames(console, m_strSource); code != kExitDone)
            return console.Finish("list", code);
    std::error_code error;
    std::vector<BankFile> banks = ListBanks(m_strFolder, run.Engine().GetBaseName(), error, m_arRates);
    std::vector<FoundLeftover> leftovers;
    if (!error) leftovers = FindLeftovers(m_strFolder, error);
    if (error) {
        console.Error(m_strFolder + ": " + error.message());
        return console.Finish("list", kExitBadInput);
    }
    if (!m_strSource.empty()) BankOrigin(run.Engine(), m_strSource).Check(banks);
    TellList(console, m_strFolder, banks);
    Json report = ListReport(m_strFolder, banks);
    report["leftovers"] = TellLeftovers(console, m_strFolder, leftovers);
    const bool bWrong = std::any_of(banks.begin(), banks.end(), IsWrong);
    return console.Finish("list", bWrong ? kExitProblem : kExitDone, report);
}

}  // namespace Kestrova
