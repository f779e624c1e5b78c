// PredictedSizes.h - the sizes of banks that are not built yet, as a table and as JSON.
#pragma once

#include <vector>

#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {

// Of the banks at one rate, in MiB.
struct PredictedSize {
    unsigned int nRate = 0;
    unsigned int nPlain = 0, nPerKey = 0;
};

inline constexpr uint64_t kBytesPerMegabyte = 1 << 20;

// Prints a title and a row for each rate; the answer has the same for a document.
Json TellPredicted(Console& console, const std::vector<PredictedSize>& sizes);

}  // namespace Kestrova
