// FilterTables.h - the low-pass impulse responses of the filter kernels.
// Each table is the right half of a symmetric windowed sinc, 256 entries per source frame from its centre on,
// in 1/32768. An entry of a difference table is the next entry minus this one; its last entry is 0.
#pragma once

#include <cstdint>

namespace Kestrova {

inline constexpr int kSmallFilterEntries = 1536;  // six source frames
inline constexpr int kLargeFilterEntries = 8192;  // 32 source frames

extern const int16_t SmallFilterImp[kSmallFilterEntries];
extern const int16_t SmallFilterImpD[kSmallFilterEntries];
extern const int16_t LargeFilterImp[kLargeFilterEntries];
extern const int16_t LargeFilterImpD[kLargeFilterEntries];

}  // namespace Kestrova
