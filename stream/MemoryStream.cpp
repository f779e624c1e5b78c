#include "stream/MemoryStream.h"

namespace Kestrova {

MemoryStream::MemoryStream(IStreamBuffer& buffer) : m_buffer(buffer) { m_buffer.AddRef(); }
MemoryStream::~MemoryStream() { m_buffer.Release(); }

bool MemoryStream::IsEOF() { return m_buffer.Seek(0, 1) == m_buffer.GetSize(); }
unsigned long MemoryStream::Read(void* p, unsigned long n) { return m_buffer.Read(p, n); }
unsigned long MemoryStream::Write(const void* p, unsigned long n) { return m_buffer.Write(p, n); }
unsigned long MemoryStream::Seek(unsigned long nOffset, int nOrigin) {
    return m_buffer.Seek(nOffset, nOrigin);
}
unsigned long MemoryStream::EndAtPos() { return m_buffer.EndAtPos(); }

unsigned long NoSwapByteOrderOutputRandomAccessStream::Write(const void* p, unsigned long n) {
    return m_stream.Write(p, n);
}
unsigned long NoSwapByteOrderOutputRandomAccessStream::WriteArray(const void* p, unsigned long nCount,
                                                                  unsigned long nSize) {
    return m_stream.WriteArray(p, nCount, nSize);
}
unsigned long NoSwapByteOrderOutputRandomAccessStream::Seek(unsigned long nOffset, int nOrigin) {
    return m_stream.Seek(nOffset, nOrigin);
}
bool NoSwapByteOrderOutputRandomAccessStream::Skip(unsigned long n) { return m_stream.Skip(n); }
unsigned long NoSwapByteOrderOutputRandomAccessStream::EndAtPos() { return m_stream.EndAtPos(); }

unsigned long CountingStream::Write(const void*, unsigned long n) {
    m_nCount += n;
    return n;
}

}  // namespace Kestrova
