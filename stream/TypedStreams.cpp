#include "stream/TypedStreams.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <utility>

#include "SamplerDBDS/BaseClasses/ByteSwap.h"

namespace Kestrova {

namespace {

constexpr unsigned long kScratchBytes = 1024;
constexpr int kFirstTextPiece = 0x10000;
constexpr int kLongestText = std::numeric_limits<int>::max() - 1;  // what a String can hold

// Reads TWire, the value's form on the stream.
template <class TWire, class TValue>
bool ReadAs(InputStream& in, TValue& value) {
    TWire wire;
    if (in.Read(&wire, sizeof wire) != sizeof wire) return false;
    value = wire;
    return true;
}

template <class TValue>
TValue ReadOrZero(InputStream& in) {
    TValue value{};
    ReadAs<TValue>(in, value);
    return value;
}

template <class TValue>
bool WriteValue(OutputStream& out, TValue value) {
    return out.Write(&value, sizeof value) == sizeof value;
}

// Writes a long as its 4 bytes. Deliberate (Q50).
template <class TWire, class TValue>
bool WriteNarrowed(OutputStream& out, TValue value) {
    return std::in_range<TWire>(value) && WriteValue(out, static_cast<TWire>(value));
}

bool IsAddressable(unsigned long nCount, unsigned long nSize) {
    return nSize != 0 && nCount <= std::numeric_limits<unsigned long>::max() / nSize;
}

// The announced length may be false. So the text is read in pieces, each at most as long as all before it
// together.
bool ReadCharacters(InputStream& in, String& strText, int nLength) {
    for (int nDone = 0; nDone != nLength;) {
        const int nPiece = std::min(nLength - nDone, std::max(nDone, kFirstTextPiece));
        // A negative length ends the program here, deliberately (Q46).
        char* pchText = strText.GetBufferSetLength(nDone + nPiece);  // fatal for a negative length
        const auto nBytes = static_cast<unsigned long>(nPiece);
        if (in.Read(pchText + nDone, nBytes) != nBytes) return false;
        nDone += nPiece;
    }
    return true;
}

// Calls transfer(first element, elements) for pieces that fit the scratch area, until one transfer is
// incomplete. Returns the elements transferred.
template <class TTransfer>
unsigned long InPieces(unsigned long nCount, unsigned long nSize, TTransfer transfer) {
    const unsigned long nFitting = nSize != 0 ? kScratchBytes / nSize : 0;
    if (nFitting == 0) return 0;
    unsigned long nDone = 0;
    while (nDone < nCount) {
        const unsigned long nPiece = std::min(nFitting, nCount - nDone);
        const unsigned long nMoved = transfer(nDone, nPiece);
        nDone += nMoved;
        if (nMoved < nPiece) break;
    }
    return nDone;
}

}  // namespace

bool InputStream::IsEOF() { return false; }

unsigned long InputStream::ReadArray(void* p, unsigned long nCount, unsigned long nSize) {
    return IsAddressable(nCount, nSize) ? Read(p, nCount * nSize) / nSize : 0;
}

bool InputStream::Read(unsigned char& value) { return ReadAs<uint8_t>(*this, value); }
bool InputStream::Read(unsigned short& value) { return ReadAs<uint16_t>(*this, value); }
bool InputStream::Read(unsigned long& value) { return ReadAs<uint32_t>(*this, value); }
bool InputStream::Read(unsigned long long& value) { return ReadAs<uint64_t>(*this, value); }
bool InputStream::Read(float& value) { return ReadAs<float>(*this, value); }
bool InputStream::Read(double& value) { return ReadAs<double>(*this, value); }
bool InputStream::Read(signed char& value) { return ReadAs<int8_t>(*this, value); }
bool InputStream::Read(short& value) { return ReadAs<int16_t>(*this, value); }
bool InputStream::Read(long& value) { return ReadAs<int32_t>(*this, value); }
bool InputStream::Read(long long& value) { return ReadAs<int64_t>(*this, value); }

int8_t InputStream::ReadInt8() { return ReadOrZero<int8_t>(*this); }
int16_t InputStream::ReadInt16() { return ReadOrZero<int16_t>(*this); }
int32_t InputStream::ReadInt32() { return ReadOrZero<int32_t>(*this); }
int64_t InputStream::ReadInt64() { return ReadOrZero<int64_t>(*this); }
uint8_t InputStream::ReadUInt8() { return ReadOrZero<uint8_t>(*this); }
uint16_t InputStream::ReadUInt16() { return ReadOrZero<uint16_t>(*this); }
uint32_t InputStream::ReadUInt32() { return ReadOrZero<uint32_t>(*this); }
uint64_t InputStream::ReadUInt64() { return ReadOrZero<uint64_t>(*this); }
float InputStream::ReadFloat32() { return ReadOrZero<float>(*this); }
double InputStream::ReadFloat64() { return ReadOrZero<double>(*this); }

bool InputStream::Read(String& strText) {
    const int32_t nLength = ReadInt32();  // deliberate (Q44): 0, an empty text, when there is none to read
    String strRead;
    if (nLength != 0) {
        if (nLength > kLongestText || !ReadCharacters(*this, strRead, nLength)) return false;
        strRead.ReleaseBuffer();  // up to the first zero byte
    }
    strText = strRead;
    return true;
}

String InputStream::ReadString() {
    String strText;
    Read(strText);
    return strText;
}

unsigned long OutputStream::WriteArray(const void* p, unsigned long nCount, unsigned long nSize) {
    return IsAddressable(nCount, nSize) ? Write(p, nCount * nSize) / nSize : 0;
}

bool OutputStream::Write(unsigned char value) { return WriteValue(*this, value); }
bool OutputStream::Write(unsigned short value) { return WriteValue(*this, value); }
bool OutputStream::Write(unsigned long value) { return WriteNarrowed<uint32_t>(*this, value); }
bool OutputStream::Write(unsigned long long value) { return WriteValue(*this, value); }
bool OutputStream::Write(float value) { return WriteValue(*this, value); }
bool OutputStream::Write(double value) { return WriteValue(*this, value); }
bool OutputStream::Write(signed char value) { return WriteValue(*this, value); }
bool OutputStream::Write(short value) { return WriteValue(*this, value); }
bool OutputStream::Write(long value) { return WriteNarrowed<int32_t>(*this, value); }
bool OutputStream::Write(long long value) { return WriteValue(*this, value); }

bool OutputStream::WriteInt8(int8_t value) { return WriteValue(*this, value); }
bool OutputStream::WriteInt16(int16_t value) { return WriteValue(*this, value); }
bool OutputStream::WriteInt32(int32_t value) { return WriteValue(*this, value); }
bool OutputStream::WriteInt64(int64_t value) { return WriteValue(*this, value); }
bool OutputStream::WriteUInt8(uint8_t value) { return WriteValue(*this, value); }
bool OutputStream::WriteUInt16(uint16_t value) { return WriteValue(*this, value); }
bool OutputStream::WriteUInt32(uint32_t value) { return WriteValue(*this, value); }
bool OutputStream::WriteUInt64(uint64_t value) { return WriteValue(*this, value); }
bool OutputStream::WriteFloat32(float value) { return WriteValue(*this, value); }
bool OutputStream::WriteFloat64(double value) { return WriteValue(*this, value); }

bool OutputStream::WriteString(String strText) { return Write(strText); }

bool OutputStream::Write(const String& strText) {
    if (!WriteInt32(strText.GetLength())) return false;
    const auto nLength = static_cast<unsigned long>(strText.GetLength());
    return nLength == 0 || Write(strText.c_str(), nLength) == nLength;
}

unsigned long RandomAccess::Tell() { return Seek(0, 1); }

bool RandomAccess::Skip(unsigned long n) {
    const unsigned long nBefore = Tell();
    return Seek(n, 1) - nBefore == n;
}

unsigned long writeArray(OutputStream& out, const void* p, unsigned long nCount, unsigned long nSize) {
    if (p == nullptr) return 0;
    std::array<char, kScratchBytes> scratch;
    const char* pchSource = static_cast<const char*>(p);
    return InPieces(nCount, nSize, [&](unsigned long nFirst, unsigned long n) {
        std::memcpy(scratch.data(), pchSource + nFirst * nSize, n * nSize);
        OSSwapArray(scratch.data(), n, nSize);
        return out.Write(scratch.data(), n * nSize) / nSize;
    });
}

unsigned long readArray(InputStream& in, void* p, unsigned long nCount, unsigned long nSize) {
    if (p == nullptr) return 0;
    std::array<char, kScratchBytes> scratch;
    char* pchTarget = static_cast<char*>(p);
    return InPieces(nCount, nSize, [&](unsigned long nFirst, unsigned long n) {
        const unsigned long nRead = in.Read(scratch.data(), n * nSize) / nSize;
        OSSwapArray(scratch.data(), nRead, nSize);
        std::memcpy(pchTarget + nFirst * nSize, scratch.data(), nRead * nSize);
        return nRead;
    });
}

}  // namespace Kestrova
