// SampleRecord.h - the sample records of a scanned file, whichever kind it is.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tools/kvbank/compare/NoteScan.h"

namespace Kestrova {

// A sample record, or why there is none.
struct ReadSample {
    std::unique_ptr<CSDBISampleBase> pRecord;  // null when it cannot be read whole
    std::string strCause = {};                 // then
};

// Each reads one sample, the first without its wave.
//   file:      the scan's file or another stream on it; its position afterwards is not defined
//   strFolder: where external waves with relative names lie
// Threads: any, each with a file of its own. Throws std::bad_alloc, also when the record is too large.
ReadSample ReadSampleHeader(CXFile& file, const SDBNOTE& note, bool bEnriched, const std::string& strFolder);
ReadSample ReadSampleWave(CXFile& file, const SDBNOTE& note, bool bEnriched, const std::string& strFolder);

// A loop's frames; the last one is played.
struct LoopFrames {
    uint32_t nStart = 0;
    uint32_t nEnd = 0;
    bool operator==(const LoopFrames&) const = default;
};

// What of a loop lies within a wave of so many frames; none when nothing does.
std::optional<LoopFrames> LoopWithin(const SDBLOOP& loop, uint64_t nFrames);

}  // namespace Kestrova
