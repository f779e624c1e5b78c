#include "stream/OutputChunkData.h"

#include <algorithm>
#include <limits>

namespace Kestrova {

namespace {

constexpr uint32_t kListId = 0x5453494C;  // "LIST"
constexpr unsigned long kWordBytes = 4;
constexpr unsigned long kHeaderBytes = 8;  // id and size, of chunks, lists and items
constexpr unsigned long kSizeOffset = 4;   // of the size in the header
constexpr uint32_t kEmptyListSize = 4;     // a list's type counts as content

constexpr bool FitsWord(unsigned long nValue) { return nValue <= std::numeric_limits<uint32_t>::max(); }
constexpr uint32_t Word(unsigned long nValue) { return static_cast<uint32_t>(nValue); }

}  // namespace

OutputChunkData::~OutputChunkData() { Detach(); }

bool OutputChunkData::Record(Status status) {
    m_status = status;
    return status == kDone;
}

// Runs an operation on an attached target. The step returns the status; a target that throws counts as a
// failed write.
template <class TStep>
bool OutputChunkData::Run(TStep step) {
    if (!m_stream) return Record(kNotAttached);
    Status status = kWriteFailed;
    try {
        status = step();
    } catch (const Exception&) {
    }
    if (status == kWriteFailed) m_bLeftOver = true;
    return Record(status);
}

template <class TStep>
bool OutputChunkData::RunInChunk(TStep step) {
    return Run([&] { return m_nOpen == 0 ? kNoChunkOpen : step(m_arOpen[m_nOpen - 1]); });
}

bool OutputChunkData::Attach() {
    auto* pBuffer = new StreamBuffer;
    const bool bAttached = Attach(pBuffer);
    pBuffer->Release();
    return bAttached;
}

bool OutputChunkData::Attach(IStreamBuffer* pBuffer) {
    if (m_stream) return Record(kAlreadyAttached);
    if (pBuffer == nullptr) return Record(kBadArgument);
    m_pBuffer = pBuffer;
    return Attach(&m_memory.emplace(*pBuffer));
}

bool OutputChunkData::Attach(OutputRandomAccessStream* pStream) {
    if (m_stream) return Record(kAlreadyAttached);
    if (pStream == nullptr) return Record(kBadArgument);
    m_nEnd = m_stream.emplace(*pStream).Tell();
    m_nSizeBefore = m_pBuffer != nullptr ? m_pBuffer->GetSize() : m_nEnd;
    m_bLeftOver = false;
    return Record(kDone);
}

bool OutputChunkData::Detach() {
    const bool bClosed = Run([this] { return CloseAll(); });
    m_nOpen = 0;
    m_stream.reset();
    m_memory.reset();
    m_pBuffer = nullptr;
    return bClosed;
}

bool OutputChunkData::Detach(IStreamBuffer*& pBuffer) {
    pBuffer = m_pBuffer;
    if (pBuffer != nullptr) pBuffer->AddRef();
    return Detach();
}

bool OutputChunkData::GetBuffer(const void*& p, unsigned long& n) {
    const bool bHasBuffer = m_pBuffer != nullptr;
    p = bHasBuffer ? m_pBuffer->GetBuffer() : nullptr;
    n = bHasBuffer ? std::min(m_nEnd, m_pBuffer->GetSize()) : 0;
    return Record(bHasBuffer ? kDone : kNotAttached);
}

bool OutputChunkData::CreateChunk(unsigned long id) {
    return Run([&] { return FitsWord(id) ? OpenChunk({Word(id), 0}) : kBadArgument; });
}

bool OutputChunkData::CreateList(unsigned long type, unsigned long id) {
    return Run([&] {
        if (!FitsWord(id) || !FitsWord(type)) return kBadArgument;
        return OpenChunk({id != 0 ? Word(id) : kListId, kEmptyListSize, Word(type)});
    });
}

OutputChunkData::Status OutputChunkData::OpenChunk(std::initializer_list<uint32_t> header) {
    const unsigned long nBytes = header.size() * kWordBytes;
    if (m_nOpen == kMaxDepth) return kTooDeep;
    if (!HasRoomFor(nBytes)) return kBadArgument;
    if (!WriteAtEnd(header)) return kWriteFailed;
    m_arOpen[m_nOpen++] = {m_nEnd, m_nEnd + nBytes};
    m_nEnd += nBytes;
    return kDone;
}

bool OutputChunkData::PutItem(unsigned long id, const void* p, unsigned long n) {
    return Run([&] {
        const bool bIsItem = id != 0 && p != nullptr && n != 0 && FitsWord(id) && FitsWord(n);
        return bIsItem ? AppendItem(Word(id), p, Word(n)) : kBadArgument;
    });
}

bool OutputChunkData::PutItem(unsigned long id, unsigned short nValue) {
    return PutItem(id, &nValue, sizeof nValue);
}

bool OutputChunkData::PutItem(unsigned long id, unsigned long nValue) {
    const uint32_t nWord = Word(nValue);
    return PutItem(id, FitsWord(nValue) ? &nWord : nullptr, sizeof nWord);
}

bool OutputChunkData::PutItem(unsigned long id, unsigned long long nValue) {
    return PutItem(id, &nValue, sizeof nValue);
}

bool OutputChunkData::PutItem(unsigned long id, String strText) {
    return PutItem(id, strText.c_str(), static_cast<unsigned long>(strText.GetLength()));
}

OutputChunkData::Status OutputChunkData::AppendItem(uint32_t id, const void* p, uint32_t n) {
    const bool bPadded = n % 2 != 0;
    const unsigned long nBytes = kHeaderBytes + n + (bPadded ? 1 : 0);
    if (!HasRoomFor(nBytes)) return kBadArgument;
    if (!WriteAtEnd({id, n}) || m_stream->Write(p, n) != n) return kWriteFailed;
    if (bPadded && !m_stream->WriteUInt8(0)) return kWriteFailed;
    // Deliberate (Q49): an item rewrites the innermost size alone.
    return MoveEnd(m_nEnd + nBytes) ? kDone : kWriteFailed;
}

bool OutputChunkData::Close() {
    return RunInChunk([this](const Chunk& chunk) { return CloseCurrent(chunk); });
}

bool OutputChunkData::Revert() {
    return RunInChunk([this](const Chunk& chunk) { return DropCurrent(chunk); });
}

bool OutputChunkData::Rewind() {
    return RunInChunk([this](const Chunk& chunk) {
        m_bLeftOver = true;
        return MoveEnd(chunk.nDataStart) ? kDone : kWriteFailed;
    });
}

OutputChunkData::Status OutputChunkData::CloseCurrent(const Chunk& chunk) {
    // Deliberate (Q48): an empty chunk is dropped when closed, an empty list never.
    if (m_nEnd == chunk.nStart + kHeaderBytes) return DropCurrent(chunk);
    if (!MoveEnd(m_nEnd)) return kWriteFailed;
    --m_nOpen;
    return kDone;
}

OutputChunkData::Status OutputChunkData::DropCurrent(const Chunk& chunk) {
    if (!SeekTo(chunk.nStart)) return kWriteFailed;
    m_bLeftOver = true;
    m_nEnd = chunk.nStart;
    --m_nOpen;
    return kDone;
}

OutputChunkData::Status OutputChunkData::CloseAll() {
    while (m_nOpen != 0)
        if (CloseCurrent(m_arOpen[m_nOpen - 1]) != kDone) return kWriteFailed;
    if (m_bLeftOver && !CutLeftOver()) return kWriteFailed;
    return SeekTo(m_nEnd) ? kDone : kWriteFailed;
}

// A buffer keeps the bytes that it held before, even behind the new end.
bool OutputChunkData::CutLeftOver() {
    if (!SeekTo(std::max(m_nEnd, m_nSizeBefore))) return false;
    m_stream->EndAtPos();
    return true;
}

// The outermost chunk is the longest, so its size is the one that could overflow.
bool OutputChunkData::HasRoomFor(unsigned long nBytes) const {
    return m_nOpen == 0 || FitsWord(m_nEnd + nBytes - m_arOpen[0].nStart - kHeaderBytes);
}

bool OutputChunkData::WriteAtEnd(std::initializer_list<uint32_t> words) {
    return SeekTo(m_nEnd) && m_stream->WriteArray(words.begin(), words.size(), kWordBytes) == words.size();
}

// Resizes the current chunk, if there is one, to reach to the new end, and goes there.
bool OutputChunkData::MoveEnd(unsigned long nEnd) {
    if (m_nOpen != 0 && !Resize(m_arOpen[m_nOpen - 1], nEnd)) return false;
    if (!SeekTo(nEnd)) return false;
    m_nEnd = nEnd;
    return true;
}

bool OutputChunkData::Resize(const Chunk& chunk, unsigned long nEnd) {
    return SeekTo(chunk.nStart + kSizeOffset) && m_stream->Write(nEnd - chunk.nStart - kHeaderBytes);
}

bool OutputChunkData::SeekTo(unsigned long nPosition) { return m_stream->Seek(nPosition, 0) == nPosition; }

}  // namespace Kestrova
