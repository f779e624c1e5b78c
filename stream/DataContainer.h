// DataContainer.h - a block of tagged items as one counted object.
// Threads: none of its own; the count is plain, so one thread at a time may hold references.
#pragma once

#include "shared/System/kvString.h"
#include "stream/OutputChunkData.h"
#include "stream/RefCounter.h"
#include "stream/StreamBuffer.h"

namespace Kestrova {

// A block of bytes to look at. The address is good until the owner adds to it or ends.
class IData : public IRefCounter {
public:
    virtual unsigned long GetSize() const = 0;
    virtual void* GetBuffer() const = 0;

protected:
    ~IData() = default;
};

class CDataContainer final : public IData {
public:
    CDataContainer();
    // A new container that holds a copy of n bytes at p; items put later follow them. The caller releases it.
    // nullptr when there is no memory for it.
    static CDataContainer* NewCopy(const void* p, unsigned long n);
    CDataContainer(const CDataContainer&) = delete;
    CDataContainer& operator=(const CDataContainer&) = delete;

    uint32_t AddRef() override;
    uint32_t Release() override;
    unsigned long GetSize() const override { return m_buffer.GetSize(); }
    void* GetBuffer() const override { return m_buffer.GetBuffer(); }

    // Append one item each, as OutputChunkData does: false for an id, length or value that does not fit
    // 32 bits, an id of 0, an empty text or block, and when memory runs out.
    bool PutItem(unsigned long id, String strText) { return m_writer.PutItem(id, strText); }
    bool PutItem(unsigned long id, const void* p, unsigned long n) { return m_writer.PutItem(id, p, n); }
    bool PutItem(unsigned long id, unsigned short nValue) { return m_writer.PutItem(id, nValue); }
    bool PutItem(unsigned long id, unsigned long nValue) { return m_writer.PutItem(id, nValue); }
    bool PutItem(unsigned long id, unsigned long long nValue) { return m_writer.PutItem(id, nValue); }

    // The chunk writer itself, for chunks and lists.
    OutputChunkData& GetWriter() { return m_writer; }

private:
    CDataContainer(const void* p, unsigned long n);

    uint32_t m_nRefs = 1;
    StreamBuffer m_buffer;  // before the writer, which lets go of it first
    OutputChunkData m_writer;
};

}  // namespace Kestrova
