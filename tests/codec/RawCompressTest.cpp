#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <utility>

#include "codec/RandomTable.h"
#include "codec/RawCompress.h"
#include "tests/codec/CodecTestSupport.h"
#include "tests/support/Vectors.h"
#include "tests/support/WaveStreamBuilder.h"

namespace Kestrova::Test {
namespace {

// The wave comes back from our own stream, and its filtered bytes from the black box.
void ExpectRoundTrip(const Bytes& wave, unsigned bits) {
    const Bytes stream = Compress(wave, bits);
    EXPECT_TRUE(wave == Expand(stream, bits, wave.size())) << wave.size() << " bytes, " << bits << " bits";
    EXPECT_TRUE(Filtered(wave, bits) == BlackBoxExpand(stream, wave.size())) << wave.size() << " " << bits;
    EXPECT_EQ(Bytes(), Expand(stream, bits, wave.size() + 1));
}

uint64_t BitsAt(const Bytes& stream, size_t nStart, unsigned nBits) {
    uint64_t nValue = 0;
    for (size_t i = nStart; i < nStart + nBits; ++i)
        nValue = nValue << 1 | (unsigned{stream[i / 8]} >> (7 - i % 8) & 1u);
    return nValue;
}

bool IsRandomised(const Bytes& stream) { return BitsAt(stream, 80, 1) != 0; }

size_t CountBlocks(const Bytes& stream) {
    size_t nBlocks = 0;
    uint64_t nWindow = 0;
    for (const uint8_t ch : stream)
        for (unsigned nBit = 8; nBit-- > 0;) {
            nWindow = (nWindow << 1 | (unsigned{ch} >> nBit & 1u)) & 0xFFFFFFFFFFFF;
            nBlocks += nWindow == 0x314159265359;
        }
    return nBlocks;
}

// The filtered bytes are these: what the block coder sees.
Bytes CompressFiltered(const Bytes& filtered) { return Compress(Unfiltered(filtered, 16), 16); }

TEST(RawCompressTest, EverySmallSizeComesBackAtEveryWidth) {
    for (size_t n = 1; n <= 40; ++n)
        for (const unsigned bits : {16u, 24u, 32u}) {
            ExpectRoundTrip(Noise(n), bits);
            ExpectRoundTrip(Bytes(n, 0x80), bits);
        }
}

TEST(RawCompressTest, RunsOfEveryTellingLengthComeBack) {
    for (const size_t nRun :
         std::vector<size_t>{1, 2, 3, 4, 5, 6, 254, 255, 256, 257, 258, 259, 260, 510, 511, 514, 1000})
        for (const size_t nAround : {0u, 1u, 7u}) {
            Bytes filtered = Noise(nAround);
            filtered.insert(filtered.end(), nRun, 0xAB);
            filtered.insert(filtered.end(), nAround, 0x13);
            ExpectRoundTrip(Unfiltered(filtered, 16), 16);
        }
}

struct RunCase {
    const char* pszWhy;
    size_t nRun;
    Bytes coded;
};
const RunCase kRuns[] = {
    {"three are stored as they are", 3, {5, 5, 5}},
    {"four and a count of 0", 4, {5, 5, 5, 5, 0}},
    {"the longest run", 255, {5, 5, 5, 5, 251}},
    {"split after 255", 256, {5, 5, 5, 5, 251, 5}},
    {"split twice", 515, {5, 5, 5, 5, 251, 5, 5, 5, 5, 251, 5, 5, 5, 5, 1}},
};

// The CRC, and the byte-use map behind the origin, are those of the hand-made block of the coded bytes.
TEST(RawCompressTest, RunsAreCodedAndTheirCountsAreBytesInUse) {
    for (const RunCase& row : kRuns) {
        SCOPED_TRACE(row.pszWhy);
        const Bytes stream = CompressFiltered(Bytes(row.nRun, 5)), handMade = StreamOf(MakeBlock(row.coded));
        EXPECT_EQ(BitsAt(handMade, 0, 48), BitsAt(stream, 0, 48));
        EXPECT_EQ(BitsAt(handMade, 48, 32), BitsAt(stream, 48, 32));
        EXPECT_EQ(BitsAt(handMade, 105, 48), BitsAt(stream, 105, 48));
    }
}

TEST(RawCompressTest, BlocksEndWhereTheyAreFull) {
    // Without runs a block takes bytes until its last index is 899980.
    for (const size_t n : {899981u, 899982u}) {
        const Bytes wave = Unfiltered(NoiseWithoutRuns(n), 16);
        const Bytes stream = Compress(wave, 16);
        EXPECT_EQ(n <= 899981 ? 1u : 2u, CountBlocks(stream)) << n;
        EXPECT_TRUE(wave == Expand(stream, 16, n));
    }
}

TEST(RawCompressTest, ARunAtTheFullBlocksEndStaysWhole) {
    for (const size_t nBefore : {899980u, 899981u}) {
        Bytes filtered = NoiseWithoutRuns(nBefore);
        filtered.back() = 1;
        filtered.insert(filtered.end(), 300, 2);
        const Bytes stream = CompressFiltered(filtered);
        EXPECT_EQ(2u, CountBlocks(stream));
        EXPECT_TRUE(filtered == BlackBoxExpand(stream, filtered.size()));
        EXPECT_TRUE(Unfiltered(filtered, 16) == Expand(stream, 16, filtered.size()));
    }
}

TEST(RawCompressTest, SeveralBlocksComeBack) {
    const Bytes wave = Noise(2500001), stream = Compress(wave, 24);
    EXPECT_EQ(3u, CountBlocks(stream));
    EXPECT_TRUE(wave == Expand(stream, 24, wave.size()));
    EXPECT_TRUE(Filtered(wave, 24) == BlackBoxExpand(stream, wave.size()));
}

TEST(RawCompressTest, SilenceIsShort) {
    const Bytes wave(1000000, 0);
    EXPECT_LT(Compress(wave, 16).size(), 300u);
    EXPECT_TRUE(IsRandomised(Compress(wave, 16)));
    ExpectRoundTrip(wave, 16);
}

// Two bytes by turns take every comparison around the whole block; the work limit turns that into a
// randomised block, a small block just as a large one.
// Q62
TEST(RawCompressTest, RepetitiveBlocksAreRandomisedAndComeBack) {
    for (const size_t n : {1000u, 3999u, 4000u, 4001u, 20000u}) {
        const Bytes wave = Unfiltered(Periodic(n, 2), 16);
        EXPECT_TRUE(IsRandomised(Compress(wave, 16))) << n;
        ExpectRoundTrip(wave, 16);
    }
    EXPECT_TRUE(IsRandomised(CompressFiltered(Periodic(60000, 100))));
    EXPECT_FALSE(IsRandomised(CompressFiltered(Noise(100000))));
}

Bytes Ramp(size_t n, unsigned nSlope) {
    Bytes wave(n);
    for (size_t i = 0; i < n; ++i) wave[i] = static_cast<uint8_t>((i / 2 * nSlope) >> (8 * (i % 2)));
    return wave;
}

Bytes Clicks(size_t n, size_t nDistance) {
    Bytes wave(n);
    for (size_t i = 0; i < n; i += nDistance) wave[i] = 100;
    return wave;
}

Bytes FibonacciWord(size_t n) {
    Bytes word{1, 2};
    for (size_t nBefore = 1; word.size() < n;) {
        const size_t nCopied = std::exchange(nBefore, word.size());
        word.resize(word.size() + nCopied);
        std::copy_n(word.begin(), nCopied, word.end() - static_cast<std::ptrdiff_t>(nCopied));
    }
    word.resize(n);
    return word;
}

// Without a bound on the second sort some of these took a quarter of a minute.
TEST(RawCompressTest, FullBlocksThatRepeatComeBack) {
    constexpr size_t kSize = 899000;
    Bytes equalRotations = Periodic(kSize, 4);
    RandomiseBytes(equalRotations.data(), equalRotations.size());
    for (const Bytes& wave :
         {Ramp(kSize, 1), Clicks(kSize, 6), Unfiltered(FibonacciWord(kSize), 16),
          Unfiltered(Periodic(kSize, 2), 16), Periodic(kSize, 1000), Unfiltered(equalRotations, 16)}) {
        const Bytes stream = Compress(wave, 16);
        EXPECT_TRUE(IsRandomised(stream));
        EXPECT_EQ(1u, CountBlocks(stream));
        EXPECT_TRUE(wave == Expand(stream, 16, wave.size()));
    }
}

// ---- outcomes ----

TEST(RawCompressTest, DoesNothingWithoutInputOrOutput) {
    Bytes wave = Noise(100);
    StreamBuffer in(wave.data(), wave.size()), none, out;
    out.Write("kept", 4);
    CRawCompress(nullptr, &out, 16);
    CRawCompress(&none, &out, 16);
    CRawCompress(&in, nullptr, 16);
    EXPECT_EQ((Bytes{'k', 'e', 'p', 't'}), BytesOf(out));
    EXPECT_EQ(Noise(100), wave);
}

TEST(RawCompressTest, DoesNothingWithoutMemory) {
    Bytes wave = Noise(100);
    StreamBuffer in(wave.data(), wave.size()), out;
    out.Write("kept", 4);
    const NoLargeMemory noMemory;
    CRawCompress(&in, &out, 16);
    EXPECT_EQ((Bytes{'k', 'e', 'p', 't'}), BytesOf(out));
    EXPECT_EQ(Noise(100), wave);
}

TEST(RawCompressTest, OtherWidthsStopBeforeAnythingIsWritten) {
    for (const unsigned bits : {0u, 1u, 7u, 8u, 12u, 20u, 64u, 0x80000000u, 0x80000008u}) {
        Bytes wave = Noise(100);
        StreamBuffer in(wave.data(), wave.size()), out;
        out.Write("kept", 4);
        CRawCompress(&in, &out, bits);
        EXPECT_EQ((Bytes{'k', 'e', 'p', 't'}), BytesOf(out)) << bits;
        EXPECT_EQ(Noise(100), wave);
    }
}
// Q54

// Q54
TEST(RawCompressTest, TheTopBitOfTheWidthIsIgnored) {
    for (const unsigned bits : {16u, 24u, 32u})
        EXPECT_EQ(Compress(Noise(1000), bits), Compress(Noise(1000), bits | 0x80000000));
}
// Q60

// Q60
TEST(RawCompressTest, FiltersTheInputInPlace) {
    for (const unsigned bits : {16u, 24u, 32u}) {
        Bytes wave = Noise(1003);
        StreamBuffer in(wave.data(), wave.size()), out;
        CRawCompress(&in, &out, bits);
        EXPECT_EQ(Filtered(Noise(1003), bits), wave);
    }
}

TEST(RawCompressTest, AppendsAtTheOutputsPosition) {
    Bytes wave = Noise(500);
    StreamBuffer in(wave.data(), wave.size()), out;
    out.Write("head", 4);
    CRawCompress(&in, &out, 16);
    Bytes expected{'h', 'e', 'a', 'd'};
    const Bytes stream = Compress(Noise(500), 16);
    expected.insert(expected.end(), stream.begin(), stream.end());
    EXPECT_EQ(expected, BytesOf(out));
}

TEST(RawCompressTest, WritesPiecesOf256KiB) {
    Bytes wave = Noise(600000);
    const Bytes stream = Compress(wave, 16);
    StreamBuffer in(wave.data(), wave.size());
    WriteRecorder out;
    CRawCompress(&in, &out, 16);
    EXPECT_EQ((std::vector<unsigned long>{0x40000, 0x40000, stream.size() - 0x80000}), out.sizes);
}

TEST(RawCompressTest, AWriteThatFailsEmptiesTheOutput) {
    for (const auto failure : {WriteRecorder::kShort, WriteRecorder::kThrow})
        for (size_t iFailing = 0; iFailing < 3; ++iFailing) {
            Bytes wave = Noise(600000);
            StreamBuffer in(wave.data(), wave.size());
            WriteRecorder out(failure, iFailing);
            CRawCompress(&in, &out, 16);
            EXPECT_EQ(iFailing + 1, out.sizes.size());
            EXPECT_EQ(0u, out.GetSize());
        }
}

TEST(RawCompressTest, ForeignMemoryTooSmallForTheStreamIsLeftAlone) {
    Bytes wave = Noise(500), memory(100, 0xEE);
    StreamBuffer in(wave.data(), wave.size()), out(memory.data(), memory.size());
    CRawCompress(&in, &out, 16);
    EXPECT_EQ(Bytes(100, 0xEE), memory);
}

// ---- the very bytes ----

TEST(RawCompressTest, TheSameWaveGivesTheSameStream) {
    for (const Bytes& wave : {Noise(300000), Periodic(300000, 2), Periodic(50000, 3000)})
        EXPECT_EQ(Compress(wave, 16), Compress(wave, 16));
}

// The black box shares sorting, tables and their improvement wherever the number of tables is the same, which
// it is for long blocks.
// Q63
TEST(RawCompressTest, LongBlocksEqualThoseOfTheBlackBox) {
    for (const Bytes& wave : {Noise(5000), Noise(100000), Periodic(100000, 40000)})
        for (const unsigned bits : {16u, 24u, 32u})
            EXPECT_TRUE(BlackBoxCompress(Filtered(wave, bits)) == Compress(wave, bits)) << wave.size();
}

// Blocks with as many tables as the black box gives them: below 200 symbols, and from 600 to 799. The first
// guess at the tables is still seen in the lengths of the codes, for there are few groups to improve it.
TEST(RawCompressTest, ShortBlocksOfAsManyTablesEqualThoseOfTheBlackBox) {
    for (const auto& [nLeast, nMost] : {std::pair<size_t, size_t>{5, 190}, {640, 780}})
        for (size_t n = nLeast; n <= nMost; ++n)
            for (const uint8_t nMask : Bytes{0x07, 0x3F, 0xFF}) {
                Bytes bytes = NoiseWithoutRuns(n, static_cast<uint32_t>(n));
                for (uint8_t& byte : bytes) byte &= nMask;
                if (nMask != 0xFF) bytes[n / 2] = 0x80;
                EXPECT_TRUE(BlackBoxCompress(bytes) == CompressFiltered(bytes)) << n << " " << int{nMask};
            }
}

struct PinnedCase {
    const char* pszWhy;
    Bytes filtered;
    const char* pszSha256;
};

// Stored banks are compared byte for byte, so what the compressor writes may not change.
TEST(RawCompressTest, StreamsArePinned) {
    const PinnedCase cases[] = {
        {"two tables", Noise(100), "ad38fb6acfead05e2fa36535365562e1a6cbe7769562435ce0ce56ef42dc863b"},
        {"four tables", Noise(700), "1b0062725405e135fa9c7aa16ea02fe8ca7501431489f192058124b2a7a62e07"},
        {"six tables", Noise(1200), "e4cb8126fda29f45d5773b68c8ca0ece75d5183f137179e041a6b6bcfb23e6ce"},
        {"a small randomised block", Periodic(3000, 2),
         "9f52850c34921770ccb0765de80974afc280687e9a4d8b57c00d657b97ef1f2b"},
        {"a large randomised block", Periodic(50000, 2),
         "8f38b4f7583a92827d929defddf1abc8f7917c6a1977407c3ca54e29ca409cf2"},
        {"long runs", Bytes(70000, 1), "76a71860cc0d06d9bace527cfccaf257b3b268ed67a656b6214c20dc2a377fca"},
    };
    for (const PinnedCase& row : cases)
        EXPECT_EQ(row.pszSha256, Sha256(CompressFiltered(row.filtered))) << row.pszWhy;
}

}  // namespace
}  // namespace Kestrova::Test
