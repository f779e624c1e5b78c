#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "stream/OutputChunkData.h"
#include "tests/support/ChunkBytes.h"

namespace Kestrova::Test {
namespace {

constexpr unsigned long kBeyond32Bits = 0x100000000;

// A writer attached to a buffer of its own, and one that is not.
class OutputChunkDataTest : public testing::Test {
protected:
    OutputChunkDataTest() { m_writer.Attach(); }

    void ExpectStatus(OutputChunkData::Status status, bool bDone) {
        EXPECT_EQ(status, m_writer.GetStatus());
        EXPECT_EQ(status == OutputChunkData::kDone, bDone);
    }

    OutputChunkData m_writer;
    OutputChunkData m_detached;
};

// ---- Items

TEST_F(OutputChunkDataTest, StatusNumbersAreFixed) {
    EXPECT_EQ(0, OutputChunkData::kDone);
    EXPECT_EQ(1, OutputChunkData::kBadArgument);
    EXPECT_EQ(2, OutputChunkData::kAlreadyAttached);
    EXPECT_EQ(3, OutputChunkData::kNotAttached);
    EXPECT_EQ(7, OutputChunkData::kTooDeep);
    EXPECT_EQ(9, OutputChunkData::kNoChunkOpen);
}

TEST_F(OutputChunkDataTest, ABlockIsIdLengthBytesAndPaddingWhenOdd) {
    EXPECT_TRUE(m_writer.PutItem(Id("EVEN"), "abcd", 4));
    EXPECT_TRUE(m_writer.PutItem(Id("ODD "), "xyz", 3));
    EXPECT_EQ(Hex("EVEN") + "04000000" + Hex("abcd") + Hex("ODD ") + "03000000" + Hex("xyz") + "00",
              Written(m_writer));
}

TEST_F(OutputChunkDataTest, NumbersTakeTheirWidthAndUnsignedLongFourBytes) {
    EXPECT_TRUE(m_writer.PutItem(Id("SHRT"), static_cast<unsigned short>(0x0102)));
    EXPECT_TRUE(m_writer.PutItem(Id("LONG"), 0x01020304ul));
    EXPECT_TRUE(m_writer.PutItem(Id("LLNG"), 0x0102030405060708ull));
    EXPECT_EQ(Hex("SHRT") + "02000000" + "0201" + Hex("LONG") + "04000000" + "04030201" + Hex("LLNG") +
                  "08000000" + "0807060504030201",
              Written(m_writer));
}

TEST_F(OutputChunkDataTest, AZeroIsANumberLikeAnyOther) {
    EXPECT_TRUE(m_writer.PutItem(Id("LONG"), 0ul));
    EXPECT_EQ(Hex("LONG") + "0400000000000000", Written(m_writer));
}

TEST_F(OutputChunkDataTest, ATextHasNoTerminatorAndIsPaddedWhenOdd) {
    EXPECT_TRUE(m_writer.PutItem(Id("FSNM"), String("ab")));
    EXPECT_TRUE(m_writer.PutItem(Id("FSDS"), String("a\0c", 3)));
    EXPECT_EQ(Hex("FSNM") + "02000000" + "6162" + Hex("FSDS") + "03000000" + "610063" + "00",
              Written(m_writer));
}

// ---- Refused arguments

struct RefusedCase {
    const char* pszWhy;
    std::function<bool(OutputChunkData&)> call;
};

const RefusedCase kRefused[] = {
    {"block without id", [](OutputChunkData& w) { return w.PutItem(0, "x", 1); }},
    {"block without data", [](OutputChunkData& w) { return w.PutItem(1, nullptr, 1); }},
    {"block without length", [](OutputChunkData& w) { return w.PutItem(1, "x", 0); }},
    {"short without id", [](OutputChunkData& w) { return w.PutItem(0, static_cast<unsigned short>(1)); }},
    {"long without id", [](OutputChunkData& w) { return w.PutItem(0, 1ul); }},
    {"long long without id", [](OutputChunkData& w) { return w.PutItem(0, 1ull); }},
    {"text without id", [](OutputChunkData& w) { return w.PutItem(0, String("x")); }},
    {"empty text", [](OutputChunkData& w) { return w.PutItem(1, String()); }},
    {"id of more than 32 bits", [](OutputChunkData& w) { return w.PutItem(kBeyond32Bits, "x", 1); }},
    {"length of more than 32 bits", [](OutputChunkData& w) { return w.PutItem(1, "x", kBeyond32Bits); }},
    {"value of more than 32 bits", [](OutputChunkData& w) { return w.PutItem(1, kBeyond32Bits); }},
    {"chunk id of more than 32 bits", [](OutputChunkData& w) { return w.CreateChunk(kBeyond32Bits); }},
    {"list id of more than 32 bits", [](OutputChunkData& w) { return w.CreateList(1, kBeyond32Bits); }},
    {"list type of more than 32 bits", [](OutputChunkData& w) { return w.CreateList(kBeyond32Bits); }},
};

TEST_F(OutputChunkDataTest, BadArgumentsAreStatusOneAndWriteNothing) {
    m_writer.PutItem(Id("KEPT"), 7ul);
    const std::string strBefore = Written(m_writer);
    for (const RefusedCase& c : kRefused) {
        SCOPED_TRACE(c.pszWhy);
        EXPECT_FALSE(c.call(m_writer));
        EXPECT_EQ(OutputChunkData::kBadArgument, m_writer.GetStatus());
        EXPECT_EQ(strBefore, Written(m_writer));
        EXPECT_FALSE(m_writer.Close());  // nothing was opened
    }
}

TEST_F(OutputChunkDataTest, TheLargest32BitValuesAreTaken) {
    EXPECT_TRUE(m_writer.PutItem(0xFFFFFFFFul, 0xFFFFFFFFul));
    EXPECT_EQ("ffffffff04000000ffffffff", Written(m_writer));
}

TEST_F(OutputChunkDataTest, ASuccessClearsTheStatus) {
    EXPECT_FALSE(m_writer.Close());
    EXPECT_TRUE(m_writer.PutItem(1, 1ul));
    EXPECT_EQ(OutputChunkData::kDone, m_writer.GetStatus());
}

const RefusedCase kNeedsAttached[] = {
    {"Detach", [](OutputChunkData& w) { return w.Detach(); }},
    {"CreateChunk", [](OutputChunkData& w) { return w.CreateChunk(1); }},
    {"CreateList", [](OutputChunkData& w) { return w.CreateList(1); }},
    {"PutItem block", [](OutputChunkData& w) { return w.PutItem(1, "x", 1); }},
    {"PutItem short", [](OutputChunkData& w) { return w.PutItem(1, static_cast<unsigned short>(1)); }},
    {"PutItem long", [](OutputChunkData& w) { return w.PutItem(1, 1ul); }},
    {"PutItem long long", [](OutputChunkData& w) { return w.PutItem(1, 1ull); }},
    {"PutItem text", [](OutputChunkData& w) { return w.PutItem(1, String("x")); }},
    {"Close", [](OutputChunkData& w) { return w.Close(); }},
    {"Revert", [](OutputChunkData& w) { return w.Revert(); }},
    {"Rewind", [](OutputChunkData& w) { return w.Rewind(); }},
};

TEST_F(OutputChunkDataTest, EverythingButAttachIsStatusThreeWhileDetached) {
    for (const RefusedCase& c : kNeedsAttached) {
        SCOPED_TRACE(c.pszWhy);
        EXPECT_FALSE(c.call(m_detached));
        EXPECT_EQ(OutputChunkData::kNotAttached, m_detached.GetStatus());
    }
    const void* p = "";
    unsigned long n = 1;
    EXPECT_FALSE(m_detached.GetBuffer(p, n));
    EXPECT_EQ(OutputChunkData::kNotAttached, m_detached.GetStatus());
    EXPECT_EQ(nullptr, p);
    EXPECT_EQ(0u, n);
    StreamBuffer other;
    IStreamBuffer* pBuffer = &other;
    EXPECT_FALSE(m_detached.Detach(pBuffer));
    EXPECT_EQ(OutputChunkData::kNotAttached, m_detached.GetStatus());
    EXPECT_EQ(nullptr, pBuffer);
}

TEST_F(OutputChunkDataTest, CloseRevertAndRewindAreStatusNineWithoutAnOpenChunk) {
    m_writer.PutItem(1, 1ul);
    ExpectStatus(OutputChunkData::kNoChunkOpen, m_writer.Close());
    ExpectStatus(OutputChunkData::kNoChunkOpen, m_writer.Revert());
    ExpectStatus(OutputChunkData::kNoChunkOpen, m_writer.Rewind());
    EXPECT_EQ("010000000400000001000000", Written(m_writer));
}

// ---- Chunks and lists

TEST_F(OutputChunkDataTest, AnOpenChunkHasItsIdAndSizeZero) {
    EXPECT_TRUE(m_writer.CreateChunk(Id("CHNK")));
    EXPECT_EQ(Hex("CHNK") + "00000000", Written(m_writer));
}

TEST_F(OutputChunkDataTest, AnOpenListHasSizeFourAndItsType) {
    EXPECT_TRUE(m_writer.CreateList(Id("TYPE")));
    EXPECT_EQ(Hex("LIST") + "04000000" + Hex("TYPE"), Written(m_writer));
}

TEST_F(OutputChunkDataTest, AListMayHaveAnotherIdThanList) {
    EXPECT_TRUE(m_writer.CreateList(Id("TYPE"), Id("RIFF")));
    EXPECT_EQ(Hex("RIFF") + "04000000" + Hex("TYPE"), Written(m_writer));
}

TEST_F(OutputChunkDataTest, EveryItemRewritesTheSizeOfItsChunk) {
    m_writer.CreateChunk(Id("CHNK"));
    m_writer.PutItem(Id("ITEM"), 1ul);
    EXPECT_EQ(Hex("CHNK") + "0c000000" + Hex("ITEM") + "0400000001000000", Written(m_writer));
    m_writer.PutItem(Id("ODD "), "x", 1);  // the padding counts
    EXPECT_EQ(Hex("CHNK") + "16000000" + Hex("ITEM") + "0400000001000000" + Hex("ODD ") + "010000007800",
              Written(m_writer));
    EXPECT_TRUE(m_writer.Close());
    EXPECT_EQ("16000000", Written(m_writer).substr(8, 8));
}

TEST_F(OutputChunkDataTest, AListsTypeCountsInItsSize) {
    m_writer.CreateList(Id("TYPE"));
    m_writer.PutItem(Id("ITEM"), 1ul);
    m_writer.Close();
    EXPECT_EQ(Hex("LIST") + "10000000" + Hex("TYPE") + Hex("ITEM") + "0400000001000000", Written(m_writer));
}
// Q49

// Q49
TEST_F(OutputChunkDataTest, AnItemInsideRewritesOnlyTheInnerSizeAndCloseTheOuter) {
    m_writer.CreateChunk(Id("OUTR"));
    m_writer.CreateChunk(Id("INNR"));
    m_writer.PutItem(Id("ITEM"), 1ul);
    const std::string strInner = Hex("INNR") + "0c000000" + Hex("ITEM") + "0400000001000000";
    EXPECT_EQ(Hex("OUTR") + "00000000" + strInner, Written(m_writer));
    EXPECT_TRUE(m_writer.Close());
    EXPECT_EQ(Hex("OUTR") + "00000000" + strInner, Written(m_writer));
    EXPECT_TRUE(m_writer.Close());
    EXPECT_EQ(Hex("OUTR") + "14000000" + strInner, Written(m_writer));
}

TEST_F(OutputChunkDataTest, AfterCloseItemsGoToTheEnclosingChunk) {
    m_writer.CreateChunk(Id("OUTR"));
    m_writer.CreateChunk(Id("INNR"));
    m_writer.PutItem(1, 1ul);
    m_writer.Close();
    m_writer.PutItem(2, 2ul);
    EXPECT_EQ(Hex("OUTR") + "20000000" + Hex("INNR") + "0c000000" + "010000000400000001000000" +
                  "020000000400000002000000",
              Written(m_writer));
}

TEST_F(OutputChunkDataTest, SixteenChunksNestAndASeventeenthIsStatusSeven) {
    for (int i = 0; i < 16; ++i) ASSERT_TRUE(m_writer.CreateChunk(Id("NEST"))) << i;
    const std::string strBefore = Written(m_writer);
    ExpectStatus(OutputChunkData::kTooDeep, m_writer.CreateChunk(Id("NEST")));
    ExpectStatus(OutputChunkData::kTooDeep, m_writer.CreateList(Id("NEST")));
    EXPECT_EQ(strBefore, Written(m_writer));
    m_writer.PutItem(1, 1ul);
    for (int i = 0; i < 16; ++i) ASSERT_TRUE(m_writer.Close()) << i;
    ExpectStatus(OutputChunkData::kNoChunkOpen, m_writer.Close());
    std::string strExpected = "010000000400000001000000";
    for (int i = 0; i < 16; ++i) {
        const unsigned char chSize = static_cast<unsigned char>(strExpected.size() / 2);
        strExpected = Hex("NEST") + ToHex({chSize, 0, 0, 0}) + strExpected;
    }
    EXPECT_EQ(strExpected, Written(m_writer));
}

// ---- Dropping

TEST_F(OutputChunkDataTest, AClosedChunkWithoutItemsIsOverwrittenByWhatFollows) {
    m_writer.PutItem(1, 1ul);
    m_writer.CreateChunk(Id("DROP"));
    EXPECT_TRUE(m_writer.Close());
    EXPECT_EQ("010000000400000001000000", Written(m_writer));
    m_writer.PutItem(2, 2ul);
    EXPECT_EQ("010000000400000001000000020000000400000002000000", Written(m_writer));
}

TEST_F(OutputChunkDataTest, AChunkOfOnlyDroppedChunksIsDroppedToo) {
    m_writer.CreateChunk(Id("OUTR"));
    m_writer.CreateChunk(Id("INNR"));
    EXPECT_TRUE(m_writer.Close());
    EXPECT_TRUE(m_writer.Close());
    EXPECT_EQ("", Written(m_writer));
}

TEST_F(OutputChunkDataTest, AChunkThatHoldsAChunkIsKeptThoughItHasNoItemOfItsOwn) {
    m_writer.CreateChunk(Id("OUTR"));
    m_writer.CreateList(Id("TYPE"));
    m_writer.Close();
    EXPECT_TRUE(m_writer.Close());
    EXPECT_EQ(Hex("OUTR") + "0c000000" + Hex("LIST") + "04000000" + Hex("TYPE"), Written(m_writer));
}
// Q48

// Q48
TEST_F(OutputChunkDataTest, AnEmptyListIsNeverDropped) {
    m_writer.CreateList(Id("TYPE"));
    EXPECT_TRUE(m_writer.Close());
    m_writer.PutItem(1, 1ul);
    EXPECT_EQ(Hex("LIST") + "04000000" + Hex("TYPE") + "010000000400000001000000", Written(m_writer));
}

TEST_F(OutputChunkDataTest, DroppingMovesThePositionBackToTheChunksStart) {
    StreamBuffer buffer;
    OutputChunkData writer;
    writer.Attach(&buffer);
    writer.PutItem(1, 1ul);
    writer.CreateChunk(Id("DROP"));
    writer.Close();
    EXPECT_EQ(12u, buffer.Seek(0, 1));
    writer.CreateChunk(Id("DROP"));
    writer.PutItem(2, 2ul);
    writer.Revert();
    EXPECT_EQ(12u, buffer.Seek(0, 1));
}

TEST_F(OutputChunkDataTest, RevertDropsTheChunkWithAllInItAndGoesOnInTheEnclosingOne) {
    m_writer.CreateChunk(Id("OUTR"));
    m_writer.PutItem(1, 1ul);
    m_writer.CreateList(Id("TYPE"));
    m_writer.CreateChunk(Id("INNR"));
    m_writer.PutItem(2, 2ul);
    m_writer.Close();
    EXPECT_TRUE(m_writer.Revert());
    EXPECT_EQ(Hex("OUTR") + "0c000000" + "010000000400000001000000", Written(m_writer));
    m_writer.PutItem(3, 3ul);
    EXPECT_EQ(Hex("OUTR") + "18000000" + "010000000400000001000000" + "030000000400000003000000",
              Written(m_writer));
}

TEST_F(OutputChunkDataTest, RewindDropsTheItemsAndKeepsTheChunkOpen) {
    m_writer.CreateChunk(Id("CHNK"));
    m_writer.PutItem(1, 1ul);
    EXPECT_TRUE(m_writer.Rewind());
    EXPECT_EQ(Hex("CHNK") + "00000000", Written(m_writer));
    m_writer.PutItem(2, 2ul);
    m_writer.Close();
    EXPECT_EQ(Hex("CHNK") + "0c000000" + "020000000400000002000000", Written(m_writer));
}

TEST_F(OutputChunkDataTest, RewindKeepsAListsType) {
    m_writer.CreateList(Id("TYPE"));
    m_writer.PutItem(1, 1ul);
    EXPECT_TRUE(m_writer.Rewind());
    EXPECT_EQ(Hex("LIST") + "04000000" + Hex("TYPE"), Written(m_writer));
}

TEST_F(OutputChunkDataTest, ARewoundChunkIsDroppedWhenClosed) {
    m_writer.CreateChunk(Id("CHNK"));
    m_writer.PutItem(1, 1ul);
    m_writer.Rewind();
    EXPECT_TRUE(m_writer.Close());
    EXPECT_EQ("", Written(m_writer));
}

}  // namespace
}  // namespace Kestrova::Test
