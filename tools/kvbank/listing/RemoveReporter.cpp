#include "tools/kvbank/listing/RemoveReporter.h"

#include <algorithm>

namespace Kestrova {
namespace {

std::string StaleText(const BankFile& bank) {
    return "stale, it was not made from this source: " + bank.strCause;
}

}  // namespace

RemoveReporter::RemoveReporter(Console& console, const std::string& strFolder)
    : m_console(console), m_report({{"folder", strFolder}}) {}

bool RemoveReporter::Ask(const std::vector<BankFile>& banks) {
    for (const BankFile& bank : banks) {
        m_console.err << Printable(bank.path.string());
        if (bank.state == BankState::Stale) m_console.err << " (" << Printable(StaleText(bank)) << ')';
        m_console.err << '\n';
    }
    m_console.err << "Remove " << Counted(banks.size(), "bank") << "? [y/N] " << std::flush;
    std::string strAnswer;
    if (!std::getline(m_console.in, strAnswer)) return false;
    for (char& c : strAnswer) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return strAnswer == "y" || strAnswer == "yes";
}

void RemoveReporter::TellNone() {
    m_console.Say("no such banks in " + m_report["folder"].get<std::string>());
}

void RemoveReporter::TellDeclined() {
    m_report["declined"] = true;
    m_console.Say("nothing was removed");
}

void RemoveReporter::TellKept(const BankFile& bank) {
    m_rows.push_back({{"file", bank.path.string()},
                      {"removed", false},
                      {"state", StateName(bank.state)},
                      {"cause", bank.strCause}});
    m_console.Error(bank.path.string() + ": " + StaleText(bank) + "; left as it is, -f removes it too");
}

void RemoveReporter::Tell(const RemovedBank& removed) {
    const bool bGone = removed.code == kExitDone;
    m_rows.push_back({{"file", removed.strPath}, {"removed", bGone}});
    if (bGone)
        m_console.Say("removed " + Printable(removed.strPath));
    else
        m_console.Error(removed.strPath + ": " + removed.strCause);
}

int RemoveReporter::Finish(ExitCode code) {
    m_report["banks"] = m_rows;
    return m_console.Finish("remove", code, m_report);
}

}  // namespace Kestrova
