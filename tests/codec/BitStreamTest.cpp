#include <gtest/gtest.h>

#include <random>

#include "codec/BitStream.h"
#include "tests/codec/CodecTestSupport.h"

namespace Kestrova::Test {
namespace {

TEST(BitReaderTest, ReadsTheMostSignificantBitFirst) {
    const Bytes bytes{0xA5, 0x0F, 0x80};
    BitReader in(bytes.data(), bytes.size());
    EXPECT_TRUE(in.ReadBit());
    EXPECT_EQ(1u, in.bsR(2));
    EXPECT_EQ(0x5u >> 1, in.bsR(4));
    EXPECT_EQ(0x10F80u, in.bsR(17));
}

TEST(BitReaderTest, EveryMixtureOfWidthsGivesTheSameBits) {
    const Bytes bytes = Noise(400);
    const auto bitAt = [&](size_t i) -> uint64_t {
        return i < 3200 ? unsigned{bytes[i / 8]} >> (7 - i % 8) & 1u : 1u;
    };
    std::mt19937 random(3);
    for (int nRound = 0; nRound < 200; ++nRound) {
        BitReader in(bytes.data(), bytes.size());
        for (size_t nAt = 0; nAt < 3400;) {
            const unsigned nBits = 1 + static_cast<unsigned>(random()) % BitReader::kMaxBits;
            uint64_t nExpected = 0;
            for (unsigned i = 0; i < nBits; ++i) nExpected = nExpected << 1 | bitAt(nAt + i);
            ASSERT_EQ(nExpected, in.Peek(nBits));
            const unsigned nSkipped = 1 + static_cast<unsigned>(random()) % nBits;
            in.Skip(nSkipped);
            nAt += nSkipped;
            ASSERT_EQ(nAt >= 3200, in.IsAtEnd()) << nAt;
            ASSERT_EQ(nAt > 3192, in.HasTouchedAllBytes()) << nAt;
        }
    }
}

TEST(BitReaderTest, PastTheEndAreOnes) {
    BitReader in(nullptr, 0);
    EXPECT_TRUE(in.IsAtEnd());
    EXPECT_TRUE(in.HasTouchedAllBytes());
    for (int i = 0; i < 100; ++i) ASSERT_EQ(0xFFFFFFFFFFFFFFu, in.bsR(56));
}

TEST(BitWriterTest, FillsTheLastByteWithZeros) {
    StreamBuffer buffer;
    Bytes staging(WaveFormat::kStagingSize);
    StagedOutput output(buffer, staging.data());
    BitWriter out(output);
    out.bsW(3, 5);
    out.bsW(0, 0);
    out.bsW(32, 0xFFFFFFFF);
    out.bsFinishedWithStream();
    EXPECT_EQ((Bytes{0xBF, 0xFF, 0xFF, 0xFF, 0xE0}), BytesOf(buffer));
}

TEST(BitWriterTest, WholeBytesGetNoPadding) {
    StreamBuffer buffer;
    Bytes staging(WaveFormat::kStagingSize);
    StagedOutput output(buffer, staging.data());
    BitWriter out(output);
    out.bsW(24, 0x010203);
    out.bsFinishedWithStream();
    EXPECT_EQ((Bytes{1, 2, 3}), BytesOf(buffer));
}

TEST(StagedOutputTest, HandsOnWholePiecesHoweverTheBytesCome) {
    const Bytes bytes = Noise(2 * WaveFormat::kStagingSize + 5);
    for (const size_t nPiece : {size_t{1}, size_t{1000}, WaveFormat::kStagingSize, bytes.size()}) {
        WriteRecorder buffer;
        Bytes staging(WaveFormat::kStagingSize);
        StagedOutput output(buffer, staging.data());
        for (size_t i = 0; i < bytes.size(); i += nPiece)
            output.Put(&bytes[i], std::min(nPiece, bytes.size() - i));
        output.Flush();
        output.Flush();
        EXPECT_FALSE(output.HasFailed());
        EXPECT_EQ(bytes, BytesOf(buffer));
        EXPECT_EQ((std::vector<unsigned long>{0x40000, 0x40000, 5}), buffer.sizes);
    }
}

TEST(StagedOutputTest, AFailureStaysAndNothingMoreIsWritten) {
    for (const auto failure : {WriteRecorder::kShort, WriteRecorder::kThrow}) {
        WriteRecorder buffer(failure, 0);
        Bytes staging(WaveFormat::kStagingSize);
        StagedOutput output(buffer, staging.data());
        for (int i = 0; i < 3; ++i) {
            output.Put(7);
            output.Flush();
            EXPECT_TRUE(output.HasFailed());
        }
        EXPECT_EQ(1u, buffer.sizes.size());
    }
}

}  // namespace
}  // namespace Kestrova::Test
