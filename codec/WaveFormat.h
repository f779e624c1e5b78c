// WaveFormat.h - the compressed wave stream as data, for its reader and its writer.
// Fields are packed into bytes most significant bit first, without any alignment inside the stream:
//   block...        magic, CRC, randomised flag, origin pointer, byte-use map, Huffman tables, symbols
//   end of stream   magic, combined CRC, zero bits up to the next byte
// There is no stream header, blocks are always the largest, and the bytes inside are delta-filtered samples.
// Deliberate (Q51).
#pragma once

#include <cstddef>
#include <cstdint>

namespace Kestrova::WaveFormat {

inline constexpr uint64_t kBlockMagic = 0x314159265359;
inline constexpr uint64_t kEndMagic = 0x177245385090;

// Widths of the fields in bits.
inline constexpr unsigned kMagicBits = 48, kCrcBits = 32, kRandomisedBits = 1, kOriginBits = 24;
inline constexpr unsigned kByteUseBits = 16;  // the map's first word, and each word behind a set bit of it
inline constexpr unsigned kTableCountBits = 3, kSelectorCountBits = 15, kStartLengthBits = 5;

inline constexpr uint32_t kBlockSize = 900000;  // most bytes of a run-length coded block
static_assert(kBlockSize < (1u << kOriginBits));

// Run-length coding of the block's bytes: kRunLiterals equal bytes are followed by a count of further copies.
inline constexpr uint32_t kRunLiterals = 4, kMaxRun = 255;

// Symbols: 0 and 1 code runs of the front byte in bijective base 2, k stands for move-to-front index k - 1,
// and the first number after the used indices ends the block.
inline constexpr uint16_t kRunA = 0, kRunB = 1;
inline constexpr unsigned kByteValues = 256, kMaxAlphabet = kByteValues + 2;

// Huffman coding: each group of symbols is coded with the table its selector names.
inline constexpr unsigned kGroupSize = 50, kMaxTables = 6;
inline constexpr unsigned kMaxSelectors = 2 + kBlockSize / kGroupSize;
static_assert(kMaxSelectors == 18002);
inline constexpr unsigned kMaxWrittenLength = 20;  // the writer's longest code
inline constexpr unsigned kMaxReadLength = 23;     // the reader's longest code

inline constexpr size_t kStagingSize = 0x40000;  // output reaches the stream buffer in pieces of this size

}  // namespace Kestrova::WaveFormat
