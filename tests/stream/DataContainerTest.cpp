#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "stream/DataContainer.h"
#include "tests/support/ChunkBytes.h"

namespace Kestrova::Test {
namespace {

constexpr unsigned long kName = Id("FSNM");

TEST(DataContainerTest, StartsEmptyWithOneReference) {
    auto* pContainer = new CDataContainer;
    EXPECT_EQ(0u, pContainer->GetSize());
    EXPECT_EQ(2u, pContainer->AddRef());
    EXPECT_EQ(1u, pContainer->Release());
    EXPECT_EQ(0u, pContainer->Release());  // a leak, or a second release, is for the sanitizer to find
}

TEST(DataContainerTest, ReportsItsBufferThroughTheDataInterface) {
    CDataContainer container;
    EXPECT_TRUE(container.PutItem(kName, String("abc")));
    const IData& data = container;
    EXPECT_EQ(12u, data.GetSize());
    EXPECT_EQ("46534e4d0300000061626300", HexOf(data));
}

TEST(DataContainerTest, TakesEveryKindOfItem) {
    CDataContainer container;
    EXPECT_TRUE(container.PutItem(1, static_cast<unsigned short>(2)));
    EXPECT_TRUE(container.PutItem(3, 4ul));
    EXPECT_TRUE(container.PutItem(5, 6ull));
    EXPECT_TRUE(container.PutItem(7, "xy", 2));
    EXPECT_EQ(
        "01000000020000000200"
        "030000000400000004000000"
        "05000000080000000600000000000000"
        "07000000020000007879",
        HexOf(container));
}

TEST(DataContainerTest, RefusesWhatTheWriterRefuses) {
    CDataContainer container;
    EXPECT_FALSE(container.PutItem(kName, String()));
    EXPECT_FALSE(container.PutItem(0, String("abc")));
    EXPECT_FALSE(container.PutItem(1, 0x100000000ul));
    EXPECT_FALSE(container.PutItem(1, nullptr, 1));
    EXPECT_EQ(OutputChunkData::kBadArgument, container.GetWriter().GetStatus());
    EXPECT_EQ(0u, container.GetSize());
}

TEST(DataContainerTest, ItsWriterOpensChunks) {
    CDataContainer container;
    EXPECT_TRUE(container.GetWriter().CreateChunk(kName));
    EXPECT_TRUE(container.PutItem(1, 2ul));
    EXPECT_TRUE(container.GetWriter().Close());
    EXPECT_EQ("46534e4d0c000000010000000400000002000000", HexOf(container));
}

TEST(DataContainerTest, ANewCopyHoldsTheBytesAndItemsFollowThem) {
    CDataContainer* pCopy = CDataContainer::NewCopy("tail", 4);
    ASSERT_NE(nullptr, pCopy);
    EXPECT_EQ("7461696c", HexOf(*pCopy));
    EXPECT_TRUE(pCopy->PutItem(1, 2ul));
    EXPECT_EQ("7461696c010000000400000002000000", HexOf(*pCopy));
    EXPECT_EQ(0u, pCopy->Release());
}

TEST(DataContainerTest, ANewCopyWithoutMemoryIsNull) {
    EXPECT_EQ(nullptr, CDataContainer::NewCopy("x", std::numeric_limits<unsigned long>::max()));
}

}  // namespace
}  // namespace Kestrova::Test
