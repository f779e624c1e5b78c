// OutputChunkData.h - writes nested, tagged chunks of items, as RIFF files have them, over a stream buffer.
//
//   item   id:4 length:4 bytes:length [0 when the length is odd]
//   chunk  id:4 size:4 (items and chunks):size
//   list   "LIST" or id:4 size:4 type:4 (items and chunks):size-4
//
// All numbers are 32-bit little-endian; an id's bytes in file order spell its four characters.
// Threads: none of its own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>

#include "shared/System/kvString.h"
#include "stream/MemoryStream.h"
#include "stream/StreamBuffer.h"
#include "stream/TypedStreams.h"

namespace Kestrova {

// Detached, or attached to one target. Every operation records its status and returns whether it is kDone;
// one that fails leaves the written items and the open chunks as they were. Nothing is thrown.
class OutputChunkData {
public:
    enum Status {
        kDone = 0,
        kBadArgument = 1,  // also an id, length, value or chunk size that 32 bits cannot hold
        kAlreadyAttached = 2,
        kNotAttached = 3,
        kWriteFailed = 4,  // the target took fewer bytes than it was given, or threw for want of memory
        kTooDeep = 7,      // more than kMaxDepth chunks would be open
        kNoChunkOpen = 9,
    };
    static constexpr size_t kMaxDepth = 16;

    OutputChunkData() = default;
    ~OutputChunkData();  // as Detach()
    OutputChunkData(const OutputChunkData&) = delete;
    OutputChunkData& operator=(const OutputChunkData&) = delete;

    // Writing starts at the target's position.
    bool Attach();                                   // a new buffer of the writer's own
    bool Attach(IStreamBuffer* pBuffer);             // holds a reference to it until detached
    bool Attach(OutputRandomAccessStream* pStream);  // not owned; outlives the attachment

    // Close every open chunk, end the target where the writing ended if anything was dropped, and let go of
    // it, also when that fails. The second form hands the buffer back with a reference that the caller
    // releases (nullptr when there is none).
    bool Detach();
    bool Detach(IStreamBuffer*& pBuffer);

    // The buffer's bytes up to the end of what was written; good until the next operation. Fails as not
    // attached, with nullptr and 0, when the target is a stream.
    bool GetBuffer(const void*& p, unsigned long& n);

    // Open a chunk or a list inside the current one; it becomes current. A list's id 0 stands for "LIST".
    bool CreateChunk(unsigned long id);
    bool CreateList(unsigned long type, unsigned long id = 0);

    // Append an item to the current chunk, or to the top level, and rewrite the current chunk's size (those
    // around it follow when they are closed). Refused: an id of 0, no data, a length of 0. The data may not
    // lie in the target.
    bool PutItem(unsigned long id, const void* p, unsigned long n);
    bool PutItem(unsigned long id, unsigned short nValue);
    bool PutItem(unsigned long id, unsigned long nValue);  // 4 bytes
    bool PutItem(unsigned long id, unsigned long long nValue);
    bool PutItem(unsigned long id, String strText);

    bool Close();   // patches the current chunk's size; a chunk without content is dropped, a list never
    bool Revert();  // drops the current chunk with all that is in it
    bool Rewind();  // drops what is in the current chunk and keeps it open

    Status GetStatus() const { return m_status; }

private:
    struct Chunk {
        unsigned long nStart;      // of its header, in the target
        unsigned long nDataStart;  // behind its header
    };

    bool Record(Status status);
    template <class TStep>
    bool Run(TStep step);
    template <class TStep>
    bool RunInChunk(TStep step);

    Status OpenChunk(std::initializer_list<uint32_t> header);
    Status AppendItem(uint32_t id, const void* p, uint32_t n);
    Status CloseCurrent(const Chunk& chunk);
    Status DropCurrent(const Chunk& chunk);
    Status CloseAll();
    bool HasRoomFor(unsigned long nBytes) const;
    bool WriteAtEnd(std::initializer_list<uint32_t> words);
    bool MoveEnd(unsigned long nEnd);
    bool Resize(const Chunk& chunk, unsigned long nEnd);
    bool CutLeftOver();
    bool SeekTo(unsigned long nPosition);

    std::optional<MemoryStream> m_memory;
    std::optional<NoSwapByteOrderOutputRandomAccessStream> m_stream;  // attached
    IStreamBuffer* m_pBuffer = nullptr;                               // kept alive by m_memory
    std::array<Chunk, kMaxDepth> m_arOpen{};
    size_t m_nOpen = 0;               // the last open one is current
    unsigned long m_nEnd = 0;         // where the next byte goes
    unsigned long m_nSizeBefore = 0;  // of the buffer, when it was attached
    bool m_bLeftOver = false;         // dropped bytes may lie beyond the end
    Status m_status = kDone;
};

}  // namespace Kestrova
