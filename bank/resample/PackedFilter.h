// PackedFilter.h - the filter tables as the SIMD kernels read them.
#pragma once

#include "bank/resample/FilterBlock.h"

namespace Kestrova {

// The row shape that one conversion uses. Only the first use of a filter takes time; the tables are shared
// and constant from then on. Any thread.
//   nTableStep: 1..32768
// Returns a shape of more than kMaxRowTaps taps when the step is too small for rows.
FilterRowShape MakeRowShape(bool bLargeTable, bool bInterpolate, int nTableStep);

}  // namespace Kestrova
