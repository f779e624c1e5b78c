// LeftoverReporter.h - tells what killed runs have left in a folder, and what became of it.
#pragma once

#include <vector>

#include "tools/kvbank/folder/Leftovers.h"
#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {

// Names what nobody holds. Banks are left out: the list of the banks has a row for each interrupted one. The
// answer is rows for the JSON document, banks included: file and kind.
Json TellLeftovers(Console& console, const std::string& strFolder, const std::vector<FoundLeftover>& found);

// Tells what was removed, what is held and what could not be removed, and why. Adds a row each: file, kind,
// removed. The exit code is that of a failed removal, if there was one.
ExitCode TellRemoved(Console& console, const std::string& strFolder, const std::vector<FoundLeftover>& found,
                     Json& rows);

}  // namespace Kestrova
