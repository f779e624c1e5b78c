// ByteCursor.h - reads the elements of a record, each held against the bytes that are left.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace Kestrova {

// A step that the bytes are too few for is false and moves nothing.
class ByteCursor {
public:
    explicit ByteCursor(std::span<const uint8_t> bytes) : m_bytes(bytes) {}

    // Bytes passed so far.
    size_t Position() const { return m_nPosition; }

    bool Skip(uint64_t nBytes) {
        if (nBytes > m_bytes.size() - m_nPosition) return false;
        m_nPosition += static_cast<size_t>(nBytes);
        return true;
    }

    // A little-endian word, as either kind of integer.
    template <class TWord>
    bool Word(TWord& word) {
        static_assert(sizeof word == 4 && std::endian::native == std::endian::little);
        const size_t nAt = m_nPosition;
        if (!Skip(sizeof word)) return false;
        std::memcpy(&word, m_bytes.data() + nAt, sizeof word);
        return true;
    }

    // A length byte and so many characters; the text ends at its first zero byte.
    bool Text(std::string_view& text) {
        if (m_nPosition == m_bytes.size()) return false;
        const size_t nAt = m_nPosition;
        if (!Skip(1 + uint64_t{m_bytes[nAt]})) return false;
        text = {reinterpret_cast<const char*>(m_bytes.data()) + nAt + 1, m_bytes[nAt]};
        text = text.substr(0, text.find('\0'));
        return true;
    }

    // A word, and so many entries of that size behind it.
    bool SkipList(uint32_t& nEntries, size_t nEntryBytes) {
        const size_t nAt = m_nPosition;
        if (Word(nEntries) && Skip(uint64_t{nEntries} * nEntryBytes)) return true;
        m_nPosition = nAt;
        return false;
    }
    bool SkipBlock() {
        uint32_t nBytes = 0;
        return SkipList(nBytes, 1);
    }

private:
    std::span<const uint8_t> m_bytes;
    size_t m_nPosition = 0;
};

}  // namespace Kestrova
