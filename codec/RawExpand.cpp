#include "codec/RawExpand.h"

#include <memory>
#include <new>

#include "codec/BlockUnsort.h"
#include "codec/Crc32.h"
#include "codec/HuffmanCodes.h"
#include "codec/ImpulseFilter.h"
#include "codec/MoveToFront.h"
#include "codec/RandomTable.h"

namespace Kestrova {
namespace {

using namespace WaveFormat;

struct ExpandWorkspace {
    uint8_t selectors[kMaxSelectors];
    uint8_t block[kBlockSize];
    BlockUnsortArrays unsort;
    DecodeTable tables[kMaxTables];
    uint8_t staging[kStagingSize];
};

// The bytes of the wave: counted in the block's CRC, and written as long as the caller wants more of them.
class WaveOutput {
public:
    WaveOutput(StreamBuffer& out, uint8_t* pStaging, uint64_t nWanted)
        : m_output(out, pStaging), m_nWanted(nWanted) {}

    void StartBlock() { m_crc = kCrcStart; }
    uint32_t GetBlockCrc() const { return ~m_crc; }

    void Deliver(const uint8_t* p, size_t n) {
        m_crc = UpdateCrc(m_crc, p, n);
        // Deliberate (Q56): a size below the wave's: the rest is checked and dropped.
        n = std::min<uint64_t>(n, m_nWanted);
        m_output.Put(p, n);
        m_nWanted -= n;
    }

    void DeliverCopies(uint8_t ch, size_t n) {
        uint8_t copies[kByteValues];
        std::memset(copies, ch, n);
        Deliver(copies, n);
    }

    void Flush() { m_output.Flush(); }
    bool HasFailed() const { return m_output.HasFailed(); }
    // Deliberate (Q57): left-over bits never deliver a byte.
    bool IsComplete() const { return m_nWanted == 0 && !HasFailed(); }

private:
    StagedOutput m_output;
    uint64_t m_nWanted;  // bytes still missing
    uint32_t m_crc = kCrcStart;
};

class WaveExpander {
public:
    WaveExpander(const uint8_t* pIn, size_t nIn, StreamBuffer& out, uint64_t nSize, ExpandWorkspace& ws)
        : m_in(pIn, nIn), m_out(out, ws.staging, nSize), m_ws(ws) {}

    // The output did not take all that was delivered.
    bool HasOutputFailed() const { return m_out.HasFailed(); }

    // True: every block and every check was right, the whole input was
    // used, and all bytes wanted were written.
    bool ExpandStream() {
        uint32_t crcCombined = 0;
        uint64_t magic = m_in.bsR(kMagicBits);
        for (; magic == kBlockMagic; magic = m_in.bsR(kMagicBits)) {
            const auto crcBlock = m_in.bsGet32();
            crcCombined = CombineCrc(crcCombined, crcBlock);
            if (!ExpandBlock(crcBlock)) return false;
        }
        if (magic != kEndMagic || m_in.bsGet32() != crcCombined) return false;
        m_out.Flush();
        // Deliberate (Q58): the final padding is not looked at.
        return m_in.HasTouchedAllBytes() && m_out.IsComplete();
    }

private:
    bool ExpandBlock(uint32_t crcBlock) {
        const bool bRandomised = m_in.ReadBit();
        if (!getAndMoveToFrontDecode()) return false;
        m_out.StartBlock();
        undoReversibleTransformation(bRandomised);
        return m_out.GetBlockCrc() == crcBlock && !m_out.HasFailed();
    }

    // False: no byte in use, or counts, selectors or lengths the format does not have.
    bool recvDecodingTables() {
        ReadByteUse();
        if (m_bytes.GetCount() == 0) return false;
        m_nTables = static_cast<unsigned>(m_in.bsR(kTableCountBits));
        m_nSelectors = static_cast<unsigned>(m_in.bsR(kSelectorCountBits));
        if (m_nTables < 1 || m_nTables > kMaxTables) return false;
        if (m_nSelectors < 1 || m_nSelectors > kMaxSelectors) return false;
        if (!ReadSelectors()) return false;
        for (unsigned i = 0; i < m_nTables; ++i)
            if (!ReadTable(m_ws.tables[i])) return false;
        return true;
    }

    void ReadByteUse() {
        bool used[kByteValues] = {};
        const uint64_t map = m_in.bsR(kByteUseBits);
        for (unsigned i = 0; i < kByteUseBits; ++i) {
            if ((map >> (kByteUseBits - 1 - i) & 1) == 0) continue;
            for (unsigned j = 0; j < kByteUseBits; ++j) used[i * kByteUseBits + j] = m_in.ReadBit();
        }
        m_bytes = MoveToFrontList::OfUsed(used);
    }

