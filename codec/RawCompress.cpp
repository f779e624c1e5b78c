#include "codec/RawCompress.h"

#include <memory>
#include <new>
#include <utility>

#include "codec/BlockSort.h"
#include "codec/Crc32.h"
#include "codec/ImpulseFilter.h"
#include "codec/SymbolWriter.h"

namespace Kestrova {
namespace {

using namespace WaveFormat;

constexpr uint32_t kLoadLimit = kBlockSize - 20;  // a block whose last index has reached this is full

struct CompressWorkspace {
    BlockSortArrays sort;
    uint8_t selectors[kMaxSelectors];
    uint8_t staging[kStagingSize];
};

class WaveCompressor {
public:
    WaveCompressor(const uint8_t* pIn, size_t nIn, StreamBuffer& out, CompressWorkspace& ws)
        : m_pNext(pIn),
          m_pEnd(pIn + nIn),
          m_ws(ws),
          m_pBlock(ws.sort.block + 1),
          m_output(out, ws.staging),
          m_out(m_output),
          m_sorter(ws.sort),
          m_symbolWriter(m_out, ws.selectors) {}

    // False: the block could not be coded, or the output did not take every byte.
    bool CompressStream() {
        uint32_t crcCombined = 0;
        while (m_pNext < m_pEnd) {
            const uint32_t crcBlock = loadAndRLEsource();
            crcCombined = CombineCrc(crcCombined, crcBlock);
            if (!WriteBlock(crcBlock)) return false;
        }
        WriteMagic(kEndMagic);
        m_out.bsPut32(crcCombined);
        m_out.bsFinishedWithStream();
        return !m_output.HasFailed();
    }

private:
    // Fills the block from the input; returns the CRC of the bytes taken.
    uint32_t loadAndRLEsource() {
        const uint8_t* pNext = m_pNext;
        uint8_t* pOut = m_pBlock;
        std::fill(std::begin(m_used), std::end(m_used), false);
        while (pNext < m_pEnd && pOut <= m_pBlock + kLoadLimit) StoreRun(pNext, pOut);
        m_nCount = static_cast<uint32_t>(pOut - m_pBlock);
        const uint8_t* const pStart = std::exchange(m_pNext, pNext);
        return ~UpdateCrc(kCrcStart, pStart, static_cast<size_t>(pNext - pStart));
    }

    void StoreRun(const uint8_t*& pNext, uint8_t*& pOut) {
        const uint8_t ch = *pNext;
        const uint32_t nRun = getRLEpair(pNext);
        m_used[ch] = true;
        for (uint32_t i = 0; i < std::min(nRun, kRunLiterals); ++i) *pOut++ = ch;
        if (nRun < kRunLiterals) return;
        const auto chCopies = static_cast<uint8_t>(nRun - kRunLiterals);
        m_used[chCopies] = true;
        *pOut++ = chCopies;
    }

    // Takes the run of equal bytes in front and returns its length.
    uint32_t getRLEpair(const uint8_t*& pNext) const {
        const uint8_t ch = *pNext;
        uint32_t nRun = 0;
        do ++nRun, ++pNext;
        while (nRun < kMaxRun && pNext < m_pEnd && *pNext == ch);
        return nRun;
    }

    bool WriteBlock(uint32_t crcBlock) {
        if (!m_sorter.doReversibleTransformation(m_nCount, m_used)) return false;
        WriteMagic(kBlockMagic);
        m_out.bsPut32(crcBlock);
        m_out.bsW(kRandomisedBits, m_sorter.IsRandomised());
        m_out.bsW(kOriginBits, m_sorter.GetOrigin());
        // The ranks are not needed any more; the symbols take their place.
        const SymbolList symbols =
            generateMTFValues({m_ws.sort.order, m_nCount}, m_pBlock, m_used, m_ws.sort.quadrant);
        return m_symbolWriter.sendMTFValues(symbols, m_used) && !m_output.HasFailed();
    }

    void WriteMagic(uint64_t magic) {
        constexpr unsigned kHalf = kMagicBits / 2;
        m_out.bsW(kHalf, static_cast<uint32_t>(magic >> kHalf));
        m_out.bsW(kHalf, static_cast<uint32_t>(magic & ((1u << kHalf) - 1)));
    }

    const uint8_t* m_pNext;
    const uint8_t* m_pEnd;
    CompressWorkspace& m_ws;
    uint8_t* m_pBlock;
    uint32_t m_nCount = 0;
    bool m_used[kByteValues] = {};
    StagedOutput m_output;
    BitWriter m_out;
    BlockSorter m_sorter;
    SymbolWriter m_symbolWriter;
};

}  // namespace

CRawCompress::CRawCompress(StreamBuffer* in, StreamBuffer* out, unsigned int bits) {
    if (in == nullptr || in->GetBuffer() == nullptr || in->GetSize() == 0 || out == nullptr) return;
    const std::unique_ptr<CompressWorkspace> ws(new (std::nothrow) CompressWorkspace);
    // Deliberate (Q60): the compressor filters its input in place.
    if (!ws || !ApplyImpulse(bits, in->GetBuffer(), in->GetSize())) return;
    WaveCompressor compressor(static_cast<const uint8_t*>(in->GetBuffer()), in->GetSize(), *out, *ws);
    if (!compressor.CompressStream()) EmptyOutput(*out);
}

}  // namespace Kestrova
