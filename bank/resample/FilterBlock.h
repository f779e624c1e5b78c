// FilterBlock.h - a run of output frames as the SIMD filter kernels take it.
// Plain data only: files built for other instruction sets include it.
//
// A row holds the coefficients of one phase in the order of the source frames that they are multiplied by; a
// window holds source frames unpacked to planes. Every entry of both is two 16-bit halves in 32 bits, so that
// one instruction multiplies the low halves, multiplies the high halves and adds the two products:
//   row         {coefficient, 1}
//   16 bits     {sample, 8192}         gives   coefficient * sample + 8192
//   24 bits     {sample >> 8, 0}       gives   coefficient * (sample >> 8)             (high plane)
//               {sample & 255, 8192}   gives   coefficient * (sample & 255) + 8192     (low plane)
// The 24-bit term (c * x + 8192) >> 14 is then (high + (low >> 8)) >> 6 in 32 bits, exactly.
#pragma once

#include <cstdint>

namespace Kestrova {

inline constexpr int kRowUnit = 8;        // wings are padded to whole vectors of the widest variant
inline constexpr int kMaxRowTaps = 2048;  // ratios up to 32 with the long filter; scalar above that
inline constexpr int kWindowFrames = 4096;
inline constexpr int kBlockFrames = 512;  // output frames per block, at most

// How a row is made from a phase; the same for all frames of a conversion.
// Table entries are pairs {coefficient, difference to the next}.
struct FilterRowShape {
    const int32_t* pPairs;        // the table
    const int32_t* pLeftPhases;   // its entries by phase: 256 left wings of nLeftTaps, as they lie in a row
    const int32_t* pRightPhases;  // 257 right wings of nRightTaps
    int nEntries;                 // of the table
    int nTableStep;               // 1..32768; the phase tables serve 32768 only
    int nFractionMask;            // 127 to interpolate between entries, 0 to use them unchanged
    int nLeftTaps;                // row entries for the current frame and those before it
    int nRightTaps;               // row entries for the frames after it; both are multiples of kRowUnit
};

struct FilterBlock {
    FilterRowShape row;
    int nSampleBits;
    int nChannels;
    const int32_t* arPlanes[2][2];  // [channel][0: the only or high plane, 1: low plane], from the frame
                                    // that meets the first row entry of the first output frame
    int nPhase;                     // of the first output frame
    int nStep;
    int nFrames;         // output frames
    int32_t* arSums[2];  // [channel] receives the sums, before the gain
};

using SumFramesFunction = void (*)(const FilterBlock& block);
void SumFramesSse2(const FilterBlock& block);
void SumFramesAvx2(const FilterBlock& block);
void SumFramesNeon(const FilterBlock& block);

}  // namespace Kestrova
