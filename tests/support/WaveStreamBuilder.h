// WaveStreamBuilder.h - compressed wave streams made by hand, sound or damaged in exactly one place.
// Written apart from the codec on purpose: it is slow and plain, and shares no code with what it tests.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/support/TempDir.h"

namespace Kestrova::Test {

// One block, field by field in the order of the stream. Whatever a test changes is written as it stands.
struct HandMadeBlock {
    uint32_t crc = 0;
    bool bRandomised = false;
    uint32_t iOrigin = 0;
    Bytes used;                             // byte values in use, ascending
    unsigned nTables = 2;                   // as written; the tables themselves are those in `lengths`
    unsigned nSelectors = 0;                // as written; the selectors themselves are those in `selectors`
    std::vector<unsigned> selectors;        // move-to-front indices; all 0: every group uses table 0
    std::vector<std::vector<int>> lengths;  // of each table's codes
    std::vector<unsigned> startLengths;     // of each table; missing ones are the first code's length
    std::vector<unsigned> symbols;          // coded with table 0
};

// The sound block of these run-length coded bytes (at least one), with two equal tables of flat codes.
HandMadeBlock MakeBlock(const Bytes& coded);
// The same from any bytes standing in the order of their rotations; the CRC is that of `expanded`.
HandMadeBlock MakeBlockOfSorted(const Bytes& sorted, uint32_t iOrigin, const Bytes& expanded);

// The symbols that code n zeros.
std::vector<unsigned> RunSymbols(uint64_t n);

// What the run-length coded bytes stand for, and the check value of some bytes.
Bytes UndoRuns(const Bytes& coded);
uint32_t SlowCrc(const Bytes& bytes);

class WaveStreamBuilder {
public:
    WaveStreamBuilder& Bits(unsigned nBits, uint64_t nValue);
    WaveStreamBuilder& Block(const HandMadeBlock& block);
    // The end marker and the combined CRC of the blocks so far.
    WaveStreamBuilder& End();
    // The stream, filled up to a whole byte with zero bits (or ones).
    Bytes Finish(bool bPadding = false) const;

private:
    void ByteUse(const Bytes& used);
    void Lengths(const std::vector<int>& lengths, unsigned nStart);
    void Symbols(const HandMadeBlock& block);

    std::vector<bool> m_bits;
    uint32_t m_crcCombined = 0;
};

// One block and the end marker.
Bytes StreamOf(const HandMadeBlock& block);

}  // namespace Kestrova::Test
