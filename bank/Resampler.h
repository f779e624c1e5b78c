// Resampler.h - converts one expanded wave to another sample rate or pitch.
#pragma once

#include <cstdint>

#include "bank/Interpolator.h"

namespace Kestrova {

// The whole conversion happens in the constructor: integer arithmetic in 1/32768 frame, one pass.
// Threads: any; conversions share nothing but constant tables. Never throws.
class Resampler {
public:
    // ratio:             source frames per destination frame, at least 1/32768 and below 65536
    // source:            first frame of the wave; 256 frames before and after the wave must be readable
    //                    (silence, normally), none farther away is touched
    // destination:       room for destinationFrames frames, sized with GetReciprocalEstimatedSize; nothing is
    //                    written outside it, frames without room are dropped
    // bytesPerFrame:     2 or 4 (16 bits, one or two channels), 3 or 6 (24 bits)
    // quality:           0 linear, 2 cubic, 1 and 3 short filter, 4 to 7 long filter (6 and 7 the best)
    // produced:          may be null; the frames made, 0 to destinationFrames, or -1 for an unsupported
    //                    bytesPerFrame or ratio, the destination being untouched then
    // The part of the destination behind the frames made is cleared, unless no frame was made.
    Resampler(double ratio, void* source, long sourceFrames, void* destination, long destinationFrames,
              int bytesPerFrame, int quality, long* produced);

    // Destination frames that a conversion by ratio needs, in 32 bits; 0 for an unsupported ratio.
    // Formula: frames * 2^15 / floor(ratio * 2^15) + 1 in 64-bit integers.
    static unsigned long GetReciprocalEstimatedSize(unsigned long frames, double ratio);
    // The same number before it is cut to 32 bits.
    static uint64_t GetReciprocalFrames(uint64_t frames, double ratio);

    // The same for destination frames per source frame, in 32 bits; 0 for an unsupported factor.
    // Formula: (frames * ceil(factor * 2^15) >> 15) + 1.
    static unsigned long GetProportionalEstimatedSize(unsigned long frames, double factor);

    // The state that the conversion ended with.
    const _Args& State() const { return m_args; }

private:
    _Args m_args{};
};

}  // namespace Kestrova
