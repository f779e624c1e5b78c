// ExpandFuzz.cpp - the expander with hostile streams: it may refuse one, it must not crash, hang or overrun.
// Input: one byte that chooses the width and, in its high bits, the size wanted; then the stream.
#include <cstdint>
#include <cstdlib>

#include "codec/RawExpand.h"
#include "stream/StreamBuffer.h"

namespace {

constexpr unsigned kWidths[] = {16, 24, 32, 8};
constexpr unsigned long kSizes[] = {1, 100, 5000, 100000};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    if (n == 0) return 0;
    const unsigned long nSize = kSizes[p[0] >> 6];
    Kestrova::StreamBuffer in(p + 1, n - 1), out;
    Kestrova::CRawExpand(&in, &out, kWidths[p[0] % 4], nSize);
    if (out.GetSize() != 0 && out.GetSize() != nSize) std::abort();
    return 0;
}
