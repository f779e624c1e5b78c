// SymbolReader.h - the expander's first stage: from the symbols of a block, coded with several Huffman
// tables, to its bytes in the order of their rotations.
#pragma once

#include "codec/HuffmanCodes.h"
#include "codec/RecentBytes.h"

namespace Kestrova {

// The bytes of a block in the order of their rotations, and how often each value occurs among them.
struct SortedBlock {
    // Short runs are written as one word, whose last bytes may be too many.
    static constexpr uint32_t kSlack = sizeof(uint64_t);

    uint8_t bytes[WaveFormat::kBlockSize + kSlack];
    uint32_t counts[WaveFormat::kByteValues];
    uint32_t nCount = 0;
};

// The large arrays of the reader, part of the expander's working storage.
struct SymbolReaderArrays {
    uint8_t selectors[WaveFormat::kMaxSelectors];
    DecodeTable tables[WaveFormat::kMaxTables];
};

// Reads everything of one block from the byte-use map to its end.
class SymbolReader {
public:
    // Owns none of them.
    SymbolReader(BitReader& in, SymbolReaderArrays& arrays, SortedBlock& block)
        : m_in(in), m_arrays(arrays), m_block(block) {}

    // False: the block is damaged, or holds what the format does not have.
    bool getAndMoveToFrontDecode() { return recvDecodingTables() && DecodeSymbols(); }

private:
    bool recvDecodingTables();
    void ReadByteUse();
    bool ReadSelectors();
    bool ReadTable(DecodeTable& table);
    bool ReadLengthSteps(int64_t& nLength);
    bool DecodeSymbols();

    BitReader& m_in;
    SymbolReaderArrays& m_arrays;
    SortedBlock& m_block;
    RecentBytes m_bytes;
    unsigned m_nTables = 0, m_nSelectors = 0;
};

}  // namespace Kestrova
