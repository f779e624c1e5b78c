// LibBz2.h - libbz2, which the wave codec is compared with, as a black box over whole waves in memory.
#pragma once

#include "bench/BenchFolder.h"

namespace Kestrova::Bench {

// nLevel: 1 to 9, hundreds of thousands of bytes in a block. Empty on failure.
Bytes CompressWithLibBz2(const Bytes& bytes, int nLevel = 9);

// Expands the whole stream into `out`, which has the size of what comes. False when it does not fill it.
bool ExpandWithLibBz2(const Bytes& stream, Bytes& out);

}  // namespace Kestrova::Bench
