// WaveReader.h - where the frames of a plan's waves come from; each format has its own.
#pragma once

#include <cstddef>
#include <cstdint>

#include "import/ImportOutcome.h"

namespace Kestrova {

class IWaveReader {
public:
    virtual ~IWaveReader() = default;

    // Reads frames nFirst to nFirst + nFrames - 1 of the plan's wave nWave to pOut: little-endian numbers of
    // the wave's bits, its channels interleaved, nothing between. REQUIRES: the wave has these frames.
    // Threads: called on several at once.
    virtual ImportOutcome ReadFrames(size_t nWave, uint64_t nFirst, uint64_t nFrames,
                                     uint8_t* pOut) const = 0;
};

}  // namespace Kestrova
