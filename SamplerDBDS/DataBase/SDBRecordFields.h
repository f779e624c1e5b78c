// SDBRecordFields.h - walkers of a record's list of fields. A record names its fields once, in file order, in
// a function Fields(record, walker); here are the walkers that decode, encode and count such a list, or skip
// over it. Internal to the record sources.
#pragma once

#include <cstdint>
#include <cstring>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/BaseClasses/XFileReader.h"
#include "SamplerDBDS/DataBase/SDBISample.h"
#include "shared/System/kvAssert.h"

namespace Kestrova {

// A window of size bytes on a file, like CXFileReader, but it answers false where that one ends the program:
// for bodies that nobody vouches for and that are not worth reading whole. Holds the file's stream lock.
// A window that the file does not have in full has no bytes at all.
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

// The whole body in memory, with the same question before memory is taken for a count.
class CBodyBuffer : public CXFileReadBuff {
public:
    CBodyBuffer(CXFile* file, unsigned long size) : CXFileReadBuff(file, size) {
        unsigned long long pos = 0;
        if (GetCurrentPos(pos)) m_posEnd = pos + size;
    }

    bool HasRoom(uint64_t n) {
        unsigned long long pos = 0;
        return GetCurrentPos(pos) && n <= m_posEnd - pos;
    }

private:
    uint64_t m_posEnd = 0;
};

// The window whose bounds are fatal checks: it answers for itself when the bytes are read.
class CCheckedWindow : public CXFileReader {
public:
    using CXFileReader::CXFileReader;
    bool HasRoom(uint64_t) const { return true; }
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

    bool Block(CStgBlock& block) {
        uint32_t nCount = 0;
        return Word(nCount) && m_reader.HasRoom(nCount) && block.Alloc(nCount) && Bytes(block.Data(), nCount);
    }

    bool LoopLimit(uint32_t nLoops) {
        KV_ASSERT_TEXT(nLoops < kMaxLoops, "m_info.cLayerLoops < 1000000");
        return true;
    }

    // The entries of a list whose count has been read into m_info; without them the list is empty.
    bool LoopEntries(CSDBISampleBase& sample) {
        const uint32_t nLoops = sample.m_info.cLayerLoops;
        const uint64_t nBytes = uint64_t{nLoops} * sizeof(SDBLOOP);
        const bool bRead =
            m_reader.HasRoom(nBytes) && sample.AllocLoops(nLoops) && Bytes(sample.GetLoops(), nBytes);
        if (!bRead) sample.AllocLoops(0);
        return bRead;
    }

    bool Tail(StgPars& pars) { return ReadUnknownParams(*this, pars); }

    // What ReadUnknownParams asks of a reader: the count is held against the body before memory is taken.
    bool Read32(uint32_t* pnCount) { return Word(*pnCount) && m_reader.HasRoom(*pnCount); }
    bool Read(void* pData, uint32_t n) { return m_reader.Read(pData, n); }

private:
    bool Bytes(void* pData, uint64_t n) { return n == 0 || m_reader.Read(pData, n); }

    TReader& m_reader;
    static constexpr char kSourceUnit[] = "SamplerDBDS/DataBase/SDBInterpreter";
};

// Writes a record at a file's position.
class CFieldEncoder {
public:
    explicit CFieldEncoder(CXFile& file) : m_file(file) {}

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
    bool LoopLimit(uint32_t nLoops) { return nLoops < kMaxLoops; }

    bool LoopEntries(const CSDBISampleBase& sample) {
        return m_file.Write(sample.GetLoops(), sample.m_info.cLayerLoops * sizeof(SDBLOOP));
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
    bool LoopLimit(uint32_t) { return true; }
    bool LoopEntries(const CSDBISampleBase& sample) {
        return Add(uint64_t{sample.m_info.cLayerLoops} * sizeof(SDBLOOP));
    }
    bool Tail(const StgPars& pars) { return Add(uint64_t{4} + pars.Size()); }

private:
    uint64_t m_nBytes = 0;
};

// Walks over a record without taking memory; only words reach the record.
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
    bool LoopLimit(uint32_t nLoops) { return nLoops < kMaxLoops; }
    bool LoopEntries(const CSDBISampleBase& sample) {
        return m_reader.Skip(uint64_t{sample.m_info.cLayerLoops} * sizeof(SDBLOOP));
    }
    bool Tail(const StgPars&) { return Counted(); }

private:
    bool Counted() {
        uint32_t nCount = 0;
        return Word(nCount) && m_reader.Skip(nCount);
    }

    CBodyReader& m_reader;
};

}  // namespace Kestrova
