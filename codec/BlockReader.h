// BlockReader.h - reads one block of a wave stream, as far as its run-length coded bytes.
#pragma once

#include <optional>
#include <span>

#include "codec/BlockUnsort.h"
#include "codec/SymbolReader.h"

namespace Kestrova {

// The large arrays of one reader.
struct BlockReaderArrays {
    SymbolReaderArrays symbols;
    SortedBlock block;
    BlockUnsortArrays unsort;
};

class BlockReader {
public:
    // Does not own the arrays.
    explicit BlockReader(BlockReaderArrays& arrays) : m_arrays(arrays) {}

    // Reads the block whose magic has just been read, and moves `in` behind it. False: it is damaged.
    bool Read(BitReader& in);

    // Of the block read last; good until the next one is read.
    uint32_t GetCrc() const { return m_crc; }
    std::span<const uint8_t> GetBytes() const { return {m_arrays.block.bytes, m_arrays.block.nCount}; }

private:
    bool getAndMoveToFrontDecode(BitReader& in);
    void undoReversibleTransformation();

    BlockReaderArrays& m_arrays;
    uint32_t m_crc = 0;
    bool m_bRandomised = false;
    uint32_t m_iOrigin = 0;
};

// Reads, for a second thread, a block whose turn has not come yet: the one behind the next block magic. The
// bits of a magic may also stand inside a block by chance. So a block read ahead counts only once
// the block before it has turned out to end where it starts.
class BlockAhead {
public:
    explicit BlockAhead(BlockReaderArrays& arrays) : m_reader(arrays) {}

    // `in` stands behind the magic of another block. Takes as long as reading a block, or longer.
    void ReadNext(BitReader in);

    // The block whose magic has just been read from `in`, which is moved behind it; nullptr when it is not
    // the one read ahead, or is damaged.
    const BlockReader* Take(BitReader& in);

private:
    BlockReader m_reader;
    int64_t m_nBitsBefore = 0;  // left when it had been found; the whole block lies behind them
    std::optional<BitReader> m_behind;
};

// The reader behind the next block magic; nothing when there is none, or less than a word behind its start.
std::optional<BitReader> FindBlockMagic(const BitReader& in);

}  // namespace Kestrova
