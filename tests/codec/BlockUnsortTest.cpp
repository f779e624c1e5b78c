#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "codec/BlockUnsort.h"
#include "tests/codec/CodecTestSupport.h"

namespace Kestrova::Test {
namespace {

struct Counts {
    explicit Counts(const Bytes& bytes) {
        for (const uint8_t ch : bytes) ++ofByte[ch];
    }
    uint32_t ofByte[256] = {};
};

Bytes Unsorted(Bytes bytes, uint32_t iOrigin, uint32_t nWalkBytes = kWalkBytes) {
    const auto arrays = std::make_unique_for_overwrite<BlockUnsortArrays>();
    const auto nCount = static_cast<uint32_t>(bytes.size());
    UnsortBlock(bytes.data(), nCount, iOrigin, Counts(bytes).ofByte, *arrays, nWalkBytes);
    return bytes;
}

Bytes UnsortedPlainly(Bytes bytes, uint32_t iOrigin) {
    const auto arrays = std::make_unique_for_overwrite<BlockUnsortArrays>();
    const auto nCount = static_cast<uint32_t>(bytes.size());
    UnsortBlockPlainly(bytes.data(), nCount, iOrigin, Counts(bytes).ofByte, *arrays);
    return bytes;
}

// A block whose links all lead nDistance places on, round and round.
Bytes EqualSteps(size_t n, size_t nDistance) {
    Bytes bytes(n, 0);
    std::fill_n(bytes.begin(), nDistance, uint8_t{1});
    return bytes;
}

Bytes FewValues(size_t n, unsigned nValues) {
    Bytes bytes = Noise(n, nValues);
    for (uint8_t& ch : bytes) ch = static_cast<uint8_t>(ch % nValues);
    return bytes;
}

std::vector<Bytes> BlocksOf(size_t n) {
    return {Noise(n),       FewValues(n, 2),      FewValues(n, 5),      Bytes(n, 7),
            Periodic(n, 3), EqualSteps(n, n / 2), EqualSteps(n, n / 3), EqualSteps(n, (n + 1) / 7)};
}

TEST(UnsortBlockTest, IsThePlainOneForShortBlocksAndAnyOrigin) {
    for (size_t n = 1; n <= 300; ++n)
        for (const Bytes& bytes : BlocksOf(n))
            for (const size_t iOrigin : {size_t{0}, n / 2, n - 1}) {
                const auto i = static_cast<uint32_t>(iOrigin);
                ASSERT_EQ(UnsortedPlainly(bytes, i), Unsorted(bytes, i)) << n << " " << i;
            }
}

TEST(UnsortBlockTest, IsThePlainOneAroundTheLengthsOfItsStretches) {
    for (const size_t n : {511u, 512u, 513u, 1024u, 5119u, 5121u, 70313u, 75000u})
        for (const Bytes& bytes : BlocksOf(n))
            for (const size_t iOrigin : {size_t{0}, n / 3, n - 1}) {
                const auto i = static_cast<uint32_t>(iOrigin);
                ASSERT_TRUE(UnsortedPlainly(bytes, i) == Unsorted(bytes, i)) << n << " " << i;
            }
}

TEST(UnsortBlockTest, IsThePlainOneForTheLargestBlock) {
    for (const Bytes& bytes : BlocksOf(WaveFormat::kBlockSize))
        for (const uint32_t iOrigin : {0u, 450001u, WaveFormat::kBlockSize - 1})
            ASSERT_TRUE(UnsortedPlainly(bytes, iOrigin) == Unsorted(bytes, iOrigin)) << iOrigin;
}

// Every distance that has no divisor in common with the length makes one ring of the whole block.
TEST(UnsortBlockTest, IsThePlainOneForRingsOfEveryLength) {
    for (size_t nDistance = 1; nDistance < 2000; nDistance += 3) {
        const Bytes bytes = EqualSteps(2000, nDistance);
        ASSERT_TRUE(UnsortedPlainly(bytes, 5) == Unsorted(bytes, 5)) << nDistance;
    }
}

TEST(UnsortBlockTest, GivesTheSameWhereAWalkBecomesTooLong) {
    for (const size_t n : {1u, 20u, 2000u, 30000u})
        for (const uint32_t nWalkBytes : {1u, 2u, 100u, 1000u, 3000u})
            for (const Bytes& bytes : BlocksOf(n))
                ASSERT_TRUE(UnsortedPlainly(bytes, 0) == Unsorted(bytes, 0, nWalkBytes))
                    << n << " " << nWalkBytes;
}

TEST(UnsortBlockTest, BytesThatNoSortHasMadeAreFollowedForward) {
    // Three steps lead back to the start, which does not divide the four or five that are asked for.
    struct Case {
        Bytes sorted;
        uint32_t iOrigin;
    };
    for (const Case& row : {Case{{2, 0, 1, 3}, 0}, Case{{2, 0, 1, 3}, 3}, Case{{2, 0, 1, 4, 3}, 1},
                            Case{{2, 0, 1, 4, 3}, 4}, Case{{1, 0, 2, 3, 4, 5, 6}, 0}}) {
        const auto nCount = static_cast<uint32_t>(row.sorted.size());
        Bytes first = row.sorted;
        std::sort(first.begin(), first.end());
        Bytes expected;
        for (uint32_t i = 0, iPlace = row.iOrigin; i < nCount; ++i) {
            expected.push_back(first[iPlace]);  // all bytes differ, so a place is found by its byte
            iPlace = static_cast<uint32_t>(std::find(row.sorted.begin(), row.sorted.end(), first[iPlace]) -
                                           row.sorted.begin());
        }
        EXPECT_EQ(expected, Unsorted(row.sorted, row.iOrigin));
        EXPECT_EQ(expected, UnsortedPlainly(row.sorted, row.iOrigin));
    }
}

}  // namespace
}  // namespace Kestrova::Test
