// MoveToFront.h - the compressor's symbols: places in a list of recently used bytes, and runs of its front
// byte.
#pragma once

#include <span>

#include "codec/WaveFormat.h"

namespace Kestrova {

// The symbols of a block, its end included, and how often each occurs.
struct SymbolList {
    std::span<const uint16_t> symbols;
    unsigned nAlphabet = 0;  // used byte values + 2
    uint32_t frequencies[WaveFormat::kMaxAlphabet] = {};
};

// Codes the bytes before each rotation. `order` holds the rotations' starts in sorted
// order, pBlock[-1] is the block's last byte. The symbols go to pSymbols (order.size() + 1 entries,
// or fewer where there are runs of zeros).
SymbolList generateMTFValues(std::span<const uint32_t> order, const uint8_t* pBlock,
                             const bool (&used)[WaveFormat::kByteValues], uint16_t* pSymbols);

}  // namespace Kestrova
