// SampleFormat.h - the four sample formats of a wave: how a sample is read, held in range and written.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace Kestrova {

// Signed little-endian integer samples, channels interleaved.
//   kBits: 16 or 24    kChannelCount: 1 or 2
// Product is wide enough for sample times coefficient; 16-bit arithmetic is 32-bit by definition.
template <int kBits, int kChannelCount>
struct SampleFormat {
    static_assert(kBits == 16 || kBits == 24);
    static_assert(kChannelCount == 1 || kChannelCount == 2);

    using Product = std::conditional_t<kBits == 16, int32_t, int64_t>;

    static constexpr int kSampleBits = kBits;
    static constexpr int kChannels = kChannelCount;
    static constexpr int kSampleBytes = kBits / 8;
    static constexpr int kFrameBytes = kSampleBytes * kChannels;
    static constexpr int kHighest = (1 << (kBits - 1)) - 1;
    static constexpr int kLowest = -kHighest - 1;

    static int Load(const char* pSample) {
        if constexpr (kBits == 16) {
            int16_t nSample;
            std::memcpy(&nSample, pSample, sizeof nSample);
            return nSample;
        } else {
            uint16_t nLow;
            std::memcpy(&nLow, pSample, sizeof nLow);
            return static_cast<signed char>(pSample[2]) * 65536 + nLow;
        }
    }

    // Writes exactly kSampleBytes, the low bits of the value.
    static void Store(char* pSample, int nSample) { std::memcpy(pSample, &nSample, kSampleBytes); }

    static int Clamp(int nSample) {
        if (nSample > kHighest) return kHighest;
        return nSample < kLowest ? kLowest : nSample;
    }
};

using Mono16 = SampleFormat<16, 1>;
using Stereo16 = SampleFormat<16, 2>;
using Mono24 = SampleFormat<24, 1>;
using Stereo24 = SampleFormat<24, 2>;

}  // namespace Kestrova
