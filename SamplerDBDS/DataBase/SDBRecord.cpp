#include "SamplerDBDS/DataBase/SDBRecord.h"

#include <cstring>

#include "SamplerDBDS/BaseClasses/XFile.h"

namespace Kestrova {

bool CSDBInterpreter::Read(CXFile* file, unsigned long size, int) { return Read(file, size); }

bool CSDBInterpreter::Write(CXFile* file, int) { return Write(file); }

CDataContainer* CSDBInterpreter::GetParametersCopy() { return nullptr; }

bool CSDBInterpreter::PutData(CDataContainer*) { return false; }

bool CSDBInterpreterSet::Insert(CSDBInterpreter* interp, int descending) {
    if (!interp || (m_pHead && interp->GetType() != m_pHead->GetType())) return false;
    const int nBefore = descending ? 1 : -1;
    CSDBInterpreter** ppPlace = &m_pHead;
    while (*ppPlace && interp->Compare(**ppPlace) != nBefore) ppPlace = &(*ppPlace)->m_pNext;
    interp->m_pNext = *ppPlace;
    *ppPlace = interp;
    return true;
}

void CSDBInterpreterSet::Clear() {
    m_pCursor = nullptr;
    while (m_pHead) delete std::exchange(m_pHead, m_pHead->m_pNext);
}

CSDBInterpreter* CSDBInterpreterSet::GetFirst() { return m_pCursor = m_pHead; }

CSDBInterpreter* CSDBInterpreterSet::GetNext() {
    if (m_pCursor) m_pCursor = m_pCursor->m_pNext;
    return m_pCursor;
}

bool CStgBlock::Alloc(uint64_t size) {
    Free();
    if (size == 0) return true;
    m_pData.reset(static_cast<uint8_t*>(std::calloc(size, 1)));
    if (m_pData) m_nSize = size;
    return m_pData != nullptr;
}

bool CStgBlock::Copy(const void* data, uint64_t size) {
    CStgBlock copy;  // data may lie in this block
    const bool bHave = copy.Alloc(size);
    if (copy.Size() > 0) std::memcpy(copy.Data(), data, size);
    Swap(copy);
    return bHave;
}

void CStgBlock::Free() {
    m_pData.reset();
    m_nSize = 0;
}

bool StgPars::Provide(size_t size) {
    Free();
    if (size > UINT32_MAX || (size > kInlineBytes && !m_heap.Alloc(size))) return false;
    m_nSize = static_cast<uint32_t>(size);
    return true;
}

void StgPars::Free() {
    m_heap.Free();
    m_nSize = 0;
}

bool CopyStgStr(char (&dst)[256], const char* src) {
    const size_t nLength = src ? strnlen(src, sizeof dst - 1) : 0;
    if (nLength > 0) std::memmove(dst, src, nLength);  // src may be dst
    dst[nLength] = '\0';
    return true;
}

bool CopyStgPars(StgPars& pars, const void* data, unsigned long size) {
    pars.Free();
    if (!data) return true;
    if (!pars.Provide(size)) return false;
    if (size > 0) std::memcpy(pars.Data(), data, size);
    return true;
}

bool ReadStgPars(StgPars& pars, CXFile* file, unsigned long size) {
    pars.Free();
    if (!pars.Provide(size)) return false;
    if (file) file->Read(pars.Data(), size);
    return true;
}

bool WriteUnknownParams(CXFile* file, const StgPars& pars) {
    const uint32_t nCount = pars.Size();
    return file && file->Write(&nCount, sizeof nCount) && file->Write(pars.Data(), nCount);
}

void FreeStgPars(StgPars& pars) { pars.Free(); }

}  // namespace Kestrova
