#include "bench/BenchCodec.h"

#include "codec/RawCompress.h"
#include "codec/RawExpand.h"

namespace Kestrova::Bench {

bool CompressWave(const Bytes& wave, unsigned nBits, StreamBuffer& out) {
    Bytes scratch = wave;
    StreamBuffer in(scratch.data(), scratch.size());
    const CRawCompress compress(&in, &out, nBits);
    return out.GetSize() > 0;
}

bool ExpandWave(StreamBuffer& stream, unsigned nBits, size_t nBytes, StreamBuffer& out, unsigned nThreads) {
    const CRawExpand expand(&stream, &out, nBits, nBytes, nThreads);
    return out.GetSize() == nBytes;
}

}  // namespace Kestrova::Bench
