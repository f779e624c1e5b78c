#include "bench/compare/LibBz2.h"

#include <bzlib.h>

namespace Kestrova::Bench {
namespace {

// libbz2 takes its input as char*, and does not change it.
char* Chars(const Bytes& bytes) {
    return const_cast<char*>(reinterpret_cast<const char*>(bytes.data()));  // NOLINT
}

}  // namespace

Bytes CompressWithLibBz2(const Bytes& bytes, int nLevel) {
    Bytes out(bytes.size() + bytes.size() / 100 + 600);
    auto nOut = static_cast<unsigned>(out.size());
    const int nResult = BZ2_bzBuffToBuffCompress(Chars(out), &nOut, Chars(bytes),
                                                 static_cast<unsigned>(bytes.size()), nLevel, 0, 0);
    out.resize(nResult == BZ_OK ? nOut : 0);
    return out;
}

bool ExpandWithLibBz2(const Bytes& stream, Bytes& out) {
    auto nOut = static_cast<unsigned>(out.size());
    return BZ2_bzBuffToBuffDecompress(Chars(out), &nOut, Chars(stream), static_cast<unsigned>(stream.size()),
                                      0, 0) == BZ_OK &&
           nOut == out.size();
}

}  // namespace Kestrova::Bench
