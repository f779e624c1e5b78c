#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "codec/RotationSort.h"
#include "tests/codec/CodecTestSupport.h"

namespace Kestrova::Test {
namespace {

template <class TSymbol>
using Text = std::vector<TSymbol>;

template <class TSymbol>
struct Sorted {
    explicit Sorted(const Text<TSymbol>& text) : order(text.size()) {
        std::vector<uint32_t> scratch(std::max<size_t>(text.size(), size_t{2} << (8 * sizeof(TSymbol))));
        nCopies = SortRotations(std::span<const TSymbol>(text), order.data(), scratch.data());
    }

    std::vector<uint32_t> order;
    uint32_t nCopies;
};

template <class TSymbol>
Text<TSymbol> Rotation(const Text<TSymbol>& text, size_t iStart) {
    Text<TSymbol> rotation = text;
    std::rotate(rotation.begin(), rotation.begin() + static_cast<std::ptrdiff_t>(iStart), rotation.end());
    return rotation;
}

// Every rotation is there, in order, and the equal ones are as many as was said.
template <class TSymbol>
void ExpectSorted(const Text<TSymbol>& text) {
    const Sorted<TSymbol> sorted(text);
    std::vector<uint32_t> all = sorted.order, numbers(text.size());
    std::sort(all.begin(), all.end());
    std::iota(numbers.begin(), numbers.end(), 0u);
    ASSERT_EQ(numbers, all);
    for (size_t i = 1; i < text.size(); ++i) {
        const Text<TSymbol> before = Rotation(text, sorted.order[i - 1]),
                            after = Rotation(text, sorted.order[i]);
        if (i % sorted.nCopies == 0)
            ASSERT_LT(before, after) << i;
        else
            ASSERT_EQ(before, after) << i;
    }
}

TEST(RotationSortTest, SortsEveryShortText) {
    for (const auto& [nLetters, nLongest] : {std::pair{2u, 12u}, {3u, 7u}})
        for (size_t n = 1, nTexts = nLetters; n <= nLongest; ++n, nTexts *= nLetters)
            for (size_t i = 0; i < nTexts; ++i) ExpectSorted(TextNumber(i, n, nLetters));
}

TEST(RotationSortTest, CountsTheEqualRotations) {
    EXPECT_EQ(1u, Sorted(Bytes{7}).nCopies);
    EXPECT_EQ(5u, Sorted(Bytes(5, 7)).nCopies);
    EXPECT_EQ(1u, Sorted(Bytes{1, 2, 3}).nCopies);
    EXPECT_EQ(2u, Sorted(Bytes{1, 2, 1, 2}).nCopies);
    EXPECT_EQ(1u, Sorted(Bytes{1, 2, 1, 2, 1}).nCopies);
    for (const size_t nPeriod : {2u, 3u, 10u, 90u}) {
        EXPECT_EQ(900 / nPeriod, Sorted(Periodic(900, nPeriod)).nCopies);
        EXPECT_EQ(1u, Sorted(Periodic(901, nPeriod)).nCopies);
    }
}

TEST(RotationSortTest, SortsLongerTextsOfManyDepths) {
    Bytes fibonacci{1}, next{1, 2};
    while (next.size() < 1000) {
        std::swap(fibonacci, next);
        next.insert(next.end(), fibonacci.begin(), fibonacci.end());
        std::rotate(next.begin(), next.end() - static_cast<std::ptrdiff_t>(fibonacci.size()), next.end());
    }
    ExpectSorted(next);
    for (const size_t nPeriod : {1u, 2u, 7u, 250u, 999u, 1000u}) ExpectSorted(Periodic(1000, nPeriod));
    ExpectSorted(Noise(1000));
}

TEST(RotationSortTest, SortsSymbolsOfSixteenBits) {
    for (const size_t nPeriod : {1u, 3u, 100u, 500u}) {
        const Bytes low = Periodic(500, nPeriod), high = Periodic(500, nPeriod, 2);
        Text<uint16_t> text;
        for (size_t i = 0; i < low.size(); ++i) text.push_back(static_cast<uint16_t>(high[i] << 8 | low[i]));
        ExpectSorted(text);
    }
    ExpectSorted(Text<uint16_t>{0xFFFF, 0, 0xFFFF, 0, 1});
}

}  // namespace
}  // namespace Kestrova::Test
