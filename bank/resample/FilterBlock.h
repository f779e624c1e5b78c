// FilterBlock.h - a run of output frames as the SIMD filter kernels take it, and the wings that they multiply
// by.
// Plain data only: files built for other instruction sets include it.
//
// A wing is one side of the filter: its coefficients from a place h of the table on, one for each source
// frame, nearest frame first. It depends on h alone, and both sides read the same wings: the right one
// forwards in time, the left one backwards. Rows hold wings in the form that lets one instruction make a
// rounded term.
// With M(a, b) = (a * b + 2^14) >> 15, the rounding high multiply of 16-bit numbers:
//
//   16 bits   (c * x + 2^13) >> 14 = M(2c, x)            because (2cx + 2^14) >> 15 is the same quotient.
//             The row holds 2c, which fits for |c| < 2^14. The first coefficients of a wing may be greater:
//             c = c' + 2^14 then, the row holds 2c', and since 2^14 * x is a multiple of 2^14, the term is
//             M(2c', x) + x. A term fits in 16 bits: |2c'| <= 2^15 and |x| <= 2^15, both -2^15 never.
//   24 bits   x = high * 2^14 + low, low in 0..2^14 - 1. The first part is a multiple of 2^14, so
//             (c * x + 2^13) >> 14 = c * high + ((c * low + 2^13) >> 14) = c * high + M(c, 2 * low).
//             The row holds c; the planes hold high (-512..511) and 2 * low (0..2^15 - 2).
#pragma once

#include <cstdint>

namespace Kestrova {

inline constexpr int kRowUnit = 32;  // rows are padded to whole vectors of the widest variant: 64 bytes
inline constexpr int kMostWingTaps = 1024;  // ratios up to 32 with the long filter; scalar above that
inline constexpr int kWindowFrames = 4096;
inline constexpr int kMostPlanes = 4;  // channels of all streams of a block
inline constexpr int kMostStreams = kMostPlanes;
inline constexpr int kBlockFrames = 512;  // output frames per block, at most; whole vectors of sums

// All wings of one filter at one table step, for samples of one width.
struct FilterWings {
    const int16_t* pImp;   // the table
    const int16_t* pImpD;  // its differences
    int nEntries;          // of the table
    int nFractionMask;     // 127 to interpolate between entries, 0 to use them unchanged
    int nTableStep;        // 1..32768; places are 0..nTableStep
    bool bDoubled;         // for 16 bits: rows hold 2c or 2c' as told above

    int nTaps;     // of the longest wing
    int nRowTaps;  // nTaps rounded up to kRowUnit; a row is filled up with zeros

    // The first taps of a wing, as many as have c = c' + 2^14: nGreatTaps up to place nGreatLimit, one less
    // behind it; 0 when the rows are not doubled. arGreatTaps - n holds n ones and then zeros.
    int nGreatTaps;
    int nGreatLimit;
    const int16_t* arGreatTaps;

    // Ready rows: row h is at h * nRowTaps, 64-byte aligned. Null: rows are made when needed.
    const int16_t* pReadyLeft;
    const int16_t* pReadyRight;  // the same unless the table's last entry counts: right wings leave it out
};

// Makes the row of place h from the table's first nEntries entries. nEntries * 128 + nTableStep fits an int.
void MakeWing(const FilterWings& wings, int h, int nEntries, int16_t* pRow);

// After some frames a conversion comes to the same phase again, and from then on to all the same phases.
// Places of the wave that far apart are streams: their frames are made side by side, so that a row is fetched
// once for all.
struct FilterBlock {
    FilterWings wings;
    int nSampleBits;
    int nChannels;
    int nGain;
    int nStep;
    int nStreams;       // 1, 2 or 4
    int nPhase;         // of the first output frame of each stream
    int nFrames;        // output frames of each stream, 1..kBlockFrames
    int nSourceFrames;  // of each stream, at most kWindowFrames / nStreams
    // Interleaved source samples: the first frame is nRowTaps - 1 before that of the first output frame, the
    // last nRowTaps behind that of the last one.
    const char* arSources[kMostStreams];
    int16_t* arOut[kMostStreams];  // receive the output frames; room for kBlockFrames and 8 bytes
};

using FilterBlockFunction = void (*)(const FilterBlock& block);
void FilterBlockSse2(const FilterBlock& block);
void FilterBlockAvx2(const FilterBlock& block);
void FilterBlockAvx512(const FilterBlock& block);
void FilterBlockNeon(const FilterBlock& block);

}  // namespace Kestrova
