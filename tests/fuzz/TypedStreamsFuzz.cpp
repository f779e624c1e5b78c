// TypedStreamsFuzz.cpp - typed values of a stream that ends anywhere: a value that is read is written back as
// the same bytes. Input: a count, so many bytes that choose the reads, then the stream.
#include "stream/MemoryStream.h"
#include "tests/fuzz/FuzzInput.h"
#include "tests/support/FakeStreams.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

struct Streams {
    ShortInput in;
    StreamBuffer buffer;
    MemoryStream out{buffer};
    bool bSame = true;  // all that was read was written
};

template <class TValue>
void Copy(Streams& streams) {
    TValue value{};
    streams.bSame = streams.in.Read(value) && streams.out.Write(value);
}

void CopyText(Streams& streams) {
    String strText;
    if (!streams.in.Read(strText)) streams.bSame = false;
    KV_FUZZ_CHECK(streams.out.Write(strText));
    streams.bSame = false;  // a text may end before its length, or lack it
}

void CopySwapped(Streams& streams) {
    uint8_t elements[24];
    const unsigned long nRead = readArray(streams.in, elements, 8, 3);
    KV_FUZZ_CHECK(nRead <= 8 && writeArray(streams.out, elements, nRead, 3) == nRead);
    streams.bSame = nRead == 8;
}

// The lengths of texts that a file may not have: a negative one is a fatal check of the reader.
bool IsNegativeLength(const Bytes& bytes, size_t nConsumed) {
    return nConsumed + 4 <= bytes.size() && bytes[nConsumed + 3] >= 0x80;
}

constexpr void (*kCopies[])(Streams&) = {Copy<unsigned char>,      Copy<unsigned short>, Copy<unsigned long>,
                                         Copy<unsigned long long>, Copy<float>,          Copy<double>,
                                         Copy<signed char>,        Copy<short>,          Copy<long>,
                                         Copy<long long>,          CopySwapped};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    FuzzInput input(p, n);
    const Bytes choices = input.Take(input.Byte());
    const Bytes bytes = input.Rest();
    Streams streams{ShortInput(bytes), {}};
    for (const uint8_t nChoice : choices) {
        if (!streams.bSame) break;
        const size_t nConsumed = streams.buffer.GetSize();
        if (nChoice % (std::size(kCopies) + 1) < std::size(kCopies))
            kCopies[nChoice % (std::size(kCopies) + 1)](streams);
        else if (!IsNegativeLength(bytes, nConsumed))
            CopyText(streams);
        if (!streams.bSame) break;
        KV_FUZZ_CHECK(streams.buffer.GetSize() <= bytes.size());
        KV_FUZZ_CHECK(std::equal(bytes.begin(),
                                 bytes.begin() + static_cast<ptrdiff_t>(streams.buffer.GetSize()),
                                 static_cast<const uint8_t*>(streams.buffer.GetBuffer())));
    }
    KV_FUZZ_CHECK(streams.in.m_nLargestRequest <= std::max<size_t>(bytes.size(), 1 << 20));
    return 0;
}
