#include "tests/support/WaveStreamBuilder.h"

#include <algorithm>
#include <numeric>
#include <set>

namespace Kestrova::Test {
namespace {

constexpr size_t kGroup = 50;

Bytes RotationAt(const Bytes& bytes, size_t iStart) {
    Bytes rotation(bytes.begin() + static_cast<std::ptrdiff_t>(iStart), bytes.end());
    rotation.insert(rotation.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(iStart));
    return rotation;
}

std::vector<unsigned> MoveToFrontSymbols(const Bytes& sorted, Bytes list) {
    std::vector<unsigned> symbols;
    uint64_t nRun = 0;
    const auto flushRun = [&] {
        for (const unsigned symbol : RunSymbols(nRun)) symbols.push_back(symbol);
        nRun = 0;
    };
    for (const uint8_t ch : sorted) {
        const auto at = std::find(list.begin(), list.end(), ch);
        if (at == list.begin()) {
            ++nRun;
            continue;
        }
        flushRun();
        symbols.push_back(static_cast<unsigned>(at - list.begin()) + 1);
        std::rotate(list.begin(), at, at + 1);
    }
    flushRun();
    symbols.push_back(static_cast<unsigned>(list.size()) + 1);
    return symbols;
}

// The canonical code of each symbol; lengths that make no code give codes of no meaning.
std::vector<uint64_t> CanonicalCodes(const std::vector<int>& lengths) {
    std::vector<uint64_t> codes(lengths.size());
    uint64_t nCode = 0;
    for (int nLength = 1; nLength < 32; ++nLength, nCode *= 2)
        for (size_t i = 0; i < lengths.size(); ++i)
            if (lengths[i] == nLength) codes[i] = nCode++;
    return codes;
}

}  // namespace

std::vector<unsigned> RunSymbols(uint64_t n) {
    std::vector<unsigned> symbols;
    while (n > 0) {
        const unsigned nDigit = n % 2 == 1 ? 1 : 2;
        symbols.push_back(nDigit - 1);
        n = (n - nDigit) / 2;
    }
    return symbols;
}

Bytes UndoRuns(const Bytes& coded) {
    Bytes bytes;
    size_t nEqual = 0;
    for (size_t i = 0; i < coded.size(); ++i) {
        nEqual = nEqual > 0 && coded[i] == bytes.back() ? nEqual + 1 : 1;
        bytes.push_back(coded[i]);
        if (nEqual < 4) continue;
        if (++i < coded.size()) bytes.insert(bytes.end(), coded[i], bytes.back());
        nEqual = 0;
    }
    return bytes;
}

uint32_t SlowCrc(const Bytes& bytes) {
    uint32_t crc = 0xFFFFFFFF;
    for (const uint8_t ch : bytes)
        for (unsigned nBit = 8; nBit-- > 0;) {
            const bool bOut = (crc >> 31) != (unsigned{ch} >> nBit & 1u);
            crc = crc << 1 ^ (bOut ? 0x04C11DB7u : 0u);
        }
    return ~crc;
}

HandMadeBlock MakeBlockOfSorted(const Bytes& sorted, uint32_t iOrigin, const Bytes& expanded) {
    HandMadeBlock block;
    const std::set<uint8_t> used(sorted.begin(), sorted.end());
    block.crc = SlowCrc(expanded);
    block.iOrigin = iOrigin;
    block.used.assign(used.begin(), used.end());
    block.symbols = MoveToFrontSymbols(sorted, block.used);
    const size_t nAlphabet = used.size() + 2;
    int nLength = 1;
    while ((size_t{1} << nLength) < nAlphabet) ++nLength;
    block.lengths.assign(2, std::vector<int>(nAlphabet, nLength));
    block.selectors.assign((block.symbols.size() + kGroup - 1) / kGroup, 0);
    block.nSelectors = static_cast<unsigned>(block.selectors.size());
    return block;
}

HandMadeBlock MakeBlock(const Bytes& coded) {
    std::vector<size_t> starts(coded.size());
    std::iota(starts.begin(), starts.end(), size_t{0});
    std::stable_sort(starts.begin(), starts.end(),
                     [&](size_t a, size_t b) { return RotationAt(coded, a) < RotationAt(coded, b); });
    Bytes sorted;
    for (const size_t iStart : starts) sorted.push_back(coded[(iStart + coded.size() - 1) % coded.size()]);
    const auto iOrigin = std::find(starts.begin(), starts.end(), size_t{0}) - starts.begin();
    return MakeBlockOfSorted(sorted, static_cast<uint32_t>(iOrigin), UndoRuns(coded));
}

WaveStreamBuilder& WaveStreamBuilder::Bits(unsigned nBits, uint64_t nValue) {
    while (nBits-- > 0) m_bits.push_back((nValue >> nBits & 1) != 0);
    return *this;
}

WaveStreamBuilder& WaveStreamBuilder::Block(const HandMadeBlock& block) {
    m_crcCombined = (m_crcCombined << 1 | m_crcCombined >> 31) ^ block.crc;
    Bits(48, 0x314159265359).Bits(32, block.crc).Bits(1, block.bRandomised).Bits(24, block.iOrigin);
    ByteUse(block.used);
    Bits(3, block.nTables).Bits(15, block.nSelectors);
    for (const unsigned nOnes : block.selectors) {
        for (unsigned i = 0; i < nOnes; ++i) Bits(1, 1);
        Bits(1, 0);
    }
    for (size_t i = 0; i < block.lengths.size(); ++i) {
        const auto nFirst = static_cast<unsigned>(block.lengths[i].front());
        Lengths(block.lengths[i], i < block.startLengths.size() ? block.startLengths[i] : nFirst);
    }
    Symbols(block);
    return *this;
}

WaveStreamBuilder& WaveStreamBuilder::End() { return Bits(48, 0x177245385090).Bits(32, m_crcCombined); }

void WaveStreamBuilder::ByteUse(const Bytes& used) {
    std::vector<bool> isUsed(256);
    for (const uint8_t ch : used) isUsed[ch] = true;
    const auto anyOf = [&](std::ptrdiff_t i) {
        return std::find(isUsed.begin() + 16 * i, isUsed.begin() + 16 * (i + 1), true) !=
               isUsed.begin() + 16 * (i + 1);
    };
    for (std::ptrdiff_t i = 0; i < 16; ++i) Bits(1, anyOf(i));
    for (std::ptrdiff_t i = 0; i < 16; ++i)
        for (std::ptrdiff_t j = 0; j < 16 && anyOf(i); ++j) Bits(1, isUsed[static_cast<size_t>(16 * i + j)]);
}

void WaveStreamBuilder::Lengths(const std::vector<int>& lengths, unsigned nStart) {
    Bits(5, nStart);
    auto nLength = static_cast<int>(nStart);
    for (const int nNext : lengths) {
        for (; nLength < nNext; ++nLength) Bits(2, 2);
        for (; nLength > nNext; --nLength) Bits(2, 3);
        Bits(1, 0);
    }
}

void WaveStreamBuilder::Symbols(const HandMadeBlock& block) {
    if (block.lengths.empty()) return;
    const std::vector<uint64_t> codes = CanonicalCodes(block.lengths[0]);
    for (const unsigned symbol : block.symbols)
        Bits(static_cast<unsigned>(block.lengths[0][symbol]), codes[symbol]);
}

Bytes WaveStreamBuilder::Finish(bool bPadding) const {
    Bytes stream((m_bits.size() + 7) / 8, 0);
    for (size_t i = 0; i < stream.size() * 8; ++i)
        if (i < m_bits.size() ? m_bits[i] : bPadding) stream[i / 8] |= static_cast<uint8_t>(0x80 >> i % 8);
    return stream;
}

Bytes StreamOf(const HandMadeBlock& block) { return WaveStreamBuilder().Block(block).End().Finish(); }

}  // namespace Kestrova::Test
