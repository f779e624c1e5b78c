// LeftoverReporter.h - tells what killed runs have left in a folder, and what became of it.
#pragma once

#include <vector>

#include "tools/kvbank/folder/Leftovers.h"
#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {

// Prints the leftovers that no process holds. Banks are not printed, because the list of banks has a row for
// each interrupted one. Returns rows for the JSON document, banks included: file and kind.
Json TellLeftovers(Console& console, const std::string& strFolder, const std::vector<FoundLeftover>& found);

// Prints what was removed, what a process holds, and what could not be removed and why. Adds one row for
// each: file, kind, removed. Returns the exit code of a failed removal, if there was one.
ExitCode TellRemoved(Console& console, const std::string& strFolder, const std::vector<FoundLeftover>& found,
                     Json& rows);

}  // namespace Kestrova
