#include "tools/kvbank/ListCommand.h"

#include <cstdio>

#include "tools/kvbank/LeftoverReporter.h"
#include "tools/kvbank/engine/EngineRun.h"
#include "tools/kvbank/folder/BankFolder.h"
#include "tools/kvbank/terminal/RateOptions.h"

namespace Kestrova {
namespace {

std::string Row(const std::string& strRate, const std::string& strLayout, const std::string& strSize,
                const std::string& strState, const std::string& strFile) {
    char columns[96];
    std::snprintf(columns, sizeof columns, "%-7s %-8s %10s  %-12s ", strRate.c_str(), strLayout.c_str(),
                  strSize.c_str(), strState.c_str());
    return columns + strFile;
}

Json RowOf(const BankFile& bank) {
    Json row = {{"file", bank.path.string()},
                {"rate", bank.nRate},
                {"layout", LayoutName(bank.layout)},
                {"bytes", bank.nBytes},
                {"state", StateName(bank.state)}};
    if (bank.state == BankState::Unreadable) row["cause"] = bank.strCause;
    return row;
}

}  // namespace

void ListCommand::Describe(CLI::App& verb) {
    verb.add_option("DIR", m_strFolder, "the folder with the banks")->required();
    verb.add_option("--source", m_strSource, "only the banks of this source bank")->type_name("SOURCE");
}

int ListCommand::Run(Console& console) {
    EngineRun run;
    if (!m_strSource.empty())
        if (const ExitCode code = run.OpenNames(console, m_strSource); code != kExitDone)
            return console.Finish("list", code);
    std::error_code error;
    const std::vector<BankFile> banks = ListBanks(m_strFolder, run.Engine().GetBaseName(), error);
    if (error) {
        console.Error(m_strFolder + ": " + error.message());
        return console.Finish("list", kExitBadInput);
    }
    ExitCode worst = kExitDone;
    Json rows = Json::array();
    if (banks.empty()) console.Say("no banks in " + m_strFolder);
    if (!banks.empty()) console.Say(Row("RATE", "LAYOUT", "SIZE", "STATE", "FILE"));
    for (const BankFile& bank : banks) {
        rows.push_back(RowOf(bank));
        console.Say(Row(std::to_string(bank.nRate), LayoutName(bank.layout), ReadableSize(bank.nBytes),
                        StateName(bank.state), Printable(bank.path.string())));
        if (bank.state != BankState::Unreadable) continue;
        console.Error(bank.path.string() + ": " + bank.strCause);
        worst = kExitProblem;
    }
    const Json left = TellLeftovers(console, m_strFolder, FindLeftovers(m_strFolder, error));
    return console.Finish("list", worst, {{"folder", m_strFolder}, {"banks", rows}, {"leftovers", left}});
}

}  // namespace Kestrova
