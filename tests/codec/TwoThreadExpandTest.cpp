#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "codec/BlockReader.h"
#include "codec/RawExpand.h"
#include "tests/codec/HandMadeStreams.h"
#include "tests/support/PosixFaults.h"

namespace Kestrova::Test {
namespace {

Bytes ExpandOnTwoThreads(const Bytes& stream, unsigned bits, unsigned long nSize) {
    StreamBuffer in(stream.data(), stream.size()), out;
    CRawExpand(&in, &out, bits, nSize, 2);
    return BytesOf(out);
}

// Refused or not, the result is that of one thread. True: it was not refused.
bool ExpandsAsOnOneThread(const Bytes& stream, unsigned long nSize) {
    const Bytes wave = Expand(stream, 16, nSize);
    EXPECT_TRUE(wave == ExpandOnTwoThreads(stream, 16, nSize)) << stream.size();
    return !wave.empty();
}

constexpr size_t kBlocks = 5;
Bytes BlockText(size_t i) { return NoiseWithoutRuns(20 + i, static_cast<uint32_t>(i)); }

Bytes SmallBlocks() {
    WaveStreamBuilder stream;
    for (size_t i = 0; i < kBlocks; ++i) stream.Block(MakeBlock(BlockText(i)));
    return stream.End().Finish();
}
size_t SmallBlocksSize() {
    size_t n = 0;
    for (size_t i = 0; i < kBlocks; ++i) n += BlockText(i).size();
    return n;
}

TEST(TwoThreadExpandTest, WavesOfSeveralBlocksAreTheSame) {
    for (const Bytes& wave : {Noise(1), Noise(899999), Noise(2000001), Periodic(3000000, 2000)})
        EXPECT_TRUE(wave == ExpandOnTwoThreads(BlackBoxCompress(Filtered(wave, 24)), 24, wave.size()))
            << wave.size();
}

TEST(TwoThreadExpandTest, ASmallerOrLargerSizeIsTreatedAsOnOneThread) {
    const Bytes stream = SmallBlocks();
    const size_t nSize = SmallBlocksSize();
    for (size_t n = 1; n <= nSize; ++n) EXPECT_TRUE(ExpandsAsOnOneThread(stream, n)) << n;
    EXPECT_FALSE(ExpandsAsOnOneThread(stream, nSize + 1));
}

TEST(TwoThreadExpandTest, EveryCutEndsAsOnOneThread) {
    const Bytes stream = SmallBlocks();
    for (size_t n = 1; n < stream.size(); ++n)
        EXPECT_FALSE(ExpandsAsOnOneThread(Bytes(stream.begin(), stream.begin() + static_cast<long>(n)),
                                          SmallBlocksSize()))
            << n;
}

TEST(TwoThreadExpandTest, EveryFlippedBitEndsAsOnOneThread) {
    const Bytes stream = SmallBlocks();
    for (size_t iBit = 0; iBit < stream.size() * 8; iBit += 3) {
        Bytes damaged = stream;
        damaged[iBit / 8] ^= static_cast<uint8_t>(0x80 >> iBit % 8);
        ExpandsAsOnOneThread(damaged, SmallBlocksSize());
    }
}

struct CodedBlock {
    HandMadeBlock block;
    size_t nSize;  // of what it expands to
};

// A sound block whose coded symbols are these bytes: every byte is the code of a symbol. Byte 255 ends a
// block.
CodedBlock BlockCodedAs(const Bytes& codes) {
    constexpr unsigned kValues = 254;
    Bytes list(kValues), sorted;
    for (unsigned i = 0; i < kValues; ++i) list[i] = static_cast<uint8_t>(i);
    uint32_t nWeight = 1;
    for (const uint8_t symbol : codes) {
        const bool bRun = symbol <= 1;
        const unsigned iPlace = bRun ? 0 : symbol - 1u;
        std::rotate(list.begin(), list.begin() + iPlace, list.begin() + iPlace + 1);
        sorted.insert(sorted.end(), bRun ? nWeight << symbol : 1, list[0]);
        nWeight = bRun ? 2 * nWeight : 1;
    }
    Bytes coded = sorted;
    uint32_t counts[256] = {};
    for (const uint8_t ch : sorted) ++counts[ch];
    const auto arrays = std::make_unique_for_overwrite<BlockUnsortArrays>();
    UnsortBlockPlainly(coded.data(), static_cast<uint32_t>(coded.size()), 0, counts, *arrays);
    const Bytes expanded = UndoRuns(coded);
    HandMadeBlock block = MakeBlockOfSorted(sorted, 0, expanded);
    block.used.clear();
    for (unsigned i = 0; i < kValues; ++i) block.used.push_back(static_cast<uint8_t>(i));
    block.lengths.assign(2, std::vector<int>(kValues + 2, 8));
    block.startLengths.clear();
    block.symbols.assign(codes.begin(), codes.end());
    block.symbols.push_back(255);
    block.selectors.assign(block.symbols.size() / 50 + 1, 0);
    block.nSelectors = static_cast<unsigned>(block.selectors.size());
    return {block, expanded.size()};
}

const Bytes kMagic{0x31, 0x41, 0x59, 0x26, 0x53, 0x59};

// Expanded in front of, between and behind sound blocks, a block that holds a magic by chance does no harm.
void ExpectNoHarmBy(const Bytes& codes) {
    const auto [chance, nSize] = BlockCodedAs(codes);
    const HandMadeBlock text = MakeBlock(kText);
    for (const std::vector<const HandMadeBlock*>& order :
         std::vector<std::vector<const HandMadeBlock*>>{{&chance},
                                                        {&chance, &text},
                                                        {&text, &chance},
                                                        {&text, &chance, &text, &text},
                                                        {&chance, &chance, &text, &chance, &chance}}) {
        WaveStreamBuilder stream;
        size_t nAll = 0;
        for (const HandMadeBlock* pBlock : order) {
            stream.Block(*pBlock);
            nAll += pBlock == &text ? kText.size() : nSize;
        }
        EXPECT_TRUE(ExpandsAsOnOneThread(stream.End().Finish(), nAll)) << order.size();
    }
}

TEST(TwoThreadExpandTest, AMagicInsideABlockIsNoBlock) {
    Bytes codes{9, 8, 7};
    codes.insert(codes.end(), kMagic.begin(), kMagic.end());
    codes.insert(codes.end(), {5, 77, 200});
    ExpectNoHarmBy(codes);
}

TEST(TwoThreadExpandTest, AMagicInsideABlockIsFoundAndPassedOver) {
    Bytes codes{9, 8, 7};
    codes.insert(codes.end(), kMagic.begin(), kMagic.end());
    const Bytes stream =
        WaveStreamBuilder().Block(BlockCodedAs(codes).block).Block(MakeBlock(kText)).End().Finish();
    BitReader in(stream.data(), stream.size());
    in.bsR(WaveFormat::kMagicBits);
    const auto inside = FindBlockMagic(in);
    ASSERT_TRUE(inside);
    const auto next = FindBlockMagic(*inside);
    ASSERT_TRUE(next);
    EXPECT_FALSE(FindBlockMagic(*next));
}

TEST(TwoThreadExpandTest, AWholeSoundBlockInsideABlockIsNoBlock) {
    for (uint32_t nSeed = 1;; ++nSeed) {
        ASSERT_LT(nSeed, 20000u) << "no block without a byte 255";
        const Bytes inner =
            WaveStreamBuilder().Block(MakeBlock(NoiseWithoutRuns(3, nSeed))).Bits(16, 0x0505).Finish();
        if (std::count(inner.begin(), inner.end(), 255) == 0) return ExpectNoHarmBy(inner);
    }
}

TEST(TwoThreadExpandTest, AMagicIsFoundAtEveryBit) {
    for (unsigned nBefore = 0; nBefore < 40; ++nBefore) {
        WaveStreamBuilder stream;
        for (unsigned i = 0; i < nBefore; ++i) stream.Bits(1, 0);
        const Bytes bytes =
            stream.Bits(48, WaveFormat::kBlockMagic).Bits(32, 0x12345678).Bits(32, 0).Finish();
        const auto found = FindBlockMagic(BitReader(bytes.data(), bytes.size()));
        ASSERT_TRUE(found) << nBefore;
        EXPECT_EQ(0x12345678u, BitReader(*found).bsGet32());
        EXPECT_EQ(static_cast<int64_t>(bytes.size() * 8 - nBefore - 48), found->GetBitsLeft());
    }
}

TEST(TwoThreadExpandTest, NoMagicIsFoundWhereOneBitIsWrong) {
    for (unsigned iBit = 0; iBit < 48; ++iBit) {
        const Bytes bytes = WaveStreamBuilder()
                                .Bits(5, 0)
                                .Bits(48, WaveFormat::kBlockMagic ^ uint64_t{1} << iBit)
                                .Bits(59, 0)
                                .Finish();
        EXPECT_FALSE(FindBlockMagic(BitReader(bytes.data(), bytes.size()))) << iBit;
    }
    EXPECT_FALSE(FindBlockMagic(BitReader(nullptr, 0)));
    EXPECT_FALSE(FindBlockMagic(BitReader(kMagic.data(), kMagic.size())));
}

TEST(TwoThreadExpandTest, WithoutMemoryForTheFirstNothingIsTouched) {
    const Bytes stream = SmallBlocks();
    StreamBuffer in(stream.data(), stream.size()), out;
    const NoLargeMemory noMemory;
    EXPECT_TRUE(CRawExpand(&in, &out, 16, SmallBlocksSize(), 2).RanOutOfMemory());
    EXPECT_EQ(0u, out.GetSize());
}

// Each thread asks for memory, and there is one for every second block.
TEST(TwoThreadExpandTest, ASecondThreadReadsEverySecondBlock) {
    const auto allocations = [](const Bytes& stream, size_t nSize, unsigned nThreads) {
        constexpr int kNever = 1000000;
        StreamBuffer in(stream.data(), stream.size()), out;
        const PosixFault counted("_Znwm", ENOMEM, kNever);
        CRawExpand(&in, &out, 16, nSize, nThreads);
        return counted.Calls();
    };
    const Bytes one = WaveStreamBuilder().Block(MakeBlock(BlockText(0))).End().Finish();
    const Bytes five = SmallBlocks();
    for (const unsigned nThreads : {1u, 2u})
        EXPECT_EQ(nThreads == 1 ? 0 : 2, allocations(five, SmallBlocksSize(), nThreads) -
                                             allocations(one, BlockText(0).size(), nThreads));
}

TEST(TwoThreadExpandTest, WithoutMemoryForASecondThreadOneDoesAll) {
    const Bytes stream = SmallBlocks();
    const size_t nSize = SmallBlocksSize();
    const Bytes expected = Expand(stream, 16, nSize);
    int nWhole = 0;
    bool bAllFailed = false;
    for (int nNth = 1; !bAllFailed; ++nNth) {
        StreamBuffer in(stream.data(), stream.size()), out;
        bool bNoMemory = false;
        {
            const PosixFault fault("_Znwm", ENOMEM, nNth);
            bNoMemory = CRawExpand(&in, &out, 16, nSize, 2).RanOutOfMemory();
            bAllFailed = fault.Calls() < nNth;
        }
        EXPECT_TRUE(BytesOf(out) == (bNoMemory ? Bytes() : expected)) << nNth;
        if (!bAllFailed && !bNoMemory) ++nWhole;
    }
    EXPECT_LT(0, nWhole);  // a thread asks for memory, and is done without
}

}  // namespace
}  // namespace Kestrova::Test
