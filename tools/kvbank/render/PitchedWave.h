// PitchedWave.h - a sample played at a pitch for a time: its loop repeated, its frames resampled as a bank's
// are.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "include/kvbank.h"
#include "tools/kvbank/render/WaveStore.h"

namespace Kestrova {

// Source frames for each frame played. The factor of keys and cents is taken from the pitch tables, the fine
// tune in steps of 1/8192 semitone. 1 exactly when nothing is to be changed; 0 for a root key that is more
// than 128 keys away.
double PlayRatio(const kvb_sample& sample, int nKey, uint32_t nRate);
// The same without steps, as the precise conversion plays it.
double PrecisePlayRatio(const kvb_sample& sample, int nKey, uint32_t nRate);

// The loop that is played, if the sample has one: its first, when it lies within the frames.
std::optional<kvb_loop> PlayedLoop(const kvb_bank* pBank, uint32_t nSample, const kvb_sample& sample);

// nFrames frames of the sample's own form, packed; silence behind the end of a wave without a loop. A loop is
// repeated from its end, which is played, to its start. At a ratio of 1 frames are copied, else converted
// with the best filter, as a build does. None when the ratio cannot be converted, or when more than 1 GiB of
// the wave would be needed for it. May throw std::bad_alloc.
std::optional<std::vector<uint8_t>> PlayWave(const WaveFrames& wave, size_t nFrameBytes,
                                             const std::optional<kvb_loop>& loop, double ratio,
                                             uint64_t nFrames);

// The same by the precise conversion (PreciseConverter.h): at the exact ratio, the sample's last frames and
// the loop's seam filtered as one wave. nDither: when given, noise is added before the rounding.
std::optional<std::vector<uint8_t>> PlayWavePrecisely(const WaveFrames& wave, const kvb_sample& sample,
                                                      const std::optional<kvb_loop>& loop, double ratio,
                                                      uint64_t nFrames, std::optional<uint64_t> nDither);

}  // namespace Kestrova
