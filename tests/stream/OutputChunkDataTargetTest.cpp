// How a chunk writer attaches to its target and detaches from it, and what it does at limits and failures.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "stream/OutputChunkData.h"
#include "tests/support/ChunkBytes.h"
#include "tests/support/FakeStreams.h"
#include "tests/support/FaultyAllocator.h"

namespace Kestrova::Test {
namespace {

void ExpectStatus(const OutputChunkData& writer, OutputChunkData::Status status, bool bDone) {
    EXPECT_EQ(status, writer.GetStatus());
    EXPECT_EQ(status == OutputChunkData::kDone, bDone);
}

// ---- Attaching and detaching

TEST(OutputChunkDataTargetTest, ASecondAttachIsStatusTwoAndANullOneStatusOne) {
    StreamBuffer buffer;
    MemoryStream stream(buffer);
    OutputChunkData writer;
    writer.Attach();
    ExpectStatus(writer, OutputChunkData::kAlreadyAttached, writer.Attach());
    ExpectStatus(writer, OutputChunkData::kAlreadyAttached, writer.Attach(&buffer));
    ExpectStatus(writer, OutputChunkData::kAlreadyAttached, writer.Attach(&stream));
    writer.Detach();
    ExpectStatus(writer, OutputChunkData::kBadArgument, writer.Attach(static_cast<IStreamBuffer*>(nullptr)));
    ExpectStatus(writer, OutputChunkData::kBadArgument,
                 writer.Attach(static_cast<OutputRandomAccessStream*>(nullptr)));
    ExpectStatus(writer, OutputChunkData::kNotAttached, writer.Close());
    ExpectStatus(writer, OutputChunkData::kDone, writer.Attach(&buffer));
    writer.PutItem(1, 1ul);
    writer.Detach();
    EXPECT_EQ("010000000400000001000000", HexOf(buffer));
}

TEST(OutputChunkDataTargetTest, HoldsOneReferenceToItsBufferUntilDetached) {
    auto* pBuffer = new StreamBuffer;
    OutputChunkData writer;
    writer.Attach(pBuffer);
    EXPECT_EQ(3u, pBuffer->AddRef());
    EXPECT_EQ(2u, pBuffer->Release());
    EXPECT_TRUE(writer.Detach());
    EXPECT_EQ(0u, pBuffer->Release());
}

TEST(OutputChunkDataTargetTest, KeepsItsBufferAliveAndHandsItBackWithAReference) {
    auto* pBuffer = new StreamBuffer;
    OutputChunkData writer;
    writer.Attach(pBuffer);
    pBuffer->Release();
    writer.PutItem(1, 1ul);
    IStreamBuffer* pBack = nullptr;
    EXPECT_TRUE(writer.Detach(pBack));
    EXPECT_EQ(pBuffer, pBack);
    EXPECT_EQ("010000000400000001000000", HexOf(*pBack));
    EXPECT_EQ(0u, pBack->Release());
}

TEST(OutputChunkDataTargetTest, DetachClosesWhatIsStillOpen) {
    StreamBuffer buffer;
    OutputChunkData writer;
    writer.Attach(&buffer);
    writer.CreateChunk(Id("OUTR"));
    writer.CreateChunk(Id("INNR"));
    writer.PutItem(1, 1ul);
    writer.CreateChunk(Id("DROP"));
    EXPECT_TRUE(writer.Detach());
    EXPECT_EQ(Hex("OUTR") + "14000000" + Hex("INNR") + "0c000000" + "010000000400000001000000",
              HexOf(buffer));
}

TEST(OutputChunkDataTargetTest, TheDestructorClosesAndLetsGoLikeDetach) {
    StreamBuffer buffer;
    {
        OutputChunkData writer;
        writer.Attach(&buffer);
        writer.CreateChunk(Id("OUTR"));
        writer.CreateChunk(Id("INNR"));
        writer.PutItem(1, 1ul);
    }
    EXPECT_EQ("14000000", HexOf(buffer).substr(8, 8));
    EXPECT_EQ(2u, buffer.AddRef());
}

TEST(OutputChunkDataTargetTest, DetachLeavesNothingOfWhatWasDropped) {
    StreamBuffer buffer;
    OutputChunkData writer;
    writer.Attach(&buffer);
    writer.PutItem(1, 1ul);
    writer.CreateChunk(Id("DROP"));
    writer.PutItem(2, 2ul);
    writer.Revert();
    EXPECT_TRUE(writer.Detach());
    EXPECT_EQ("010000000400000001000000", HexOf(buffer));
}

TEST(OutputChunkDataTargetTest, DetachLeavesNothingOfARewoundList) {
    StreamBuffer buffer;
    OutputChunkData writer;
    writer.Attach(&buffer);
    writer.CreateList(Id("TYPE"));
    writer.PutItem(1, 1ul);
    writer.Rewind();
    EXPECT_TRUE(writer.Detach());
    EXPECT_EQ(Hex("LIST") + "04000000" + Hex("TYPE"), HexOf(buffer));
}

TEST(OutputChunkDataTargetTest, WhatTheTargetHeldBehindTheEndStays) {
    StreamBuffer buffer;
    buffer.Write("0123456789abcdef", 16);
    buffer.Seek(4, 0);
    OutputChunkData writer;
    writer.Attach(&buffer);
    writer.CreateChunk(Id("DROP"));
    EXPECT_TRUE(writer.Close());
    EXPECT_TRUE(writer.Detach());
    EXPECT_EQ(Hex("0123DROP") + "00000000" + Hex("cdef"), HexOf(buffer));
    EXPECT_EQ(4u, buffer.Seek(0, 1));
}

TEST(OutputChunkDataTargetTest, WhatWasDroppedInOneAttachmentCutsNothingOffInTheNext) {
    StreamBuffer buffer;
    OutputChunkData writer;
    writer.Attach();
    writer.CreateChunk(1);
    writer.Revert();
    writer.Detach();
    buffer.Write("abcdef", 6);
    buffer.Seek(2, 0);
    writer.Attach(&buffer);
    EXPECT_TRUE(writer.Detach());
    EXPECT_EQ(Hex("abcdef"), HexOf(buffer));
}

TEST(OutputChunkDataTargetTest, TheBytesReportedNeverExceedABufferThatOthersCutOff) {
    StreamBuffer buffer;
    OutputChunkData writer;
    writer.Attach(&buffer);
    writer.PutItem(1, 1ul);
    buffer.Seek(4, 0);
    buffer.EndAtPos();
    EXPECT_EQ("01000000", Written(writer));
}

TEST(OutputChunkDataTargetTest, AttachingAndDetachingAloneChangesNothing) {
    StreamBuffer buffer;
    buffer.Write("abcdef", 6);
    buffer.Seek(2, 0);
    OutputChunkData writer;
    EXPECT_TRUE(writer.Attach(&buffer));
    EXPECT_TRUE(writer.Detach());
    EXPECT_EQ(Hex("abcdef"), HexOf(buffer));
    EXPECT_EQ(2u, buffer.Seek(0, 1));
}

TEST(OutputChunkDataTargetTest, WritingStartsAtTheBuffersPosition) {
    StreamBuffer buffer;
    buffer.Write("head", 4);
    OutputChunkData writer;
    writer.Attach(&buffer);
    writer.CreateChunk(Id("CHNK"));
    writer.PutItem(1, 1ul);
    writer.Detach();
    EXPECT_EQ(Hex("head") + Hex("CHNK") + "0c000000" + "010000000400000001000000", HexOf(buffer));
}

TEST(OutputChunkDataTargetTest, ItemsAreAppendedWhereverTheBufferWasMovedTo) {
    StreamBuffer buffer;
    OutputChunkData writer;
    writer.Attach(&buffer);
    writer.PutItem(1, 1ul);
    buffer.Seek(0, 0);
    writer.PutItem(2, 2ul);
    EXPECT_EQ("010000000400000001000000020000000400000002000000", HexOf(buffer));
}

TEST(OutputChunkDataTargetTest, AnAttachmentStartsAfresh) {
    OutputChunkData writer;
    writer.Attach();
    writer.CreateChunk(Id("CHNK"));
    writer.PutItem(1, 1ul);
    writer.Detach();
    writer.Attach();
    EXPECT_EQ("", Written(writer));
    ExpectStatus(writer, OutputChunkData::kNoChunkOpen, writer.Close());
}

TEST(OutputChunkDataTargetTest, AStreamIsWrittenLikeABuffer) {
    FaultyOutput stream;
    OutputChunkData writer;
    EXPECT_TRUE(writer.Attach(&stream));
    writer.CreateChunk(Id("CHNK"));
    writer.PutItem(1, 1ul);
    const void* p = "";
    unsigned long n = 1;
    EXPECT_FALSE(writer.GetBuffer(p, n));
    EXPECT_EQ(OutputChunkData::kNotAttached, writer.GetStatus());
    EXPECT_EQ(nullptr, p);
    StreamBuffer other;
    IStreamBuffer* pBuffer = &other;
    EXPECT_TRUE(writer.Detach(pBuffer));
    EXPECT_EQ(nullptr, pBuffer);
    EXPECT_EQ(Hex("CHNK") + "0c000000" + "010000000400000001000000", ToHex(stream.m_bytes));
}

// ---- Sizes of 32 bits

// A target of any length that keeps nothing.
class EndlessStream : public OutputRandomAccessStream {
public:
    using OutputStream::Write;
    unsigned long Write(const void*, unsigned long n) override {
        m_nPosition += n;
        return n;
    }
    unsigned long Seek(unsigned long nOffset, int nOrigin) override {
        return m_nPosition = nOrigin == 1 ? m_nPosition + nOffset : nOffset;
    }
    unsigned long EndAtPos() override { return m_nPosition; }

private:
    unsigned long m_nPosition = 0;
};

TEST(OutputChunkDataTargetTest, AChunkHoldsWhatItsSizeFieldCanTellAndNotAByteMore) {
    constexpr unsigned long kLongest = 0xFFFFFFFE - 8;  // even, behind the item's own header
    EndlessStream stream;
    OutputChunkData writer;
    writer.Attach(&stream);
    writer.CreateChunk(Id("CHNK"));
    EXPECT_FALSE(writer.PutItem(1, "", kLongest + 1));
    EXPECT_EQ(OutputChunkData::kBadArgument, writer.GetStatus());
    EXPECT_TRUE(writer.PutItem(1, "", kLongest));
    EXPECT_EQ(8 + 0xFFFFFFFEul, stream.Tell());
    EXPECT_FALSE(writer.PutItem(1, static_cast<unsigned short>(1)));
    EXPECT_EQ(OutputChunkData::kBadArgument, writer.GetStatus());
    EXPECT_FALSE(writer.CreateChunk(1));
    EXPECT_EQ(OutputChunkData::kBadArgument, writer.GetStatus());
    EXPECT_TRUE(writer.Close());
}

TEST(OutputChunkDataTargetTest, TheOutermostChunkLimitsTheInnerOnes) {
    EndlessStream stream;
    OutputChunkData writer;
    writer.Attach(&stream);
    writer.CreateChunk(Id("OUTR"));
    writer.PutItem(1, "", 0x80000000);
    writer.CreateChunk(Id("INNR"));
    EXPECT_FALSE(writer.PutItem(2, "", 0x80000000));
    EXPECT_TRUE(writer.PutItem(2, "", 0x7FFFFF00));
    EXPECT_TRUE(writer.Detach());
}

TEST(OutputChunkDataTargetTest, OutsideChunksOnlyTheItemItselfIsLimited) {
    EndlessStream stream;
    OutputChunkData writer;
    writer.Attach(&stream);
    EXPECT_TRUE(writer.PutItem(1, "", 0xFFFFFFFF));
    EXPECT_TRUE(writer.PutItem(1, "", 0xFFFFFFFF));
    EXPECT_EQ(2 * 0x100000008ul, stream.Tell());
}

// ---- Failing targets

const std::function<bool(OutputChunkData&)> kScript[] = {
    [](OutputChunkData& w) { return w.PutItem(Id("TOP "), "abc", 3); },
    [](OutputChunkData& w) { return w.CreateList(Id("TYPE")); },
    [](OutputChunkData& w) { return w.PutItem(Id("ITEM"), 1ul); },
    [](OutputChunkData& w) { return w.CreateChunk(Id("INNR")); },
    [](OutputChunkData& w) { return w.PutItem(Id("TEXT"), String("text")); },
    [](OutputChunkData& w) { return w.Rewind(); },
    [](OutputChunkData& w) { return w.PutItem(Id("SHRT"), static_cast<unsigned short>(2)); },
    [](OutputChunkData& w) { return w.Close(); },
    [](OutputChunkData& w) { return w.CreateChunk(Id("DROP")); },
    [](OutputChunkData& w) { return w.PutItem(Id("LLNG"), 3ull); },
    [](OutputChunkData& w) { return w.Revert(); },
    [](OutputChunkData& w) { return w.PutItem(Id("LAST"), "xy", 2); },
    [](OutputChunkData& w) { return w.CreateChunk(Id("EMPT")); },
    [](OutputChunkData& w) { return w.Close(); },
    [](OutputChunkData& w) { return w.Close(); },
};

// Runs the script on a target whose call number nFault fails, and expects the bytes to be those of the
// operations that succeeded, as if the others had never been tried. False when there was no such call.
bool SurvivesFault(int nFault, Fault fault) {
    FaultyOutput faulty(nFault, fault);
    FaultyOutput good;
    OutputChunkData writer;
    OutputChunkData model;
    writer.Attach(&faulty);
    model.Attach(&good);
    bool bFailed = false;
    for (const auto& operation : kScript) {
        if (operation(writer)) {
            EXPECT_TRUE(operation(model));
        } else if (!bFailed) {  // later ones may fail for want of the chunk that could not be opened
            EXPECT_EQ(OutputChunkData::kWriteFailed, writer.GetStatus());
            bFailed = true;
        }
    }
    model.Detach();
    if (writer.Detach()) {
        EXPECT_EQ(ToHex(good.m_bytes), ToHex(faulty.m_bytes));
        EXPECT_EQ(faulty.m_bFaultHit, bFailed);
    }
    return faulty.m_bFaultHit;
}

TEST(OutputChunkDataTargetTest, AnOperationWhoseTargetFailsLeavesNoTrace) {
    for (const Fault fault : {Fault::Short, Fault::Throws}) {
        int nFault = 1;
        for (; SurvivesFault(nFault, fault); ++nFault) SCOPED_TRACE(nFault);
        EXPECT_GT(nFault, 50);
    }
}

TEST(OutputChunkDataTargetTest, ATargetThatTakesTooLittleIsAFailedWrite) {
    FaultyOutput stream(2);
    OutputChunkData writer;
    writer.Attach(&stream);
    EXPECT_FALSE(writer.PutItem(1, 1ul));
    EXPECT_EQ(OutputChunkData::kWriteFailed, writer.GetStatus());
}

TEST(OutputChunkDataTargetTest, ABufferThatCannotGrowIsAFailedWriteNotAnException) {
    char achMemory[20] = {};
    StreamBuffer buffer(achMemory, sizeof achMemory);
    OutputChunkData writer;
    writer.Attach(&buffer);
    EXPECT_TRUE(writer.PutItem(1, 1ul));
    EXPECT_FALSE(writer.PutItem(2, 2ul));
    EXPECT_EQ(OutputChunkData::kWriteFailed, writer.GetStatus());
    EXPECT_EQ("010000000400000001000000", Written(writer));
    EXPECT_TRUE(writer.Detach());
}

TEST(OutputChunkDataTargetTest, AnItemThatFailedLeavesNothingBehind) {
    FaultyOutput stream(7);  // the second item's data
    OutputChunkData writer;
    writer.Attach(&stream);
    EXPECT_TRUE(writer.PutItem(1, 1ul));
    EXPECT_FALSE(writer.PutItem(2, "abcd", 4));
    EXPECT_GT(stream.m_bytes.size(), 12u);
    EXPECT_TRUE(writer.Detach());
    EXPECT_EQ("010000000400000001000000", ToHex(stream.m_bytes));
}

TEST(OutputChunkDataTargetTest, DetachLetsGoOfATargetThatFails) {
    FaultyOutput stream(6);  // the size written on closing
    OutputChunkData writer;
    writer.Attach(&stream);
    writer.CreateList(1);
    EXPECT_TRUE(writer.CreateList(2));
    EXPECT_FALSE(writer.Detach());
    EXPECT_EQ(OutputChunkData::kWriteFailed, writer.GetStatus());
    EXPECT_TRUE(writer.Attach());
    EXPECT_FALSE(writer.Close());
    EXPECT_EQ(OutputChunkData::kNoChunkOpen, writer.GetStatus());
}

TEST(OutputChunkDataTargetTest, MemoryThatRunsOutIsAFailedWriteAndLeavesWhatWasWritten) {
    FaultyAllocator allocator;
    {
        StreamBuffer buffer(allocator);
        OutputChunkData writer;
        writer.Attach(&buffer);
        writer.CreateChunk(Id("CHNK"));
        writer.PutItem(1, 1ul);
        allocator.m_bOut = true;
        EXPECT_FALSE(writer.PutItem(2, "abc", 3));
        EXPECT_EQ(OutputChunkData::kWriteFailed, writer.GetStatus());
        allocator.m_bOut = false;
        EXPECT_TRUE(writer.PutItem(3, 3ul));
        EXPECT_TRUE(writer.Detach());
        EXPECT_EQ(Hex("CHNK") + "18000000" + "010000000400000001000000" + "030000000400000003000000",
                  HexOf(buffer));
    }
    EXPECT_EQ(1u, allocator.m_nRefs);
}

}  // namespace
}  // namespace Kestrova::Test
