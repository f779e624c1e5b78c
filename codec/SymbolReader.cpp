#include "codec/SymbolReader.h"

#include <algorithm>

namespace Kestrova {
namespace {

using namespace WaveFormat;

// Turns symbols into bytes. A run symbol and any other take the same way, because no processor can foretell
// which of them is next: a run symbol repeats the value at index 0.
class SymbolSink {
public:
    enum class Outcome { kMore, kEnd, kDamaged };

    SymbolSink(SortedBlock& block, const RecentBytes& bytes)
        : m_block(block), m_bytes(bytes), m_endOfBlock(bytes.GetCount() + 1) {
        std::fill(std::begin(m_block.counts), std::end(m_block.counts), 0u);
    }

    Outcome Put(unsigned symbol) {
        if (symbol >= m_endOfBlock) [[unlikely]]
            return End(symbol);
        const bool bRun = symbol <= kRunB;
        const uint32_t n = bRun ? m_nWeight << symbol : 1;  // kRunA counts the weight once, kRunB twice
        m_nWeight = bRun ? m_nWeight << 1 : 1;
        const uint8_t ch = m_bytes.TakeAt(bRun ? 0 : symbol - 1);
        if (n > kBlockSize - m_nCount) [[unlikely]]
            return Outcome::kDamaged;
        PutCopies(ch, n);
        return Outcome::kMore;
    }

private:
    Outcome End(unsigned symbol) {
        m_block.nCount = m_nCount;
        return symbol == m_endOfBlock ? Outcome::kEnd : Outcome::kDamaged;
    }

    void PutCopies(uint8_t ch, uint32_t n) {
        const uint64_t copies = ch * 0x0101010101010101u;
        std::memcpy(m_block.bytes + m_nCount, &copies, sizeof(copies));
        if (n > sizeof(copies)) [[unlikely]]
            std::memset(m_block.bytes + m_nCount, ch, n);
        m_nCount += n;
        m_block.counts[ch] += n;
    }

    SortedBlock& m_block;
    RecentBytes m_bytes;
    const unsigned m_endOfBlock;
    uint32_t m_nCount = 0;
    uint32_t m_nWeight = 1;  // of the next run symbol
};

}  // namespace

// False: no byte in use, or counts, selectors or lengths the format does not have.
bool SymbolReader::recvDecodingTables() {
    ReadByteUse();
    if (m_bytes.GetCount() == 0) return false;
    m_nTables = static_cast<unsigned>(m_in.bsR(kTableCountBits));
    m_nSelectors = static_cast<unsigned>(m_in.bsR(kSelectorCountBits));
    if (m_nTables < 1 || m_nTables > kMaxTables) return false;
    if (m_nSelectors < 1 || m_nSelectors > kMaxSelectors) return false;
    if (!ReadSelectors()) return false;
    for (unsigned i = 0; i < m_nTables; ++i)
        if (!ReadTable(m_arrays.tables[i])) return false;
    return true;
}

void SymbolReader::ReadByteUse() {
    bool used[kByteValues] = {};
    const uint64_t map = m_in.bsR(kByteUseBits);
    for (unsigned i = 0; i < kByteUseBits; ++i) {
        if ((map >> (kByteUseBits - 1 - i) & 1) == 0) continue;
        for (unsigned j = 0; j < kByteUseBits; ++j) used[i * kByteUseBits + j] = m_in.ReadBit();
    }
    m_bytes = RecentBytes::OfUsed(used);
}

bool SymbolReader::ReadSelectors() {
    RecentBytes tables = RecentBytes::OfNumbers(m_nTables);
    for (unsigned i = 0; i < m_nSelectors; ++i) {
        unsigned iPlace = 0;
        while (m_in.ReadBit())
            if (++iPlace == m_nTables) return false;
        m_arrays.selectors[i] = tables.TakeAt(iPlace);
    }
    return true;
}

bool SymbolReader::ReadTable(DecodeTable& table) {
    uint8_t lengths[kMaxAlphabet];
    const unsigned nAlphabet = m_bytes.GetCount() + 2;
    auto nLength = static_cast<int64_t>(m_in.bsR(kStartLengthBits));
    for (unsigned i = 0; i < nAlphabet; ++i) {
        if (!ReadLengthSteps(nLength)) return false;
        lengths[i] = static_cast<uint8_t>(nLength);
    }
    return table.hbCreateDecodeTables({lengths, nAlphabet});
}

// Deliberate (Q59): lists of lengths that no compressor writes are taken.
// During the steps a length may leave its range; only its final value is checked. Past the end of the
// input the steps would never stop.
bool SymbolReader::ReadLengthSteps(int64_t& nLength) {
    while (m_in.ReadBit()) {
        if (m_in.IsAtEnd()) return false;
        nLength += m_in.ReadBit() ? -1 : 1;
    }
    return nLength >= 1 && nLength <= kMaxReadLength;
}

// False: no code, too many bytes, or selectors used up before the block ends.
bool SymbolReader::DecodeSymbols() {
    using Outcome = SymbolSink::Outcome;
    constexpr unsigned kPerRefill = BitReader::kMaxBits / kMaxReadLength;
    static_assert(kGroupSize % kPerRefill == 0);
    BitReader in = m_in;  // copies of their own, which need not be kept in memory
    SymbolSink sink(m_block, m_bytes);
    for (unsigned iGroup = 0; iGroup < m_nSelectors; ++iGroup) {
        const DecodeTable& table = m_arrays.tables[m_arrays.selectors[iGroup]];
        for (unsigned i = 0; i < kGroupSize; i += kPerRefill) {
            in.Refill();
            for (unsigned j = 0; j < kPerRefill; ++j) {
                const Outcome eOutcome = sink.Put(table.DecodeRefilled(in));
                if (eOutcome == Outcome::kMore) continue;
                m_in = in;
                return eOutcome == Outcome::kEnd;
            }
        }
    }
    return false;
}

}  // namespace Kestrova
