#include "SamplerDBDS/DataBase/SDBIWaveFile.h"

#include "SamplerDBDS/BaseClasses/XFile.h"

namespace Kestrova {

bool CWaveChunks::Begin() {
    uint8_t head[12];
    unsigned long long nSize = 0;
    if (!m_file.GetSize(nSize) || !m_file.SeekToPos(0) || !m_file.Read(head, sizeof head)) return false;
    m_nFileSize = nSize;
    m_posNext = sizeof head;
    const uint64_t nAfter = m_nFileSize - 8;
    if (nAfter <= UINT32_MAX && Word32(head + 4) > nAfter) return false;
    return Word32(head) == ChunkId("RIFF") && Word32(head + 8) == ChunkId("WAVE");
}

bool CWaveChunks::Next() {
    uint8_t head[8];
    if (!m_file.SeekToPos(m_posNext) || !m_file.Read(head, sizeof head)) return false;
    m_id = Word32(head);
    m_nSize = Word32(head + 4);
    m_posBody = m_posNext + sizeof head;
    m_posNext = m_posBody + m_nSize;
    return true;
}

bool CWaveChunks::HasBody(uint64_t nOffset, uint64_t n) const {
    return nOffset + n <= m_nSize && m_posBody + nOffset + n <= m_nFileSize;
}

bool CWaveChunks::Read(void* pData, unsigned long n) { return m_file.Read(pData, n); }

int32_t FineTuneOfFraction(uint32_t nFraction) {
    constexpr uint64_t kSemitone = 4294967295;
    const uint64_t nCents = (uint64_t{nFraction} * 200 + kSemitone) / (2 * kSemitone);
    return static_cast<int32_t>(nCents) - (nCents > 50 ? 100 : 0);
}

uint32_t FractionOfFineTune(int32_t nCents) {
    // Deliberate (Q89): a negative fine tune leaves the root key.
    const uint64_t nUpward = static_cast<uint64_t>((nCents % 100 + 100) % 100);
    return static_cast<uint32_t>((nUpward * 4294967295 + 50) / 100);
}

}  // namespace Kestrova
