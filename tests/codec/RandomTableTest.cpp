#include <gtest/gtest.h>

#include <numeric>

#include "codec/RandomTable.h"
#include "codec/WaveFormat.h"
#include "tests/codec/CodecTestSupport.h"
#include "tests/support/WaveStreamBuilder.h"

namespace Kestrova::Test {
namespace {

// The countdown as the format tells it, byte by byte.
Bytes RandomisedSlowly(Bytes bytes) {
    size_t iNumber = 0;
    int nCountdown = 0;
    for (uint8_t& ch : bytes) {
        if (nCountdown == 0) {
            nCountdown = rNums[iNumber];
            if (++iNumber == 512) iNumber = 0;
        }
        --nCountdown;
        if (nCountdown == 1) ch ^= 1;
    }
    return bytes;
}

Bytes Randomised(Bytes bytes) {
    RandomiseBytes(bytes.data(), bytes.size());
    return bytes;
}

TEST(RandomTableTest, ChangesTheByteAtWhichTheCountdownReachesOne) {
    for (const size_t n : {0u, 1u, 617u, 618u, 619u, 1336u, 1337u, 1338u, 900000u}) {
        SCOPED_TRACE(n);
        EXPECT_EQ(RandomisedSlowly(Bytes(n, 0x20)), Randomised(Bytes(n, 0x20)));
    }
}

TEST(RandomTableTest, TheSecondTimeUndoesTheFirst) {
    EXPECT_EQ(Noise(5000), Randomised(Randomised(Noise(5000))));
}

// A block of two bytes by turns, larger than the whole table three times over. Sorted, it is all of one byte
// and then all of the other; unsorted and derandomised it shows every place the table selects.
TEST(RandomTableTest, TheBlackBoxSelectsTheSamePlaces) {
    constexpr size_t kSize = WaveFormat::kBlockSize;
    ASSERT_GT(kSize, 3u * std::accumulate(std::begin(rNums), std::end(rNums), 0u));
    Bytes sorted(kSize, 0x10), plain(kSize);
    std::fill_n(sorted.begin(), kSize / 2, uint8_t{0x20});
    for (size_t i = 0; i < kSize; ++i) plain[i] = i % 2 == 0 ? 0x10 : 0x20;
    HandMadeBlock block = MakeBlockOfSorted(sorted, 0, Randomised(plain));
    block.bRandomised = true;
    EXPECT_EQ(Randomised(plain), BlackBoxExpand(StreamOf(block), kSize));
    EXPECT_EQ(Unfiltered(Randomised(plain), 16), Expand(StreamOf(block), 16, kSize));
}

}  // namespace
}  // namespace Kestrova::Test
