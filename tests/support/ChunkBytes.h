// ChunkBytes.h - chunk ids and written bytes as tests spell and compare them.
#pragma once

#include <string>

#include "tests/support/Vectors.h"

namespace Kestrova::Test {

// The id whose bytes in file order are these four characters.
constexpr unsigned long Id(const char (&achName)[5]) {
    unsigned long id = 0;
    for (size_t i = 4; i-- > 0;) id = id << 8 | static_cast<unsigned char>(achName[i]);
    return id;
}

// Characters and blocks as hexadecimal.
inline std::string Hex(const std::string& strBytes) { return ToHex(Bytes(strBytes.begin(), strBytes.end())); }
inline std::string HexOf(const void* p, unsigned long n) {
    const auto* pBytes = static_cast<const uint8_t*>(p);
    return ToHex(Bytes(pBytes, pBytes + n));
}

// The bytes of a stream buffer or data container.
template <class TBuffer>
std::string HexOf(const TBuffer& buffer) {
    return HexOf(buffer.GetBuffer(), buffer.GetSize());
}

// What a chunk writer has written so far.
template <class TWriter>
std::string Written(TWriter& writer) {
    const void* p = nullptr;
    unsigned long n = 0;
    return writer.GetBuffer(p, n) ? HexOf(p, n) : "not attached to a buffer";
}

}  // namespace Kestrova::Test
