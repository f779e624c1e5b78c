#include <gtest/gtest.h>

#include "codec/SymbolWriter.h"
#include "tests/codec/CodecTestSupport.h"

namespace Kestrova::Test {
namespace {

// n symbols of an alphabet of one used byte: runs, then the end of the block.
struct Written {
    explicit Written(size_t n) {
        std::vector<uint16_t> symbols(n, WaveFormat::kRunA);
        symbols.back() = 2;
        SymbolList block;
        block.symbols = symbols;
        block.nAlphabet = 3;
        block.frequencies[0] = static_cast<uint32_t>(n - 1);
        block.frequencies[2] = 1;
        bool used[256] = {};
        used[0x12] = true;
        StreamBuffer buffer;
        Bytes staging(WaveFormat::kStagingSize), selectors(WaveFormat::kMaxSelectors);
        StagedOutput output(buffer, staging.data());
        BitWriter out(output);
        bDone = SymbolWriter(out, selectors.data()).sendMTFValues(block, used);
        out.bsFinishedWithStream();
        bytes = BytesOf(buffer);
    }

    unsigned Field(size_t nStart, unsigned nBits) const {
        unsigned nValue = 0;
        for (size_t i = nStart; i < nStart + nBits; ++i)
            nValue = nValue << 1 | (unsigned{bytes[i / 8]} >> (7 - i % 8) & 1u);
        return nValue;
    }
    unsigned Tables() const { return Field(32, 3); }
    unsigned Selectors() const { return Field(35, 15); }

    bool bDone = false;
    Bytes bytes;
};

TEST(SymbolWriterTest, WritesTheByteUseMapFirst) {
    const Written written(5);
    EXPECT_EQ(0x4000u, written.Field(0, 16));   // bytes 0x10 to 0x1F
    EXPECT_EQ(0x2000u, written.Field(16, 16));  // 0x12
}

struct CountCase {
    size_t nSymbols;
    unsigned nTables, nSelectors;
};
constexpr CountCase kCounts[] = {
    {2, 2, 1},    {50, 2, 1},   {51, 2, 2},   {199, 2, 4},        {200, 4, 4},
    {799, 4, 16}, {800, 6, 16}, {801, 6, 17}, {900001, 6, 18001}, {900100, 6, 18002},
};

TEST(SymbolWriterTest, TheNumberOfSymbolsDecidesTablesAndSelectors) {
    for (const CountCase& row : kCounts) {
        SCOPED_TRACE(row.nSymbols);
        const Written written(row.nSymbols);
        ASSERT_TRUE(written.bDone);
        EXPECT_EQ(row.nTables, written.Tables());
        EXPECT_EQ(row.nSelectors, written.Selectors());
    }
}

TEST(SymbolWriterTest, MoreSelectorsThanAStreamHoldsAreRefused) {
    const Written written(900101);
    EXPECT_FALSE(written.bDone);
    EXPECT_EQ(Bytes(), written.bytes);
}

}  // namespace
}  // namespace Kestrova::Test
