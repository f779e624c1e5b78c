#include "bench/BenchConversion.h"

#include <algorithm>

#include "bank/Resampler.h"

namespace Kestrova::Bench {
namespace {

constexpr int kQuality = 7;

}  // namespace

BenchConversion::BenchConversion(const Bytes& wave, unsigned nBits, unsigned nChannels, double ratio)
    : m_nSampleBytes(nBits / 8),
      m_nFrameBytes(m_nSampleBytes * nChannels),
      m_nFrames(wave.size() / m_nFrameBytes),
      m_ratio(ratio),
      m_source(wave.size() + 2 * kGuardFrames * m_nFrameBytes),
      m_out(Resampler::GetReciprocalFrames(m_nFrames, ratio) * m_nFrameBytes) {
    std::copy(wave.begin(), wave.end(),
              m_source.begin() + static_cast<std::ptrdiff_t>(kGuardFrames * m_nFrameBytes));
}

size_t BenchConversion::Run() {
    long nMade = 0;
    const Resampler resampler(
        m_ratio, m_source.data() + kGuardFrames * m_nFrameBytes, static_cast<long>(m_nFrames), m_out.data(),
        static_cast<long>(m_out.size() / m_nFrameBytes), static_cast<int>(m_nFrameBytes), kQuality, &nMade);
    return nMade > 0 ? static_cast<size_t>(nMade) : 0;
}

double BenchConversion::At(size_t nSample) const {
    uint32_t n = 0;
    for (size_t i = 0; i < m_nSampleBytes; ++i)
        n |= uint32_t{m_out[nSample * m_nSampleBytes + i]} << (8 * (sizeof n - m_nSampleBytes + i));
    return static_cast<int32_t>(n) / 2147483648.0;
}

}  // namespace Kestrova::Bench
