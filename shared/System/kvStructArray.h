// kvStructArray.h - a growable array of records of one size that own things.
// Records move as raw bytes. Clear and Spoil, never destructors, decide who owns what a record owns.
#pragma once

namespace Kestrova {

// Base of the records. It must be possible to move a record as bytes: it may not hold a pointer into itself.
class StructElem {
public:
    // Releases what the record owns.
    virtual void Clear() {}
    // Forgets what the record owns without releasing it, after its bytes went elsewhere.
    virtual void Spoil() {}
    virtual ~StructElem() = default;
};

// Owner:   owns its memory and what its records own; a pointer into it is good until the next change of size.
// Threads: none of its own: one thread at a time. Errors: an operation that returns false changed nothing.
class CStructArray {
public:
    // nElemSize: bytes of a record, the size of a class derived from StructElem (its first base)
    // nGrowBy:   records by which the capacity grows; 0 is taken as 1
    CStructArray(unsigned long nElemSize, unsigned long nGrowBy);
    ~CStructArray() { Clear(); }
    CStructArray(const CStructArray&) = delete;
    CStructArray& operator=(const CStructArray&) = delete;

    unsigned long GetCount() const { return m_nCount; }
    unsigned long GetCapacity() const { return m_nCapacity; }
    // The record at an index; null when there is none. A record that Realloc added is all zero bytes until
    // something is put there: it must not be used before.
    StructElem* GetAt(unsigned long nIndex) const;

    // Sets the count. The capacity becomes nGrowBy * ceiling(nCount / nGrowBy); memory is allocated again
    // only when the capacity changes. 0 frees it. Records cut off are not cleared. false without memory.
    bool Realloc(unsigned long nCount);

    // Moves nCount records, one after the other at pElems and not in this array, to before nIndex and calls
    // Spoil on each source. false without memory, for a null source or an index above the count.
    bool Insert(unsigned long nIndex, unsigned long nCount, StructElem* pElems);

    // Calls Clear on nCount records from nIndex on and closes the gap. false when they are not all there.
    bool Delete(unsigned long nIndex, unsigned long nCount);

    // Moves a record: Clear on the destination, byte copy, Spoil on the source. A record put to its own place
    // stays as it is.
    void PutElementTo(StructElem* pDst, StructElem* pSrc);

    // Calls Clear on all records and frees the memory.
    void Clear();

private:
    unsigned char* BytesAt(unsigned long nIndex) const { return m_pchData + nIndex * m_nElemSize; }
    void ClearRecord(unsigned char* pchRecord) const;
    bool SetCapacity(unsigned long nCapacity);
    void MoveRecords(unsigned long nTo, unsigned long nFrom, unsigned long nCount);

    const unsigned long m_nElemSize;
    const unsigned long m_nGrowBy;
    unsigned long m_nCapacity = 0;
    unsigned long m_nCount = 0;
    unsigned char* m_pchData = nullptr;
};

}  // namespace Kestrova
