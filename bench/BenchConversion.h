// BenchConversion.h - one wave converted by the long filter with the quality that banks are built with.
#pragma once

#include "bench/BenchFolder.h"

namespace Kestrova::Bench {

class BenchConversion {
public:
    // wave:  packed little-endian samples, channels interleaved; it is copied, with silence around it, which
    //        the resampler reads
    // nBits: 16 or 24; nChannels: 1 or 2; ratio: source frames per destination frame
    BenchConversion(const Bytes& wave, unsigned nBits, unsigned nChannels, double ratio);

    // Converts the whole wave; the frames made, 0 on failure. It may be called again and again.
    size_t Run();

    // A destination sample, one value of one channel, -1 to 1.
    double At(size_t nSample) const;

private:
    size_t m_nSampleBytes, m_nFrameBytes, m_nFrames;
    double m_ratio;
    Bytes m_source, m_out;
};

}  // namespace Kestrova::Bench