    bool ReadSelectors() {
        MoveToFrontList tables = MoveToFrontList::OfNumbers(m_nTables);
        for (unsigned i = 0; i < m_nSelectors; ++i) {
            unsigned iPlace = 0;
            while (m_in.ReadBit())
                if (++iPlace == m_nTables) return false;
            m_ws.selectors[i] = tables.TakeAt(iPlace);
        }
        return true;
    }

    bool ReadTable(DecodeTable& table) {
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
    bool ReadLengthSteps(int64_t& nLength) {
        while (m_in.ReadBit()) {
            if (m_in.IsAtEnd()) return false;
            nLength += m_in.ReadBit() ? -1 : 1;
        }
        return nLength >= 1 && nLength <= kMaxReadLength;
    }

    // Reads one block as far as its bytes in the order of their rotations.
    bool getAndMoveToFrontDecode() {
        m_iOrigin = static_cast<uint32_t>(m_in.bsR(kOriginBits));
        if (!recvDecodingTables()) return false;
        std::fill(std::begin(m_counts), std::end(m_counts), 0u);
        m_nCount = 0;
        return DecodeSymbols() && m_nCount > 0 && m_iOrigin < m_nCount;
    }

    // False: no code, too many bytes, or selectors used up before the block ends.
    bool DecodeSymbols() {
        const unsigned endOfBlock = m_bytes.GetCount() + 1;
        RunLength run;
        for (unsigned iGroup = 0; iGroup < m_nSelectors; ++iGroup) {
            const DecodeTable& table = m_ws.tables[m_ws.selectors[iGroup]];
            for (unsigned i = 0; i < kGroupSize; ++i) {
                const unsigned symbol = table.Decode(m_in);
                if (symbol <= kRunB) {
                    run.Add(symbol);
                    continue;
                }
                if (!PutCopies(m_bytes.Front(), run.Get())) return false;
                run.Reset();
                if (symbol >= endOfBlock) return symbol == endOfBlock;
                if (!PutCopies(m_bytes.TakeAt(symbol - 1), 1)) return false;
            }
        }
        return false;
    }

    bool PutCopies(uint8_t ch, uint32_t n) {
        if (n > kBlockSize - m_nCount) return false;
        std::memset(m_ws.block + m_nCount, ch, n);
        m_nCount += n;
        m_counts[ch] += n;
        return true;
    }

    void undoReversibleTransformation(bool bRandomised) {
        UnsortBlock(m_ws.block, m_nCount, m_iOrigin, m_counts, m_ws.unsort);
        if (bRandomised) RandomiseBytes(m_ws.block, m_nCount);
        DeliverRuns();
    }

    // Undoes the run-length coding. A run at the very end of the block may lack its count.
    void DeliverRuns() {
        const uint8_t* p = m_ws.block;
        const uint8_t* const pEnd = p + m_nCount;
        for (;;) {
            const uint8_t* pCount = FindRun(p, pEnd) + kRunLiterals;
            if (pCount >= pEnd) break;
            m_out.Deliver(p, static_cast<size_t>(pCount - p));
            m_out.DeliverCopies(pCount[-1], *pCount);
            p = pCount + 1;
        }
        m_out.Deliver(p, static_cast<size_t>(pEnd - p));
    }

    // The first place where kRunLiterals equal bytes stand; pEnd when there is none.
    static const uint8_t* FindRun(const uint8_t* p, const uint8_t* pEnd) {
        for (; pEnd - p >= kRunLiterals; ++p) {
            uint32_t four;
            std::memcpy(&four, p, sizeof(four));
            if (four == std::rotl(four, 8)) return p;
        }
        return pEnd;
    }

    BitReader m_in;
    WaveOutput m_out;
    ExpandWorkspace& m_ws;
    MoveToFrontList m_bytes;
    unsigned m_nTables = 0, m_nSelectors = 0;
    uint32_t m_iOrigin = 0, m_nCount = 0;  // of the current block
    uint32_t m_counts[kByteValues];        // of each byte value in it
};

}  // namespace

CRawExpand::CRawExpand(StreamBuffer* in, StreamBuffer* out, unsigned int bits, unsigned long size) {
    if (in == nullptr || in->GetBuffer() == nullptr || in->GetSize() == 0 || out == nullptr || size == 0)
        return;
    const std::unique_ptr<ExpandWorkspace> ws(new (std::nothrow) ExpandWorkspace);
    m_bNoMemory = !ws;
    if (!ws) return;
    WaveExpander expander(static_cast<const uint8_t*>(in->GetBuffer()), in->GetSize(), *out, size, *ws);
    const bool bDone =
        expander.ExpandStream() && out->GetSize() >= size && UndoImpulse(bits, out->GetBuffer(), size);
    m_bNoMemory = expander.HasOutputFailed();
    if (!bDone) EmptyOutput(*out);
}

}  // namespace Kestrova
