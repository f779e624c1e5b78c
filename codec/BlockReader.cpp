#include "codec/BlockReader.h"

#include <array>

#include "codec/RandomTable.h"

namespace Kestrova {
namespace {

using namespace WaveFormat;

// The place of a magic is looked for in words: it starts in the first byte of a word, so that the third byte
// is one of these, one for each bit it may start at.
constexpr unsigned kProbe = 2;
constexpr std::array<bool, kByteValues> kProbeBytes = [] {
    std::array<bool, kByteValues> bytes{};
    for (unsigned iBit = 0; iBit < 8; ++iBit)
        bytes[kBlockMagic >> (kMagicBits - 8 * (kProbe + 1) + iBit) & 0xFF] = true;
    return bytes;
}();

constexpr bool IsMagicAt(uint64_t word, unsigned iBit) {
    return word << iBit >> (64 - kMagicBits) == kBlockMagic;
}

}  // namespace

bool BlockReader::Read(BitReader& in) {
    m_crc = in.bsGet32();
    m_bRandomised = in.ReadBit();
    if (!getAndMoveToFrontDecode(in)) return false;
    undoReversibleTransformation();
    return true;
}

// Reads the block as far as its bytes in the order of their rotations.
bool BlockReader::getAndMoveToFrontDecode(BitReader& in) {
    m_iOrigin = static_cast<uint32_t>(in.bsR(kOriginBits));
    SymbolReader reader(in, m_arrays.symbols, m_arrays.block);
    return reader.getAndMoveToFrontDecode() && m_iOrigin < m_arrays.block.nCount;
}

void BlockReader::undoReversibleTransformation() {
    SortedBlock& block = m_arrays.block;
    UnsortBlock(block.bytes, block.nCount, m_iOrigin, block.counts, m_arrays.unsort);
    if (m_bRandomised) RandomiseBytes(block.bytes, block.nCount);
}

void BlockAhead::ReadNext(BitReader in) {
    m_behind = FindBlockMagic(in);
    if (!m_behind) return;
    m_nBitsBefore = m_behind->GetBitsLeft();
    if (!m_reader.Read(*m_behind)) m_behind.reset();
}

const BlockReader* BlockAhead::Take(BitReader& in) {
    if (!m_behind || m_nBitsBefore != in.GetBitsLeft()) return nullptr;
    in = *m_behind;
    m_behind.reset();
    return &m_reader;
}

std::optional<BitReader> FindBlockMagic(const BitReader& in) {
    const std::span<const uint8_t> bytes = in.GetBytesLeft();
    for (size_t i = 0; i + sizeof(uint64_t) <= bytes.size(); ++i) {
        if (!kProbeBytes[bytes[i + kProbe]]) continue;
        const uint64_t word = LoadBigEndian64(&bytes[i]);
        for (unsigned iBit = 0; iBit < 8; ++iBit) {
            if (!IsMagicAt(word, iBit)) continue;
            BitReader found(&bytes[i], bytes.size() - i);
            found.bsR(iBit + kMagicBits);
            return found;
        }
    }
    return std::nullopt;
}

}  // namespace Kestrova
