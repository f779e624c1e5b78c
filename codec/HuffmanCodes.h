// HuffmanCodes.h - code lengths from frequencies, canonical codes from lengths, and decoding tables.
// Canonical: from the shortest length to the longest, consecutive values in symbol order, the value doubling
// with each bit the length grows by.
#pragma once

#include <span>

#include "codec/BitStream.h"

namespace Kestrova {

// Writer: fills `lengths` with the code lengths of a Huffman tree over `frequencies` (at most kMaxAlphabet,
// as many as lengths), none longer than nMaxLength; a frequency of 0 counts as 1. The tree has more than one
// symbol, and 2^nMaxLength is at least their number.
void hbMakeCodeLengths(std::span<uint8_t> lengths, std::span<const uint32_t> frequencies,
                       unsigned nMaxLength);

// Writer: fills `codes` with the canonical codes of these lengths. False when a length is outside 1 to
// kMaxWrittenLength.
bool hbAssignCodes(std::span<uint32_t> codes, std::span<const uint8_t> lengths);

// Reader: turns bits into symbols with one table. Short codes are looked up, longer ones
// are found by the limits of their length.
class DecodeTable {
public:
    static constexpr unsigned kNoSymbol = ~0u;

    // False when a length is outside 1 to kMaxReadLength or the lengths claim more codes than there are.
    // Codes may be left over.
    bool hbCreateDecodeTables(std::span<const uint8_t> lengths);

    // Reads one code; kNoSymbol when the next bits are no code.
    unsigned Decode(BitReader& in) const {
        in.Refill();
        return DecodeRefilled(in);
    }

    // The same where the reader has kMaxReadLength bits ready.
    unsigned DecodeRefilled(BitReader& in) const {
        const auto nBits = static_cast<uint32_t>(in.PeekReady(WaveFormat::kMaxReadLength));
        unsigned entry = m_lookup[nBits >> (WaveFormat::kMaxReadLength - kLookupBits)];
        if (entry == 0) [[unlikely]]
            entry = FindLongCode(nBits);
        if (entry == 0) [[unlikely]]
            return kNoSymbol;
        in.Skip(entry & kLengthMask);
        return entry >> kSymbolShift;
    }

private:
    // An entry is a symbol and, in its low bits, the length of its code; never 0.
    static constexpr unsigned kLookupBits = 10, kSymbolShift = 5, kLengthMask = 31;

    bool CountLengths(std::span<const uint8_t> lengths);
    bool SetLimits();
    void SortSymbols(std::span<const uint8_t> lengths);
    void FillLookup();
    unsigned FindLongCode(uint32_t nBits) const;

    using PerLength = uint32_t[WaveFormat::kMaxReadLength + 1];

    uint16_t m_lookup[1u << kLookupBits];          // entry of the code in front; 0: none that short
    PerLength m_count;                             // codes of this length
    PerLength m_start;                             // the first of them in m_symbols
    PerLength m_first;                             // value of the first of them
    PerLength m_limit;                             // value behind the last of them, in kMaxReadLength bits
    uint16_t m_symbols[WaveFormat::kMaxAlphabet];  // in the order of their codes
};

}  // namespace Kestrova
