// Interpolator.h - the interpolation kernels: one output sample from the source samples around a position.
#pragma once

#include "bank/resample/KernelArgs.h"

namespace Kestrova {

// Sixteen band-limited kernels, _f<X><Y><bits><channels>:
//   X  0 = coefficients as they stand in the table, 1 = interpolated between its entries
//   Y  s = short filter (six source frames per side), l = long filter (32 per side); more when shortening
// position: the channel's sample in the current source frame, inside state's wave.
// Returns the output sample, not yet clamped. Threads: any; nothing is written, not even the state.
class Interpolator {
public:
    static int _f0s161(char* position, _Args* state);
    static int _f0s162(char* position, _Args* state);
    static int _f0s241(char* position, _Args* state);
    static int _f0s242(char* position, _Args* state);
    static int _f0l161(char* position, _Args* state);
    static int _f0l162(char* position, _Args* state);
    static int _f0l241(char* position, _Args* state);
    static int _f0l242(char* position, _Args* state);
    static int _f1s161(char* position, _Args* state);
    static int _f1s162(char* position, _Args* state);
    static int _f1s241(char* position, _Args* state);
    static int _f1s242(char* position, _Args* state);
    static int _f1l161(char* position, _Args* state);
    static int _f1l162(char* position, _Args* state);
    static int _f1l241(char* position, _Args* state);
    static int _f1l242(char* position, _Args* state);

    // Linear and four-point cubic interpolation at a phase of 0..32767, not clamped either. They read one
    // frame after the position; the cubic ones one before and two after.
    static int _lin161(char* position, long phase);
    static int _lin162(char* position, long phase);
    static int _lin241(char* position, long phase);
    static int _lin242(char* position, long phase);
    static int _cub161(char* position, long phase);
    static int _cub162(char* position, long phase);
    static int _cub241(char* position, long phase);
    static int _cub242(char* position, long phase);
};

}  // namespace Kestrova
