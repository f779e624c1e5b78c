#include "stream/StreamBuffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace Kestrova {

namespace {

// A sum too large for any address becomes the largest number, which every allocator refuses.
unsigned long SaturatedSum(unsigned long nFirst, unsigned long nSecond) {
    const unsigned long nRoom = std::numeric_limits<unsigned long>::max() - nFirst;
    return nFirst + std::min(nSecond, nRoom);
}

}  // namespace

const char* Exception::GetText() const { return "Kestrova::Exception"; }

const char* StreamBufferException::GetText() const {
    if (m_strText.IsEmpty()) m_strText.Format("Kestrova::StreamBufferException<%d>", static_cast<int>(m_id));
    return m_strText;
}

StreamBuffer::StreamBuffer() : m_pAllocator(new MemAllocator) {}

StreamBuffer::StreamBuffer(Allocator& allocator) : m_pAllocator(&allocator) { allocator.AddRef(); }

StreamBuffer::StreamBuffer(const void* pData, unsigned long nSize)
    : m_pAllocator(nullptr), m_pBuffer(const_cast<void*>(pData)), m_nSize(pData != nullptr ? nSize : 0) {}

StreamBuffer::~StreamBuffer() {
    if (m_pAllocator == nullptr) return;
    if (m_pBuffer != nullptr) m_pAllocator->Free(m_pBuffer);
    m_pAllocator->Release();
}

uint32_t StreamBuffer::AddRef() { return m_refs.Increment(); }

uint32_t StreamBuffer::Release() {
    const uint32_t nRefs = m_refs.Decrement();
    if (nRefs == 0) delete this;
    return nRefs;
}

unsigned long StreamBuffer::Read(void* p, unsigned long n) {
    if (n == 0 || p == nullptr) return 0;
    if (n > m_nSize - m_nPosition) throw StreamBufferException(this, StreamBufferException::kReadPastEnd);
    std::memcpy(p, At(m_nPosition), n);
    m_nPosition += n;
    return n;
}

unsigned long StreamBuffer::Write(const void* p, unsigned long n) {
    if (n == 0 || p == nullptr) return 0;
    // Deliberate (Q47): buffers grow to exactly what is needed.
    if (n > m_nSize - m_nPosition) Grow(SaturatedSum(m_nPosition, n));
    std::memcpy(At(m_nPosition), p, n);
    m_nPosition += n;
    return n;
}

unsigned long StreamBuffer::Seek(unsigned long nOffset, int nOrigin) {
    const unsigned long nTarget = SaturatedSum(Origin(nOrigin), nOffset);
    if (nTarget > m_nSize && m_pAllocator != nullptr) {
        const unsigned long nOldSize = m_nSize;
        Grow(nTarget);
        std::memset(At(nOldSize), 0, nTarget - nOldSize);
    }
    return m_nPosition = std::min(nTarget, m_nSize);
}

unsigned long StreamBuffer::Origin(int nOrigin) const {
    switch (nOrigin) {
        case 1: return m_nPosition;
        case 2: return m_nSize;
        default: return 0;
    }
}

void StreamBuffer::Detach(void*& p, unsigned long& n) {
    void* pHandedOver = m_pAllocator != nullptr ? m_pBuffer : CopyOfForeign();
    p = pHandedOver;
    n = m_nSize;
    m_pBuffer = nullptr;
    m_nSize = m_nPosition = 0;
    if (m_pAllocator != nullptr) m_pAllocator->Release();
    m_pAllocator = nullptr;
}

// The receiver of a detached block frees it, which must not happen to foreign memory.
void* StreamBuffer::CopyOfForeign() {
    if (m_nSize == 0) return nullptr;
    void* pCopy = std::malloc(m_nSize);
    if (pCopy == nullptr) throw StreamBufferException(this, StreamBufferException::kOutOfMemory);
    return std::memcpy(pCopy, m_pBuffer, m_nSize);
}

unsigned long StreamBuffer::EndAtPos() {
    if (m_pAllocator != nullptr) Grow(m_nPosition);
    return m_nSize;
}

void* StreamBuffer::Grow(unsigned long n) {
    if (m_pAllocator == nullptr) throw StreamBufferException(this, StreamBufferException::kNoAllocator);
    if (n == m_nSize) return m_pBuffer;
    void* pMoved = m_pAllocator->Realloc(m_pBuffer, n);
    if (pMoved == nullptr && n > m_nSize)
        throw StreamBufferException(this, StreamBufferException::kOutOfMemory);
    if (pMoved != nullptr || n == 0) m_pBuffer = pMoved;  // a block that could not be made smaller is kept
    m_nSize = n;
    m_nPosition = std::min(m_nPosition, m_nSize);
    return m_pBuffer;
}

}  // namespace Kestrova
