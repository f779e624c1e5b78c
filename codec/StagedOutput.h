// StagedOutput.h - bytes on their way to a StreamBuffer, which receives them in large pieces.
#pragma once

#include <algorithm>
#include <cstring>

#include "codec/WaveFormat.h"
#include "stream/StreamBuffer.h"

namespace Kestrova {

// Empties a stream buffer: how the codec reports a failure.
inline void EmptyOutput(StreamBuffer& out) noexcept {
    try {
        out.Seek(0, 0);
        out.EndAtPos();
    } catch (...) {  // the buffer cannot even be emptied; nothing more can be done
    }
}

// Neither buffer is owned. Nothing here throws: a short or failed write sets the error flag for good, and
// what comes after it is dropped.
class StagedOutput {
public:
    // pStaging: WaveFormat::kStagingSize bytes
    StagedOutput(StreamBuffer& out, uint8_t* pStaging) : m_out(out), m_pStaging(pStaging) {}

    bool HasFailed() const { return m_bFailed; }

    void Put(uint8_t ch) {
        m_pStaging[m_nStaged++] = ch;
        if (m_nStaged == WaveFormat::kStagingSize) Flush();
    }

    void Put(const uint8_t* p, size_t n) {
        while (n > 0) {
            const size_t nPiece = std::min(n, WaveFormat::kStagingSize - m_nStaged);
            std::memcpy(m_pStaging + m_nStaged, p, nPiece);
            m_nStaged += nPiece;
            if (m_nStaged == WaveFormat::kStagingSize) Flush();
            p += nPiece;
            n -= nPiece;
        }
    }

    // Four bytes, as they lie in memory.
    void PutWord(uint32_t nWord) {
        if (m_nStaged + sizeof(nWord) < WaveFormat::kStagingSize) {
            std::memcpy(m_pStaging + m_nStaged, &nWord, sizeof(nWord));
            m_nStaged += sizeof(nWord);
        } else {
            uint8_t bytes[sizeof(nWord)];
            std::memcpy(bytes, &nWord, sizeof(nWord));
            Put(bytes, sizeof(nWord));
        }
    }

    // Hands on what is staged with one Write.
    void Flush() noexcept {
        if (m_nStaged > 0 && !m_bFailed) m_bFailed = !WriteWhole();
        m_nStaged = 0;
    }

private:
    bool WriteWhole() noexcept {
        try {
            return m_out.Write(m_pStaging, m_nStaged) == m_nStaged;
        } catch (...) {  // no memory, or foreign memory that is full
            return false;
        }
    }

    StreamBuffer& m_out;
    uint8_t* m_pStaging;
    size_t m_nStaged = 0;
    bool m_bFailed = false;
};

}  // namespace Kestrova
