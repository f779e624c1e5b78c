// WaveLoops.h - what a bank can carry of the loops of a sound file.
#pragma once

#include <string>
#include <vector>

#include "import/ImportReport.h"
#include "import/wavefile/WaveFile.h"

namespace Kestrova {

// A record has one loop, and it plays forwards: of several the first is carried, and one that plays backwards
// or to and fro is taken as one that plays forwards, so that the note still sounds as long as its key is held.
// Both are noted in the report. REQUIRES: there is a loop.
//   strWhat: the file as the report names it
void ReportFileLoops(const std::string& strWhat, const std::vector<WaveFileLoop>& loops,
                     ImportReport& report);

}  // namespace Kestrova
