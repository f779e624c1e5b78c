// PitchTables.h - key distances and pitch bends as frequency factors.
#pragma once

namespace Kestrova {

inline constexpr int kSemitonesLowest = -96;
inline constexpr int kSemitoneEntries = 192;
inline constexpr int kBendsLowest = -8192;
inline constexpr int kBendEntries = 16384;  // one bend unit is 1/8192 of a semitone

// 2^(n / 12) for n of -96..95 and 2^(b / 98304) for b of -8192..8191, in single precision.
// Built before any static object of the program is constructed, and never
// changed afterwards. The flag is 1 from then on.
extern const float (&pscSemiToFctr)[kSemitoneEntries];
extern const float (&pscBndsToFctr)[kBendEntries];
extern int __kv_pitch_scaler_init;

// Any thread. Distances outside the table are computed by its formula; they end at 0 and infinity.
float midiSemitonesToFactor(int semitones);
float midiBendsToFactor(int bends);
// base times the factor of the bend; a bend of 0 gives base unchanged.
float midiBendsToFactor(int bends, float base);

}  // namespace Kestrova
