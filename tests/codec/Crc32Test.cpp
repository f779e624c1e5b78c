#include <gtest/gtest.h>

#include "codec/Crc32.h"
#include "tests/codec/CodecTestSupport.h"
#include "tests/support/WaveStreamBuilder.h"

namespace Kestrova::Test {
namespace {

TEST(Crc32Test, ChecksTheStandardTextMostSignificantBitFirst) {
    const Bytes text{'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(0xFC891918u, ~UpdateCrc(kCrcStart, text.data(), text.size()));
}

TEST(Crc32Test, NothingLeavesTheStart) { EXPECT_EQ(0u, ~UpdateCrc(kCrcStart, nullptr, 0)); }

TEST(Crc32Test, EveryLengthAndSplitEqualsTheBitwiseSum) {
    for (size_t n = 0; n <= 40; ++n) {
        const Bytes bytes = Noise(n, 7);
        for (size_t nFirst = 0; nFirst <= n; ++nFirst) {
            const uint32_t crc = UpdateCrc(kCrcStart, bytes.data(), nFirst);
            EXPECT_EQ(SlowCrc(bytes), ~UpdateCrc(crc, bytes.data() + nFirst, n - nFirst))
                << n << " " << nFirst;
        }
    }
}

TEST(Crc32Test, CombiningRotatesLeftThenFoldsTheBlockIn) {
    EXPECT_EQ(0x12345678u, CombineCrc(0, 0x12345678u));
    EXPECT_EQ(0x00000003u ^ 0xF0u, CombineCrc(0x80000001u, 0xF0u));
}

}  // namespace
}  // namespace Kestrova::Test
