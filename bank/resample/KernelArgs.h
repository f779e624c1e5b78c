// KernelArgs.h - the state of one conversion, which the resampler and its kernels share.
#pragma once

namespace Kestrova {

// The state of one conversion, shared by the resampler and its kernels; the order of the fields is fixed.
// Owner: none; the wave and the destination belong to the caller of the conversion.
// The wave lies in [pSource, pSourceEnd). Kernels read at most kGuardFrames outside it; what lies farther
// away counts as silence. With a null pSourceEnd a kernel reads as far as its filter reaches.
struct _Args {
    int nPhase;            // fractional source position, 0..32767, in 1/32768 frame
    int nTableStep;        // way through the coefficient table per source frame, in 1/128 entry, 0..32768
    int nGain;             // output gain of the filter kernels, in 1/8192
    int nStep;             // source advance per output frame, in 1/32768 frame
    int nCleared;          // always 0
    int arKernelWords[4];  // room for kernels, unused by the present ones
    char* pSource;
    char* pDestination;
    char* pSourceEnd;
};

// The kernels read up to this many frames before and after the wave, so its buffer needs that much room.
inline constexpr int kGuardFrames = 256;

}  // namespace Kestrova
