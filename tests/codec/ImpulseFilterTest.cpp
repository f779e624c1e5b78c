#include <gtest/gtest.h>

#include "codec/ImpulseFilter.h"
#include "tests/codec/CodecTestSupport.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

TEST(ImpulseFilterTest, WorkedCases) {
    for (const auto& row : LoadVectors("filter.json")) {
        SCOPED_TRACE(row.dump());
        const unsigned bits = row["bits"];
        const Bytes samples = HexBytes(row["samples"]), filtered = HexBytes(row["filtered"]);
        EXPECT_EQ(filtered, Filtered(samples, bits));
        EXPECT_EQ(samples, Unfiltered(filtered, bits));
    }
}

struct FilterCase {
    const char* pszWhy;
    unsigned bits;
    const char* pszSamples;
    const char* pszFiltered;
};
constexpr FilterCase kCases[] = {
    {"16 bits wrap as a whole", 16, "01000000ffff", "0100ffffffff"},
    {"24 bits wrap lane by lane, without carries", 24, "010203000000ffffff", "010203fffefdffffff"},
    {"32 bits wrap as a whole", 32, "0100000000000000", "01000000ffffffff"},
    {"16 bits, one byte over", 16, "05000600aa", "05000100aa"},
    {"24 bits, one byte over", 24, "0506070607080a", "0506070101010a"},
    {"24 bits, two bytes over", 24, "0506070607080a0b", "0506070101010a0b"},
    {"32 bits, three bytes over", 32, "050000000700000001aabb", "050000000200000001aabb"},
    {"the top bit of the width is ignored", 0x80000010, "05000600", "05000100"},
};
// Q52

// Q52
TEST(ImpulseFilterTest, FiltersAndUndoes) {
    for (const FilterCase& row : kCases) {
        SCOPED_TRACE(row.pszWhy);
        EXPECT_EQ(HexBytes(row.pszFiltered), Filtered(HexBytes(row.pszSamples), row.bits));
        EXPECT_EQ(HexBytes(row.pszSamples), Unfiltered(HexBytes(row.pszFiltered), row.bits));
    }
}

TEST(ImpulseFilterTest, WorksAtAnyAddress) {
    const Bytes samples = Noise(97);
    for (const unsigned bits : {16u, 24u, 32u})
        for (size_t nOffset = 0; nOffset < 8; ++nOffset) {
            Bytes shifted(nOffset, 0);
            shifted.insert(shifted.end(), samples.begin(), samples.end());
            ASSERT_TRUE(ApplyImpulse(bits, shifted.data() + nOffset, samples.size()));
            EXPECT_EQ(Filtered(samples, bits),
                      Bytes(shifted.begin() + static_cast<long>(nOffset), shifted.end()));
            ASSERT_TRUE(UndoImpulse(bits, shifted.data() + nOffset, samples.size()));
            EXPECT_EQ(samples, Bytes(shifted.begin() + static_cast<long>(nOffset), shifted.end()));
        }
}

TEST(ImpulseFilterTest, OtherWidthsAndNoMemoryAreRefused) {
    for (const unsigned bits :
         {0u, 1u, 7u, 8u, 12u, 15u, 17u, 20u, 23u, 25u, 31u, 33u, 64u, 0x80000000u, 0x80000008u}) {
        SCOPED_TRACE(bits);
        Bytes samples = Noise(12);
        EXPECT_FALSE(ApplyImpulse(bits, samples.data(), samples.size()));
        EXPECT_FALSE(UndoImpulse(bits, samples.data(), samples.size()));
        EXPECT_EQ(Noise(12), samples);
    }
    EXPECT_FALSE(ApplyImpulse(16, nullptr, 0));
    EXPECT_FALSE(UndoImpulse(16, nullptr, 0));
}

}  // namespace
}  // namespace Kestrova::Test
