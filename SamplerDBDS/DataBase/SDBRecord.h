// SDBRecord.h - the base of every record of a sample database, the ordered set of records, and the two
// elements all records share: 255-character texts and the tail of parameters this system does not know.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <utility>

namespace Kestrova {

class CDataContainer;
class CSDBInterpreterSet;
class CXFile;

// Type codes of notes, as the header's type byte holds them.
enum SDBTYPE : uint8_t {
    kSdbInfo = 0,
    kSdbPreset = 16,
    kSdbBank = 17,
    kSdbProgram = 18,
    kSdbRegion = 19,
    kSdbLayer = 20,
    kSdbSample = 21,
    kSdbQuickLoad = 254,  // only as the first note of a file
    kSdbAny = 255         // never stored; matches every type in lookups
};

inline constexpr uint32_t kSdbNoID = 0xFFFFFFFF;  // no parent, no sample

// One record body: it decodes itself from an open file and encodes itself back.
// Threads: none of its own; one thread at a time.
// Errors:  false; the record is then cleared or partly filled. After a Read that failed, the file's
//          GetFirstError tells the cause: ENOMEM when memory ran out, another errno when reading failed, and
//          0 (when it was 0 before) for a damaged body.
class CSDBInterpreter {
public:
    virtual ~CSDBInterpreter() = default;
    CSDBInterpreter(const CSDBInterpreter&) = delete;
    CSDBInterpreter& operator=(const CSDBInterpreter&) = delete;

    // Decodes a body of size bytes that begins at the file's position. A body that is not whole in the file,
    // or whose fields do not fit into size bytes, is false, and no memory is taken for it.
    virtual bool Read(CXFile* file, unsigned long size) = 0;
    virtual bool Read(CXFile* file, unsigned long size, int option);  // forwards; the option is not used

    // Encodes the body at the file's position: exactly GetSize() bytes when true.
    virtual bool Write(CXFile* file) = 0;
    virtual bool Write(CXFile* file, int option);  // forwards; the option is not used

    // A new container with a copy of the tail; null when there is none. The caller releases it.
    virtual CDataContainer* GetParametersCopy();

    // -1, 0 or 1 as this record sorts before, with or after the other, which is of the same class.
    virtual int Compare(CSDBInterpreter& other) = 0;

    // Bytes that Write produces, computed in 64 bits: it may exceed the 32-bit size field of a note. Whoever
    // stores it there (CSDB when it adds or changes a note) must fail on more than 0xFFFFFFFF, not cut it.
    virtual unsigned long GetSize() = 0;

    // Adds the record's fields as items to an open chunk; false where a record has no such form.
    virtual bool PutData(CDataContainer* container);

    uint8_t GetType() const { return m_type; }
    uint32_t GetID() const { return m_id; }
    uint32_t GetParentID() const { return m_parentID; }
    void SetID(uint32_t id) { m_id = id; }
    void SetParentID(uint32_t parentID) { m_parentID = parentID; }

protected:
    CSDBInterpreter(SDBTYPE type, uint32_t id, uint32_t parentID)
        : m_type(type), m_id(id), m_parentID(parentID) {}

private:
    friend class CSDBInterpreterSet;

    uint8_t m_type;
    uint32_t m_id;
    uint32_t m_parentID;
    CSDBInterpreter* m_pNext = nullptr;  // in the set that owns it
};

// Records of one type in order; owns its members. Equal ones keep the order in which they came.
class CSDBInterpreterSet {
public:
    CSDBInterpreterSet() = default;
    ~CSDBInterpreterSet() { Clear(); }
    CSDBInterpreterSet(const CSDBInterpreterSet&) = delete;
    CSDBInterpreterSet& operator=(const CSDBInterpreterSet&) = delete;

    // Takes the record over. False (and the caller keeps it) for null or for another type than the members'.
    bool Insert(CSDBInterpreter* interp, int descending);

