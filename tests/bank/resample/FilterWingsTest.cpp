#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "bank/resample/FilterKernel.h"
#include "bank/resample/FilterWings.h"

namespace Kestrova::Test {
namespace {

// What the one instruction of every set gives: the product of 16-bit numbers, rounded at bit 15.
int RoundingHigh(int a, int b) { return (a * b + (1 << 14)) >> 15; }

// Samples around every limit of a format of nBits bits, and many between them.
std::vector<int> CriticalSamples(int nBits) {
    const int nLimit = 1 << (nBits - 1);
    std::vector<int> arSamples;
    for (const int nCentre :
         {-nLimit, -nLimit / 2, -1 << 14, -1 << 13, 0, 1 << 13, 1 << 14, nLimit / 2, nLimit})
        for (int n = nCentre - 3; n <= nCentre + 3; ++n)
            arSamples.push_back(std::clamp(n, -nLimit, nLimit - 1));
    for (int n = -nLimit; n < nLimit; n += nLimit / 128 - 1) arSamples.push_back(n);
    return arSamples;
}

// With c in -2^14 .. 2^14 - 1, as coefficients below 2^14 and what is left of greater ones lie.
TEST(FilterTermTest, ADoubledCoefficientTimesASampleIsTheTermOf16Bits) {
    for (int c = -(1 << 14); c < 1 << 14; ++c)
        for (const int x : CriticalSamples(16)) {
            const int nTerm = static_cast<int>(FilterTerm<Mono16>(c, x));
            ASSERT_EQ(nTerm, RoundingHigh(2 * c, x)) << c << " * " << x;
            const bool bNever = 2 * c == INT16_MIN && x == INT16_MIN;
            ASSERT_TRUE(bNever || nTerm == static_cast<int16_t>(nTerm)) << c << " * " << x;
            ASSERT_EQ(static_cast<int>(FilterTerm<Mono16>(c + (1 << 14), x)), nTerm + x) << c << " * " << x;
        }
}

TEST(FilterTermTest, HighAndLowPartsGiveTheTermOf24Bits) {
    for (int c = INT16_MIN; c <= INT16_MAX; ++c)
        for (const int x : CriticalSamples(24)) {
            const int nHigh = x >> 14;
            const int nLow = (x & 0x3FFF) * 2;
            ASSERT_EQ(static_cast<int>(FilterTerm<Mono24>(c, x)), c * nHigh + RoundingHigh(c, nLow))
                << c << " * " << x;
        }
}

struct Filter {
    bool bLargeTable;
    bool bInterpolate;
    int (*pCoefficient)(int h);
};
constexpr Filter kFilters[] = {{false, false, Coefficient<SmallTable, false>},
                               {false, true, Coefficient<SmallTable, true>},
                               {true, false, Coefficient<LargeTable, false>},
                               {true, true, Coefficient<LargeTable, true>}};

// The coefficient that entry k of the row of place h stands for.
int Meaning(const FilterWings& wings, int h, int k, int nEntry) {
    if (!wings.bDoubled) return nEntry;
    const bool bGreat = k < wings.nGreatTaps - (h > wings.nGreatLimit ? 1 : 0);
    return nEntry / 2 + (bGreat ? 1 << 14 : 0);
}

void ExpectWing(const Filter& filter, const FilterWings& wings, int h, int nEntries, const int16_t* pRow) {
    for (int k = 0; k < wings.nRowTaps; ++k) {
        const int hTap = h + k * wings.nTableStep;
        const int nExpected = hTap < nEntries << 7 ? filter.pCoefficient(hTap) : 0;
        ASSERT_EQ(nExpected, Meaning(wings, h, k, pRow[k])) << "place " << h << ", tap " << k;
        // A term of 16 bits fits unless both factors are -2^15.
        ASSERT_TRUE(!wings.bDoubled || pRow[k] != INT16_MIN) << "place " << h << ", tap " << k;
    }
}

// Every place of steps around the limits, with few and many great taps.
TEST(FilterWingsTest, ReadyRowsHoldTheCoefficientsOfEveryPlace) {
    for (const Filter& filter : kFilters)
        for (const int nSampleBits : {16, 24})
            for (const int nTableStep : {32768, 32767, 22016, 22015, 15053, 1024}) {
                const FilterWings wings =
                    MakeFilterWings(filter.bLargeTable, filter.bInterpolate, nTableStep, nSampleBits);
                const auto pTable = WingTable::Make(wings);
                ASSERT_NE(nullptr, pTable);
                for (int h = 0; h <= nTableStep; ++h) {
                    const ptrdiff_t nRow = ptrdiff_t{h} * wings.nRowTaps;
                    ASSERT_NO_FATAL_FAILURE(
                        ExpectWing(filter, wings, h, wings.nEntries, pTable->Wings().pReadyLeft + nRow));
                    ASSERT_NO_FATAL_FAILURE(
                        ExpectWing(filter, wings, h, wings.nEntries - 1, pTable->Wings().pReadyRight + nRow));
                }
            }
}

TEST(FilterWingsTest, BothSidesOfTheLongFilterShareTheirRows) {
    for (const bool bLargeTable : {false, true}) {
        const auto pTable = WingTable::Make(MakeFilterWings(bLargeTable, true, 32768, 16));
        ASSERT_NE(nullptr, pTable);
        EXPECT_EQ(bLargeTable, pTable->Wings().pReadyLeft == pTable->Wings().pReadyRight);
    }
}

TEST(FilterWingsTest, RowsLieOnCacheLines) {
    const auto pTable = WingTable::Make(MakeFilterWings(false, true, 20000, 16));
    ASSERT_NE(nullptr, pTable);
    EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(pTable->Wings().pReadyLeft) % 64);
    EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(pTable->Wings().pReadyRight) % 64);
}

}  // namespace
}  // namespace Kestrova::Test
