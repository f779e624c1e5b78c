// FakeStreams.h - stream transports that end, fill up or fail where a test wants it, without a buffer behind
// them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "stream/StreamBuffer.h"
#include "stream/TypedStreams.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {

// Gives the bytes it was made from; a read past them is short and never throws.
class ShortInput : public InputStream {
public:
    explicit ShortInput(Bytes bytes) : m_bytes(std::move(bytes)) {}

    using InputStream::Read;
    unsigned long Read(void* p, unsigned long n) override {
        m_nLargestRequest = std::max(m_nLargestRequest, n);
        ++m_nReads;
        const unsigned long nGiven = std::min<unsigned long>(n, m_bytes.size() - m_nPosition);
        if (nGiven != 0) std::memcpy(p, m_bytes.data() + m_nPosition, nGiven);
        m_nPosition += nGiven;
        return nGiven;
    }

    unsigned long m_nLargestRequest = 0;
    int m_nReads = 0;

private:
    Bytes m_bytes;
    unsigned long m_nPosition = 0;
};

// Takes bytes until it holds nLimit of them; a write past that is short.
class ShortOutput : public OutputStream {
public:
    explicit ShortOutput(unsigned long nLimit) : m_nLimit(nLimit) {}

    using OutputStream::Write;
    unsigned long Write(const void* p, unsigned long n) override {
        m_writes.push_back(n);
        const unsigned long nTaken = std::min<unsigned long>(n, m_nLimit - m_bytes.size());
        const auto* pBytes = static_cast<const uint8_t*>(p);
        m_bytes.insert(m_bytes.end(), pBytes, pBytes + nTaken);
        return nTaken;
    }

    Bytes m_bytes;
    std::vector<unsigned long> m_writes;  // the size of every call

private:
    unsigned long m_nLimit;
};

// How a faulty stream's call fails: half done and reported short, or by an exception.
enum class Fault { Short, Throws };

// A random access output of its own bytes whose call number nFaultyCall (1 is the first write or seek, 0 is
// none) fails.
class FaultyOutput : public OutputRandomAccessStream {
public:
    explicit FaultyOutput(int nFaultyCall = 0, Fault fault = Fault::Short)
        : m_nCallsToFault(nFaultyCall), m_fault(fault) {}

    using OutputStream::Write;
    unsigned long Write(const void* p, unsigned long n) override {
        const unsigned long nTaken = IsFaulty() ? n / 2 : n;
        if (m_nPosition + nTaken > m_bytes.size()) m_bytes.resize(m_nPosition + nTaken);
        std::memcpy(m_bytes.data() + m_nPosition, p, nTaken);
        m_nPosition += nTaken;
        return nTaken;
    }
    unsigned long Seek(unsigned long nOffset, int nOrigin) override {
        if (nOffset == 0 && nOrigin == 1) return m_nPosition;  // asking costs no call
        if (IsFaulty()) return m_nPosition + 1;
        return m_nPosition = nOffset;
    }
    unsigned long EndAtPos() override {
        m_bytes.resize(m_nPosition);
        return m_nPosition;
    }

    Bytes m_bytes;
    bool m_bFaultHit = false;

private:
    bool IsFaulty() {
        if (m_nCallsToFault == 0 || --m_nCallsToFault != 0) return false;
        m_bFaultHit = true;
        if (m_fault == Fault::Throws)
            throw StreamBufferException(nullptr, StreamBufferException::kOutOfMemory);
        return true;
    }

    int m_nCallsToFault;
    Fault m_fault;
    unsigned long m_nPosition = 0;
};

}  // namespace Kestrova::Test
