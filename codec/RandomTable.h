// RandomTable.h - the numbers by which a block is randomised, and the walk over them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Kestrova {

inline constexpr size_t kRandomNumbers = 512;

// Distances between the bytes that randomisation changes, used cyclically; a constant of the stream format.
extern const uint16_t rNums[kRandomNumbers];

// XORs with 1 the bytes of a block that the table selects, which randomises it and undoes that again. Each
// table entry is a countdown, decreased before every byte; the byte at which it has reached 1 is changed.
void RandomiseBytes(uint8_t* p, size_t n);

}  // namespace Kestrova
