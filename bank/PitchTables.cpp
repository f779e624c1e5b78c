#include "bank/PitchTables.h"

#include <cmath>

namespace Kestrova {

namespace {

constexpr int kBendsPerSemitone = 8192;

float g_arSemitones[kSemitoneEntries];
float g_arBends[kBendEntries];

// The quotients are single precision too.
float SemitoneFactor(int semitones) { return exp2f(static_cast<float>(semitones) / 12.0f); }
float BendFactor(int bends) { return exp2f(static_cast<float>(bends) / (12.0f * kBendsPerSemitone)); }

// Runs before every static initialiser of any file: those have the default priority, 65535.
[[gnu::constructor(101)]] void BuildPitchTables() {
    for (int i = 0; i < kSemitoneEntries; ++i) g_arSemitones[i] = SemitoneFactor(i + kSemitonesLowest);
    for (int i = 0; i < kBendEntries; ++i) g_arBends[i] = BendFactor(i + kBendsLowest);
    __kv_pitch_scaler_init = 1;
}

}  // namespace

const float (&pscSemiToFctr)[kSemitoneEntries] = g_arSemitones;
const float (&pscBndsToFctr)[kBendEntries] = g_arBends;
int __kv_pitch_scaler_init = 0;

float midiSemitonesToFactor(int semitones) {
    if (semitones < kSemitonesLowest || semitones >= kSemitonesLowest + kSemitoneEntries)
        return SemitoneFactor(semitones);
    return pscSemiToFctr[semitones - kSemitonesLowest];
}

float midiBendsToFactor(int bends) {
    const int nSemitones = bends / kBendsPerSemitone;
    const int nRest = bends % kBendsPerSemitone;
    if (nRest == 0) return midiSemitonesToFactor(nSemitones);
    const float fRest = pscBndsToFctr[nRest - kBendsLowest];
    return nSemitones == 0 ? fRest : midiSemitonesToFactor(nSemitones) * fRest;
}

float midiBendsToFactor(int bends, float base) { return bends == 0 ? base : base * midiBendsToFactor(bends); }

}  // namespace Kestrova
