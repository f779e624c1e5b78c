#include "shared/System/kvStructArray.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace Kestrova {

namespace {

// Records are handled as bytes; this turns bytes into a record again.
StructElem* AsElem(void* pRecord) { return static_cast<StructElem*>(pRecord); }

}  // namespace

CStructArray::CStructArray(unsigned long nElemSize, unsigned long nGrowBy)
    : m_nElemSize(nElemSize), m_nGrowBy(std::max(nGrowBy, 1ul)) {}

StructElem* CStructArray::GetAt(unsigned long nIndex) const {
    return nIndex < m_nCount ? AsElem(BytesAt(nIndex)) : nullptr;
}

bool CStructArray::Realloc(unsigned long nCount) {
    const unsigned long nSteps = nCount / m_nGrowBy + (nCount % m_nGrowBy != 0);
    unsigned long nCapacity = 0;
    if (__builtin_mul_overflow(nSteps, m_nGrowBy, &nCapacity) || !SetCapacity(nCapacity)) return false;
    if (nCount > m_nCount) std::memset(BytesAt(m_nCount), 0, (nCount - m_nCount) * m_nElemSize);
    m_nCount = nCount;
    return true;
}

bool CStructArray::SetCapacity(unsigned long nCapacity) {
    if (nCapacity == m_nCapacity) return true;
    unsigned char* pchData = nullptr;
    if (nCapacity == 0) {
        std::free(m_pchData);
    } else {
        unsigned long nBytes = 0;
        if (__builtin_mul_overflow(nCapacity, m_nElemSize, &nBytes) || nBytes == 0) return false;
        pchData = static_cast<unsigned char*>(std::realloc(m_pchData, nBytes));
        if (pchData == nullptr) return false;
    }
    m_pchData = pchData;
    m_nCapacity = nCapacity;
    return true;
}

bool CStructArray::Insert(unsigned long nIndex, unsigned long nCount, StructElem* pElems) {
    if (nIndex > m_nCount || nCount > ULONG_MAX - m_nCount) return false;
    if (nCount == 0) return true;
    const unsigned long nTail = m_nCount - nIndex;
    if (pElems == nullptr || !Realloc(m_nCount + nCount)) return false;
    MoveRecords(nIndex + nCount, nIndex, nTail);
    auto* pchSource = reinterpret_cast<unsigned char*>(pElems);
    std::memcpy(BytesAt(nIndex), pchSource, nCount * m_nElemSize);
    for (unsigned long i = 0; i < nCount; ++i) AsElem(pchSource + i * m_nElemSize)->Spoil();
    return true;
}

bool CStructArray::Delete(unsigned long nIndex, unsigned long nCount) {
    if (nIndex > m_nCount || nCount > m_nCount - nIndex) return false;
    for (unsigned long i = 0; i < nCount; ++i) ClearRecord(BytesAt(nIndex + i));
    MoveRecords(nIndex, nIndex + nCount, m_nCount - nIndex - nCount);
    // The records are gone in any case: when the system cannot give a smaller block, the large one is kept.
    if (!Realloc(m_nCount - nCount)) m_nCount -= nCount;
    return true;
}

void CStructArray::PutElementTo(StructElem* pDst, StructElem* pSrc) {
    if (pDst == pSrc) return;
    ClearRecord(reinterpret_cast<unsigned char*>(pDst));
    std::memcpy(reinterpret_cast<unsigned char*>(pDst), reinterpret_cast<unsigned char*>(pSrc), m_nElemSize);
    pSrc->Spoil();
}

void CStructArray::Clear() { Delete(0, m_nCount); }

// A record that Realloc added and nobody filled owns nothing. It is not an
// object yet: its first bytes are still zero.
void CStructArray::ClearRecord(unsigned char* pchRecord) const {
    static constexpr unsigned char kBlank[sizeof(StructElem)] = {};
    if (std::memcmp(pchRecord, kBlank, std::min<unsigned long>(m_nElemSize, sizeof kBlank)) != 0)
        AsElem(pchRecord)->Clear();
}

void CStructArray::MoveRecords(unsigned long nTo, unsigned long nFrom, unsigned long nCount) {
    if (nCount != 0) std::memmove(BytesAt(nTo), BytesAt(nFrom), nCount * m_nElemSize);
}

}  // namespace Kestrova
