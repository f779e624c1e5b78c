#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>

#include "codec/BlockSort.h"
#include "codec/RandomTable.h"
#include "tests/codec/CodecTestSupport.h"

namespace Kestrova::Test {
namespace {

// One block through the sorter and back.
class Sorting {
public:
    explicit Sorting(const Bytes& bytes)
        : m_nCount(static_cast<uint32_t>(bytes.size())), m_sorter(*m_arrays) {
        std::copy(bytes.begin(), bytes.end(), Block());
        for (const uint8_t ch : bytes) used[ch] = true;
        bSorted = m_sorter.doReversibleTransformation(m_nCount, used);
    }

    uint8_t* Block() { return m_arrays->block + 1; }
    Bytes BlockBytes() { return Bytes(Block(), Block() + m_nCount); }
    std::vector<uint32_t> Order() const { return {m_arrays->order, m_arrays->order + m_nCount}; }
    const BlockSorter& Sorter() const { return m_sorter; }

    // No rotation is greater than the next; equal ones may stand in any order.
    bool IsInOrder() {
        Bytes twice = BlockBytes();
        twice.insert(twice.end(), Block(), Block() + m_nCount);
        // A few bytes mostly tell; a sanitizer looks at all that a comparison may read.
        const size_t nFew = std::min<size_t>(m_nCount, 100);
        const std::vector<uint32_t> order = Order();
        return std::is_sorted(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
            const int nDifference = std::memcmp(&twice[a], &twice[b], nFew);
            return (nDifference != 0 ? nDifference : std::memcmp(&twice[a], &twice[b], m_nCount)) < 0;
        });
    }
    bool HasEveryRotation() const {
        std::vector<uint32_t> order = Order(), all(m_nCount);
        std::sort(order.begin(), order.end());
        std::iota(all.begin(), all.end(), 0u);
        return order == all;
    }

    Bytes Unsorted() {
        Bytes bytes;
        uint32_t counts[256] = {};
        for (const uint32_t iStart : Order()) {
            bytes.push_back((Block() + iStart)[-1]);
            ++counts[bytes.back()];
        }
        const auto arrays = std::make_unique<BlockUnsortArrays>();
        UnsortBlock(bytes.data(), m_nCount, m_sorter.GetOrigin(), counts, *arrays);
        return bytes;
    }

