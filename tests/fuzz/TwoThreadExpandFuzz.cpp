// TwoThreadExpandFuzz.cpp - the expander with a second thread gives what it gives with one, or refuses as
// well.
// Input: as of the target "expand", a byte and then the stream.
#include "codec/RawExpand.h"
#include "stream/StreamBuffer.h"
#include "tests/fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    using namespace Kestrova;
    constexpr unsigned kWidths[] = {16, 24, 32, 8};
    constexpr unsigned long kSizes[] = {1, 100, 5000, 100000};
    if (n == 0) return 0;
    const unsigned nBits = kWidths[p[0] % 4];
    const unsigned long nSize = kSizes[p[0] >> 6];
    StreamBuffer in(p + 1, n - 1), one, two;
    CRawExpand(&in, &one, nBits, nSize);
    CRawExpand(&in, &two, nBits, nSize, 2);
    KV_FUZZ_CHECK(one.GetSize() == two.GetSize());
    KV_FUZZ_CHECK(one.GetSize() == 0 ||
                  std::equal(static_cast<const uint8_t*>(one.GetBuffer()),
                             static_cast<const uint8_t*>(one.GetBuffer()) + one.GetSize(),
                             static_cast<const uint8_t*>(two.GetBuffer())));
    return 0;
}
