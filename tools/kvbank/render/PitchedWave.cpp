#include "tools/kvbank/render/PitchedWave.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "bank/PitchTables.h"
#include "bank/Resampler.h"

namespace Kestrova {
namespace {

constexpr int64_t kFarthestKey = 128;
constexpr int64_t kBendsPerKey = 8192;
constexpr double kBendsPerCent = 81.92;
constexpr uint64_t kRoomFrames = 256;  // what the resampler may read in front of a wave and behind it
constexpr int kBestQuality = 7;
constexpr double kMostBytes = 1 << 30;

// The frames from the wave's start on that sound when its loop is repeated.
class LoopedFrames {
public:
    LoopedFrames(const WaveFrames& wave, size_t nFrameBytes, const std::optional<kvb_loop>& loop)
        : m_wave(wave), m_nFrameBytes(nFrameBytes), m_loop(loop) {}

    // Copies the first frames, as many as there is room for; what no frame is for stays as it is.
    void CopyTo(uint8_t* pOut, uint64_t nFrames) const {
        const uint64_t nFirstEnd = m_loop ? uint64_t{m_loop->end} + 1 : m_wave.nFrames;
        uint64_t nDone = Copy(pOut, 0, std::min(nFirstEnd, nFrames));
        if (!m_loop) return;
        const uint64_t nLoop = nFirstEnd - m_loop->start;
        while (nDone < nFrames)
            nDone += Copy(pOut + nDone * m_nFrameBytes, m_loop->start, std::min(nLoop, nFrames - nDone));
    }

private:
    uint64_t Copy(uint8_t* pOut, uint64_t nFrom, uint64_t nFrames) const {
        std::memcpy(pOut, m_wave.bytes.data() + nFrom * m_nFrameBytes, nFrames * m_nFrameBytes);
        return nFrames;
    }

    const WaveFrames& m_wave;
    const size_t m_nFrameBytes;
    const std::optional<kvb_loop>& m_loop;
};

}  // namespace

double PlayRatio(const kvb_sample& sample, int nKey, uint32_t nRate) {
    const int64_t nKeys = int64_t{nKey} - int64_t{sample.root_key};
    const int64_t nCents = std::clamp(sample.fine_tune, -10000, 10000);
    if (nKeys < -kFarthestKey || nKeys > kFarthestKey) return 0;
    const auto nTune = std::llround(kBendsPerCent * static_cast<double>(nCents));
    const float factor = midiBendsToFactor(static_cast<int>(nKeys * kBendsPerKey - nTune));
    return sample.rate * double{factor} / nRate;
}

std::optional<kvb_loop> PlayedLoop(const kvb_bank* pBank, uint32_t nSample, const kvb_sample& sample) {
    kvb_loop loop;
    if (kvb_get_loop(pBank, nSample, 0, &loop, sizeof loop) != KVB_OK) return std::nullopt;
    if (loop.start > loop.end || loop.end >= sample.frames) return std::nullopt;
    return loop;
}

std::optional<std::vector<uint8_t>> PlayWave(const WaveFrames& wave, size_t nFrameBytes,
                                             const std::optional<kvb_loop>& loop, double ratio,
                                             uint64_t nFrames) {
    std::vector<uint8_t> played(nFrames * nFrameBytes);
    const LoopedFrames looped(wave, nFrameBytes, loop);
    if (ratio == 1.0) {
        looped.CopyTo(played.data(), nFrames);
        return played;
    }
    const double needed = std::ceil(static_cast<double>(nFrames) * ratio) + 1;
    const double held = loop ? needed : std::min(needed, static_cast<double>(wave.nFrames));
    if (!(ratio > 0) || (held + 2 * kRoomFrames) * static_cast<double>(nFrameBytes) > kMostBytes)
        return std::nullopt;
    const auto nSource = static_cast<uint64_t>(held);
    std::vector<uint8_t> source((nSource + 2 * kRoomFrames) * nFrameBytes);
    uint8_t* const pSource = source.data() + kRoomFrames * nFrameBytes;
    looped.CopyTo(pSource, nSource + kRoomFrames);
    long nProduced = 0;
    const Resampler resampler(ratio, pSource, static_cast<long>(nSource), played.data(),
                              static_cast<long>(nFrames), static_cast<int>(nFrameBytes), kBestQuality,
                              &nProduced);
    if (nProduced < 1) return std::nullopt;
    return played;
}

}  // namespace Kestrova
