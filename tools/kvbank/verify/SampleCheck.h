// SampleCheck.h - one sample record checked by itself: whether it decodes, its
// wave included, and whether its numbers fit.
#pragma once

#include <string>
#include <vector>

#include "tools/kvbank/compare/NoteScan.h"

namespace Kestrova {

// What is wrong with the sample, cause by cause; empty for a good one. Holds one wave while it runs.
//   file:      the scan's file or another stream on it; its position afterwards is not defined
//   strFolder: where external waves with relative names lie
// Threads: any, each with a file of its own. Throws std::bad_alloc.
std::vector<std::string> CheckPlainSample(CXFile& file, const SDBNOTE& note, const std::string& strFolder);
std::vector<std::string> CheckEnrichedSample(CXFile& file, const SDBNOTE& note);

}  // namespace Kestrova