    bool used[256] = {};
    bool bSorted = false;

private:
    std::unique_ptr<BlockSortArrays> m_arrays = std::make_unique<BlockSortArrays>();
    uint32_t m_nCount;
    BlockSorter m_sorter;
};

Bytes Mixed(size_t n) {  // texts of every depth: repeats, near repeats and noise
    Bytes bytes = Periodic(n, 97);
    for (size_t i = 0; i < n; i += 1 + i / 7) bytes[i] ^= static_cast<uint8_t>(i);
    const Bytes noise = NoiseWithoutRuns(n / 3);
    std::copy(noise.begin(), noise.end(), bytes.begin());
    return bytes;
}

Bytes FewValues(size_t n, unsigned nValues) {
    Bytes bytes = Noise(n, nValues);
    for (uint8_t& ch : bytes) ch = static_cast<uint8_t>(ch % nValues);
    return bytes;
}

TEST(BlockSorterTest, SortsBlocksOfEverySmallSize) {
    for (size_t n = 1; n <= 70; ++n)
        for (const Bytes& bytes : {Noise(n), FewValues(n, 2), Bytes(n, 9), Periodic(n, 3)}) {
            SCOPED_TRACE(n);
            Sorting sorting(bytes);
            ASSERT_TRUE(sorting.bSorted);
            EXPECT_TRUE(sorting.HasEveryRotation());
            EXPECT_TRUE(sorting.IsInOrder());
            EXPECT_EQ(sorting.BlockBytes(), sorting.Unsorted());
            EXPECT_EQ(0u, sorting.Order()[sorting.Sorter().GetOrigin()]);
        }
}

TEST(BlockSorterTest, SortsOnBothSidesOfTheSizeThatWantsBuckets) {
    for (const size_t n : {3999u, 4000u, 4001u, 4002u, 9000u})
        for (const Bytes& bytes : {Noise(n), FewValues(n, 2), Mixed(n)}) {
            SCOPED_TRACE(n);
            Sorting sorting(bytes);
            ASSERT_TRUE(sorting.bSorted);
            EXPECT_TRUE(sorting.HasEveryRotation());
            EXPECT_TRUE(sorting.IsInOrder());
            EXPECT_EQ(bytes, sorting.Unsorted());
            EXPECT_FALSE(sorting.Sorter().IsRandomised());
        }
}

TEST(BlockSorterTest, SortsTheLargestBlockWithGroupsBeyondSixteenBits) {
    Sorting sorting(FewValues(WaveFormat::kBlockSize, 3));
    ASSERT_TRUE(sorting.bSorted);
    EXPECT_TRUE(sorting.HasEveryRotation());
    EXPECT_TRUE(sorting.IsInOrder());
    EXPECT_FALSE(sorting.Sorter().IsRandomised());
}

TEST(BlockSorterTest, RandomisesRepetitiveBlocksAndCountsTheirBytesAnew) {
    for (const size_t n : {3000u, 30000u}) {
        SCOPED_TRACE(n);
        const Bytes bytes = Periodic(n, 2);
        Sorting sorting(bytes);
        ASSERT_TRUE(sorting.bSorted);
        EXPECT_TRUE(sorting.Sorter().IsRandomised());
        Bytes randomised = bytes;
        RandomiseBytes(randomised.data(), n);
        EXPECT_EQ(randomised, sorting.BlockBytes());
        EXPECT_EQ(randomised, sorting.Unsorted());
        EXPECT_TRUE(sorting.IsInOrder());
        bool used[256] = {};
        for (const uint8_t ch : randomised) used[ch] = true;
        EXPECT_TRUE(std::equal(std::begin(used), std::end(used), sorting.used));
        EXPECT_EQ(4, std::count(std::begin(used), std::end(used), true));
    }
}

// Two of the three bytes the pivot is chosen from are always the smallest left, so each range of the stack
// leaves one that is nearly as long: first by the byte at depth 2, then by the next. Needs 1010 places.
Bytes StackOverflow() {
    constexpr size_t kRecords = 1100;
    Bytes block;
    for (size_t i = 0; i < kRecords; ++i)
        for (const uint8_t ch : Bytes{9, 8, 255, 255, 20, 8, 20, 8, 20, 8, 20, 8}) block.push_back(ch);
    constexpr size_t kRecordBytes = 12;
    std::vector<size_t> records(kRecords);  // in the order the bucket is filled: the last first
    std::iota(records.rbegin(), records.rend(), size_t{0});
    size_t lo = 0;
    for (size_t nDepth = 2; nDepth <= 3; ++nDepth)
        for (unsigned value = 0; value < 255 && kRecords - lo > 40; ++value, lo += 2) {
            const size_t hi = kRecords - 1, middle = (lo + hi) / 2;
            block[records[lo] * kRecordBytes + nDepth] = static_cast<uint8_t>(value);
            block[records[middle] * kRecordBytes + nDepth] = static_cast<uint8_t>(value);
            records[middle] = records[hi];  // where partitioning leaves the two it moves
            records[hi] = records[lo + 1];
        }
    return block;
}

TEST(BlockSorterTest, AnOverflowOfTheRangeStackIsAnError) { EXPECT_FALSE(Sorting(StackOverflow()).bSorted); }

TEST(BlockSorterTest, AnOverflowFailsTheWholeCompression) {
    EXPECT_EQ(Bytes(), Compress(Unfiltered(StackOverflow(), 16), 16));
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
        Bytes bytes = row.sorted;
        uint32_t counts[256] = {};
        for (const uint8_t ch : bytes) ++counts[ch];
        const auto arrays = std::make_unique<BlockUnsortArrays>();
        UnsortBlock(bytes.data(), nCount, row.iOrigin, counts, *arrays);
        EXPECT_EQ(expected, bytes);
    }
}

}  // namespace
}  // namespace Kestrova::Test
