// WaveReport.h - what a report tells of the sound files that waves come from.
#pragma once

#include <string>
#include <vector>

#include "import/ImportReport.h"
#include "import/wavefile/WaveFile.h"

namespace Kestrova {

// In both, strWhat is the file or its sample as the report names it.

// Notes what of the file's wave is not kept: frames that are not there, and bits.
void ReportWaveFile(const std::string& strWhat, const WaveFileFacts& facts, ImportReport& report);

// A record has one loop, and it plays forwards: of several the first is carried, and one that plays backwards
// or to and fro is taken as one that plays forwards, so that the note still sounds as long as its key is
// held. Notes both. REQUIRES: there is a loop.
void ReportFileLoops(const std::string& strWhat, const std::vector<WaveFileLoop>& loops,
                     ImportReport& report);

}  // namespace Kestrova
