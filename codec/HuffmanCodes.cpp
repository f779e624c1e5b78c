#include "codec/HuffmanCodes.h"

#include <algorithm>

namespace Kestrova {
namespace {

using namespace WaveFormat;

// A weight is a frequency together with the depth of the subtree below it. So of equally frequent subtrees
// the flatter one is joined first.
constexpr uint32_t kDepthMask = 0xFF;
constexpr unsigned kFrequencyShift = 8;

constexpr uint32_t JoinWeights(uint32_t a, uint32_t b) {
    return ((a & ~kDepthMask) + (b & ~kDepthMask)) | (1 + std::max(a & kDepthMask, b & kDepthMask));
}

// One tree over the symbols: nodes 1 to n are its leaves, later ones join two. Which of two equal weights
// leaves the heap first decides the lengths, so the order of the heap's steps is part of the stream's bytes.
class HuffmanTree {
public:
    // pWeights: one per symbol
    HuffmanTree(const uint32_t* pWeights, unsigned nSymbols) : m_nNodes(nSymbols) {
        m_heap[0] = {0, 0};  // stops every climb
        for (unsigned iNode = 1; iNode <= nSymbols; ++iNode) Push({pWeights[iNode - 1], iNode});
        while (m_nHeap > 1) JoinLightestTwo();
    }

    // Fills `depths` with those of the symbols; returns the greatest.
    unsigned GetDepths(std::span<uint8_t> depths) const {
        unsigned depth[2 * kMaxAlphabet];
        depth[m_nNodes] = 0;
        for (unsigned iNode = m_nNodes - 1; iNode > 0; --iNode) depth[iNode] = depth[m_parent[iNode]] + 1;
        for (size_t i = 0; i < depths.size(); ++i) depths[i] = static_cast<uint8_t>(depth[i + 1]);
        return *std::max_element(depth + 1, depth + 1 + depths.size());
    }

private:
    struct Entry {
        uint32_t weight;
        unsigned iNode;
    };

    void JoinLightestTwo() {
        const Entry first = PopLightest(), second = PopLightest();
        ++m_nNodes;
        m_parent[first.iNode] = m_parent[second.iNode] = m_nNodes;
        Push({JoinWeights(first.weight, second.weight), m_nNodes});
    }

    void Push(Entry entry) {
        unsigned iPlace = ++m_nHeap;
        for (; entry.weight < m_heap[iPlace / 2].weight; iPlace /= 2) m_heap[iPlace] = m_heap[iPlace / 2];
        m_heap[iPlace] = entry;
    }

    Entry PopLightest() {
        const Entry lightest = m_heap[1], moved = m_heap[m_nHeap--];
        unsigned iPlace = 1;
        for (unsigned iChild = 2; iChild <= m_nHeap; iChild = 2 * iPlace) {
            if (iChild < m_nHeap) iChild += m_heap[iChild + 1].weight < m_heap[iChild].weight;
            if (moved.weight < m_heap[iChild].weight) break;
            m_heap[iPlace] = m_heap[iChild];
            iPlace = iChild;
        }
        m_heap[iPlace] = moved;
        return lightest;
    }

    Entry m_heap[kMaxAlphabet + 2];
    unsigned m_parent[2 * kMaxAlphabet];  // greater than the node itself; the last node has none
    unsigned m_nHeap = 0;
    unsigned m_nNodes;
};

}  // namespace

void hbMakeCodeLengths(std::span<uint8_t> lengths, std::span<const uint32_t> frequencies,
                       unsigned nMaxLength) {
    uint32_t weights[kMaxAlphabet];
    for (size_t i = 0; i < lengths.size(); ++i) weights[i] = std::max(frequencies[i], 1u) << kFrequencyShift;
    for (;;) {
        const HuffmanTree tree(weights, static_cast<unsigned>(lengths.size()));
        const unsigned nLongest = tree.GetDepths(lengths);
        if (nLongest <= nMaxLength) return;
        for (uint32_t& weight : std::span(weights, lengths.size()))
            weight = ((weight >> kFrequencyShift) / 2 + 1) << kFrequencyShift;
    }
}

bool hbAssignCodes(std::span<uint32_t> codes, std::span<const uint8_t> lengths) {
    const auto [pShortest, pLongest] = std::minmax_element(lengths.begin(), lengths.end());
    if (*pShortest < 1 || *pLongest > kMaxWrittenLength) return false;
    uint32_t nCode = 0;
    for (unsigned nLength = *pShortest; nLength <= *pLongest; ++nLength, nCode <<= 1)
        for (size_t i = 0; i < lengths.size(); ++i)
            if (lengths[i] == nLength) codes[i] = nCode++;
    return true;
}

bool DecodeTable::hbCreateDecodeTables(std::span<const uint8_t> lengths) {
    if (!CountLengths(lengths) || !SetLimits()) return false;
    SortSymbols(lengths);
    FillLookup();
    return true;
}

bool DecodeTable::CountLengths(std::span<const uint8_t> lengths) {
    std::fill(std::begin(m_count), std::end(m_count), 0);
    for (const unsigned nLength : lengths) {
        if (nLength < 1 || nLength > kMaxReadLength) return false;
        ++m_count[nLength];
    }
    return true;
}

bool DecodeTable::SetLimits() {
    uint32_t nCode = 0, nStart = 0;
    m_limit[0] = 0;
    for (unsigned nLength = 1; nLength <= kMaxReadLength; ++nLength) {
        nCode <<= 1;
        m_first[nLength] = nCode;
        m_start[nLength] = nStart;
        nCode += m_count[nLength];
        nStart += m_count[nLength];
        if (nCode > (1u << nLength)) return false;
        m_limit[nLength] = nCode << (kMaxReadLength - nLength);
    }
    return true;
}

void DecodeTable::SortSymbols(std::span<const uint8_t> lengths) {
    PerLength next;
    std::copy(std::begin(m_start), std::end(m_start), std::begin(next));
    for (size_t i = 0; i < lengths.size(); ++i) m_symbols[next[lengths[i]]++] = static_cast<uint16_t>(i);
}

void DecodeTable::FillLookup() {
    uint16_t* pNext = m_lookup;
    const uint16_t* pSymbol = m_symbols;
    for (unsigned nLength = 1; nLength <= kLookupBits; ++nLength)
        for (uint32_t nLeft = m_count[nLength]; nLeft > 0; --nLeft) {
            const auto entry = static_cast<uint16_t>(unsigned{*pSymbol++} << kSymbolShift | nLength);
            pNext = std::fill_n(pNext, 1u << (kLookupBits - nLength), entry);
        }
    std::fill(pNext, std::end(m_lookup), uint16_t{0});
}

// The entry of the code at the front of nBits (kMaxReadLength bits), for a
// code too long for the lookup; 0: no code.
unsigned DecodeTable::FindLongCode(uint32_t nBits) const {
    for (unsigned nLength = kLookupBits + 1; nLength <= kMaxReadLength; ++nLength)
        if (nBits < m_limit[nLength]) {
            const uint32_t iCode = (nBits >> (kMaxReadLength - nLength)) - m_first[nLength];
            return unsigned{m_symbols[m_start[nLength] + iCode]} << kSymbolShift | nLength;
        }
    return 0;
}

}  // namespace Kestrova
