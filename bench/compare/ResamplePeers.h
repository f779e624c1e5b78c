// ResamplePeers.h - one wave in the form that each library takes it in, and the libraries of Debian that the
// resampler is compared with. Each converts the whole wave in one call: setting up, all of the output and
// tearing down are part of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Kestrova::Bench {

struct WaveShape {
    unsigned nBits, nChannels;  // 16 or 24; 1 or 2
    unsigned nFromRate, nToRate;
    size_t nFrames;  // of the source

    double Ratio() const { return static_cast<double>(nFromRate) / nToRate; }
    // Frames of the destination, in short; a peer may make a few more or less.
    size_t ToFrames() const;
};

// A note at half level (so that no conversion is clipped), interleaved in the upper bits of 32-bit words.
std::vector<int32_t> MakeResampleSource(const WaveShape& shape);

// What a conversion writes. A sample of 16 bits takes two bytes in all of them; one of 24 bits takes three in
// ours and four, in the upper bits of a 32-bit word, in the peers, none of which knows packed samples.
using Samples16 = std::vector<int16_t>;
using Samples32 = std::vector<int32_t>;

struct Conversion {
    WaveShape shape;
    Samples16 source16;  // either this or the next is filled
    Samples32 source32;
    Samples16 out16;
    Samples32 out32;

    explicit Conversion(const WaveShape& waveShape);
    bool Is16() const { return shape.nBits == 16; }
    const void* Source() const;
    void* Out();
    size_t OutFrames() const;  // the room in the destination
    size_t FrameBytes() const { return (Is16() ? 2 : 4) * size_t{shape.nChannels}; }
};

// Each returns the frames made, 0 on failure.

// libsoxr, interleaved, without dither. 24-bit samples are its 32-bit ones. nRecipe is SOXR_HQ or SOXR_VHQ;
// the names of both are here because its header need not be known.
enum class SoxrQuality { Hq, Vhq };
size_t ResampleWithSoxr(Conversion& conversion, SoxrQuality quality);

// libswresample with 64 taps (filter_size=64; it takes more when it shortens), interleaved, without dither.
size_t ResampleWithSwr(Conversion& conversion);

// libsamplerate's "best" and "medium" sinc. It knows floats alone: its own functions turn the samples into
// floats and back.
enum class SampleRateQuality { Best, Medium };
size_t ResampleWithSampleRate(Conversion& conversion, SampleRateQuality quality);

}  // namespace Kestrova::Bench
