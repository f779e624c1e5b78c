// Crc32.h - the check values of a wave stream.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace Kestrova {

inline constexpr uint32_t kCrcStart = 0xFFFFFFFF;

// The running CRC after n more bytes: polynomial 0x04C11DB7, most significant bit first. The CRC of a block
// is the complement of the running value, which starts at kCrcStart.
uint32_t UpdateCrc(uint32_t crc, const uint8_t* p, size_t n);

// The stream's check after one more block; it starts at 0.
constexpr uint32_t CombineCrc(uint32_t crcCombined, uint32_t crcBlock) {
    return std::rotl(crcCombined, 1) ^ crcBlock;
}

}  // namespace Kestrova
