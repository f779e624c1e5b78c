// DemoInstrument.h - a small synthesised instrument, so that everything can be tried without a real one.
#pragma once

#include <cstdint>
#include <string>

#include "bank/FileAnswer.h"

namespace Kestrova {

struct DemoFacts {
    uint32_t nSamples = 0;
    uint32_t nPrograms = 0;
};

// Writes the instrument as a plain source bank: plucked strings, a bell, a pad, strings and a wood block; 16
// and 24 bits, one and two channels, four sample rates, loops, split programs and others. Every byte, the
// identity included, is the same on every run and every machine: waves are computed in integers.
// The file is made or replaced. The answer has the system's reason when it cannot be written; on success all
// of it is on the disk.
FileAnswer WriteDemoInstrument(const std::string& strPath, DemoFacts& facts);

}  // namespace Kestrova
