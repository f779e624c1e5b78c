#include "tools/kvbank/listing/ListReporter.h"

#include <cstdio>

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

// The cause of an unreadable file tells its state too.
std::string CauseText(const BankFile& bank) {
    const std::string strState = StateName(bank.state);
    return bank.state == BankState::Unreadable ? bank.strCause : strState + ": " + bank.strCause;
}

}  // namespace

void TellList(Console& console, const std::string& strFolder, const std::vector<BankFile>& banks) {
    if (banks.empty()) return console.Say("no banks in " + strFolder);
    console.Say(Row("RATE", "LAYOUT", "SIZE", "STATE", "FILE"));
    for (const BankFile& bank : banks) {
        console.Say(Row(std::to_string(bank.nRate), LayoutName(bank.layout), ReadableSize(bank.nBytes),
                        StateName(bank.state), Printable(bank.path.string())));
        if (IsWrong(bank)) console.Error(bank.path.string() + ": " + CauseText(bank));
    }
}

Json ListReport(const std::string& strFolder, const std::vector<BankFile>& banks) {
    Json report = Json::object();
    report["folder"] = strFolder;
    Json& rows = report["banks"] = Json::array();
    for (const BankFile& bank : banks) {
        Json row = Json::object();
        row["file"] = bank.path.string();
        row["rate"] = bank.nRate;
        row["layout"] = LayoutName(bank.layout);
        row["bytes"] = bank.nBytes;
        row["state"] = StateName(bank.state);
        if (IsWrong(bank)) row["cause"] = bank.strCause;
        rows.push_back(std::move(row));
    }
    return report;
}

}  // namespace Kestrova
