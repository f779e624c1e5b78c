#include "SamplerDBDS/BaseClasses/XFileReader.h"

#include <cstdlib>
#include <cstring>

#include "shared/System/kvAssert.h"

namespace Kestrova {

static constexpr char kSourceUnit[] = "SamplerDBDS/BaseClasses/OSSpec";

// --- CXFileReader ---

CXFileReader::CXFileReader(CXFile* pfile, unsigned long size) {
    if (pfile == nullptr || size == 0) return;
    KV_ASSERT_TEXT(pfile->Lock() && pfile->GetCurrentPos(m_posBegin), "false");
    m_pfile = pfile;
    m_size = size;
}

CXFileReader::~CXFileReader() { Clear(); }

void CXFileReader::Clear() {
    if (m_pfile != nullptr) m_pfile->Unlock();
    m_pfile = nullptr;
    m_posBegin = 0;
    m_size = 0;
}

void CXFileReader::Check(unsigned long bytes) {
    unsigned long long pos = 0;
    KV_ASSERT(m_pfile && m_pfile->GetCurrentPos(pos));
    KV_ASSERT(m_posBegin <= pos);
    const unsigned long long nPassed = pos - m_posBegin;
    KV_ASSERT_TEXT(nPassed <= m_size && bytes <= m_size - nPassed, "pos + bytes <= m_posBegin + m_size");
}

bool CXFileReader::Read(void* pData, unsigned long n) {
    Check(n);
    return m_pfile->Read(pData, n);
}

bool CXFileReader::ReadLittle8(void* pData) { return Read(pData, 1); }
bool CXFileReader::Read16(void* pData) { return Read(pData, 2); }
bool CXFileReader::Read32(void* pData) { return Read(pData, 4); }
bool CXFileReader::Read64(void* pData) { return Read(pData, 8); }

bool CXFileReader::Skip(unsigned long n) {
    Check(n);
    return m_pfile->Skip(n);
}

bool CXFileReader::GetCurrentPos(unsigned long long& pos) {
    Check(0);
    return m_pfile->GetCurrentPos(pos);
}

bool CXFileReader::ReadString(char (*pszText)[256]) {
    Check(1);
    return m_pfile->ReadString255(pszText);
}

// --- CXFileReadBuff ---

CXFileReadBuff::CXFileReadBuff(CXFile* pfile, unsigned long size) {
    if (pfile == nullptr || size == 0) return;
    KV_ASSERT_TEXT(pfile->Lock() && pfile->GetCurrentPos(m_posBegin), "false");
    m_pfile = pfile;
    if (!Fill(size)) Clear();
}

CXFileReadBuff::~CXFileReadBuff() { Clear(); }

void CXFileReadBuff::Clear() {
    if (m_pdata != m_inline) std::free(m_pdata);
    m_pdata = m_inline;
    if (m_pfile != nullptr) m_pfile->Unlock();
    m_pfile = nullptr;
    m_posBegin = 0;
    m_size = 0;
    m_cursor = 0;
}

bool CXFileReadBuff::Fill(unsigned long size) {
    if (size > kInlineBytes) {
        if (!FileHolds(size)) return false;
        m_pdata = static_cast<char*>(std::malloc(size));
        KV_ASSERT(m_pdata != 0);
    }
    if (!m_pfile->Read(m_pdata, size)) return false;
    m_size = size;
    return true;
}

// Whether `size` bytes follow; else moves to the end of the file, as reading them would.
bool CXFileReadBuff::FileHolds(unsigned long size) {
    unsigned long long nFile = 0;
    if (!m_pfile->GetSize(nFile)) return false;
    if (nFile >= m_posBegin && nFile - m_posBegin >= size) return true;
    if (nFile > m_posBegin) m_pfile->SeekToPos(nFile);
    return false;
}

bool CXFileReadBuff::Read(void* pData, unsigned long n) {
    if (!HasRoom(n)) return false;
    if (n != 0) std::memcpy(pData, m_pdata + m_cursor, n);
    m_cursor += n;
    return true;
}

bool CXFileReadBuff::ReadLittle8(void* pData) { return Read(pData, 1); }
bool CXFileReadBuff::Read16(void* pData) { return Read(pData, 2); }
bool CXFileReadBuff::Read32(void* pData) { return Read(pData, 4); }
bool CXFileReadBuff::Read64(void* pData) { return Read(pData, 8); }

bool CXFileReadBuff::Skip(unsigned long n) {
    if (!HasRoom(n)) return false;
    m_cursor += n;
    return true;
}

bool CXFileReadBuff::GetCurrentPos(unsigned long long& pos) {
    if (m_pfile == nullptr) return false;
    pos = m_posBegin + m_cursor;
    return true;
}

bool CXFileReadBuff::ReadString(char (*pszText)[256]) {
    char* const pchText = *pszText;
    pchText[0] = 0;
    uint8_t nLength = 0;
    if (!ReadLittle8(&nLength)) return false;
    if (nLength != 0 && !Read(pchText, nLength)) return false;
    pchText[nLength] = 0;
    return true;
}

}  // namespace Kestrova
