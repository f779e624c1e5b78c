#include "tests/codec/CodecTestSupport.h"

#include <bzlib.h>

#include <atomic>
#include <new>
#include <random>

#include "codec/ImpulseFilter.h"
#include "codec/RawCompress.h"
#include "codec/RawExpand.h"

namespace {

std::atomic<bool> g_bNoLargeMemory{false};

}  // namespace

// The one allocation the codec makes for itself comes through here.
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    if (g_bNoLargeMemory && n > 1000000) return nullptr;
    try {
        return ::operator new(n);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace Kestrova::Test {

Bytes BytesOf(const StreamBuffer& buffer) {
    const auto* p = static_cast<const uint8_t*>(buffer.GetBuffer());
    return p == nullptr ? Bytes() : Bytes(p, p + buffer.GetSize());
}

Bytes Expand(const Bytes& stream, unsigned bits, unsigned long nSize) {
    StreamBuffer in(stream.data(), stream.size()), out;
    CRawExpand(&in, &out, bits, nSize);
    return BytesOf(out);
}

Bytes Compress(Bytes wave, unsigned bits) {
    StreamBuffer in(wave.data(), wave.size()), out;
    CRawCompress(&in, &out, bits);
    return BytesOf(out);
}

Bytes Filtered(Bytes wave, unsigned bits) {
    ApplyImpulse(bits, wave.data(), wave.size());
    return wave;
}

Bytes Unfiltered(Bytes wave, unsigned bits) {
    UndoImpulse(bits, wave.data(), wave.size());
    return wave;
}

Bytes Noise(size_t n, uint32_t nSeed) {
    std::mt19937 random(nSeed);
    Bytes wave(n);
    for (uint8_t& ch : wave) ch = static_cast<uint8_t>(random() >> 24);
    return wave;
}

Bytes NoiseWithoutRuns(size_t n, uint32_t nSeed) {
    Bytes wave = Noise(n, nSeed);
    for (size_t i = 1; i < n; ++i)
        if (wave[i] == wave[i - 1]) wave[i] ^= 0x55;
    return wave;
}

Bytes Periodic(size_t n, size_t nPeriod, uint32_t nSeed) {
    const Bytes period = NoiseWithoutRuns(nPeriod, nSeed);
    Bytes wave(n);
    for (size_t i = 0; i < n; ++i) wave[i] = period[i % nPeriod];
    return wave;
}

Bytes TextNumber(size_t iText, size_t n, unsigned nLetters) {
    Bytes text(n);
    for (uint8_t& ch : text) {
        ch = static_cast<uint8_t>('a' + iText % nLetters);
        iText /= nLetters;
    }
    return text;
}

std::optional<Bytes> BlackBoxExpand(const Bytes& stream, size_t nMaxSize) {
    Bytes file{'B', 'Z', 'h', '9'};
    file.insert(file.end(), stream.begin(), stream.end());
    Bytes result(nMaxSize + 1);
    auto nResult = static_cast<unsigned>(result.size());
    if (BZ2_bzBuffToBuffDecompress(reinterpret_cast<char*>(result.data()), &nResult,
                                   reinterpret_cast<char*>(file.data()), static_cast<unsigned>(file.size()),
                                   0, 0) != BZ_OK)
        return std::nullopt;
    result.resize(nResult);
    return result;
}

Bytes BlackBoxCompress(Bytes filtered) {
    Bytes file(filtered.size() * 2 + 1000);
    auto nFile = static_cast<unsigned>(file.size());
    BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(file.data()), &nFile,
                             reinterpret_cast<char*>(filtered.data()), static_cast<unsigned>(filtered.size()),
                             9, 0, 0);
    return Bytes(file.begin() + 4, file.begin() + nFile);
}

NoLargeMemory::NoLargeMemory() { g_bNoLargeMemory = true; }
NoLargeMemory::~NoLargeMemory() { g_bNoLargeMemory = false; }

unsigned long WriteRecorder::Write(const void* p, unsigned long n) {
    sizes.push_back(n);
    if (sizes.size() - 1 != m_iFailing || m_failure == kNone) return StreamBuffer::Write(p, n);
    if (m_failure == kThrow) throw StreamBufferException(this, StreamBufferException::kOutOfMemory);
    return StreamBuffer::Write(p, n - 1);
}

}  // namespace Kestrova::Test
