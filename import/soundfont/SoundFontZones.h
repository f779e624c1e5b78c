// SoundFontZones.h - the zones of presets and instruments, each with the values of its generators. Modulators
// are counted, not carried.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <vector>

#include "import/ImportPlan.h"
#include "import/soundfont/SoundFont.h"

namespace Kestrova {

// Generators by the numbers the file has for them; the names are the published ones.
enum FontGen : uint16_t {
    kGenStartOffset = 0,
    kGenEndOffset = 1,
    kGenLoopStartOffset = 2,
    kGenLoopEndOffset = 3,
    kGenStartCoarseOffset = 4,
    kGenEndCoarseOffset = 12,
    kGenPan = 17,
    kGenInstrument = 41,
    kGenKeyRange = 43,
    kGenVelocityRange = 44,
    kGenLoopStartCoarseOffset = 45,
    kGenKey = 46,
    kGenLoopEndCoarseOffset = 50,
    kGenCoarseTune = 51,
    kGenFineTune = 52,
    kGenSample = 53,
    kGenSampleModes = 54,
    kGenScaleTuning = 56,
    kGenRootKey = 58,
    kGenCount = 61
};

// What an import does with a generator. For one that no record of a bank can express, it tells the purpose.
enum class GenUse : uint8_t {
    Unused,   // has no meaning; its value is ignored
    Carried,  // reaches the bank: as a range, in a wave or in its tuning
    // Left out:
    Oscillator,
    Envelope,
    Filter,
    EffectSend,
    Pan,
    FixedKey,
    FixedVelocity,
    Attenuation,
    ScaleTuning,
    ExclusiveClass,
    // Left out too, but without a generator of their own:
    ReleaseLoop,  // a loop that is left when the key is released
    Modulator,
    Count
};
inline constexpr size_t kGenUseCount = static_cast<size_t>(GenUse::Count);

bool IsLeftOut(GenUse use);
// "filters": what is left out, in the plural. REQUIRES: IsLeftOut(use).
const char* LeftOutName(GenUse use);

struct GenInfo {
    const char* pszName;
    int16_t nDefault;
    GenUse use;
    bool bInPreset;  // a preset's zone may add to it
};

// REQUIRES: nGen is below kGenCount.
const GenInfo& InfoOf(size_t nGen);

// A value of every generator.
using GenValues = std::array<int32_t, kGenCount>;

// One zone with the values it takes from the global zone of its list.
struct MergedZone {
    PlayRange range;
    uint32_t nTarget = 0;  // the sample of an instrument's zone, the instrument of a preset's
    GenValues values{};    // of an instrument's zone: absolute; of a preset's: what it adds
    uint32_t nModulators = 0;
};

struct MergedZones {
    std::vector<MergedZone> zones;
    uint32_t nWithoutTarget = 0;  // zones that are not the global one and play nothing
    uint32_t nCutRanges = 0;      // ranges that reached beyond 127 and were cut
};

// Merges a list of zones. The first zone is the global one of the list when it names no target; what a later
// zone sets replaces what the global zone set. When a generator is given twice, the last one counts;
// generators behind the target are ignored. Ranges may stand anywhere in front of it.
MergedZones MergeInstrumentZones(std::span<const FontZone> zones);
MergedZones MergePresetZones(std::span<const FontZone> zones);

// The values that a preset's zone and an instrument's zone give together: their sum.
GenValues AddValues(const MergedZone& presetZone, const MergedZone& instrumentZone);

}  // namespace Kestrova
