#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <utility>

#include "codec/MoveToFront.h"
#include "codec/RecentBytes.h"
#include "tests/codec/CodecTestSupport.h"
#include "tests/support/WaveStreamBuilder.h"

namespace Kestrova::Test {
namespace {

struct SymbolCase {
    const char* pszWhy;
    const char* pszSorted;
    std::vector<uint16_t> symbols;
};

// The bytes before the rotations are laid out so that rotation i is preceded by byte i of the text.
std::vector<uint16_t> SymbolsOf(const std::string& strSorted, SymbolList& list,
                                std::vector<uint16_t>& storage) {
    Bytes block(strSorted.begin(), strSorted.end());
    std::vector<uint32_t> order(block.size());
    std::iota(order.begin(), order.end(), 0u);
    bool used[256] = {};
    for (const uint8_t ch : block) used[ch] = true;
    storage.assign(block.size() + 1, 0xFFFF);
    list = generateMTFValues(order, block.data() + 1, used, storage.data());
    return {list.symbols.begin(), list.symbols.end()};
}

TEST(GenerateMTFValuesTest, CodesRunsOfTheFrontByteAndEndsTheBlock) {
    const SymbolCase cases[] = {
        {"one byte used", "a", {0, 2}},
        {"runs 1 to 7 are A, B, AA, BA, AB, BB, AAA", "aaaaaaa", {0, 0, 0, 2}},
        {"a run of 4", "aaaa", {1, 0, 2}},
        {"no run", "ba", {2, 2, 3}},
        {"a run inside", "abbba", {0, 2, 1, 2, 3}},
        {"a run at the end", "baa", {2, 2, 0, 3}},
        {"higher indices", "cba", {3, 3, 3, 4}},
    };
    for (const SymbolCase& row : cases) {
        SCOPED_TRACE(row.pszWhy);
        SymbolList list;
        std::vector<uint16_t> storage;
        EXPECT_EQ(row.symbols, SymbolsOf(row.pszSorted, list, storage));
        EXPECT_EQ(row.symbols.back() + 1u, list.nAlphabet);
    }
}

std::vector<uint16_t> SymbolsByList(const std::string& strSorted, RecentBytes list) {
    std::vector<uint16_t> symbols;
    uint64_t nRun = 0;
    const auto endRun = [&] {
        for (const unsigned symbol : RunSymbols(std::exchange(nRun, 0)))
            symbols.push_back(static_cast<uint16_t>(symbol));
    };
    for (const char c : strSorted) {
        const auto ch = static_cast<uint8_t>(c);
        if (ch == list.Front()) {
            ++nRun;
            continue;
        }
        endRun();
        symbols.push_back(static_cast<uint16_t>(list.Find(ch) + 1));
    }
    endRun();
    symbols.push_back(static_cast<uint16_t>(list.GetCount() + 1));
    return symbols;
}

// The places are kept in a table for all byte values at once; the list is searched for one.
TEST(GenerateMTFValuesTest, EqualsTheListForAnyNumberOfValues) {
    for (const unsigned nValues : {1u, 2u, 15u, 16u, 17u, 100u, 255u, 256u})
        for (const unsigned nLongestRun : {1u, 9u}) {
            SCOPED_TRACE(nValues);
            std::string strSorted;
            bool used[256] = {};
            for (const uint8_t number : Noise(5000, nValues)) {
                const auto ch = static_cast<uint8_t>(255 - number % nValues);
                strSorted.append(1 + number % nLongestRun, static_cast<char>(ch));
                used[ch] = true;
            }
            SymbolList list;
            std::vector<uint16_t> storage;
            EXPECT_EQ(SymbolsByList(strSorted, RecentBytes::OfUsed(used)),
                      SymbolsOf(strSorted, list, storage));
        }
}

TEST(GenerateMTFValuesTest, CountsEverySymbol) {
    SymbolList list;
    std::vector<uint16_t> storage;
    const std::vector<uint16_t> symbols = SymbolsOf("mississippi", list, storage);
    for (unsigned symbol = 0; symbol < WaveFormat::kMaxAlphabet; ++symbol)
        EXPECT_EQ(static_cast<uint32_t>(std::count(symbols.begin(), symbols.end(), symbol)),
                  list.frequencies[symbol]);
}

}  // namespace
}  // namespace Kestrova::Test
