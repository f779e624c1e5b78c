// CodecTestSupport.h - the two calls as functions of bytes, waves to feed them, the black box beside them,
// and buffers that fail.
#pragma once

#include <optional>

#include "stream/StreamBuffer.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {

Bytes BytesOf(const StreamBuffer& buffer);

// The output of an expansion (empty: it failed) and of a compression, whose input is copied first.
Bytes Expand(const Bytes& stream, unsigned bits, unsigned long nSize);
Bytes Compress(Bytes wave, unsigned bits);

Bytes Filtered(Bytes wave, unsigned bits);
Bytes Unfiltered(Bytes wave, unsigned bits);

// Waves of n bytes: the same each time; no two equal bytes side by side; repeating every nPeriod bytes.
Bytes Noise(size_t n, uint32_t nSeed = 1);
Bytes NoiseWithoutRuns(size_t n, uint32_t nSeed = 1);
Bytes Periodic(size_t n, size_t nPeriod, uint32_t nSeed = 1);

// One of the nLetters to the power of n texts of n bytes over so many letters.
Bytes TextNumber(size_t iText, size_t n, unsigned nLetters);

// The filtered bytes of a stream of ours as the black box decodes them; nothing when it refuses the stream.
std::optional<Bytes> BlackBoxExpand(const Bytes& stream, size_t nMaxSize);
// A stream of ours, made by the black box from filtered bytes.
Bytes BlackBoxCompress(Bytes filtered);

// While it lives, operator new (nothrow) has nothing above 1 MB to give.
class NoLargeMemory {
public:
    NoLargeMemory();
    ~NoLargeMemory();
};

// Records the size of each Write, and fails the one with the given number: by a short count or by throwing.
class WriteRecorder : public StreamBuffer {
public:
    enum Failure { kNone, kShort, kThrow };
    explicit WriteRecorder(Failure failure = kNone, size_t iFailing = 0)
        : m_failure(failure), m_iFailing(iFailing) {}

    unsigned long Write(const void* p, unsigned long n) override;

    std::vector<unsigned long> sizes;

private:
    Failure m_failure;
    size_t m_iFailing;
};

}  // namespace Kestrova::Test
