// HandMadeStreams.h - streams put together field by field, and what they expand to.
#pragma once

#include "tests/codec/CodecTestSupport.h"
#include "tests/support/WaveStreamBuilder.h"

namespace Kestrova::Test {

inline const Bytes kText{'m', 'i', 's', 's', 'i', 's', 's', 'i', 'p', 'p', 'i', '!'};

// What a sound block of these run-length coded bytes expands to.
inline Bytes WaveOf(const Bytes& coded, unsigned bits = 16) { return Unfiltered(UndoRuns(coded), bits); }

inline Bytes ExpandBlock(const HandMadeBlock& block, unsigned long nSize) {
    return Expand(StreamOf(block), 16, nSize);
}

}  // namespace Kestrova::Test
