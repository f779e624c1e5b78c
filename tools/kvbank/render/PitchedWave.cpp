#include "tools/kvbank/render/PitchedWave.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "bank/PitchTables.h"
#include "bank/Resampler.h"
#include "tools/kvbank/precise/PieceConversion.h"
#include "tools/kvbank/precise/PreciseConverter.h"
#include "tools/kvbank/precise/WaveNumbers.h"

namespace Kestrova {
namespace {

constexpr int64_t kFarthestKey = 128;
constexpr int64_t kBendsPerKey = 8192;
constexpr double kBendsPerCent = 81.92;
constexpr int64_t kCentsPerKey = 100;
constexpr double kCentsPerOctave = 1200;
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

// Frames of the source that are heard in so many; more than can be counted for a ratio that is no number.
double FramesNeeded(const WaveFrames& wave, bool bLooped, double ratio, uint64_t nFrames) {
    const double needed = std::ceil(static_cast<double>(nFrames) * ratio) + 1;
    return bLooped ? needed : std::min(needed, static_cast<double>(wave.nFrames));
}

bool IsPlayable(double ratio, double framesNeeded, size_t nFrameBytes) {
    return ratio > 0 && (framesNeeded + 2 * kRoomFrames) * static_cast<double>(nFrameBytes) <= kMostBytes;
}

bool IsNearEnough(int64_t nKeys) { return nKeys >= -kFarthestKey && nKeys <= kFarthestKey; }

int64_t CentsOf(const kvb_sample& sample) { return std::clamp(sample.fine_tune, -10000, 10000); }

}  // namespace

double PlayRatio(const kvb_sample& sample, int nKey, uint32_t nRate) {
    const int64_t nKeys = int64_t{nKey} - int64_t{sample.root_key};
    if (!IsNearEnough(nKeys)) return 0;
    const auto nTune = std::llround(kBendsPerCent * static_cast<double>(CentsOf(sample)));
    const float factor = midiBendsToFactor(static_cast<int>(nKeys * kBendsPerKey - nTune));
    return sample.rate * double{factor} / nRate;
}

double PrecisePlayRatio(const kvb_sample& sample, int nKey, uint32_t nRate) {
    const int64_t nKeys = int64_t{nKey} - int64_t{sample.root_key};
    if (!IsNearEnough(nKeys)) return 0;
    const int64_t nCents = nKeys * kCentsPerKey - CentsOf(sample);
    return sample.rate * std::exp2(static_cast<double>(nCents) / kCentsPerOctave) / nRate;
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
    const double held = FramesNeeded(wave, loop.has_value(), ratio, nFrames);
    if (!IsPlayable(ratio, held, nFrameBytes)) return std::nullopt;
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

std::optional<std::vector<uint8_t>> PlayWavePrecisely(const WaveFrames& wave, const kvb_sample& sample,
                                                      const std::optional<kvb_loop>& loop, double ratio,
                                                      uint64_t nFrames, std::optional<uint64_t> nDither) {
    const size_t nFrameBytes = sample.frame_bytes;
    if (ratio == 1.0) return PlayWave(wave, nFrameBytes, loop, ratio, nFrames);
    const double held = FramesNeeded(wave, loop.has_value(), ratio, nFrames);
    if (!IsPreciseRatio(ratio) || !IsPlayable(ratio, held, nFrameBytes)) return std::nullopt;
    WavePiece piece{.step = ratio, .nFrames = nFrames};
    if (loop) {
        piece.hearing = WavePiece::Hearing::Entry;
        piece.nLoopStart = loop->start;
        piece.nLoopFrames = int64_t{loop->end} - loop->start + 1;
    } else {
        const auto nWhole = std::llround(static_cast<double>(wave.nFrames) / ratio);
        piece.nFrames = std::min(nFrames, static_cast<uint64_t>(std::max(nWhole, 1LL)));
    }
    std::vector<uint8_t> played(nFrames * nFrameBytes);
    NumberWriter writer(played.data(), sample.bits, nDither);
    const BankOutcome made = ConvertPiece(
        piece, ratio, sample.channels, wave.nFrames,
        [&](int64_t nFirst, std::span<double> numbers) {
            TakeNumbers(wave.bytes.data() + static_cast<size_t>(nFirst) * nFrameBytes, sample.bits, numbers);
        },
        [&](std::span<const double> numbers) { writer.Write(numbers); });
    if (!made.IsDone()) return std::nullopt;
    return played;
}

}  // namespace Kestrova
