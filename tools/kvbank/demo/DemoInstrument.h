// DemoInstrument.h - a small synthesised instrument, so that everything can be tried without a real one.
#pragma once

#include <cstdint>
#include <string>

namespace Kestrova {

struct DemoFacts {
    uint32_t nSamples = 0;
    uint32_t nPrograms = 0;
};

// Writes the instrument as a plain source bank: plucked strings, a bell, a pad, strings and a wood block; 16
// and 24 bits, one and two channels, four sample rates, loops, split programs and others. Every byte, the
// identity included, is the same on every run and every machine: waves are computed in integers.
// False with errno set when the file, which is made or replaced, cannot be
// written. On success all of it is on the disk.
bool WriteDemoInstrument(const std::string& strPath, DemoFacts& facts);

}  // namespace Kestrova
