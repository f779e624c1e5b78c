// WavFile.h - a WAV file of integers, written whole.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tools/kvbank/render/WaveMix.h"

namespace Kestrova {

// Writes the file, whose header is the shortest one of 44 bytes, and waits until the disk has it. An odd
// length is made even by a zero byte. Returns 0 or errno.
int WriteWavFile(const std::string& strPath, const WaveForm& form, std::span<const uint8_t> frames);

}  // namespace Kestrova