    // Deletes every member.
    void Clear();

    // Walks the members: GetFirst puts the cursor on the head, GetNext moves it on; null at the end.
    CSDBInterpreter* GetFirst();
    CSDBInterpreter* GetNext();

private:
    CSDBInterpreter* m_pHead = nullptr;
    CSDBInterpreter* m_pCursor = nullptr;
};

// Zero-filled heap bytes with their length.
class CStgBlock {
public:
    CStgBlock() = default;
    CStgBlock(const CStgBlock&) = delete;
    CStgBlock& operator=(const CStgBlock&) = delete;

    // Replaces the block by size zero bytes, or a copy of size bytes. 0 empties it and succeeds; false, and
    // the block empty, when memory runs out.
    bool Alloc(uint64_t size);
    bool Copy(const void* data, uint64_t size);
    void Free();

    uint8_t* Data() { return m_pData.get(); }
    const uint8_t* Data() const { return m_pData.get(); }
    size_t Size() const { return m_nSize; }

private:
    struct CFree {
        void operator()(void* p) const { std::free(p); }
    };
    void Swap(CStgBlock& other) noexcept {
        std::swap(m_pData, other.m_pData);
        std::swap(m_nSize, other.m_nSize);
    }

    std::unique_ptr<uint8_t, CFree> m_pData;
    size_t m_nSize = 0;
};

// The tail of a record: parameters this system does not know, kept byte for byte. Up to 256 bytes lie in the
// holder itself, so that reading a usual record takes no memory for them.
class StgPars {
public:
    static constexpr uint32_t kInlineBytes = 256;

    StgPars() = default;
    StgPars(const StgPars&) = delete;
    StgPars& operator=(const StgPars&) = delete;

    uint8_t* Data() { return IsInline() ? m_achInline : m_heap.Data(); }
    const uint8_t* Data() const { return IsInline() ? m_achInline : m_heap.Data(); }
    uint32_t Size() const { return m_nSize; }
    bool IsInline() const { return m_nSize <= kInlineBytes; }

    // Storage of size bytes; what lay there is gone. Heap storage is zero-filled, inline storage is not.
    // False, and the holder empty, when memory runs out, or when the count of 32 bits cannot hold the size.
    bool Provide(size_t size);
    void Free();

private:
    uint8_t m_achInline[kInlineBytes] = {};
    CStgBlock m_heap;
    uint32_t m_nSize = 0;
};

// Copies at most 255 characters of a text that may be null. Always true.
bool CopyStgStr(char (&dst)[256], const char* src);

// Replaces the tail by a copy; null data leaves it empty (true). False when memory runs out, or when size
// does not fit the tail's 32-bit count.
bool CopyStgPars(StgPars& pars, const void* data, unsigned long size);

// Replaces the tail by size bytes read from the file. Quirk (Q77): whether the read succeeded is not looked
// at, and the holder reports size bytes; callers rely on a result that tells of memory alone.
bool ReadStgPars(StgPars& pars, CXFile* file, unsigned long size);

// Reads the 32-bit count and the bytes of a tail. False, and the holder empty, when either does not come.
// TReader: any CXReader that has Read32 and Read; where it has NoteNoMemory, it is told when memory runs out.
template <class TReader>
bool ReadUnknownParams(TReader& reader, StgPars& pars) {
    pars.Free();
    uint32_t nCount = 0;
    if (!reader.Read32(&nCount)) return false;
    if (!pars.Provide(nCount)) {
        if constexpr (requires { reader.NoteNoMemory(); }) reader.NoteNoMemory();
        return false;
    }
    if (nCount == 0 || reader.Read(pars.Data(), nCount)) return true;
    pars.Free();
    return false;
}

// Writes the 32-bit count and the bytes of a tail.
bool WriteUnknownParams(CXFile* file, const StgPars& pars);

// Empties the holder.
void FreeStgPars(StgPars& pars);

}  // namespace Kestrova
