#include <gtest/gtest.h>

#include <algorithm>

#include "codec/HuffmanCodes.h"
#include "tests/support/WaveStreamBuilder.h"

namespace Kestrova::Test {
namespace {

std::vector<uint8_t> LengthsOf(const std::vector<uint32_t>& frequencies, unsigned nMaxLength = 20) {
    std::vector<uint8_t> lengths(frequencies.size());
    hbMakeCodeLengths(lengths, frequencies, nMaxLength);
    return lengths;
}

std::vector<uint32_t> Fibonacci(size_t n) {
    std::vector<uint32_t> numbers{1, 1};
    while (numbers.size() < n) numbers.push_back(numbers.end()[-1] + numbers.end()[-2]);
    return numbers;
}

double CodeSpaceUsed(const std::vector<uint8_t>& lengths) {
    double used = 0;
    for (const uint8_t nLength : lengths) used += 1.0 / static_cast<double>(1u << nLength);
    return used;
}

TEST(HuffmanLengthsTest, FrequentSymbolsGetShortCodes) {
    EXPECT_EQ((std::vector<uint8_t>{1, 2, 2}), LengthsOf({100, 20, 30}));
    EXPECT_EQ((std::vector<uint8_t>{2, 2, 2, 2}), LengthsOf({5, 5, 5, 5}));
}

TEST(HuffmanLengthsTest, AFrequencyOfZeroCountsAsOne) {
    EXPECT_EQ(LengthsOf({1, 1, 1, 50}), LengthsOf({0, 0, 0, 50}));
    EXPECT_EQ(LengthsOf({1, 7, 1, 3, 1}), LengthsOf({0, 7, 1, 3, 0}));
}

TEST(HuffmanLengthsTest, OfEquallyFrequentSubtreesTheFlatterIsJoinedFirst) {
    // 1 + 1 = 2 stands against the leaf of 2: the leaf goes first, so the tree stays flat.
    EXPECT_EQ((std::vector<uint8_t>{2, 2, 2, 2}), LengthsOf({1, 1, 2, 2}));
    EXPECT_EQ((std::vector<uint8_t>{3, 3, 2, 2, 2}), LengthsOf({1, 1, 2, 2, 2}));
}

TEST(HuffmanLengthsTest, DeepTreesAreFlattenedToTheLongestLengthAllowed) {
    for (const unsigned nMaxLength : {8u, 15u, 20u}) {
        const std::vector<uint8_t> lengths = LengthsOf(Fibonacci(26), nMaxLength);
        EXPECT_LE(*std::max_element(lengths.begin(), lengths.end()), nMaxLength);
        EXPECT_DOUBLE_EQ(1.0, CodeSpaceUsed(lengths));
    }
    EXPECT_EQ(25u, LengthsOf(Fibonacci(26), 31).front());
}

// 2 of every halved frequency's values fall together: the exact lengths pin f / 2 + 1.
TEST(HuffmanLengthsTest, FlatteningHalvesEveryFrequencyAndAddsOne) {
    std::vector<uint32_t> halved = Fibonacci(12);
    for (uint32_t& n : halved) n = n / 2 + 1;
    EXPECT_EQ(LengthsOf(halved, 31), LengthsOf(Fibonacci(12), 10));
}

TEST(HuffmanLengthsTest, TheWholeAlphabetAtTheLargestFrequencies) {
    std::vector<uint32_t> frequencies(WaveFormat::kMaxAlphabet, 0);
    frequencies[0] = 900001;
    const std::vector<uint8_t> lengths = LengthsOf(frequencies);
    EXPECT_EQ(1u, lengths[0]);
    EXPECT_DOUBLE_EQ(1.0, CodeSpaceUsed(lengths));
}

TEST(HuffmanAssignCodesTest, CodesAreCanonical) {
    uint32_t codes[6];
    const uint8_t lengths[] = {3, 2, 4, 2, 4, 3};
    ASSERT_TRUE(hbAssignCodes(codes, lengths));
    EXPECT_EQ((std::vector<uint32_t>{4, 0, 12, 1, 13, 5}), std::vector<uint32_t>(codes, codes + 6));
}

TEST(HuffmanAssignCodesTest, LengthsOutsideOneToTwentyAreRefused) {
    uint32_t codes[3];
    for (const uint8_t nLength : Bytes{0, 21, 255}) {
        const uint8_t lengths[] = {1, nLength, 2};
        EXPECT_FALSE(hbAssignCodes(codes, lengths)) << int{nLength};
    }
    const uint8_t longest[] = {1, 20, 20};
    EXPECT_TRUE(hbAssignCodes(codes, longest));
}

std::vector<unsigned> DecodeAll(const DecodeTable& table, const Bytes& bytes, size_t nCodes) {
    BitReader in(bytes.data(), bytes.size());
    std::vector<unsigned> symbols;
    for (size_t i = 0; i < nCodes; ++i) symbols.push_back(table.Decode(in));
    return symbols;
}

TEST(DecodeTableTest, EveryCodeOfEveryLengthIsRead) {
    for (unsigned nLongest = 2; nLongest <= WaveFormat::kMaxReadLength; ++nLongest) {
        SCOPED_TRACE(nLongest);
        std::vector<uint8_t> lengths;  // 1, 2, 3 ... and the longest twice: codes 0, 10, 110 ...
        for (unsigned nLength = 1; nLength <= nLongest; ++nLength)
            lengths.push_back(static_cast<uint8_t>(nLength));
        lengths.push_back(static_cast<uint8_t>(nLongest));
        DecodeTable table;
        ASSERT_TRUE(table.hbCreateDecodeTables(lengths));
        WaveStreamBuilder bits;
        std::vector<unsigned> expected;
        for (unsigned i = 0; i < lengths.size(); ++i) {
            const unsigned nCode = (1u << lengths[i]) - (i + 1 < lengths.size() ? 2 : 1);
            bits.Bits(lengths[i], nCode);
            expected.push_back(i);
        }
        EXPECT_EQ(expected, DecodeAll(table, bits.Finish(), expected.size()));
    }
}

TEST(DecodeTableTest, SymbolsOfOneLengthKeepTheirOrder) {
    DecodeTable table;
    const uint8_t lengths[] = {12, 3, 12, 3, 12, 2, 12, 1};
    ASSERT_TRUE(table.hbCreateDecodeTables(std::span(lengths).first(7)));
    // 2 bits: 5; 3 bits: 1, 3 (010, 011); 12 bits: 0, 2, 4, 6 from 1000 0000 0000 on
    const Bytes bytes = WaveStreamBuilder()
                            .Bits(2, 0)
                            .Bits(3, 2)
                            .Bits(3, 3)
                            .Bits(12, 0x800)
                            .Bits(12, 0x801)
                            .Bits(12, 0x803)
                            .Finish();
    EXPECT_EQ((std::vector<unsigned>{5, 1, 3, 0, 2, 6}), DecodeAll(table, bytes, 6));
}

TEST(DecodeTableTest, BitsThatAreNoCodeGiveNoSymbol) {
    for (const uint8_t nLength : Bytes{2, 10, 11, 23}) {
        DecodeTable table;
        const uint8_t lengths[] = {nLength, nLength, nLength};
        ASSERT_TRUE(table.hbCreateDecodeTables(lengths));
        const Bytes ones(4, 0xFF), fourth = WaveStreamBuilder().Bits(nLength, 3).Finish();
        EXPECT_EQ(DecodeTable::kNoSymbol, DecodeAll(table, ones, 1)[0]);
        EXPECT_EQ(DecodeTable::kNoSymbol, DecodeAll(table, fourth, 1)[0]);
    }
}

TEST(DecodeTableTest, LengthsOutsideOneToTwentyThreeAndOverfullSpacesAreRefused) {
    const std::vector<std::vector<uint8_t>> refused{{0, 1, 1},     {24, 1, 2},       {1, 1, 1},
                                                    {1, 2, 2, 23}, {2, 2, 2, 2, 23}, {255, 3, 3}};
    for (const auto& lengths : refused) EXPECT_FALSE(DecodeTable().hbCreateDecodeTables(lengths));
    const std::vector<std::vector<uint8_t>> accepted{{1, 2, 2}, {1, 23, 23}, {23, 23, 23}, {1, 1}};
    for (const auto& lengths : accepted) EXPECT_TRUE(DecodeTable().hbCreateDecodeTables(lengths));
}

}  // namespace
}  // namespace Kestrova::Test
