// SDBRecordFields.h - what the record sources share. A record names its fields once, in file order, in a
// function Fields(record, walker); here are the walkers that decode, encode and count such a list, or skip
// over it, and the orders by which records are compared. They know kinds of fields and no record.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/BaseClasses/XFileReader.h"
#include "SamplerDBDS/DataBase/SDBRecord.h"
#include "shared/System/kvAssert.h"
#include "shared/System/kvCompare.h"

namespace Kestrova {

// --- Reading and writing ---

// Passes on whether there was memory. If not, ENOMEM is noted at the file: a record that could not be read
// because memory ran out must not pass for a damaged one.
inline bool HadMemory(CXFile& file, bool bHad) {
    if (!bHad) file.NoteError(ENOMEM);
    return bHad;
}

// A window of size bytes on a file, like CXFileReader, but it answers false where that one ends the program.
// It serves bodies that may be damaged and are too long to be read whole. Holds the file's stream lock. A
// window that reaches beyond the end of the file has no bytes at all.
class CBodyReader {
public:
    CBodyReader(CXFile& file, uint64_t size) : m_file(file) {
        m_file.Lock();
        unsigned long long pos = 0;
        unsigned long long nFileSize = 0;
        if (!m_file.GetCurrentPos(pos) || !m_file.GetSize(nFileSize)) return;
        if (pos <= nFileSize && size <= nFileSize - pos) m_nLeft = size;
    }
    ~CBodyReader() { m_file.Unlock(); }
    CBodyReader(const CBodyReader&) = delete;
    CBodyReader& operator=(const CBodyReader&) = delete;

    CXFile& GetFile() { return m_file; }
    bool HasRoom(uint64_t n) const { return n <= m_nLeft; }
    bool Read(void* pData, uint64_t n) { return Take(n) && m_file.Read(pData, n); }
    bool Read32(void* pData) { return Read(pData, 4); }
    bool Skip(uint64_t n) { return Take(n) && m_file.Skip(n); }

    bool ReadString(char (*pszText)[256]) {
        uint8_t nLength = 0;
        (*pszText)[0] = '\0';
        if (!Read(&nLength, 1) || !Read(*pszText, nLength)) return false;
        (*pszText)[nLength] = '\0';
        return true;
    }

private:
    bool Take(uint64_t n) {
        if (!HasRoom(n)) return false;
        m_nLeft -= n;
        return true;
    }

    CXFile& m_file;
    uint64_t m_nLeft = 0;
};

// The whole body in memory; a count is compared with the body before memory is taken for it, as above.
// REQUIRES: a body so small that the reader holds it in itself. For a larger one it takes memory, and ends
// the program when there is none.
class CBodyBuffer : public CXFileReadBuff {
public:
    CBodyBuffer(CXFile& file, unsigned long size) : CXFileReadBuff(&file, size), m_file(file) {
        unsigned long long pos = 0;
        if (GetCurrentPos(pos)) m_posEnd = pos + size;
    }

    CXFile& GetFile() { return m_file; }

    bool HasRoom(uint64_t n) {
        unsigned long long pos = 0;
        return GetCurrentPos(pos) && n <= m_posEnd - pos;
    }

private:
    CXFile& m_file;
    uint64_t m_posEnd = 0;
};

// The window whose bounds are fatal checks. They are made when the bytes are read, so this reader is not
// asked before whether they are there.
class CCheckedWindow : public CXFileReader {
public:
    CCheckedWindow(CXFile& file, unsigned long size) : CXFileReader(&file, size), m_file(file) {}

    CXFile& GetFile() { return m_file; }
    bool HasRoom(uint64_t) const { return true; }

private:
    CXFile& m_file;
};

// Fills a record from a reader. TReader: one of the three above.
template <class TReader>
class CFieldDecoder {
public:
    explicit CFieldDecoder(TReader& reader) : m_reader(reader) {}

    bool Text(char (&sz)[256]) { return m_reader.ReadString(&sz); }

    template <class TWord>
    bool Word(TWord& n) {
        static_assert(sizeof(TWord) == 4);
        return m_reader.Read32(&n);
    }

    // Deliberately (Q78) not looked into: a block whose first word is not its count is kept as it came.
    bool Block(CStgBlock& block) {
        uint32_t nCount = 0;
        return Word(nCount) && m_reader.HasRoom(nCount) && Provide(block, nCount) &&
               Bytes(block.Data(), nCount);
    }

    bool LoopLimit(uint32_t nLoops, uint32_t nLimit) {
        // Deliberate (Q85): a million loops in an enriched sample is a fatal check.
        KV_ASSERT_TEXT(nLoops < nLimit, "m_info.cLayerLoops < 1000000");
        return true;
    }

    // A list of nCount entries of nEntry bytes; the count was the field before. When the entries are not
    // there the list is empty.
    bool List(CStgBlock& block, uint32_t& nCount, size_t nEntry) {
        const uint64_t nBytes = uint64_t{nCount} * nEntry;
        if (m_reader.HasRoom(nBytes) && Provide(block, nBytes) && Bytes(block.Data(), nBytes)) return true;
        block.Free();
        nCount = 0;
        return false;
    }

