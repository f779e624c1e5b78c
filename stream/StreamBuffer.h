// StreamBuffer.h - a growable block of memory with a read/write position; the carrier of whole waves.
// Threads: counts are atomic, contents are not protected.
// Errors:  only StreamBuffer throws in this system; the first subsystem boundary catches it.
#pragma once

#include "shared/System/kvString.h"
#include "stream/RefCounter.h"

namespace Kestrova {

class StreamBuffer;

class Exception {
public:
    virtual ~Exception() = default;
    // One line naming the exception's kind; it lives as long as the exception.
    virtual const char* GetText() const;
};

class StreamBufferException : public Exception {
public:
    enum ExceptId {
        kNoAllocator = 0,  // the buffer would have to grow and has no allocator
        kOutOfMemory = 1,  // the allocator could not enlarge the buffer, or no address reaches that far
        kReadPastEnd = 2,  // a read asked for more than lies between the position and the end
    };

    // Holds a plain pointer to the buffer: use it only while the buffer is known to exist.
    StreamBufferException(StreamBuffer* pBuffer, ExceptId id) : m_pBuffer(pBuffer), m_id(id) {}

    // "Kestrova::StreamBufferException<id>", built on first request (not by two threads at once).
    const char* GetText() const override;

    StreamBuffer* GetStreamBuffer() const { return m_pBuffer; }
    ExceptId GetId() const { return m_id; }

private:
    StreamBuffer* m_pBuffer;
    ExceptId m_id;
    mutable String m_strText;
};

// What a chunk writer or a memory stream asks of a buffer. Sizes and positions are bytes.
class IStreamBuffer : public IRefCounter {
public:
    virtual unsigned long Read(void* p, unsigned long n) = 0;
    virtual unsigned long Write(const void* p, unsigned long n) = 0;
    virtual unsigned long Seek(unsigned long nOffset, int nOrigin) = 0;
    virtual void* GetBuffer() const = 0;
    virtual unsigned long GetSize() const = 0;
    virtual void Detach(void*& p, unsigned long& n) = 0;
    virtual unsigned long EndAtPos() = 0;
    virtual ~IStreamBuffer() = default;
};

// The size is also the allocated length: growth is exact, there is no reserve. The position never lies
// beyond the size. An operation that throws changes nothing.
class StreamBuffer : public IStreamBuffer {
public:
    // Empty and growable, with an allocator of its own.
    StreamBuffer();
    // The same over a given allocator, to which it holds a reference; blocks detached are that allocator's.
    explicit StreamBuffer(Allocator& allocator);
    // Wraps foreign memory that outlives this object (nullptr: nothing, whatever nSize is). It can neither
    // grow nor free it; a caller of Write must know that the memory may be written.
    StreamBuffer(const void* pData, unsigned long nSize);
    ~StreamBuffer() override;
    StreamBuffer(const StreamBuffer&) = delete;
    StreamBuffer& operator=(const StreamBuffer&) = delete;

    uint32_t AddRef() override;
    uint32_t Release() override;

    // Copies exactly n bytes from the position and advances; returns n, or 0 for n == 0 or a null p.
    // Throws kReadPastEnd when fewer than n are left.
    unsigned long Read(void* p, unsigned long n) override;

    // Copies n bytes (not from this buffer) to the position, growing to exactly the new end, and advances;
    // returns n, or 0 for n == 0 or a null p. Throws as Grow does, also when no address reaches that end.
    unsigned long Write(const void* p, unsigned long n) override;

    // nOrigin: 1 from the position, 2 from the end, anything else from the start; offsets go forward only.
    // A target beyond the size grows the buffer with zero bytes (throws as Grow does), or without an
    // allocator stops at the size. Returns the new position.
    unsigned long Seek(unsigned long nOffset, int nOrigin) override;

    // nullptr while a growable buffer is empty. The address is good until the buffer grows, shrinks or ends.
    void* GetBuffer() const override { return m_pBuffer; }
    unsigned long GetSize() const override { return m_nSize; }

    // Hands over the bytes as a malloc block that the caller frees (nullptr and 0 when empty): the buffer's
    // own block, or a copy of wrapped memory (throws kOutOfMemory). The buffer is empty from then on, and has
    // no allocator.
    void Detach(void*& p, unsigned long& n) override;

    // With an allocator, cuts the buffer off at the position. Returns the size.
    unsigned long EndAtPos() override;

protected:
    // Makes the size exactly n and returns the buffer; bytes gained are undefined, a position beyond the new
    // size moves to it. Throws kNoAllocator without an allocator, kOutOfMemory when it fails to enlarge.
    virtual void* Grow(unsigned long n);

private:
    char* At(unsigned long nPosition) const { return static_cast<char*>(m_pBuffer) + nPosition; }
    unsigned long Origin(int nOrigin) const;
    void* CopyOfForeign();

    AtomicRefCount m_refs;
    Allocator* m_pAllocator;
    void* m_pBuffer = nullptr;
    unsigned long m_nSize = 0;
    unsigned long m_nPosition = 0;
};

}  // namespace Kestrova
