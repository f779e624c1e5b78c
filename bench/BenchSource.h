// BenchSource.h - a plain source bank for benchmarks, the same on every run.
#pragma once

#include <cstdint>
#include <string>

namespace Kestrova::Bench {

struct SourceShape {
    uint32_t nSamples = 30;
    uint32_t nWaveBytes = 700000;  // of each wave
};

// Writes samples at 44100 Hz, in turn 16-bit mono, 16-bit stereo, 24-bit mono and 24-bit stereo, all
// compressed, and split programs of 30 samples each, in which three keys play each. False when it cannot be
// written.
bool WriteSource(const std::string& strPath, const SourceShape& shape = {});

}  // namespace Kestrova::Bench
