// WaveExport.h - one sample on its way into a wave file: read and brought to its form on any thread, then
// written.
#pragma once

#include <memory>
#include <string>

#include "tools/kvbank/contents/SampleRecord.h"

namespace Kestrova {

enum class WaveKind { Wav, Flac };

struct WaveOptions {
    WaveKind kind = WaveKind::Wav;
    uint32_t nBits = 0;  // 16 or 24; 0: as the sample has
};

// A sample ready to be written, or why it cannot be.
struct MadeWave {
    std::unique_ptr<CSDBISampleBase> pRecord;  // with its wave; null when it cannot be exported
    std::string strCause = {};                 // then
    uint64_t nFrames = 0;                      // whole ones that the wave has
    uint64_t nRounded = 0;                     // values that were rounded to the width
    uint32_t nMendedLoops = 0;                 // cut to the wave, or dropped for lying outside it
    std::string strProblem = {};               // what is wrong with a wave that is exported all the same
};

// Reads the sample and brings it to the options' form. The wave is all whole frames of the record's wave,
// also where its header states others. FLAC holds samples of 8 bits as 16, and those above 24 bits and floats
// as 24. Arguments and threads as for ReadSampleWave. Throws std::bad_alloc.
MadeWave MakeWave(CXFile& file, const SDBNOTE& note, bool bEnriched, const std::string& strFolder,
                  const WaveOptions& options);

// Writes it into an open, empty file. Empty when done, else why not; when the system refused something, the
// file's GetFirstError tells what. REQUIRES: there is a record.
std::string WriteWave(const MadeWave& wave, WaveKind kind, CXFile& file);

}  // namespace Kestrova
