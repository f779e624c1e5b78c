// BenchCodec.h - whole waves through the codec.
#pragma once

#include "bench/BenchFolder.h"
#include "stream/StreamBuffer.h"

namespace Kestrova::Bench {

// Appends the stream of the wave to `out`, which is empty. The compressor changes its input, so a scratch
// copy is part of the work. False when it has made no stream.
bool CompressWave(const Bytes& wave, unsigned nBits, StreamBuffer& out);

// Appends the wave of nBytes that `stream` holds to `out`, which is empty, on one thread or two. False when
// it is refused.
bool ExpandWave(StreamBuffer& stream, unsigned nBits, size_t nBytes, StreamBuffer& out,
                unsigned nThreads = 1);

}  // namespace Kestrova::Bench
