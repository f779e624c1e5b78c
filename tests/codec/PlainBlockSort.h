// PlainBlockSort.h - the block sort as it is defined: step by step, comparing byte by byte, without a limit.
#pragma once

#include <optional>

#include "tests/support/TempDir.h"

namespace Kestrova::Test {

struct PlainOrder {
    // The starts of the block's rotations in sorted order, equal ones in the order that the steps give them;
    // nothing when the stack of ranges overflows.
    std::optional<std::vector<uint32_t>> order;
    uint64_t nWork = 0;  // of all comparisons
};

// Its time can grow with the square of the block's size.
PlainOrder PlainBlockSort(const Bytes& block);

}  // namespace Kestrova::Test
