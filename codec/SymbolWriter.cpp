#include "codec/SymbolWriter.h"

#include <algorithm>

#include "codec/HuffmanCodes.h"
#include "codec/RecentBytes.h"

namespace Kestrova {
namespace {

using namespace WaveFormat;

constexpr unsigned kIterations = 4;
constexpr uint8_t kLowCost = 0, kHighCost = 15;  // of a symbol inside and outside its table's first range

// The costs of a group in all tables are summed at once, side by side in one word.
constexpr unsigned kCostBits = 10;
constexpr uint64_t kCostMask = (uint64_t{1} << kCostBits) - 1;
static_assert(uint64_t{kGroupSize} * kMaxWrittenLength <= kCostMask && kMaxTables * kCostBits <= 64);

constexpr unsigned TableCount(size_t nSymbols) { return nSymbols < 200 ? 2 : nSymbols < 800 ? 4 : 6; }

std::span<const uint16_t> Group(std::span<const uint16_t> symbols, size_t iGroup) {
    const size_t nStart = iGroup * kGroupSize;
    return symbols.subspan(nStart, std::min<size_t>(kGroupSize, symbols.size() - nStart));
}

}  // namespace

bool SymbolWriter::sendMTFValues(const SymbolList& block, const bool (&used)[kByteValues]) {
    m_nAlphabet = block.nAlphabet;
    m_nTables = TableCount(block.symbols.size());
    m_nSelectors = (block.symbols.size() + kGroupSize - 1) / kGroupSize;
    if (m_nSelectors > kMaxSelectors) return false;
    SplitAlphabet(block);
    for (unsigned i = 0; i < kIterations; ++i) ImproveTables(block);
    for (unsigned i = 0; i < m_nTables; ++i)
        if (!hbAssignCodes({m_codes[i], m_nAlphabet}, Lengths(i))) return false;
    WriteByteUse(used);
    WriteSelectors();
    for (unsigned i = 0; i < m_nTables; ++i) WriteLengths(Lengths(i));
    WriteSymbols(block);
    return true;
}

// First guess: ranges of the alphabet that are about equally frequent, one for each table, starting with the
// last table. Every second range, except the first and the last, leaves its last symbol to the next range.
// Deliberate (Q63).
void SymbolWriter::SplitAlphabet(const SymbolList& block) {
    auto nLeft = static_cast<uint32_t>(block.symbols.size());
    unsigned iFrom = 0;
    for (unsigned nParts = m_nTables; nParts > 0; --nParts) {
        const uint32_t nWanted = nLeft / nParts;
        uint32_t nTaken = 0;
        unsigned iTo = iFrom;
        while (nTaken < nWanted && iTo < m_nAlphabet) nTaken += block.frequencies[iTo++];
        const bool bInner = nParts != m_nTables && nParts != 1;
        if (bInner && (m_nTables - nParts) % 2 == 1 && iTo > iFrom + 1) nTaken -= block.frequencies[--iTo];
        std::span<uint8_t> lengths = Lengths(nParts - 1);
        std::fill(lengths.begin(), lengths.end(), kHighCost);
        std::fill(lengths.begin() + iFrom, lengths.begin() + iTo, kLowCost);
        iFrom = iTo;
        nLeft -= nTaken;
    }
}

// Gives each group to the table that codes it cheapest. Then each table
// gets the lengths that fit its groups best.
void SymbolWriter::ImproveTables(const SymbolList& block) {
    PackCosts();
    for (auto& frequencies : m_frequencies) std::fill(std::begin(frequencies), std::end(frequencies), 0u);
    for (size_t iGroup = 0; iGroup < m_nSelectors; ++iGroup) {
        const std::span<const uint16_t> group = Group(block.symbols, iGroup);
        const unsigned iTable = CheapestTable(group);
        m_pSelectors[iGroup] = static_cast<uint8_t>(iTable);
        for (const uint16_t symbol : group) ++m_frequencies[iTable][symbol];
    }
    for (unsigned i = 0; i < m_nTables; ++i)
        hbMakeCodeLengths(Lengths(i), {m_frequencies[i], m_nAlphabet}, kMaxWrittenLength);
}

void SymbolWriter::PackCosts() {
    for (unsigned symbol = 0; symbol < m_nAlphabet; ++symbol) {
        m_costs[symbol] = 0;
        for (unsigned i = m_nTables; i-- > 0;)
            m_costs[symbol] = m_costs[symbol] << kCostBits | m_lengths[i][symbol];
    }
}

unsigned SymbolWriter::CheapestTable(std::span<const uint16_t> group) const {
    uint64_t costs = 0;
    for (const uint16_t symbol : group) costs += m_costs[symbol];
    unsigned iCheapest = 0;
    uint64_t nLeast = kCostMask + 1;
    for (unsigned i = 0; i < m_nTables; ++i, costs >>= kCostBits)
        if ((costs & kCostMask) < nLeast) {
            nLeast = costs & kCostMask;
            iCheapest = i;
        }
    return iCheapest;
}

void SymbolWriter::WriteByteUse(const bool (&used)[kByteValues]) {
    uint32_t words[kByteUseBits], nMap = 0;
    for (unsigned i = 0; i < kByteUseBits; ++i) {
        words[i] = 0;
        for (unsigned j = 0; j < kByteUseBits; ++j) words[i] = words[i] << 1 | used[i * kByteUseBits + j];
        nMap = nMap << 1 | (words[i] != 0);
    }
    m_out.bsW(kByteUseBits, nMap);
    for (const uint32_t word : words)
        if (word != 0) m_out.bsW(kByteUseBits, word);
}

void SymbolWriter::WriteSelectors() {
    m_out.bsW(kTableCountBits, m_nTables);
    m_out.bsW(kSelectorCountBits, static_cast<uint32_t>(m_nSelectors));
    RecentBytes tables = RecentBytes::OfNumbers(m_nTables);
    for (size_t i = 0; i < m_nSelectors; ++i) {
        const unsigned nOnes = tables.Find(m_pSelectors[i]);
        m_out.bsW(nOnes + 1, (1u << (nOnes + 1)) - 2);
    }
}

void SymbolWriter::WriteLengths(std::span<const uint8_t> lengths) {
    constexpr uint32_t kLonger = 2, kShorter = 3;
    unsigned nLength = lengths.front();
    m_out.bsW(kStartLengthBits, nLength);
    for (const uint8_t nNext : lengths) {
        for (; nLength < nNext; ++nLength) m_out.bsW(2, kLonger);
        for (; nLength > nNext; --nLength) m_out.bsW(2, kShorter);
        m_out.bsW(1, 0);
    }
}

void SymbolWriter::WriteSymbols(const SymbolList& block) {
    for (size_t iGroup = 0; iGroup < m_nSelectors; ++iGroup) {
        const unsigned iTable = m_pSelectors[iGroup];
        for (const uint16_t symbol : Group(block.symbols, iGroup))
            m_out.bsW(m_lengths[iTable][symbol], m_codes[iTable][symbol]);
    }
}

}  // namespace Kestrova
