// SincTable.h - a low-pass filter that can be placed anywhere between the frames of a wave.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace Kestrova {

// A sinc in a Kaiser window, with the pass band of libsoxr's highest recipe (0.9105 of the lower rate's half)
// and a stop band from that half on, 180 dB down. The weights of a frame are taken from a grid of places by
// cubic interpolation, whose error is below -180 dB.
// Threads: any; it is constant.
class SincTable {
public:
    // ratio: source frames per target frame; above 1 the filter is as many times wider. At most 1024.
    // May throw std::bad_alloc.
    explicit SincTable(double ratio);

    // A place needs Taps() frames of the wave, of which the first is FirstTap() frames behind the place's
    // whole part.
    size_t Taps() const { return m_nTaps; }
    int64_t FirstTap() const { return m_nFirstTap; }

    // The wave at a place. fraction: of the place, 0 to below 1. pFrames: the Taps() frames of one channel.
    double At(double fraction, const double* pFrames) const;

private:
    size_t m_nTaps;
    int64_t m_nFirstTap;
    size_t m_nPlaces;            // of the grid, in one source frame
    std::vector<double> m_rows;  // by place from -1 to m_nPlaces + 1: the weights of all taps
};

// The table for a ratio. Those used last are kept for the whole process; one that is missing is made by the
// first who asks, while others wait. Threads: any. May throw std::bad_alloc.
std::shared_ptr<const SincTable> TakeSincTable(double ratio);

}  // namespace Kestrova
