#include "codec/RawExpand.h"

#include <exception>
#include <memory>
#include <new>
#include <thread>

#include "codec/BlockReader.h"
#include "codec/Crc32.h"
#include "codec/ImpulseFilter.h"

namespace Kestrova {
namespace {

using namespace WaveFormat;

struct ExpandWorkspace {
    BlockReaderArrays block;
    uint8_t staging[kStagingSize];
};

// The bytes of the wave: counted in the block's CRC, and written as long as the caller wants more of them.
class WaveOutput {
public:
    WaveOutput(StreamBuffer& out, uint8_t* pStaging, uint64_t nWanted, uint64_t nMost)
        : m_output(out, pStaging), m_nWanted(nWanted), m_nMost(nMost) {}

    void StartBlock() { m_crc = kCrcStart; }
    uint32_t GetBlockCrc() const { return ~m_crc; }

    void Deliver(const uint8_t* p, size_t n) {
        m_crc = UpdateCrc(m_crc, p, n);
        m_nDelivered += n;
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
    bool HasTooMany() const { return m_nDelivered > m_nMost; }
    // Deliberate (Q57): left-over bits never deliver a byte.
    bool IsComplete() const { return m_nWanted == 0 && !HasFailed(); }

private:
    StagedOutput m_output;
    uint64_t m_nWanted;  // bytes still missing
    uint64_t m_nDelivered = 0;
    uint64_t m_nMost;
    uint32_t m_crc = kCrcStart;
};

class WaveExpander {
public:
    // pAhead: the arrays of a second reader, which works on a thread of its own; nullptr: there is none
    WaveExpander(const uint8_t* pIn, size_t nIn, StreamBuffer& out, uint64_t nSize, uint64_t nMost,
                 ExpandWorkspace& ws, BlockReaderArrays* pAhead)
        : m_in(pIn, nIn), m_out(out, ws.staging, nSize, nMost), m_block(ws.block) {
        if (pAhead != nullptr) m_ahead.emplace(*pAhead);
    }

    // The output did not take all that was delivered.
    bool HasOutputFailed() const { return m_out.HasFailed(); }
    bool HasTooMany() const { return m_out.HasTooMany(); }

    // True: every block and every check was right, the whole input was
    // used, and all bytes wanted were written.
    bool ExpandStream() {
        uint32_t crcCombined = 0;
        uint64_t magic = m_in.bsR(kMagicBits);
        for (; magic == kBlockMagic; magic = m_in.bsR(kMagicBits)) {
            const BlockReader* const pBlock = ReadBlock();
            if (pBlock == nullptr || !Deliver(*pBlock)) return false;
            crcCombined = CombineCrc(crcCombined, pBlock->GetCrc());
        }
        if (magic != kEndMagic || m_in.bsGet32() != crcCombined) return false;
        m_out.Flush();
        // Deliberate (Q58): the final padding is not looked at.
        return m_in.HasTouchedAllBytes() && m_out.IsComplete();
    }

private:
    // nullptr: the block is damaged.
    const BlockReader* ReadBlock() {
        if (m_ahead)
            if (const BlockReader* const pBlock = m_ahead->Take(m_in)) return pBlock;
        std::thread helper = StartReadingAhead();
        const bool bRead = m_block.Read(m_in);
        if (helper.joinable()) helper.join();
        return bRead ? &m_block : nullptr;
    }

    // No thread when only one reader is wanted, or the system has no thread or memory for one.
    std::thread StartReadingAhead() {
        if (!m_ahead) return {};
        try {
            return std::thread([this, in = m_in] { m_ahead->ReadNext(in); });
        } catch (const std::exception&) {
            return {};
        }
    }

    bool Deliver(const BlockReader& block) {
        m_out.StartBlock();
        DeliverRuns(block.GetBytes());
        return m_out.GetBlockCrc() == block.GetCrc() && !m_out.HasFailed() && !m_out.HasTooMany();
    }

    // Undoes the run-length coding. A run at the very end of the block may lack its count.
    void DeliverRuns(std::span<const uint8_t> bytes) {
        const uint8_t* p = bytes.data();
        const uint8_t* const pEnd = p + bytes.size();
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
    BlockReader m_block;
    std::optional<BlockAhead> m_ahead;
};

}  // namespace

CRawExpand::CRawExpand(StreamBuffer* in, StreamBuffer* out, unsigned int bits, unsigned long size,
                       unsigned nThreads, uint64_t nMost) {
    if (in == nullptr || in->GetBuffer() == nullptr || in->GetSize() == 0 || out == nullptr || size == 0)
        return;
    const std::unique_ptr<ExpandWorkspace> ws(new (std::nothrow) ExpandWorkspace);
    m_bNoMemory = !ws;
    if (!ws) return;
    const std::unique_ptr<BlockReaderArrays> ahead(nThreads < 2 ? nullptr
                                                                : new (std::nothrow) BlockReaderArrays);
    WaveExpander expander(static_cast<const uint8_t*>(in->GetBuffer()), in->GetSize(), *out, size, nMost, *ws,
                          ahead.get());
    const bool bDone =
        expander.ExpandStream() && out->GetSize() >= size && UndoImpulse(bits, out->GetBuffer(), size);
    m_bNoMemory = expander.HasOutputFailed();
    m_bTooMany = expander.HasTooMany();
    if (!bDone) EmptyOutput(*out);
}

}  // namespace Kestrova
