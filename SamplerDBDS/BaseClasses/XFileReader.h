// XFileReader.h - the two readers that record decoding works with: a window on the file, and a whole body.
// Both hold their file's stream lock from construction to Clear, so that no other thread can move the
// position.
#pragma once

#include <cstddef>
#include <cstdint>

#include "SamplerDBDS/BaseClasses/XFile.h"

namespace Kestrova {

// The base of both readers; it can only be destroyed.
class CXReader {
public:
    virtual ~CXReader() = 0;

protected:
    CXReader() = default;
    CXReader(const CXReader&) = default;
    CXReader& operator=(const CXReader&) = default;
};

inline CXReader::~CXReader() = default;

// A window of `size` bytes from the file's current position on, read straight from the file.
// Leaving the window is a mistake of the program and ends it: every operation first asserts that there is an
// open file, that its position is not before the window, and that the bytes asked for end inside it.
// Threads: one. Owner: the file is the caller's and must outlive the reader.
// Errors:  false for bytes that could not be read.
class CXFileReader : public CXReader {
public:
    // A null file or size 0 gives an empty reader; a closed file is a fatal assertion.
    CXFileReader(CXFile* pfile, unsigned long size);
    ~CXFileReader() override;
    CXFileReader(const CXFileReader&) = delete;
    CXFileReader& operator=(const CXFileReader&) = delete;

    virtual bool Read(void* pData, unsigned long n);
    // One length byte, then the text, terminated. Deliberate (Q42): only the length byte is checked against
    // the window.
    virtual bool ReadString(char (*pszText)[256]);
    // 1, 2, 4 and 8 bytes in host order.
    virtual bool ReadLittle8(void* pData);
    virtual bool Read16(void* pData);
    virtual bool Read32(void* pData);
    virtual bool Read64(void* pData);
    virtual bool Skip(unsigned long n);
    virtual bool GetCurrentPos(unsigned long long& pos);  // in the file

    // Releases the lock; the file's position is left where reading stopped. Every operation after it asserts.
    void Clear();

private:
    void Check(unsigned long bytes);

    CXFile* m_pfile = nullptr;  // null when cleared
    unsigned long long m_posBegin = 0;
    unsigned long m_size = 0;
};

// The next `size` bytes of the file, read in one call by the constructor and decoded from memory.
// Threads: one. Owner: the file is the caller's and must outlive the reader.
// Errors:  a body shorter on file than `size` reads nothing: the reader is cleared and every read fails. A
//          read past the end fails and does not move.
class CXFileReadBuff : public CXReader {
public:
    static constexpr unsigned long kInlineBytes = 1024;  // a body up to this takes no memory

    // A null file or size 0 gives an empty reader; a closed file is a fatal assertion, and so is memory that
    // cannot be had. Memory is taken only for bytes that the file has. The file's position is then the end of
    // the body, or of the file when that ends before.
    CXFileReadBuff(CXFile* pfile, unsigned long size);
    ~CXFileReadBuff() override;
    CXFileReadBuff(const CXFileReadBuff&) = delete;
    CXFileReadBuff& operator=(const CXFileReadBuff&) = delete;

    virtual bool Read(void* pData, unsigned long n);
    // One length byte, then the text, terminated; at most 255 bytes and the terminator, which always fit.
    virtual bool ReadString(char (*pszText)[256]);
    // 1, 2, 4 and 8 bytes in host order.
    virtual bool ReadLittle8(void* pData);
    virtual bool Read16(void* pData);
    virtual bool Read32(void* pData);
    virtual bool Read64(void* pData);
    virtual bool Skip(unsigned long n);
    // The cursor's place in the file; fails on an empty or cleared reader.
    virtual bool GetCurrentPos(unsigned long long& pos);

    // Releases the lock and the memory; every read after it fails.
    void Clear();

private:
    bool Fill(unsigned long size);
    bool FileHolds(unsigned long size);
    bool HasRoom(unsigned long n) const { return m_pfile != nullptr && n <= m_size - m_cursor; }

    char m_inline[kInlineBytes];
    char* m_pdata = m_inline;   // m_inline, or a heap block of exactly the size asked for
    CXFile* m_pfile = nullptr;  // null when cleared
    unsigned long long m_posBegin = 0;
    unsigned long m_size = 0;    // valid bytes
    unsigned long m_cursor = 0;  // never above m_size
};

}  // namespace Kestrova
