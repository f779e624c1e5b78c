// RawCompress.h - turns the sample bytes of one wave into a compressed stream.
#pragma once

namespace Kestrova {

class StreamBuffer;

// All work happens in the constructor; the object holds nothing afterwards.
// Threads: none of its own; several may compress at once from and to buffers of their own.
// Memory:  18 MB of working storage during the call. Most waves touch 7 MB of it; a block that has to be
//          sorted a second time touches up to 4 MB more, and the rest only if it then repeats exactly.
// Time:    bounded for each block of 900000 bytes, whatever it holds; bench/README.md has the worst cases.
class CRawCompress {
public:
    // Appends the compressed stream of the samples in `in` to `out`.
    //   in:   sample bytes; CHANGED: the delta filter is applied in place, so hand over a scratch copy
    //   out:  written at its position
    //   bits: sample width, 16, 24 or 32; the top bit is ignored. Bytes after the last whole sample stay
    //         unfiltered and are compressed with the rest.
    // Never throws. Nothing is touched when there is no input, no `out`, the width is unsupported or the
    // working storage cannot be had; every other failure leaves `out` empty.
    CRawCompress(StreamBuffer* in, StreamBuffer* out, unsigned int bits);
};

}  // namespace Kestrova
