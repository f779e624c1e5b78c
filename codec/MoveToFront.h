// MoveToFront.h - the compressor's list of recently used bytes, and the runs of its front byte.
#pragma once

#include <cstring>
#include <span>

#include "codec/WaveFormat.h"

namespace Kestrova {

// Byte values (or table numbers), the last used first.
class MoveToFrontList {
public:
    // The numbers 0 to n - 1 in order, and the values whose flag is set, ascending.
    static MoveToFrontList OfNumbers(unsigned n);
    static MoveToFrontList OfUsed(const bool (&used)[WaveFormat::kByteValues]);

    unsigned GetCount() const { return m_nCount; }
    uint8_t Front() const { return m_list[0]; }

    // Moves the value at an index (below the count) to the front and returns it.
    uint8_t TakeAt(unsigned iPlace) {
        const uint8_t ch = m_list[iPlace];
        if (iPlace < kShortMove)
            for (unsigned i = iPlace; i > 0; --i) m_list[i] = m_list[i - 1];
        else
            std::memmove(m_list + 1, m_list, iPlace);
        m_list[0] = ch;
        return ch;
    }

    // Moves a value of the list to the front and returns the index it had.
    unsigned Find(uint8_t ch) {
        const void* p = std::memchr(m_list, ch, m_nCount);
        const auto iPlace = static_cast<unsigned>(static_cast<const uint8_t*>(p) - m_list);
        TakeAt(iPlace);
        return iPlace;
    }

private:
    static constexpr unsigned kShortMove = 12;  // up to here a loop beats the call

    uint8_t m_list[WaveFormat::kByteValues];
    unsigned m_nCount = 0;
};

// The symbols of a block, its end included, and how often each occurs.
struct SymbolList {
    std::span<const uint16_t> symbols;
    unsigned nAlphabet = 0;  // used byte values + 2
    uint32_t frequencies[WaveFormat::kMaxAlphabet] = {};
};

// Codes the bytes before each rotation. `order` holds the rotations' starts in sorted
// order, pBlock[-1] is the block's last byte. The symbols go to pSymbols (order.size() + 1 entries,
// or fewer where there are runs of zeros).
SymbolList generateMTFValues(std::span<const uint32_t> order, const uint8_t* pBlock,
                             const bool (&used)[WaveFormat::kByteValues], uint16_t* pSymbols);

}  // namespace Kestrova
