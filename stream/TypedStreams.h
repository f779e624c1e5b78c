// TypedStreams.h - typed values over a raw byte transport, and random access.
// Bytes:  values go in host order (little-endian), unswapped; long and unsigned long take 4 bytes.
// Errors: a typed operation answers false (or 0) when the transport gave or took fewer bytes than the value
//         has. It throws nothing itself; an exception of the transport passes through.
#pragma once

#include <cstdint>

#include "shared/System/kvString.h"

namespace Kestrova {

class InputStream {
public:
    virtual ~InputStream() = default;

    // False, unless a transport overrides it.
    virtual bool IsEOF();
    // The transport: reads up to n bytes to p and returns how many came.
    virtual unsigned long Read(void* p, unsigned long n) = 0;
    // Reads count elements of size bytes in one call, unswapped; returns how many came whole.
    virtual unsigned long ReadArray(void* p, unsigned long nCount, unsigned long nSize);

    // On failure the value is left as it was.
    virtual bool Read(unsigned char& value);
    virtual bool Read(unsigned short& value);
    virtual bool Read(unsigned long& value);
    virtual bool Read(unsigned long long& value);
    virtual bool Read(float& value);
    virtual bool Read(double& value);
    virtual bool Read(signed char& value);
    virtual bool Read(short& value);
    virtual bool Read(long& value);
    virtual bool Read(long long& value);

    // 0 on failure.
    virtual int8_t ReadInt8();
    virtual int16_t ReadInt16();
    virtual int32_t ReadInt32();
    virtual int64_t ReadInt64();
    virtual uint8_t ReadUInt8();
    virtual uint16_t ReadUInt16();
    virtual uint32_t ReadUInt32();
    virtual uint64_t ReadUInt64();
    virtual float ReadFloat32();
    virtual double ReadFloat64();

    // A 32-bit length, then the characters; the text ends before a zero byte among them. A length that the
    // transport could not give counts as 0 and makes an empty text and true: deliberate, readers of files
    // that lack the text depend on it. A negative length is fatal ("nNewLength >= 0"). On failure the text is
    // left as it was. Memory taken is bounded by the bytes that came, not by the length announced.
    virtual bool Read(String& strText);
    // The text read that way, empty on failure.
    virtual String ReadString();
};

class OutputStream {
public:
    virtual ~OutputStream() = default;

    // The transport: writes n bytes from p and returns how many it took.
    virtual unsigned long Write(const void* p, unsigned long n) = 0;
    // Writes count elements of size bytes in one call, unswapped; returns how many were taken whole.
    virtual unsigned long WriteArray(const void* p, unsigned long nCount, unsigned long nSize);

    // long and unsigned long: false, and nothing written, for a value that 4 bytes cannot hold.
    virtual bool Write(unsigned char value);
    virtual bool Write(unsigned short value);
    virtual bool Write(unsigned long value);
    virtual bool Write(unsigned long long value);
    virtual bool Write(float value);
    virtual bool Write(double value);
    virtual bool Write(signed char value);
    virtual bool Write(short value);
    virtual bool Write(long value);
    virtual bool Write(long long value);

    virtual bool WriteInt8(int8_t value);
    virtual bool WriteInt16(int16_t value);
    virtual bool WriteInt32(int32_t value);
    virtual bool WriteInt64(int64_t value);
    virtual bool WriteUInt8(uint8_t value);
    virtual bool WriteUInt16(uint16_t value);
    virtual bool WriteUInt32(uint32_t value);
    virtual bool WriteUInt64(uint64_t value);
    virtual bool WriteFloat32(float value);
    virtual bool WriteFloat64(double value);

    virtual bool WriteString(String strText);
    // A 32-bit length, then the characters without a terminator.
    bool Write(const String& strText);
};

class RandomAccess {
public:
    // nOrigin: 1 from the position, 2 from the end, anything else from the start. Returns the new position.
    virtual unsigned long Seek(unsigned long nOffset, int nOrigin) = 0;
    virtual unsigned long Tell();
    // True when the position moved by exactly n.
    virtual bool Skip(unsigned long n);
    // Cuts the stream off at the position. Returns its size.
    virtual unsigned long EndAtPos() = 0;

protected:
    ~RandomAccess() = default;
};

class InputRandomAccessStream : public InputStream, public virtual RandomAccess {};
class OutputRandomAccessStream : public OutputStream, public virtual RandomAccess {};

// For files of the other byte order: count elements of size bytes, each byte-reversed on its way through a
// scratch area of 1024 bytes. Return how many elements were transferred whole, stopping at the first short
// transfer; 0 for a null pointer, a zero count, a zero size or an element larger than the scratch area.
unsigned long writeArray(OutputStream& out, const void* p, unsigned long nCount, unsigned long nSize);
unsigned long readArray(InputStream& in, void* p, unsigned long nCount, unsigned long nSize);

}  // namespace Kestrova
