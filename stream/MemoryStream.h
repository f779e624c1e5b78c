// MemoryStream.h - streams over a buffer and over another stream, and one that only counts bytes.
#pragma once

#include "stream/StreamBuffer.h"
#include "stream/TypedStreams.h"

namespace Kestrova {

// Reads and writes a buffer, whose reference it holds, at the buffer's own position.
// Errors: a read past the end and a growth that fails throw StreamBufferException. Deliberate (Q45).
class MemoryStream : public InputRandomAccessStream, public OutputRandomAccessStream {
public:
    explicit MemoryStream(IStreamBuffer& buffer);
    ~MemoryStream() override;
    MemoryStream(const MemoryStream&) = delete;
    MemoryStream& operator=(const MemoryStream&) = delete;

    using InputStream::Read;
    using OutputStream::Write;
    // The position is at the buffer's end.
    bool IsEOF() override;
    unsigned long Read(void* p, unsigned long n) override;
    unsigned long Write(const void* p, unsigned long n) override;
    unsigned long Seek(unsigned long nOffset, int nOrigin) override;
    unsigned long EndAtPos() override;

private:
    IStreamBuffer& m_buffer;
};

// Passes everything on to another stream, which must outlive it. Values stay in host byte order.
class NoSwapByteOrderOutputRandomAccessStream : public OutputRandomAccessStream {
public:
    explicit NoSwapByteOrderOutputRandomAccessStream(OutputRandomAccessStream& stream) : m_stream(stream) {}

    using OutputStream::Write;
    unsigned long Write(const void* p, unsigned long n) override;
    unsigned long WriteArray(const void* p, unsigned long nCount, unsigned long nSize) override;
    unsigned long Seek(unsigned long nOffset, int nOrigin) override;
    bool Skip(unsigned long n) override;
    unsigned long EndAtPos() override;

private:
    OutputRandomAccessStream& m_stream;
};

// Measures how many bytes a serialisation would take; the bytes themselves are dropped.
class CountingStream : public OutputStream {
public:
    using OutputStream::Write;
    unsigned long Write(const void* p, unsigned long n) override;

    // Bytes written so far.
    unsigned long GetCount() const { return m_nCount; }

private:
    unsigned long m_nCount = 0;
};

}  // namespace Kestrova
