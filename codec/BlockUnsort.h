// BlockUnsort.h - the inverse of the Burrows-Wheeler transform.
#pragma once

#include "codec/WaveFormat.h"

namespace Kestrova {

// Walkers that are on their way at the same time. Each of their steps waits for memory; the waits overlap.
inline constexpr unsigned kWalkers = 16;
// Bytes that one walker may pass. Where they share the block evenly, each passes a little more than its part.
inline constexpr uint32_t kWalkBytes = WaveFormat::kBlockSize / kWalkers * 5 / 4;

// The large arrays of the inverse, part of the expander's working storage.
struct BlockUnsortArrays {
    uint32_t links[WaveFormat::kBlockSize + 1];  // to the next rotation; one more for walkers without work
    uint8_t walks[kWalkers * kWalkBytes];        // the bytes each walker passed, one walker behind the other
};

// Puts the nCount bytes of a block, which stand in the order of their rotations, back into their own order.
//   nCount:  1 to WaveFormat::kBlockSize
//   iOrigin: place of the block itself among its rotations, below nCount
//   counts:  how often each byte value occurs in the block
// Any bytes and any origin give a result; only the CRC tells whether it is the right one.
// nWalkBytes: another limit (1 to kWalkBytes) is for tests.
void UnsortBlock(uint8_t* pBlock, uint32_t nCount, uint32_t iOrigin,
                 const uint32_t (&counts)[WaveFormat::kByteValues], BlockUnsortArrays& arrays,
                 uint32_t nWalkBytes = kWalkBytes);

// The same with one walker. It is what the other means, and what takes over where that one gives up.
void UnsortBlockPlainly(uint8_t* pBlock, uint32_t nCount, uint32_t iOrigin,
                        const uint32_t (&counts)[WaveFormat::kByteValues], BlockUnsortArrays& arrays);

}  // namespace Kestrova
