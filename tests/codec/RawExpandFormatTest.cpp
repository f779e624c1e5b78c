// The stream format, field by field.
#include <gtest/gtest.h>

#include <functional>

#include "codec/RandomTable.h"
#include "codec/RawExpand.h"
#include "tests/codec/HandMadeStreams.h"

namespace Kestrova::Test {
namespace {

struct BlockCase {
    const char* pszWhy;
    std::function<void(HandMadeBlock&)> change;
};

// The alphabet of the text: RUNA, RUNB, four indices, end of block.
const BlockCase kRefused[] = {
    {"wrong block CRC", [](HandMadeBlock& b) { b.crc ^= 0x80000000; }},
    {"randomised flag of a block that is not",
     [](HandMadeBlock& b) {
         b.bRandomised = true;
         b.crc ^= 1;
     }},
    {"another origin in the block", [](HandMadeBlock& b) { b.iOrigin ^= 1; }},
    {"origin just behind the block", [](HandMadeBlock& b) { b.iOrigin = 12; }},
    {"largest origin", [](HandMadeBlock& b) { b.iOrigin = 0xFFFFFF; }},
    {"no byte in use", [](HandMadeBlock& b) { b.used.clear(); }},
    {"no table", [](HandMadeBlock& b) { b.nTables = 0; }},
    {"seven tables",
     [](HandMadeBlock& b) {
         b.nTables = 7;
         b.lengths.resize(7, b.lengths[0]);
     }},
    {"no selector",
     [](HandMadeBlock& b) {
         b.nSelectors = 0;
         b.selectors.clear();
     }},
    {"18003 selectors",
     [](HandMadeBlock& b) {
         b.nSelectors = 18003;
         b.selectors.resize(18003);
     }},
    {"32767 selectors",
     [](HandMadeBlock& b) {
         b.nSelectors = 32767;
         b.selectors.resize(32767);
     }},
    {"selector index equal to the table count", [](HandMadeBlock& b) { b.selectors[0] = 2; }},
    {"selector index without end", [](HandMadeBlock& b) { b.selectors[0] = 100000; }},
    {"selector index 1 of one table",
     [](HandMadeBlock& b) {
         b.nTables = 1;
         b.lengths.resize(1);
         b.selectors[0] = 1;
     }},
    {"code length 0", [](HandMadeBlock& b) { b.lengths[1][2] = 0; }},
    {"code length below 0", [](HandMadeBlock& b) { b.lengths[1][2] = -1; }},
    {"code length 24", [](HandMadeBlock& b) { b.lengths[1][2] = 24; }},
    {"code length 300", [](HandMadeBlock& b) { b.lengths[1][2] = 300; }},
    {"start length 31, kept", [](HandMadeBlock& b) { b.lengths[1].assign(7, 31); }},
    {"over-full code space in a table that is used", [](HandMadeBlock& b) { b.lengths[0].assign(7, 2); }},
    {"over-full code space in a table that is not", [](HandMadeBlock& b) { b.lengths[1].assign(7, 2); }},
    {"code space over-full by one long code",
     [](HandMadeBlock& b) { b.lengths[1] = {2, 2, 2, 3, 4, 4, 23}; }},
    {"an empty block", [](HandMadeBlock& b) { b.symbols = {6}; }},
    {"a block without its end", [](HandMadeBlock& b) { b.symbols.pop_back(); }},
    {"a zero run longer than any block",
     [](HandMadeBlock& b) {
         b.symbols = RunSymbols(900001);
         b.symbols.push_back(6);
     }},
    {"a zero run without end", [](HandMadeBlock& b) { b.symbols.assign(50, 1); }},
    {"a run that leaves the block at its very end",
     [](HandMadeBlock& b) {
         b.symbols = RunSymbols(899999);
         b.symbols.insert(b.symbols.end(), {2, 2, 6});
     }},
};

TEST(RawExpandTest, RefusesEveryFieldOutOfItsRange) {
    ASSERT_EQ(WaveOf(kText), ExpandBlock(MakeBlock(kText), kText.size()));
    for (const BlockCase& row : kRefused) {
        SCOPED_TRACE(row.pszWhy);
        HandMadeBlock block = MakeBlock(kText);
        ASSERT_EQ(7u, block.lengths[0].size());
        row.change(block);
        EXPECT_EQ(Bytes(), ExpandBlock(block, kText.size()));
    }
}

// Lengths 3 for seven symbols leave one code over.
const BlockCase kAccepted[] = {
    {"one table",
     [](HandMadeBlock& b) {
         b.nTables = 1;
         b.lengths.resize(1);
     }},
    {"three tables",
     [](HandMadeBlock& b) {
         b.nTables = 3;
         b.lengths.resize(3, b.lengths[0]);
     }},
    {"six tables",
     [](HandMadeBlock& b) {
         b.nTables = 6;
         b.lengths.resize(6, b.lengths[0]);
     }},
    {"more selectors than groups",
     [](HandMadeBlock& b) {
         b.nSelectors = 18002;
         b.selectors.resize(18002);
     }},
    {"the last of six tables",
     [](HandMadeBlock& b) {
         b.nTables = 6;
         b.lengths.resize(6, b.lengths[0]);
         b.selectors[0] = 5;
     }},
    {"lengths up to 23", [](HandMadeBlock& b) { b.lengths[0] = {23, 1, 2, 3, 4, 22, 23}; }},
    {"all lengths 23", [](HandMadeBlock& b) { b.lengths[0].assign(7, 23); }},
    {"a length that starts at 0",
     [](HandMadeBlock& b) {
         b.startLengths = {0, 0};
     }},
    {"a length that starts at 31",
     [](HandMadeBlock& b) {
         b.startLengths = {31, 31};
     }},
    {"a byte in use that does not occur",
     [](HandMadeBlock& b) {
         b.used.push_back(0xF0);
         for (auto& lengths : b.lengths) lengths.push_back(3);
         b.symbols.back() = 7;
     }},
};
// Q59

// Q59
TEST(RawExpandTest, AcceptsWhatNoCompressorWrites) {
    for (const BlockCase& row : kAccepted) {
        SCOPED_TRACE(row.pszWhy);
        HandMadeBlock block = MakeBlock(kText);
        row.change(block);
        EXPECT_EQ(WaveOf(kText), ExpandBlock(block, kText.size()));
    }
}

TEST(RawExpandTest, TablesFollowTheirSelectors) {
    const Bytes coded = NoiseWithoutRuns(200);  // five groups; every table codes alike
    HandMadeBlock block = MakeBlock(coded);
    block.lengths.resize(4, block.lengths[0]);
    block.nTables = 4;
    block.selectors = {3, 0, 1, 3, 2};
    block.selectors.resize(block.nSelectors);
    EXPECT_EQ(WaveOf(coded), ExpandBlock(block, coded.size()));
}

// The second group is coded with another table: by move-to-front, index 1 is table 1, then table 0 again.
TEST(RawExpandTest, SelectorsAreUndoneThroughMoveToFront) {
    HandMadeBlock block = MakeBlockOfSorted(Bytes(1, 'a'), 0, Bytes());
    WaveStreamBuilder bits;
    std::vector<unsigned> symbols;
    Bytes sorted;
    for (int i = 0; i < 60; ++i) {  // "ab" by turns, sorted: alternating indices 1
        symbols.push_back(2);
        sorted.push_back(i % 2 == 0 ? 'b' : 'a');
    }
    for (int i = 0; i < 60; ++i) symbols.push_back(2), sorted.push_back(i % 2 == 0 ? 'b' : 'a');
    symbols.push_back(3);
    // What this block expands to is found with one table; then the same symbols with two.
    block.used = {'a', 'b'};
    block.lengths.assign(2, {2, 2, 2, 2});
    block.symbols = symbols;
    block.selectors.assign(3, 0);
    block.nSelectors = 3;
    Bytes first = sorted, text;
    std::sort(first.begin(), first.end());
    std::vector<size_t> next(sorted.size());
    for (size_t i = 0, a = 0, b = 60; i < sorted.size(); ++i) next[sorted[i] == 'a' ? a++ : b++] = i;
    for (size_t i = 0, iPlace = 0; i < sorted.size(); ++i, iPlace = next[iPlace])
        text.push_back(first[iPlace]);
    block.crc = SlowCrc(UndoRuns(text));
    const size_t nSize = UndoRuns(text).size();
    ASSERT_EQ(WaveOf(text), ExpandBlock(block, nSize));

    bits.Bits(48, 0x314159265359).Bits(32, block.crc).Bits(25, 0).Bits(16, 0x0200).Bits(16, 0x6000);
    bits.Bits(3, 2).Bits(15, 3).Bits(5, 0b10'10'0);  // selectors 1, 1, 0: tables 1, 0, 0
    bits.Bits(5, 2).Bits(4, 0);                      // table 0: all of 2 bits
    bits.Bits(5, 3).Bits(4, 0);                      // table 1: all of 3 bits
    for (size_t i = 0; i < symbols.size(); ++i) bits.Bits(i < 50 ? 3 : 2, symbols[i]);
    bits.Bits(48, 0x177245385090).Bits(32, block.crc);
    EXPECT_EQ(WaveOf(text), Expand(bits.Finish(), 16, nSize));
}

TEST(RawExpandTest, LengthStepsPastTheEndOfTheInputAreRefused) {
    const HandMadeBlock block = MakeBlock(kText);
    WaveStreamBuilder bits;
    bits.Bits(48, 0x314159265359).Bits(32, block.crc).Bits(25, 0).Bits(16, 0x8000).Bits(16, 0x8000);
    bits.Bits(3, 1).Bits(15, 1).Bits(1, 0).Bits(5, 20);
    for (unsigned nOnes = 0; nOnes < 20; ++nOnes) {
        EXPECT_EQ(Bytes(), Expand(bits.Finish(true), 16, kText.size()));
        bits.Bits(1, 1);
    }
}

TEST(RawExpandTest, SelectorsThatRunOutAreRefused) {
    const Bytes coded = NoiseWithoutRuns(120);
    HandMadeBlock block = MakeBlock(coded);
    ASSERT_GE(block.nSelectors, 2u);
    --block.nSelectors;
    block.selectors.pop_back();
    EXPECT_EQ(Bytes(), ExpandBlock(block, coded.size()));
}

TEST(RawExpandTest, BitsThatAreNoCodeAreRefused) {
    HandMadeBlock block = MakeBlock(kText);
    for (const int nLength : {3, 9, 12, 23}) {
        block.lengths[0].assign(7, nLength);
        WaveStreamBuilder bits;
        block.symbols = {2, 3};
        bits.Block(block).Bits(static_cast<unsigned>(nLength), 7).End();
        EXPECT_EQ(Bytes(), Expand(bits.Finish(), 16, 2));
    }
}

struct RunCase {
    const char* pszWhy;
    Bytes coded;
    size_t nExpanded;
};
const RunCase kRuns[] = {
    {"three are no run", {7, 7, 7, 9}, 4},
    {"four with no more", {7, 7, 7, 7, 0}, 4},
    {"four with 251 more", {7, 7, 7, 7, 251, 9}, 256},
    {"counts above 251 are taken as they are", {7, 7, 7, 7, 255, 9}, 260},
    {"a count equal to the byte is no byte of the run", {7, 7, 7, 7, 7, 7, 7, 7, 9}, 15},
    {"after a count the run begins anew", {7, 7, 7, 7, 1, 7, 7, 7, 7, 2, 7}, 12},
    {"a block may end where a count is due", {9, 7, 7, 7, 7}, 5},
    {"a block may end with a count", {9, 7, 7, 7, 7, 3}, 8},
};

TEST(RawExpandTest, UndoesTheRunLengthCoding) {
    for (const RunCase& row : kRuns) {
        SCOPED_TRACE(row.pszWhy);
        ASSERT_EQ(row.nExpanded, UndoRuns(row.coded).size());
        EXPECT_EQ(WaveOf(row.coded), ExpandBlock(MakeBlock(row.coded), row.nExpanded));
    }
}

TEST(RawExpandTest, RunsDoNotPassFromBlockToBlock) {
    const Bytes coded{7, 7, 7},
        stream = WaveStreamBuilder().Block(MakeBlock(coded)).Block(MakeBlock(coded)).End().Finish();
    EXPECT_EQ(Unfiltered(Bytes(6, 7), 16), Expand(stream, 16, 6));
}

// The random numbers also select places that hold the counts of runs.
TEST(RawExpandTest, DerandomisesBytesAndCounts) {
    Bytes coded;
    for (size_t i = 0; i < 400; ++i)
        for (const size_t n : {i, i, i, i, i % 5}) coded.push_back(static_cast<uint8_t>(n));
    Bytes randomised = coded;
    RandomiseBytes(randomised.data(), randomised.size());
    size_t nCounts = 0;
    for (size_t i = 4; i < coded.size(); i += 5) nCounts += coded[i] != randomised[i];
    ASSERT_GT(nCounts, 0u);
    HandMadeBlock block = MakeBlock(randomised);
    block.bRandomised = true;
    block.crc = SlowCrc(UndoRuns(coded));
    EXPECT_EQ(WaveOf(coded), ExpandBlock(block, UndoRuns(coded).size()));
}

// A block of nothing but 7s: 4 of them, 7 more, and so on.
TEST(RawExpandTest, TheLargestBlockIsAcceptedAndOneByteMoreIsNot) {
    for (const size_t nCoded : {900000u, 900001u}) {
        const Bytes expanded = UndoRuns(Bytes(nCoded, 7));
        const HandMadeBlock block = MakeBlockOfSorted(Bytes(nCoded, 7), 0, expanded);
        EXPECT_EQ(nCoded == 900000 ? Unfiltered(expanded, 16) : Bytes(), ExpandBlock(block, expanded.size()));
    }
}
// Q51

// Q51
TEST(RawExpandTest, WrongMarkersAndCombinedCrcAreRefused) {
    const HandMadeBlock block = MakeBlock(kText);
    const auto stream = [&](uint64_t endMagic, uint32_t crc) {
        return WaveStreamBuilder().Block(block).Bits(48, endMagic).Bits(32, crc).Finish();
    };
    EXPECT_EQ(WaveOf(kText), Expand(stream(0x177245385090, block.crc), 16, kText.size()));
    EXPECT_EQ(Bytes(), Expand(stream(0x177245385091, block.crc), 16, kText.size()));
    EXPECT_EQ(Bytes(), Expand(stream(0x977245385090, block.crc), 16, kText.size()));
    EXPECT_EQ(Bytes(), Expand(stream(0x177245385090, ~block.crc), 16, kText.size()));
    EXPECT_EQ(Bytes(), Expand(stream(0x177245385090, block.crc ^ 1), 16, kText.size()));
    Bytes header{'B', 'Z', 'h', '9'};
    const Bytes sound = StreamOf(block);
    header.insert(header.end(), sound.begin(), sound.end());
    EXPECT_EQ(Bytes(), Expand(header, 16, kText.size()));
}

}  // namespace
}  // namespace Kestrova::Test
