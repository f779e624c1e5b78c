// BitStream.h - reading and writing bits, most significant first.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <span>

#include "codec/StagedOutput.h"

namespace Kestrova {

static_assert(std::endian::native == std::endian::little);

// Eight bytes in stream order as a number.
inline uint64_t LoadBigEndian64(const uint8_t* p) {
    uint64_t n;
    std::memcpy(&n, p, sizeof(n));
    return __builtin_bswap64(n);
}

// Reads bits of a block of memory, which it does not own. Past its end there are endless one bits. Deliberate
// (Q55).
class BitReader {
public:
    static constexpr unsigned kMaxBits = 56;  // most that one bsR or Peek gives

    BitReader(const uint8_t* p, size_t n) : m_pNext(p), m_pEnd(p + n) {}

    // The next nBits bits (1 to kMaxBits) as a number.
    uint64_t bsR(unsigned nBits) {
        const uint64_t nValue = Peek(nBits);
        Skip(nBits);
        return nValue;
    }
    uint32_t bsGet32() { return static_cast<uint32_t>(bsR(32)); }
    bool ReadBit() { return bsR(1) != 0; }

    // The same without moving on; Skip takes at most as many bits as the Peek before it.
    uint64_t Peek(unsigned nBits) {
        if (m_nLive < nBits) Refill();
        return PeekReady(nBits);
    }
    // The same where that many bits are ready.
    uint64_t PeekReady(unsigned nBits) const { return m_nWindow >> (64 - nBits); }
    void Skip(unsigned nBits) {
        m_nWindow <<= nBits;
        m_nLive -= nBits;
    }

    // True once every bit of the memory has been read, so that only one bits can follow.
    bool IsAtEnd() const { return m_pNext == m_pEnd && m_nLive <= m_nPastEnd; }
    // True once a bit of each byte has been read: no byte is left over.
    bool HasTouchedAllBytes() const { return m_pNext == m_pEnd && m_nLive < m_nPastEnd + 8; }

    // Makes kMaxBits bits ready.
    void Refill() {
        if (m_pEnd - m_pNext < 8) [[unlikely]]
            return RefillNearEnd();
        // The bits beyond the whole bytes counted are the stream's own; the next refill ORs them again.
        m_nWindow |= LoadBigEndian64(m_pNext) >> m_nLive;
        m_pNext += (63 - m_nLive) / 8;
        m_nLive |= 56;
    }

    // How many bits of the memory are not read; negative past its end.
    int64_t GetBitsLeft() const {
        return (m_pEnd - m_pNext) * 8 + static_cast<int64_t>(m_nLive) - static_cast<int64_t>(m_nPastEnd);
    }
    // The whole bytes of the memory that are not read.
    std::span<const uint8_t> GetBytesLeft() const {
        const auto n = static_cast<size_t>(std::max<int64_t>(GetBitsLeft(), 0)) / 8;
        return {m_pEnd - n, n};
    }

private:
    void RefillNearEnd() {
        for (; m_nLive <= 56; m_nLive += 8) {
            const bool bPastEnd = m_pNext == m_pEnd;
            const uint64_t ch = bPastEnd ? 0xFF : *m_pNext++;
            m_nWindow |= ch << (56 - m_nLive);
            if (bPastEnd) m_nPastEnd += 8;
        }
    }

    const uint8_t* m_pNext;
    const uint8_t* m_pEnd;
    uint64_t m_nWindow = 0;   // unread bits from the top down
    unsigned m_nLive = 0;     // how many of them count
    uint64_t m_nPastEnd = 0;  // bits supplied so far from past the end
};

// Writes bits to a staged output, which it does not own.
class BitWriter {
public:
    explicit BitWriter(StagedOutput& out) : m_out(out) {}

    // The low nBits bits (at most 32) of nValue, whose higher bits are 0.
    void bsW(unsigned nBits, uint32_t nValue) {
        m_nPending = (m_nPending << nBits) | nValue;
        m_nLive += nBits;
        if (m_nLive < 32) return;
        m_nLive -= 32;
        const uint32_t nWord = __builtin_bswap32(static_cast<uint32_t>(m_nPending >> m_nLive));
        m_out.PutWord(nWord);
    }

    void bsPut32(uint32_t nValue) { bsW(32, nValue); }

    // The last byte is filled up with zero bits.
    void bsFinishedWithStream() {
        for (; m_nLive >= 8; m_nLive -= 8) m_out.Put(static_cast<uint8_t>(m_nPending >> (m_nLive - 8)));
        if (m_nLive > 0) m_out.Put(static_cast<uint8_t>(m_nPending << (8 - m_nLive)));
        m_nLive = 0;
        m_out.Flush();
    }

private:
    StagedOutput& m_out;
    uint64_t m_nPending = 0;
    unsigned m_nLive = 0;  // bits of m_nPending not yet handed on, less than 32 between calls
};

}  // namespace Kestrova
