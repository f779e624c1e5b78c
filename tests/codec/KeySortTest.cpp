#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <optional>

#include "codec/EqualRotations.h"
#include "codec/KeySort.h"
#include "tests/codec/CodecTestSupport.h"
#include "tests/codec/PlainBlockSort.h"

namespace Kestrova::Test {
namespace {

using SortSteps::kMaxRanges;

constexpr uint64_t kNoLimit = uint64_t{1} << 60;

// The rotations of a small block; nothing when it is refused.
std::optional<std::vector<uint32_t>> SortWhole(const Bytes& bytes, uint64_t nWorkLimit = kNoLimit) {
    Bytes block = bytes;
    for (size_t i = 0; i < kOvershootBytes; ++i) block.push_back(block[i]);
    std::vector<uint32_t> order(bytes.size()), scratch(bytes.size());
    std::iota(order.begin(), order.end(), 0u);
    const auto arrays = std::make_unique<KeySortArrays>();
    KeySorter sorter(*arrays, scratch.data());
    sorter.Start(block.data(), static_cast<uint32_t>(bytes.size()), nWorkLimit);
    return sorter.SortWhole(order) ? std::optional(order) : std::nullopt;
}

Bytes Twice(Bytes bytes) {
    const Bytes copy = bytes;
    bytes.insert(bytes.end(), copy.begin(), copy.end());
    return bytes;
}

TEST(KeySorterTest, NoiseNeedsNoWorkAtAll) {
    for (const size_t n : {1u, 2u, 3u, 4u, 5u, 17u, 1000u, 4000u}) {
        Bytes bytes = Noise(n);
        bytes[0] ^= n == 2 && bytes[0] == bytes[1];
        EXPECT_EQ(PlainBlockSort(bytes).order, SortWhole(bytes, 0)) << n;
    }
}

TEST(KeySorterTest, ABlockWithEqualRotationsIsRefused) {
    for (const size_t n : {1u, 2u, 7u, 20u, 400u, 1999u})
        EXPECT_EQ(std::nullopt, SortWhole(Twice(Noise(n)))) << n;
    for (const size_t n : {2u, 3u, 17u, 4000u}) EXPECT_EQ(std::nullopt, SortWhole(Bytes(n, 5))) << n;
}

TEST(KeySorterTest, PartsThatAreEqualForLongAreRefused) {
    for (const size_t nEqual : {100u, 900u, 1100u}) {
        Bytes bytes = Noise(3000);
        std::copy_n(bytes.begin(), nEqual, bytes.begin() + 1500);
        EXPECT_EQ(nEqual < 1000, SortWhole(bytes).has_value()) << nEqual;
    }
}

// Each pass may compare any two of them, in steps of which a round has two.
TEST(KeySorterTest, TheWorkOfRotationsThatBeginAlikeGrowsWithTheirPairs) {
    constexpr size_t kCopies = 100, kEqual = 10, kApart = 30;
    Bytes bytes = Noise(4000);
    for (size_t i = 1; i < kCopies; ++i) std::copy_n(bytes.begin(), kEqual, &bytes[i * kApart]);
    EXPECT_TRUE(SortWhole(bytes));
    EXPECT_EQ(std::nullopt, SortWhole(bytes, 2 * (kCopies * (kCopies - 1) / 2) - 1));
}

// More rotations than may wait on the stack, alike in the bytes behind those of their bucket, too: the class
// is divided once by each of these bytes, and what is left at every depth is sorted.
TEST(KeySorterTest, ALargeBucketIsDividedByteAfterByte) {
    constexpr uint32_t kRotations = 2 * kMaxRanges, kApart = 11;
    for (const uint32_t nAlike : {2u, 3u, 4u, 6u}) {
        Bytes block = Noise(size_t{kRotations} * kApart);
        std::vector<uint32_t> bucket(kRotations), scratch(block.size());
        for (uint32_t i = 0; i < kRotations; ++i) {
            bucket[i] = i * kApart;
            std::fill_n(&block[bucket[i]], nAlike, uint8_t{7});
        }
        const auto nCount = static_cast<uint32_t>(block.size());
        for (size_t i = 0; i < kOvershootBytes; ++i) block.push_back(block[i]);
        std::vector<uint32_t> order = bucket;
        std::sort(order.begin(), order.end(), [&](uint32_t i1, uint32_t i2) {
            return std::lexicographical_compare(&block[i1], &block[i1 + kApart], &block[i2],
                                                &block[i2 + kApart]);
        });
        const auto arrays = std::make_unique<KeySortArrays>();
        KeySorter sorter(*arrays, scratch.data());
        sorter.Start(block.data(), nCount, kNoLimit);
        EXPECT_TRUE(sorter.SortBucket(bucket)) << nAlike;
        EXPECT_EQ(order, bucket) << nAlike;
    }
}

// What the plain sort needs is refused by any lower limit.
TEST(KeySorterTest, NoBlockIsTakenWhoseWorkPassesTheLimit) {
    size_t nWithWork = 0;
    for (const size_t n : {40u, 300u, 2000u})
        for (size_t nEqual = 10; nEqual < n / 2; nEqual += 1 + nEqual / 4)
            for (const size_t nCopies : {1u, 2u, 20u}) {
                Bytes bytes = Noise(n);
                for (size_t i = nEqual + 1; i + nEqual < n && i <= nCopies * (nEqual + 1); i += nEqual + 1)
                    std::copy_n(bytes.begin(), nEqual, &bytes[i]);
                const PlainOrder plain = PlainBlockSort(bytes);
                const auto order = SortWhole(bytes);
                EXPECT_TRUE(!order || order == plain.order) << n << " " << nEqual << " " << nCopies;
                if (plain.nWork == 0) continue;
                ++nWithWork;
                EXPECT_EQ(std::nullopt, SortWhole(bytes, plain.nWork - 1))
                    << n << " " << nEqual << " " << nCopies;
            }
    EXPECT_GT(nWithWork, 50u);
}

}  // namespace
}  // namespace Kestrova::Test
