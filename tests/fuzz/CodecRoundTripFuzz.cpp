// CodecRoundTripFuzz.cpp - the expander reads what the compressor writes, and compressing again gives the
// same bytes. Input: one byte that chooses the width, two that choose how often the rest is repeated; then
// the wave.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "codec/RawCompress.h"
#include "codec/RawExpand.h"
#include "stream/StreamBuffer.h"

namespace {

using Kestrova::StreamBuffer;

constexpr unsigned kWidths[] = {16, 24, 32};
constexpr size_t kMaxWave = 20000;

std::vector<uint8_t> WaveOf(const uint8_t* p, size_t n) {
    std::vector<uint8_t> wave;
    if (n <= 3) return wave;
    const size_t nWanted = 1 + (size_t{p[1]} << 8 | p[2]) % kMaxWave;
    for (size_t i = 0; i < nWanted; ++i) wave.push_back(p[3 + i % (n - 3)]);
    return wave;
}

void Compress(std::vector<uint8_t> wave, unsigned bits, StreamBuffer& out) {
    StreamBuffer in(wave.data(), wave.size());
    Kestrova::CRawCompress(&in, &out, bits);
}

bool Equals(const StreamBuffer& buffer, const void* p, size_t n) {
    return buffer.GetSize() == n && (n == 0 || std::memcmp(buffer.GetBuffer(), p, n) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    const std::vector<uint8_t> wave = WaveOf(p, n);
    if (wave.empty()) return 0;
    const unsigned bits = kWidths[p[0] % 3];
    StreamBuffer stream, again, expanded;
    Compress(wave, bits, stream);
    Compress(wave, bits, again);
    if (!Equals(again, stream.GetBuffer(), stream.GetSize())) std::abort();
    Kestrova::CRawExpand(&stream, &expanded, bits, wave.size());
    if (!Equals(expanded, wave.data(), wave.size())) std::abort();
    return 0;
}
