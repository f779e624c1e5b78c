// ImportReporter.h - tells what an import did: as lines for a person and as a JSON document.
#pragma once

#include <string>

#include "import/ImportReport.h"
#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {

// A line for each repair and drop; joined, copied and left out too with -v.
void SayEntries(const ImportReport& report, Console& console);
// "3 joined, 2 copied, 1 repaired, 0 dropped".
std::string SummaryOf(const ImportReport& report);
// The lists under their names.
void AddToDocument(const ImportReport& report, Json& document);

}  // namespace Kestrova
