#include <gtest/gtest.h>

#include "codec/RawExpand.h"
#include "tests/codec/HandMadeStreams.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

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
// Q53

// Q53
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
// Q56

// Q56
TEST(RawExpandTest, TheBytesBeyondTheSizeAreCheckedAllTheSame) {
    HandMadeBlock second = MakeBlock(kText);
    second.crc ^= 1;
    const Bytes stream = WaveStreamBuilder().Block(MakeBlock(kText)).Block(second).End().Finish();
    EXPECT_EQ(Bytes(), Expand(stream, 16, kText.size()));
}
// Q57

// Q57
TEST(RawExpandTest, ALargerSizeFailsAndTakesNoMemoryForIt) {
    for (const unsigned long nMore : {1ul, 2ul, 3ul, 4ul, 1000ul, 1ul << 40, ~0ul - kText.size()})
        EXPECT_EQ(Bytes(), Expand(StreamOf(MakeBlock(kText)), 16, kText.size() + nMore)) << nMore;
}

struct Limited {
    uint64_t nMost;
    size_t nDelivered;
    bool bTooMany;
};

TEST(RawExpandTest, AStreamThatHoldsMoreThanTheMostIsRefused) {
    const Bytes stream = WaveStreamBuilder()
                             .Block(MakeBlock(kText))
                             .Block(MakeBlock(kText))
                             .Block(MakeBlock(kText))
                             .End()
                             .Finish();
    const size_t nAll = 3 * kText.size();
    for (const unsigned nThreads : {1u, 2u})
        for (const size_t nSize : {nAll, size_t{2}})  // what is dropped counts too
            for (const Limited& row :
                 {Limited{UINT64_MAX, nSize, false}, Limited{nAll, nSize, false}, Limited{nAll - 1, 0, true},
                  Limited{1, 0, true}, Limited{0, 0, true}}) {
                StreamBuffer in(stream.data(), stream.size()), out;
                const CRawExpand expand(&in, &out, 16, nSize, nThreads, row.nMost);
                EXPECT_EQ(row.nDelivered, out.GetSize()) << row.nMost;
                EXPECT_EQ(row.bTooMany, expand.HasTooMany()) << row.nMost;
                EXPECT_FALSE(expand.RanOutOfMemory());
            }
}

TEST(RawExpandTest, TrailingBytesFail) {
    for (const uint8_t chTrailing : Bytes{0x00, 0xFF}) {
        Bytes stream = StreamOf(MakeBlock(kText));
        stream.push_back(chTrailing);
        EXPECT_EQ(Bytes(), Expand(stream, 16, kText.size()));
    }
}
// Q58

// Q58
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
// Q55
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