    bool Tail(StgPars& pars) { return ReadUnknownParams(*this, pars); }

    // What ReadUnknownParams asks of a reader. The count is compared with the body before memory is taken.
    bool Read32(uint32_t* pnCount) { return Word(*pnCount) && m_reader.HasRoom(*pnCount); }
    bool Read(void* pData, uint32_t n) { return m_reader.Read(pData, n); }
    void NoteNoMemory() { HadMemory(m_reader.GetFile(), false); }

private:
    bool Provide(CStgBlock& block, uint64_t n) { return HadMemory(m_reader.GetFile(), block.Alloc(n)); }
    bool Bytes(void* pData, uint64_t n) { return n == 0 || m_reader.Read(pData, n); }

    TReader& m_reader;
    static constexpr char kSourceUnit[] = "SamplerDBDS/DataBase/SDBInterpreter";
};

// Writes a record at a file's position.
class CFieldEncoder {
public:
    explicit CFieldEncoder(CXFile& file) : m_file(file) {}

    // Deliberately (Q79) up to its first zero byte.
    bool Text(const char (&sz)[256]) { return m_file.WriteString(sz); }

    template <class TWord>
    bool Word(const TWord& n) {
        static_assert(sizeof(TWord) == 4);
        return m_file.Write(&n, 4);
    }

    bool Block(const CStgBlock& block) {
        if (block.Size() > UINT32_MAX) return false;
        return Word(static_cast<uint32_t>(block.Size())) && m_file.Write(block.Data(), block.Size());
    }

    // A list that no reader would take is not written.
    bool LoopLimit(uint32_t nLoops, uint32_t nLimit) { return nLoops < nLimit; }

    bool List(const CStgBlock& block, uint32_t nCount, size_t nEntry) {
        return m_file.Write(block.Data(), nCount * nEntry);
    }

    bool Tail(const StgPars& pars) { return WriteUnknownParams(&m_file, pars); }

private:
    CXFile& m_file;
};

// Adds up the bytes that the encoder writes.
class CFieldCounter {
public:
    uint64_t Count() const { return m_nBytes; }
    bool Add(uint64_t n) {
        m_nBytes += n;
        return true;
    }

    bool Text(const char (&sz)[256]) { return Add(1 + std::strlen(sz)); }
    template <class TWord>
    bool Word(const TWord&) {
        return Add(4);
    }
    bool Block(const CStgBlock& block) { return Add(4 + block.Size()); }
    bool LoopLimit(uint32_t, uint32_t) { return true; }
    bool List(const CStgBlock&, uint32_t nCount, size_t nEntry) { return Add(uint64_t{nCount} * nEntry); }
    bool Tail(const StgPars& pars) { return Add(uint64_t{4} + pars.Size()); }

private:
    uint64_t m_nBytes = 0;
};

// Walks over a record without taking memory; only the words are stored in the record.
class CFieldSkipper {
public:
    explicit CFieldSkipper(CBodyReader& reader) : m_reader(reader) {}

    bool Text(char (&sz)[256]) { return m_reader.ReadString(&sz); }
    template <class TWord>
    bool Word(TWord& n) {
        static_assert(sizeof(TWord) == 4);
        return m_reader.Read32(&n);
    }
    bool Block(const CStgBlock&) { return Counted(); }
    bool LoopLimit(uint32_t nLoops, uint32_t nLimit) { return nLoops < nLimit; }
    bool List(const CStgBlock&, uint32_t nCount, size_t nEntry) {
        return m_reader.Skip(uint64_t{nCount} * nEntry);
    }
    bool Tail(const StgPars&) { return Counted(); }

private:
    bool Counted() {
        uint32_t nCount = 0;
        return Word(nCount) && m_reader.Skip(nCount);
    }

    CBodyReader& m_reader;
};

// --- Orders ---

template <class TValue>
int Order(TValue a, TValue b) {
    return a < b ? -1 : int{b < a};
}

// The case-insensitive order of texts, as -1, 0 or 1.
inline int OrderTexts(const char* pszA, const char* pszB) { return Order(CompareString(pszA, pszB), 0); }

// The first of the orders that is not 0; 0 when all are.
inline int FirstDifference(std::initializer_list<int> orders) {
    for (const int nOrder : orders)
        if (nOrder != 0) return nOrder;
    return 0;
}

// The other record as TRecord, which it must be: records of two classes have no order, and end the program.
template <class TRecord>
const TRecord& SameClass(const CSDBInterpreter& other) {
    static constexpr char kSourceUnit[] = "SamplerDBDS/DataBase/SDBInterpreter";
    const TRecord* pOther = dynamic_cast<const TRecord*>(&other);
    KV_ASSERT(pOther != nullptr);
    return *pOther;
}

}  // namespace Kestrova
