#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "stream/MemoryStream.h"
#include "tests/support/ChunkBytes.h"
#include "tests/support/FakeStreams.h"

namespace Kestrova::Test {
namespace {

void ExpectThrows(StreamBufferException::ExceptId id, const std::function<void()>& action) {
    try {
        action();
        ADD_FAILURE() << "nothing thrown";
    } catch (const StreamBufferException& e) {
        EXPECT_EQ(id, e.GetId());
    }
}

// ---- MemoryStream

TEST(MemoryStreamTest, WritesValuesIntoItsBuffer) {
    StreamBuffer buffer;
    MemoryStream stream(buffer);
    EXPECT_TRUE(stream.Write(String("abc")));
    EXPECT_TRUE(stream.Write(0x01020304ul));
    EXPECT_TRUE(stream.WriteUInt16(0x0506));
    EXPECT_EQ("03000000616263040302010605", HexOf(buffer));
}

TEST(MemoryStreamTest, ReadsBackWhatItWrote) {
    StreamBuffer buffer;
    MemoryStream stream(buffer);
    stream.WriteInt16(-5);
    stream.WriteString("text");
    stream.WriteFloat64(2.5);
    stream.Seek(0, 0);
    EXPECT_EQ(-5, stream.ReadInt16());
    EXPECT_STREQ("text", stream.ReadString());
    EXPECT_EQ(2.5, stream.ReadFloat64());
    EXPECT_TRUE(stream.IsEOF());
}

TEST(MemoryStreamTest, IsAtItsEndExactlyAtTheBuffersSize) {
    StreamBuffer buffer("abc", 3);
    MemoryStream stream(buffer);
    EXPECT_FALSE(stream.IsEOF());
    stream.ReadInt8();
    stream.ReadInt8();
    EXPECT_FALSE(stream.IsEOF());
    stream.ReadInt8();
    EXPECT_TRUE(stream.IsEOF());
}

TEST(MemoryStreamTest, SharesTheBuffersPosition) {
    StreamBuffer buffer("abcdef", 6);
    MemoryStream stream(buffer);
    buffer.Seek(2, 0);
    EXPECT_EQ(2u, stream.Tell());
    EXPECT_TRUE(stream.Skip(3));
    EXPECT_EQ(5u, buffer.Seek(0, 1));
    EXPECT_FALSE(stream.Skip(2));
    EXPECT_EQ(6u, stream.Tell());
    EXPECT_EQ(6u, stream.Seek(0, 2));
}

TEST(MemoryStreamTest, SkipPastTheEndGrowsAnOwnedBuffer) {
    StreamBuffer buffer;
    MemoryStream stream(buffer);
    EXPECT_TRUE(stream.Skip(3));
    EXPECT_EQ("000000", HexOf(buffer));
}

TEST(MemoryStreamTest, EndAtPosCutsTheBufferOff) {
    StreamBuffer buffer;
    MemoryStream stream(buffer);
    stream.Write("abcdef", 6);
    stream.Seek(4, 0);
    EXPECT_EQ(4u, stream.EndAtPos());
    EXPECT_EQ(4u, buffer.GetSize());
}

TEST(MemoryStreamTest, HoldsAReferenceToItsBuffer) {
    auto* pBuffer = new StreamBuffer;
    {
        MemoryStream stream(*pBuffer);
        EXPECT_EQ(1u, pBuffer->Release());
        EXPECT_TRUE(stream.WriteInt8(1));
        EXPECT_EQ(2u, pBuffer->AddRef());
    }
    EXPECT_EQ(0u, pBuffer->Release());
}

TEST(MemoryStreamTest, AReadPastTheEndThrowsIdTwoAndMovesNowhere) {
    StreamBuffer buffer("abc", 3);
    MemoryStream stream(buffer);
    int32_t nKept = 7;
    ExpectThrows(StreamBufferException::kReadPastEnd, [&] { nKept = stream.ReadInt32(); });
    long lKept = 8;
    ExpectThrows(StreamBufferException::kReadPastEnd, [&] { stream.InputStream::Read(lKept); });
    EXPECT_EQ(7, nKept);
    EXPECT_EQ(8, lKept);
    EXPECT_EQ(0u, stream.Tell());
}
// Q45

// Q45
TEST(MemoryStreamTest, ALengthMissingFromMemoryThrowsInsteadOfCountingAsZero) {
    StreamBuffer buffer("abc", 3);
    MemoryStream stream(buffer);
    String strText("kept");
    ExpectThrows(StreamBufferException::kReadPastEnd, [&] { stream.InputStream::Read(strText); });
    EXPECT_STREQ("kept", strText);
}

TEST(MemoryStreamTest, ATextCutShortInMemoryThrowsWithoutBelievingItsLength) {
    StreamBuffer buffer;
    MemoryStream stream(buffer);
    stream.WriteInt32(0x7FFFFFF0);
    stream.Write("abc", 3);
    stream.Seek(0, 0);
    String strText("kept");
    ExpectThrows(StreamBufferException::kReadPastEnd, [&] { stream.InputStream::Read(strText); });
    EXPECT_STREQ("kept", strText);
}

TEST(MemoryStreamTest, AStoredZeroByteEndsTheTextButNotTheReading) {
    StreamBuffer buffer;
    MemoryStream stream(buffer);
    stream.Write(String("ab\0cd", 5));
    stream.WriteInt8(9);
    stream.Seek(0, 0);
    EXPECT_STREQ("ab", stream.ReadString());
    EXPECT_EQ(9, stream.ReadInt8());
}

TEST(MemoryStreamTest, AWritePastForeignMemoryThrowsIdZero) {
    char szText[] = "abc";
    StreamBuffer buffer(szText, 3);
    MemoryStream stream(buffer);
    ExpectThrows(StreamBufferException::kNoAllocator, [&] { stream.WriteInt32(1); });
    EXPECT_STREQ("abc", szText);
}

TEST(MemoryStreamTest, SwappedArraysPassThroughIt) {
    StreamBuffer buffer;
    MemoryStream stream(buffer);
    const uint16_t kValues[] = {0x0102, 0x0304};
    EXPECT_EQ(2u, writeArray(stream, kValues, 2, 2));
    EXPECT_EQ("01020304", HexOf(buffer));
    uint16_t values[3] = {};
    stream.Seek(0, 0);
    EXPECT_EQ(2u, readArray(stream, values, 2, 2));
    EXPECT_EQ(0x0304, values[1]);
    stream.Seek(0, 0);
    ExpectThrows(StreamBufferException::kReadPastEnd, [&] { readArray(stream, values, 3, 2); });
}

// ---- NoSwapByteOrderOutputRandomAccessStream

// Remembers which operation came with what.
class RecordingStream : public OutputRandomAccessStream {
public:
    using OutputStream::Write;
    unsigned long Write(const void*, unsigned long n) override { return Note("Write", n, 0, n + 100); }
    unsigned long WriteArray(const void*, unsigned long nCount, unsigned long nSize) override {
        return Note("WriteArray", nCount, nSize, 201);
    }
    unsigned long Seek(unsigned long nOffset, int nOrigin) override {
        return Note("Seek", nOffset, static_cast<unsigned long>(nOrigin), 202);
    }
    bool Skip(unsigned long n) override { return Note("Skip", n, 0, 1) == 1; }
    unsigned long EndAtPos() override { return Note("EndAtPos", 0, 0, 203); }

