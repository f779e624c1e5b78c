// RecentBytes.h - the move-to-front list.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "codec/WaveFormat.h"

namespace Kestrova {

static_assert(std::endian::native == std::endian::little);

// Byte values (or table numbers), the last used first. The first eight are one number, the first of them in
// its low byte: a move among them is a few steps of arithmetic, which no later load has to wait for.
class RecentBytes {
public:
    // The numbers 0 to n - 1 in order, and the values whose flag is set, ascending.
    static RecentBytes OfNumbers(unsigned n) {
        RecentBytes list;
        for (unsigned i = 0; i < n; ++i) list.Append(static_cast<uint8_t>(i));
        return list;
    }
    static RecentBytes OfUsed(const bool (&used)[WaveFormat::kByteValues]) {
        RecentBytes list;
        for (unsigned ch = 0; ch < WaveFormat::kByteValues; ++ch)
            if (used[ch]) list.Append(static_cast<uint8_t>(ch));
        return list;
    }

    unsigned GetCount() const { return m_nCount; }
    uint8_t Front() const { return static_cast<uint8_t>(m_words[0]); }

    // Moves the value at an index (below the count) to the front and returns it.
    uint8_t TakeAt(unsigned iPlace) {
        if (iPlace >= kPerWord) [[unlikely]]
            return TakeFar(iPlace);
        const auto ch = static_cast<uint8_t>(m_words[0] >> (iPlace * 8));
        const uint64_t kept = ~uint64_t{0xFF} << (iPlace * 8);  // the values behind the one taken
        m_words[0] = (m_words[0] & kept) | ((m_words[0] << 8 | ch) & ~kept);
        return ch;
    }

    // Moves a value of the list to the front and returns the index it had.
    unsigned Find(uint8_t ch) {
        const auto* const pBytes = reinterpret_cast<const uint8_t*>(m_words);
        const void* const p = std::memchr(pBytes, ch, m_nCount);
        const auto iPlace = static_cast<unsigned>(static_cast<const uint8_t*>(p) - pBytes);
        TakeAt(iPlace);
        return iPlace;
    }

private:
    static constexpr unsigned kPerWord = 8;
    static constexpr unsigned kWords = WaveFormat::kByteValues / kPerWord;

    void Append(uint8_t ch) {
        m_words[m_nCount / kPerWord] |= uint64_t{ch} << (m_nCount % kPerWord * 8);
        ++m_nCount;
    }

    uint8_t TakeFar(unsigned iPlace) {
        auto* const pBytes = reinterpret_cast<uint8_t*>(m_words);
        const uint8_t ch = pBytes[iPlace];
        const uint64_t first = m_words[0] << 8 | ch;
        std::memmove(pBytes + 1, pBytes, iPlace);
        m_words[0] = first;  // stored as it is loaded next, so that the load need not wait
        return ch;
    }

    uint64_t m_words[kWords] = {};
    unsigned m_nCount = 0;
};

}  // namespace Kestrova
