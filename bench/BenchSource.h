// BenchSource.h - a plain source bank for benchmarks, the same on every run.
#pragma once

#include <string>

namespace Kestrova::Bench {

// Writes 30 samples of about 700 kB at 44100 Hz, in turn 16-bit mono, 16-bit stereo, 24-bit mono and 24-bit
// stereo, all compressed, and one split program in which three keys play each. False when it cannot be
// written.
bool WriteSource(const std::string& strPath);

}  // namespace Kestrova::Bench