    std::string m_strCalls;

private:
    unsigned long Note(const char* pszName, unsigned long a, unsigned long b, unsigned long nResult) {
        m_strCalls += std::string(pszName) + " " + std::to_string(a) + " " + std::to_string(b) + "\n";
        return nResult;
    }
};

TEST(NoSwapStreamTest, PassesEveryOperationOnUnchanged) {
    RecordingStream target;
    NoSwapByteOrderOutputRandomAccessStream stream(target);
    EXPECT_EQ(103u, stream.Write("abc", 3));
    EXPECT_EQ(201u, stream.WriteArray("abcdef", 3, 2));
    EXPECT_EQ(202u, stream.Seek(5, 2));
    EXPECT_TRUE(stream.Skip(9));
    EXPECT_EQ(203u, stream.EndAtPos());
    EXPECT_EQ(202u, stream.Tell());
    EXPECT_EQ("Write 3 0\nWriteArray 3 2\nSeek 5 2\nSkip 9 0\nEndAtPos 0 0\nSeek 0 1\n", target.m_strCalls);
}

TEST(NoSwapStreamTest, ValuesStayInHostOrder) {
    StreamBuffer buffer;
    MemoryStream target(buffer);
    NoSwapByteOrderOutputRandomAccessStream stream(target);
    EXPECT_TRUE(stream.Write(0x01020304ul));
    EXPECT_EQ("04030201", HexOf(buffer));
}

// ---- CountingStream

TEST(CountingStreamTest, CountsWhatASerialisationWouldTake) {
    CountingStream stream;
    EXPECT_EQ(0u, stream.GetCount());
    EXPECT_TRUE(stream.Write(String("abcde")));
    EXPECT_EQ(9u, stream.GetCount());
    EXPECT_TRUE(stream.Write(1ul));
    EXPECT_TRUE(stream.WriteFloat64(1.0));
    EXPECT_EQ(21u, stream.GetCount());
}

TEST(CountingStreamTest, TakesEverythingWithoutLookingAtIt) {
    CountingStream stream;
    EXPECT_EQ(0x200000000ul, stream.Write(nullptr, 0x200000000ul));
    EXPECT_EQ(0x200000000ul, stream.GetCount());
    EXPECT_EQ(3u, stream.WriteArray(nullptr, 3, 16));
    EXPECT_EQ(0x200000030ul, stream.GetCount());
}

}  // namespace
}  // namespace Kestrova::Test
