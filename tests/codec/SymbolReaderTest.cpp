#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "codec/SymbolReader.h"
#include "tests/codec/HandMadeStreams.h"

namespace Kestrova::Test {
namespace {

struct Storage {
    SymbolReaderArrays symbols;
    SortedBlock block;
};

// Reads the block from the byte-use map on. False: refused.
bool ReadBlock(const HandMadeBlock& handMade, Storage& storage) {
    const Bytes stream = WaveStreamBuilder().Block(handMade).Finish();
    BitReader in(stream.data(), stream.size());
    in.bsR(WaveFormat::kMagicBits);
    in.bsGet32();
    in.bsR(WaveFormat::kRandomisedBits + WaveFormat::kOriginBits);
    return SymbolReader(in, storage.symbols, storage.block).getAndMoveToFrontDecode();
}

void ExpectReadBack(const Bytes& sorted) {
    const auto storage = std::make_unique<Storage>();
    ASSERT_TRUE(ReadBlock(MakeBlockOfSorted(sorted, 0, {}), *storage)) << sorted.size();
    const SortedBlock& block = storage->block;
    ASSERT_EQ(sorted, Bytes(block.bytes, block.bytes + block.nCount));
    for (unsigned ch = 0; ch < 256; ++ch)
        ASSERT_EQ(static_cast<uint32_t>(std::count(sorted.begin(), sorted.end(), ch)), block.counts[ch]);
}

// Runs of every length from 1 to nLongest, of changing bytes.
Bytes Runs(size_t nLongest) {
    Bytes bytes;
    for (size_t n = 1; n <= nLongest; ++n) bytes.insert(bytes.end(), n, static_cast<uint8_t>(n % 11 * 23));
    return bytes;
}

TEST(SymbolReaderTest, ReadsRunsOfEveryLength) {
    for (size_t n = 1; n <= 300; ++n) ExpectReadBack(Bytes(n, 7));
    ExpectReadBack(Runs(300));
}

TEST(SymbolReaderTest, ReadsBytesInAnyOrder) {
    for (const size_t n : {1u, 2u, 49u, 50u, 51u, 1000u}) ExpectReadBack(Noise(n));
    for (const size_t nPeriod : {1u, 2u, 8u, 9u, 17u, 255u}) ExpectReadBack(Periodic(2000, nPeriod));
}

TEST(SymbolReaderTest, ReadsTheLargestBlockToItsLastByte) {
    ExpectReadBack(Bytes(WaveFormat::kBlockSize, 200));
    Bytes sorted(WaveFormat::kBlockSize, 9);
    for (size_t i = 0; i < 40; ++i) sorted.end()[-1 - static_cast<long>(i)] = static_cast<uint8_t>(i);
    ExpectReadBack(sorted);
}

TEST(SymbolReaderTest, OneByteMoreThanTheLargestBlockIsRefused) {
    Bytes sorted(WaveFormat::kBlockSize + 1, 200);
    const auto storage = std::make_unique<Storage>();
    EXPECT_FALSE(ReadBlock(MakeBlockOfSorted(sorted, 0, {}), *storage));
    sorted.back() = 9;
    EXPECT_FALSE(ReadBlock(MakeBlockOfSorted(sorted, 0, {}), *storage));
}

}  // namespace
}  // namespace Kestrova::Test
