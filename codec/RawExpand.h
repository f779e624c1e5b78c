// RawExpand.h - turns one compressed wave back into its sample bytes.
#pragma once

#include <cstdint>

namespace Kestrova {

class StreamBuffer;

// All work happens in the constructor; the object holds nothing afterwards but why it failed.
// Threads: several may expand at once into buffers of their own.
// Memory:  about 6 MB of working storage during the call, as much again for a second thread, and at most
//          `size` bytes of output.
class CRawExpand {
public:
    // Appends the first `size` bytes of the wave held in `in` to `out`, then undoes the delta filter there.
    //   in:   the whole compressed stream and nothing behind it; not changed, its position is not used
    //   out:  must start empty, because the filter is undone from its first byte on
    //   bits: sample width, 16, 24 or 32; the top bit is ignored
    //   size: bytes wanted; the wave may be longer (the rest is checked and dropped) but not shorter
    //   nThreads: 2 or more: a second thread reads every other block of a wave that has several. Its result
    //         is the same; without memory or a thread for it the first does all.
    //   nMost: a stream that holds more bytes than this is refused as damaged ones are, at the end of the first
    //         block that does; one block can hold 46 MB
    // Never throws. Nothing is touched when there is no input, no `out`, size is 0 or the working storage
    // cannot be had; every other failure (damaged stream, trailing bytes, short or failed write, width)
    // leaves `out` empty, which is how the caller learns of it.
    CRawExpand(StreamBuffer* in, StreamBuffer* out, unsigned int bits, unsigned long size,
               unsigned nThreads = 1, uint64_t nMost = UINT64_MAX);

    // True when it failed because working storage or output could not be had; the stream may be right.
    bool RanOutOfMemory() const { return m_bNoMemory; }
    // True when it failed because the stream holds more than nMost bytes.
    bool HasTooMany() const { return m_bTooMany; }

private:
    bool m_bNoMemory = false;
    bool m_bTooMany = false;
};

}  // namespace Kestrova
