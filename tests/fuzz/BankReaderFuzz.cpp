// BankReaderFuzz.cpp - the reader library with hostile files: it may refuse one; all it gives of one that it
// opens must lie inside the file. Input: the file.
#include <cstdint>
#include <cstring>
#include <memory>

#include "tests/libkvbank/ReadAll.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    // In memory of exactly this size, so that one byte too far is found.
    const std::unique_ptr<uint8_t[]> pFile(new uint8_t[n]);
    if (n > 0) std::memcpy(pFile.get(), p, n);
    kvb_bank* pBank = nullptr;
    if (kvb_open_memory(pFile.get(), n, &pBank) != KVB_OK) return 0;
    Kestrova::Test::ReadAll(pBank);
    kvb_close(pBank);
    return 0;
}
