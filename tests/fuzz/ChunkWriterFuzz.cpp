// ChunkWriterFuzz.cpp - any order of calls of the chunk writer: what it has written is always items and
// chunks one behind the other. Input: a byte for each call, with its arguments behind it.
#include "stream/DataContainer.h"
#include "tests/fuzz/FuzzInput.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

constexpr size_t kHeader = 8;

// Items and chunks both are an id, a length and so many bytes, and a zero byte behind an odd length.
void CheckTopLevel(const uint8_t* p, size_t n) {
    size_t pos = 0;
    while (pos < n) {
        KV_FUZZ_CHECK(n - pos >= kHeader);
        FuzzInput header(p + pos, kHeader);
        header.Number(4);  // the id; that of a chunk may be 0
        const uint64_t nLength = header.Number(4);
        KV_FUZZ_CHECK(nLength <= n - pos - kHeader);
        pos += kHeader + nLength + nLength % 2;
    }
    KV_FUZZ_CHECK(pos == n);
}

void Call(OutputChunkData& writer, FuzzInput& input) {
    const size_t nCall = input.Below(11);
    const unsigned long id = input.Number(input.Below(4) == 0 ? 8 : 2);
    switch (nCall) {
        case 0: writer.CreateChunk(id); break;
        case 1: writer.CreateList(id, input.Number(2)); break;
        case 2: writer.PutItem(id, static_cast<unsigned short>(input.Number(2))); break;
        case 3: writer.PutItem(id, static_cast<unsigned long>(input.Number(5))); break;
        case 4: writer.PutItem(id, static_cast<unsigned long long>(input.Number(8))); break;
        case 5: writer.PutItem(id, String(input.Text().c_str())); break;
        case 6: {
            const Bytes bytes = input.Take(input.Byte());
            writer.PutItem(id, bytes.data(), bytes.size());
            break;
        }
        case 7: writer.Close(); break;
        case 8: writer.Revert(); break;
        case 9: writer.Rewind(); break;
        default: writer.Detach(); writer.Attach();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    FuzzInput input(p, n);
    OutputChunkData writer;
    KV_FUZZ_CHECK(writer.Attach());
    while (!input.IsEmpty()) {
        Call(writer, input);
        const void* pWritten = nullptr;
        unsigned long nWritten = 0;
        KV_FUZZ_CHECK(writer.GetBuffer(pWritten, nWritten));
    }
    IStreamBuffer* pBuffer = nullptr;
    KV_FUZZ_CHECK(writer.Detach(pBuffer) && pBuffer != nullptr);
    CheckTopLevel(static_cast<const uint8_t*>(pBuffer->GetBuffer()), pBuffer->GetSize());
    pBuffer->Release();
    return 0;
}
