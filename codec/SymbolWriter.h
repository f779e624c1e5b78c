// SymbolWriter.h - the compressor's last stage: the symbols of a block, coded with several Huffman tables.
#pragma once

#include <span>

#include "codec/BitStream.h"
#include "codec/MoveToFront.h"

namespace Kestrova {

// Chooses the tables for one block and writes everything from the byte-use map to the end of the block.
class SymbolWriter {
public:
    // pSelectors: WaveFormat::kMaxSelectors bytes of working storage. Owns neither of the two.
    SymbolWriter(BitWriter& out, uint8_t* pSelectors) : m_out(out), m_pSelectors(pSelectors) {}

    // False, with nothing written, when the symbols need more selectors than a stream may hold.
    bool sendMTFValues(const SymbolList& block, const bool (&used)[WaveFormat::kByteValues]);

private:
    static constexpr unsigned kMaxTables = WaveFormat::kMaxTables, kMaxAlphabet = WaveFormat::kMaxAlphabet;

    std::span<uint8_t> Lengths(unsigned iTable) { return {m_lengths[iTable], m_nAlphabet}; }

    void SplitAlphabet(const SymbolList& block);
    void ImproveTables(const SymbolList& block);
    void PackCosts();
    unsigned CheapestTable(std::span<const uint16_t> group) const;

    void WriteByteUse(const bool (&used)[WaveFormat::kByteValues]);
    void WriteSelectors();
    void WriteLengths(std::span<const uint8_t> lengths);
    void WriteSymbols(const SymbolList& block);

    BitWriter& m_out;
    uint8_t* m_pSelectors;
    unsigned m_nAlphabet = 0, m_nTables = 0;
    size_t m_nSelectors = 0;
    uint8_t m_lengths[kMaxTables][kMaxAlphabet];
    uint32_t m_frequencies[kMaxTables][kMaxAlphabet];
    uint32_t m_codes[kMaxTables][kMaxAlphabet];
    uint64_t m_costs[kMaxAlphabet];  // a symbol's code lengths in all tables, kCostBits each
};

}  // namespace Kestrova
