// WaveForm.h - makes a sample record what an exported file is to hold: its width, its loops, its pitch.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "SamplerDBDS/DataBase/SDBInterpreter.h"

namespace Kestrova {

// Whether samples of the record's format can be brought to 16 or 24 bits: integers of 8 (unsigned), 16, 24
// and 32 bits, and floats of 32.
bool IsConvertible(uint32_t nFormat);

// One sample of such a format as a number whose full scale is 2^31. nRounded is raised when the number cannot
// be held exactly by nBits bits; it is rounded to these, and held to the largest one.
// REQUIRES: IsConvertible(nFormat); nBits is 16 or 24.
int32_t SampleAt(const uint8_t* p, uint32_t nFormat, uint32_t nBits, uint64_t& nRounded);

// A record with the wave in nBits bits, 16 or 24. Null when memory runs out or the wave would be too long for
// a record. REQUIRES: IsConvertible, and a loaded wave.
std::unique_ptr<CSDBISampleBase> InBits(const CSDBISampleBase& sample, uint32_t nBits, uint64_t& nRounded);

// Leaves the loops that lie within the wave, with the ends cut to its last frame. Returns how many were cut
// or dropped. Throws std::bad_alloc.
uint32_t MendLoops(CSDBISampleBase& sample, uint64_t nFrames);

// Where the fine tune is negative, names the pitch from the key below: other programs read the pitch
// fraction of a "smpl" chunk as an upward one.
void NamePitchUpward(CSDBISampleBase& sample);

}  // namespace Kestrova
