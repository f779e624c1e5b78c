#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "SamplerDBDS/BaseClasses/ByteSwap.h"

namespace Kestrova::Test {
namespace {

using testing::ElementsAre;
using Bytes = std::vector<uint8_t>;

Bytes Counting(size_t nBytes) {
    Bytes bytes(nBytes);
    for (size_t i = 0; i < nBytes; ++i) bytes[i] = static_cast<uint8_t>(i + 1);
    return bytes;
}

// What swapping means: each element reversed, and nothing behind the last one touched.
Bytes Reversed(Bytes bytes, size_t nOffset, size_t count, size_t elemSize) {
    for (size_t i = 0; i < count; ++i) {
        const auto itFirst = bytes.begin() + static_cast<std::ptrdiff_t>(nOffset + i * elemSize);
        std::reverse(itFirst, itFirst + static_cast<std::ptrdiff_t>(elemSize));
    }
    return bytes;
}

TEST(ByteSwapTest, EverySizeReversesEachElementInPlace) {
    for (const size_t elemSize : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 16U, 200U})
        for (const size_t count : {0U, 1U, 2U, 3U, 17U})
            for (const size_t nOffset : {0U, 1U, 3U}) {  // data need not be aligned
                SCOPED_TRACE(testing::Message() << count << " of " << elemSize << " at " << nOffset);
                const Bytes before = Counting(nOffset + count * elemSize + 20);
                Bytes swapped = before;
                OSSwapArray(swapped.data() + nOffset, count, elemSize);
                EXPECT_EQ(Reversed(before, nOffset, count, elemSize), swapped);
            }
}

TEST(ByteSwapTest, ElementsOfThreeBytesExchangeTheOuterTwo) {
    Bytes bytes{1, 2, 3, 4, 5, 6};
    OSSwapArray(bytes.data(), 2, 3);
    EXPECT_THAT(bytes, ElementsAre(3, 2, 1, 6, 5, 4));
}

TEST(ByteSwapTest, ElementsOfSixteenBytesReverseAllSixteen) {
    Bytes bytes = Counting(16);
    OSSwapArray(bytes.data(), 1, 16);
    EXPECT_THAT(bytes, ElementsAre(16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1));
}

TEST(ByteSwapTest, TheFixedSizesDoTheSame) {
    struct FixedCase {
        void (*pfnSwap)(void*, unsigned long);
        size_t elemSize;
    };
    constexpr FixedCase kCases[] = {
        {OSSwapArrayInt16, 2}, {OSSwapArrayInt24, 3}, {OSSwapArrayInt32, 4}, {OSSwapArrayInt64, 8}};
    for (const FixedCase& c : kCases) {
        SCOPED_TRACE(c.elemSize);
        const Bytes before = Counting(5 * c.elemSize + 3);
        Bytes swapped = before;
        c.pfnSwap(swapped.data() + 1, 5);
        EXPECT_EQ(Reversed(before, 1, 5, c.elemSize), swapped);
        c.pfnSwap(nullptr, 5);
    }
}

TEST(ByteSwapTest, NothingIsDoneWithoutDataOrSize) {
    Bytes bytes = Counting(4);
    OSSwapArray(bytes.data(), 4, 0);
    OSSwapArray(nullptr, 4, 5);
    EXPECT_EQ(Counting(4), bytes);
}

uint32_t WordAt(const Bytes& bytes, size_t i) {
    uint32_t nWord = 0;
    std::memcpy(&nWord, bytes.data() + 4 * i, 4);
    return nWord;
}

TEST(Convert24to32Test, OneSampleMovesToTheTopThreeBytes) {
    Bytes bytes{0x12, 0x34, 0x56, 0xFF};
    Convert24to32(bytes.data(), 1);
    EXPECT_EQ(0x56341200U, WordAt(bytes, 0));
    EXPECT_THAT(bytes, ElementsAre(0x00, 0x12, 0x34, 0x56));
}

TEST(Convert24to32Test, ManySamplesDoNotOverwriteEachOther) {
    constexpr size_t kCount = 1000;
    Bytes bytes(kCount * 4 + 1, 0xEE);
    for (size_t i = 0; i < kCount * 3; ++i) bytes[i] = static_cast<uint8_t>(i * 37 + i / 256);
    const Bytes before = bytes;
    Convert24to32(bytes.data(), kCount);
    for (size_t i = 0; i < kCount; ++i) {
        const uint32_t nExpected = static_cast<uint32_t>(before[3 * i]) << 8 |
                                   static_cast<uint32_t>(before[3 * i + 1]) << 16 |
                                   static_cast<uint32_t>(before[3 * i + 2]) << 24;
        ASSERT_EQ(nExpected, WordAt(bytes, i)) << "sample " << i;
    }
    EXPECT_EQ(0xEE, bytes.back());
}

TEST(Convert24to32Test, NoSamplesChangeNothing) {
    Bytes bytes{1, 2, 3};
    Convert24to32(bytes.data(), 0);
    EXPECT_THAT(bytes, ElementsAre(1, 2, 3));
}

}  // namespace
}  // namespace Kestrova::Test
