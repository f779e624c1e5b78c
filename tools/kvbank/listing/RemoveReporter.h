// RemoveReporter.h - asks which banks may go, and tells what became of them, for a person and as JSON.
#pragma once

#include <string>
#include <vector>

#include "tools/kvbank/folder/BankFolder.h"
#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {

// What became of one bank.
struct RemovedBank {
    std::string strPath;
    ExitCode code = kExitDone;  // done: it is gone
    std::string strCause = {};  // why it is not
};

class RemoveReporter {
public:
    // The console must outlive the reporter.
    RemoveReporter(Console& console, const std::string& strFolder);

    // Names the banks, the stale ones as such, and asks whether they may go.
    bool Ask(const std::vector<BankFile>& banks);

    void TellNone();
    void TellDeclined();
    // A stale bank that stays.
    void TellKept(const BankFile& bank);
    void Tell(const RemovedBank& removed);

    int Finish(ExitCode code);

private:
    Console& m_console;
    Json m_report = Json::object();
    Json m_rows = Json::array();
};

}  // namespace Kestrova
