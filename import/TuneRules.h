// TuneRules.h - what every format's planner makes of rates, pitches and loops, so that a record can hold
// them. Whatever is changed is noted in the report; strWhat names the sample there, as `sample "Piano C4"`.
#pragma once

#include <cstdint>
#include <string>

#include "import/ImportPlan.h"
#include "import/ImportReport.h"

namespace Kestrova {

inline constexpr int kHighestMidiKey = 127;
inline constexpr int kCentsPerKey = 100;

// Rates outside 400 to 192000 Hz are held to these limits; 0 becomes 44100 Hz.
uint32_t HoldRate(uint32_t nRate, const std::string& strWhat, ImportReport& report);

// The root key and the fine tune of the pitch, in cents above key 0, at which the wave plays unchanged. A key
// outside 0 to 127 is held to it.
void SettlePitch(WaveTune& tune, int nCents, const std::string& strWhat, ImportReport& report);

// The loop of the frames from nStart to the one before nEnd, cut to a wave of nFrames. Answers false, and
// sets none, when nothing is left of it.
bool SettleLoop(WaveTune& tune, int64_t nStart, int64_t nEnd, uint64_t nFrames, const std::string& strWhat,
                ImportReport& report);

}  // namespace Kestrova
