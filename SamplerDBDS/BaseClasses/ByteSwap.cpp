#include "SamplerDBDS/BaseClasses/ByteSwap.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

namespace Kestrova {

namespace {

uint16_t Reversed(uint16_t value) { return __builtin_bswap16(value); }
uint32_t Reversed(uint32_t value) { return __builtin_bswap32(value); }
uint64_t Reversed(uint64_t value) { return __builtin_bswap64(value); }

template <class TValue>
void SwapWords(void* pData, unsigned long count) {
    if (pData == nullptr) return;
    char* pch = static_cast<char*>(pData);
    for (; count != 0; --count, pch += sizeof(TValue)) {
        TValue value;
        std::memcpy(&value, pch, sizeof value);
        value = Reversed(value);
        std::memcpy(pch, &value, sizeof value);
    }
}

void SwapBytes(void* pData, unsigned long count, unsigned long elemSize) {
    if (pData == nullptr || elemSize == 0) return;
    char* pch = static_cast<char*>(pData);
    for (; count != 0; --count, pch += elemSize) std::reverse(pch, pch + elemSize);
}

}  // namespace

void OSSwapArrayInt16(void* pData, unsigned long count) { SwapWords<uint16_t>(pData, count); }
void OSSwapArrayInt32(void* pData, unsigned long count) { SwapWords<uint32_t>(pData, count); }
void OSSwapArrayInt64(void* pData, unsigned long count) { SwapWords<uint64_t>(pData, count); }

void OSSwapArrayInt24(void* pData, unsigned long count) {
    if (pData == nullptr) return;
    char* pch = static_cast<char*>(pData);
    for (; count != 0; --count, pch += 3) std::swap(pch[0], pch[2]);
}

void OSSwapArray(void* pData, unsigned long count, unsigned long elemSize) {
    switch (elemSize) {
        case 0:
        case 1: return;
        case 2: return OSSwapArrayInt16(pData, count);
        case 3: return OSSwapArrayInt24(pData, count);
        case 4: return OSSwapArrayInt32(pData, count);
        case 8: return OSSwapArrayInt64(pData, count);
        default: return SwapBytes(pData, count, elemSize);
    }
}

void Convert24to32(void* pData, unsigned long count) {
    auto* const pBytes = static_cast<uint8_t*>(pData);
    for (unsigned long i = count; i-- != 0;) {
        const uint8_t* const pSample = pBytes + 3 * i;
        const uint32_t nWord = static_cast<uint32_t>(pSample[0]) << 8 |
                               static_cast<uint32_t>(pSample[1]) << 16 |
                               static_cast<uint32_t>(pSample[2]) << 24;
        std::memcpy(pBytes + 4 * i, &nWord, sizeof nWord);
    }
}

}  // namespace Kestrova
