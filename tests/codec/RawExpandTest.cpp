#include <gtest/gtest.h>

#include <functional>

#include "codec/RandomTable.h"
#include "codec/RawExpand.h"
#include "tests/codec/CodecTestSupport.h"
#include "tests/support/Vectors.h"
#include "tests/support/WaveStreamBuilder.h"

namespace Kestrova::Test {
namespace {

const Bytes kText{'m', 'i', 's', 's', 'i', 's', 's', 'i', 'p', 'p', 'i', '!'};

// What a sound block of these run-length coded bytes expands to.
Bytes WaveOf(const Bytes& coded, unsigned bits = 16) { return Unfiltered(UndoRuns(coded), bits); }

Bytes ExpandBlock(const HandMadeBlock& block, unsigned long nSize) {
    return Expand(StreamOf(block), 16, nSize);
}

TEST(RawExpandTest, WorkedCases) {
    const Bytes all = ReadFile(VectorPath("codec.bin"));
    for (const auto& row : LoadVectors("codec.json")) {
        SCOPED_TRACE(row["name"].get<std::string>());
        const Bytes wave = Expand(Slice(all, row["stream"]), row["bits"], row["size"]);
        const auto& result = row["result"];
        if (result.is_null()) {
            EXPECT_EQ(Bytes(), wave);
        } else if (result.contains("bytes")) {
            EXPECT_EQ(Slice(all, result["bytes"]), wave);
        } else {
            EXPECT_EQ(result["length"], wave.size());
            EXPECT_EQ(result["sha256"], Sha256(wave));
        }
    }
}

TEST(RawExpandTest, ExpandsAHandMadeBlockAtEveryWidth) {
    const Bytes stream = StreamOf(MakeBlock(kText));
    for (const unsigned bits : {16u, 24u, 32u, 0x80000010u, 0x80000018u, 0x80000020u})
        EXPECT_EQ(WaveOf(kText, bits), Expand(stream, bits, kText.size())) << bits;
}

TEST(RawExpandTest, BytesAfterTheLastWholeSampleAreNotFiltered) {
    for (size_t n = 1; n <= 13; ++n) {
        const Bytes coded = NoiseWithoutRuns(n);
        for (const unsigned bits : {16u, 24u, 32u})
            EXPECT_EQ(WaveOf(coded, bits), Expand(StreamOf(MakeBlock(coded)), bits, n)) << n << " " << bits;
    }
}

TEST(RawExpandTest, SeveralBlocksFollowEachOther) {
    const Bytes other = NoiseWithoutRuns(60);
    const Bytes stream = WaveStreamBuilder()
                             .Block(MakeBlock(kText))
                             .Block(MakeBlock(other))
                             .Block(MakeBlock(kText))
                             .End()
                             .Finish();
    Bytes filtered = kText;
    filtered.insert(filtered.end(), other.begin(), other.end());
    filtered.insert(filtered.end(), kText.begin(), kText.end());
    EXPECT_EQ(Unfiltered(filtered, 16), Expand(stream, 16, filtered.size()));
}

// ---- outcomes ----

struct Untouched {
    const char* pszWhy;
    bool bIn, bOut;
    size_t nStream;  // bytes of the stream handed over
    unsigned long nSize;
};
constexpr Untouched kUntouched[] = {
    {"no input object", false, true, 100, 5},
    {"no output object", true, false, 100, 5},
    {"an input without bytes", true, true, 0, 5},
    {"a size of 0", true, true, 100, 0},
};

TEST(RawExpandTest, DoesNothingWithoutInputOutputOrSize) {
    const Bytes stream = StreamOf(MakeBlock(kText));
    for (const Untouched& row : kUntouched) {
        SCOPED_TRACE(row.pszWhy);
        StreamBuffer in(stream.data(), std::min(row.nStream, stream.size())), out;
        out.Write("kept", 4);
        CRawExpand(row.bIn ? &in : nullptr, row.bOut ? &out : nullptr, 16, row.nSize);
        EXPECT_EQ((Bytes{'k', 'e', 'p', 't'}), BytesOf(out));
    }
}

TEST(RawExpandTest, DoesNothingWithoutMemory) {
    const Bytes stream = StreamOf(MakeBlock(kText));
    StreamBuffer in(stream.data(), stream.size()), out;
    out.Write("kept", 4);
    const NoLargeMemory noMemory;
    CRawExpand(&in, &out, 16, kText.size());
    EXPECT_EQ((Bytes{'k', 'e', 'p', 't'}), BytesOf(out));
}

TEST(RawExpandTest, LeavesTheInputAsItWas) {
    const Bytes stream = StreamOf(MakeBlock(kText));
    StreamBuffer in, out;
    in.Write(stream.data(), stream.size());
    CRawExpand(&in, &out, 16, kText.size());
    EXPECT_EQ(stream, BytesOf(in));
    EXPECT_EQ(stream.size(), in.Seek(0, 1));
}

TEST(RawExpandTest, OtherWidthsEmptyTheOutput) {
    for (const unsigned bits : {0u, 1u, 7u, 8u, 12u, 15u, 20u, 33u, 64u, 0x80000000u, 0x80000008u})
        EXPECT_EQ(Bytes(), Expand(StreamOf(MakeBlock(kText)), bits, kText.size())) << bits;
}

TEST(RawExpandTest, AFailureEmptiesAnOutputThatHeldSomething) {
    const Bytes stream(40, 0x33);
    StreamBuffer in(stream.data(), stream.size()), out;
    out.Write("gone", 4);
    CRawExpand(&in, &out, 16, 4);
    EXPECT_EQ(0u, out.GetSize());
    EXPECT_EQ(nullptr, out.GetBuffer());
}

TEST(RawExpandTest, AStreamWithoutBlocksFailsForEverySize) {
    const Bytes stream = WaveStreamBuilder().End().Finish();
    EXPECT_EQ(10u, stream.size());
    for (const unsigned long nSize : {0ul, 1ul, 1000ul}) EXPECT_EQ(Bytes(), Expand(stream, 16, nSize));
}

TEST(RawExpandTest, ASmallerSizeGivesTheFirstBytes) {
    const Bytes coded = NoiseWithoutRuns(50), wave = Unfiltered(coded, 16);
    for (size_t nSize = 1; nSize <= 50; ++nSize) {
        const Bytes start(coded.begin(), coded.begin() + static_cast<long>(nSize));
        EXPECT_EQ(Unfiltered(start, 16), Expand(StreamOf(MakeBlock(coded)), 16, nSize));
    }
}

TEST(RawExpandTest, TheBytesBeyondTheSizeAreCheckedAllTheSame) {
    HandMadeBlock second = MakeBlock(kText);
    second.crc ^= 1;
    const Bytes stream = WaveStreamBuilder().Block(MakeBlock(kText)).Block(second).End().Finish();
    EXPECT_EQ(Bytes(), Expand(stream, 16, kText.size()));
}

TEST(RawExpandTest, ALargerSizeFailsAndTakesNoMemoryForIt) {
    for (const unsigned long nMore : {1ul, 2ul, 3ul, 4ul, 1000ul, 1ul << 40, ~0ul - kText.size()})
        EXPECT_EQ(Bytes(), Expand(StreamOf(MakeBlock(kText)), 16, kText.size() + nMore)) << nMore;
}

TEST(RawExpandTest, TrailingBytesFail) {
    for (const uint8_t chTrailing : Bytes{0x00, 0xFF}) {
        Bytes stream = StreamOf(MakeBlock(kText));
        stream.push_back(chTrailing);
        EXPECT_EQ(Bytes(), Expand(stream, 16, kText.size()));
    }
}

TEST(RawExpandTest, ThePaddingMayBeAnything) {
    const WaveStreamBuilder bits = WaveStreamBuilder().Block(MakeBlock(kText)).End();
    ASSERT_NE(bits.Finish(false), bits.Finish(true));
    EXPECT_EQ(WaveOf(kText), Expand(bits.Finish(true), 16, kText.size()));
}

TEST(RawExpandTest, EveryCutIsNoticed) {
    const Bytes coded = NoiseWithoutRuns(40), stream = StreamOf(MakeBlock(coded));
    ASSERT_EQ(coded.size(), Expand(stream, 16, coded.size()).size());
    for (size_t n = 1; n < stream.size(); ++n) {
        const Bytes cut(stream.begin(), stream.begin() + static_cast<long>(n));
        EXPECT_EQ(Bytes(), Expand(cut, 16, coded.size())) << n;
    }
}

// Past the end of the input bits are ones, so a stream that ends in ones can do without them.
TEST(RawExpandTest, AStreamThatEndsInOnesSurvivesTheLossOfThem) {
    ASSERT_EQ(0xFF, WaveStreamBuilder().Block(MakeBlock(kText)).End().Finish(true).back());
    Bytes stream = StreamOf(MakeBlock(kText));
    stream.pop_back();
    EXPECT_EQ(WaveOf(kText), Expand(stream, 16, kText.size()));
    stream.pop_back();
    EXPECT_EQ(Bytes(), Expand(stream, 16, kText.size()));
}

TEST(RawExpandTest, NoFlippedBitGivesAnotherWave) {
    const Bytes stream = StreamOf(MakeBlock(kText)), wave = WaveOf(kText);
    for (size_t iBit = 0; iBit < stream.size() * 8; ++iBit) {
        Bytes damaged = stream;
        damaged[iBit / 8] ^= static_cast<uint8_t>(0x80 >> iBit % 8);
        const Bytes result = Expand(damaged, 16, wave.size());
        EXPECT_TRUE(result.empty() || result == wave) << iBit;
    }
}

TEST(RawExpandTest, WritesPiecesOf256KiB) {
    const Bytes wave = Periodic(3 * 0x40000 + 7, 9000), stream = Compress(wave, 16);
    StreamBuffer in(stream.data(), stream.size());
    WriteRecorder out;
    CRawExpand(&in, &out, 16, wave.size());
    EXPECT_EQ((std::vector<unsigned long>{0x40000, 0x40000, 0x40000, 7}), out.sizes);
    EXPECT_EQ(wave, BytesOf(out));
}

TEST(RawExpandTest, AWriteThatFailsEmptiesTheOutput) {
    const Bytes wave = Periodic(2 * 0x40000 + 7, 9000), stream = Compress(wave, 16);
    for (const auto failure : {WriteRecorder::kShort, WriteRecorder::kThrow})
        for (size_t iFailing = 0; iFailing < 3; ++iFailing) {
            StreamBuffer in(stream.data(), stream.size());
            WriteRecorder out(failure, iFailing);
            CRawExpand(&in, &out, 16, wave.size());
            EXPECT_EQ(iFailing + 1, out.sizes.size());
            EXPECT_EQ(0u, out.GetSize());
        }
}

TEST(RawExpandTest, ForeignMemoryIsFilledButNeverExceeded) {
    const Bytes stream = StreamOf(MakeBlock(kText));
    for (const size_t nRoom : {kText.size() - 1, kText.size()}) {
        StreamBuffer in(stream.data(), stream.size());
        Bytes memory(nRoom, 0xEE);
        StreamBuffer out(memory.data(), memory.size());
        CRawExpand(&in, &out, 16, kText.size());
        EXPECT_EQ(nRoom == kText.size() ? WaveOf(kText) : Bytes(nRoom, 0xEE), memory);
    }
}

// ---- the format, field by field ----

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

// A long run of blocks' own: the places the random numbers select lie in counts as well as in bytes.
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

// ---- beside the black box ----

TEST(RawExpandTest, ExpandsTheStreamsOfTheBlackBox) {
    for (const Bytes& wave :
         {Noise(1), Noise(1000), Noise(200001), Bytes(300000, 3), Periodic(1000000, 1000)})
        for (const unsigned bits : {16u, 24u, 32u})
            EXPECT_TRUE(wave == Expand(BlackBoxCompress(Filtered(wave, bits)), bits, wave.size()))
                << wave.size();
}

}  // namespace
}  // namespace Kestrova::Test
