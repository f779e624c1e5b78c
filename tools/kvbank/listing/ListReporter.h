// ListReporter.h - tells the banks of a folder, for a person and as JSON.
#pragma once

#include <string>
#include <vector>

#include "tools/kvbank/folder/BankFolder.h"
#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {

// Prints the table, and for each bank with a fault a line that says what is wrong.
void TellList(Console& console, const std::string& strFolder, const std::vector<BankFile>& banks);

// The fields of the document: "folder" and "banks".
Json ListReport(const std::string& strFolder, const std::vector<BankFile>& banks);

}  // namespace Kestrova
