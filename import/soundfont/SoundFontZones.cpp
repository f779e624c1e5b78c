#include "import/soundfont/SoundFontZones.h"

#include <algorithm>

namespace Kestrova {
namespace {

constexpr int kHighest = 127;  // key or velocity

constexpr GenInfo kNothing = {"", 0, GenUse::Unused, false};

// In the order of their numbers.
constexpr std::array<GenInfo, kGenCount> kGenerators = {{
    {"startAddrsOffset", 0, GenUse::Carried, false},
    {"endAddrsOffset", 0, GenUse::Carried, false},
    {"startloopAddrsOffset", 0, GenUse::Carried, false},
    {"endloopAddrsOffset", 0, GenUse::Carried, false},
    {"startAddrsCoarseOffset", 0, GenUse::Carried, false},
    {"modLfoToPitch", 0, GenUse::LeftOut, true},
    {"vibLfoToPitch", 0, GenUse::LeftOut, true},
    {"modEnvToPitch", 0, GenUse::LeftOut, true},
    {"initialFilterFc", 13500, GenUse::LeftOut, true},
    {"initialFilterQ", 0, GenUse::LeftOut, true},
    {"modLfoToFilterFc", 0, GenUse::LeftOut, true},
    {"modEnvToFilterFc", 0, GenUse::LeftOut, true},
    {"endAddrsCoarseOffset", 0, GenUse::Carried, false},
    {"modLfoToVolume", 0, GenUse::LeftOut, true},
    kNothing,
    {"chorusEffectsSend", 0, GenUse::LeftOut, true},
    {"reverbEffectsSend", 0, GenUse::LeftOut, true},
    {"pan", 0, GenUse::LeftOut, true},
    kNothing,
    kNothing,
    kNothing,
    {"delayModLFO", -12000, GenUse::LeftOut, true},
    {"freqModLFO", 0, GenUse::LeftOut, true},
    {"delayVibLFO", -12000, GenUse::LeftOut, true},
    {"freqVibLFO", 0, GenUse::LeftOut, true},
    {"delayModEnv", -12000, GenUse::LeftOut, true},
    {"attackModEnv", -12000, GenUse::LeftOut, true},
    {"holdModEnv", -12000, GenUse::LeftOut, true},
    {"decayModEnv", -12000, GenUse::LeftOut, true},
    {"sustainModEnv", 0, GenUse::LeftOut, true},
    {"releaseModEnv", -12000, GenUse::LeftOut, true},
    {"keynumToModEnvHold", 0, GenUse::LeftOut, true},
    {"keynumToModEnvDecay", 0, GenUse::LeftOut, true},
    {"delayVolEnv", -12000, GenUse::LeftOut, true},
    {"attackVolEnv", -12000, GenUse::LeftOut, true},
    {"holdVolEnv", -12000, GenUse::LeftOut, true},
    {"decayVolEnv", -12000, GenUse::LeftOut, true},
    {"sustainVolEnv", 0, GenUse::LeftOut, true},
    {"releaseVolEnv", -12000, GenUse::LeftOut, true},
    {"keynumToVolEnvHold", 0, GenUse::LeftOut, true},
    {"keynumToVolEnvDecay", 0, GenUse::LeftOut, true},
    {"instrument", 0, GenUse::Carried, false},
    kNothing,
    {"keyRange", 0, GenUse::Carried, false},
    {"velRange", 0, GenUse::Carried, false},
    {"startloopAddrsCoarseOffset", 0, GenUse::Carried, false},
    {"keynum", -1, GenUse::LeftOut, false},
    {"velocity", -1, GenUse::LeftOut, false},
    {"initialAttenuation", 0, GenUse::LeftOut, true},
    kNothing,
    {"endloopAddrsCoarseOffset", 0, GenUse::Carried, false},
    {"coarseTune", 0, GenUse::Carried, true},
    {"fineTune", 0, GenUse::Carried, true},
    {"sampleID", 0, GenUse::Carried, false},
    {"sampleModes", 0, GenUse::Carried, false},
    kNothing,
    {"scaleTuning", 100, GenUse::LeftOut, true},
    {"exclusiveClass", 0, GenUse::LeftOut, false},
    {"overridingRootKey", -1, GenUse::Carried, false},
    kNothing,
    kNothing,
}};

// The generators of one zone as they stand, those it has.
struct RawZone {
    std::array<uint16_t, kGenCount> amounts{};
    std::bitset<kGenCount> has;
    uint32_t nModulators = 0;
};

RawZone ReadZone(const FontZone& zone, FontGen target) {
    RawZone raw;
    raw.nModulators = zone.nModulators;
    for (const FontGenerator& generator : zone.generators) {
        if (generator.nOperator >= kGenCount) continue;
        raw.amounts[generator.nOperator] = generator.nAmount;
        raw.has.set(generator.nOperator);
        if (generator.nOperator == target) break;
    }
    return raw;
}

RawZone UnderlaidWith(const RawZone& global, RawZone zone) {
    for (size_t n = 0; n < kGenCount; ++n)
        if (!zone.has[n] && global.has[n]) zone.amounts[n] = global.amounts[n], zone.has.set(n);
    zone.nModulators += global.nModulators;
    return zone;
}

FontRange RangeOf(const RawZone& raw, FontGen gen, uint32_t& nCutRanges) {
    if (!raw.has[gen]) return {};
    const FontRange range = {raw.amounts[gen] & 0xFF, raw.amounts[gen] >> 8};
    if (range.nHigh <= kHighest || range.IsEmpty()) return range;
    ++nCutRanges;
    return {range.nLow, kHighest};
}

MergedZones Merge(std::span<const FontZone> zones, FontGen target, GenValues (*valuesOf)(const RawZone&)) {
    MergedZones merged;
    RawZone global;
    for (size_t i = 0; i < zones.size(); ++i) {
        const RawZone own = ReadZone(zones[i], target);
        if (!own.has[target]) {
            if (i == 0)
                global = own;
            else
                ++merged.nWithoutTarget;
            continue;
        }
        const RawZone raw = UnderlaidWith(global, own);
        MergedZone zone;
        zone.keys = RangeOf(raw, kGenKeyRange, merged.nCutRanges);
        zone.velocities = RangeOf(raw, kGenVelocityRange, merged.nCutRanges);
        zone.nTarget = raw.amounts[target];
        zone.nModulators = raw.nModulators;
        zone.values = valuesOf(raw);
        merged.zones.push_back(zone);
    }
    return merged;
}

GenValues AbsoluteValues(const RawZone& raw) {
    GenValues values{};
    for (size_t n = 0; n < kGenCount; ++n)
        values[n] = raw.has[n] ? static_cast<int16_t>(raw.amounts[n]) : kGenerators[n].nDefault;
    return values;
}

GenValues AddedValues(const RawZone& raw) {
    GenValues values{};
    for (size_t n = 0; n < kGenCount; ++n)
        if (raw.has[n] && kGenerators[n].bInPreset) values[n] = static_cast<int16_t>(raw.amounts[n]);
    return values;
}

}  // namespace

const GenInfo& InfoOf(size_t nGen) { return kGenerators[nGen]; }

FontRange Intersect(const FontRange& a, const FontRange& b) {
    return {std::max(a.nLow, b.nLow), std::min(a.nHigh, b.nHigh)};
}

MergedZones MergeInstrumentZones(std::span<const FontZone> zones) {
    return Merge(zones, kGenSample, AbsoluteValues);
}

MergedZones MergePresetZones(std::span<const FontZone> zones) {
    return Merge(zones, kGenInstrument, AddedValues);
}

GenValues AddValues(const MergedZone& presetZone, const MergedZone& instrumentZone) {
    GenValues sum{};
    for (size_t n = 0; n < kGenCount; ++n) sum[n] = presetZone.values[n] + instrumentZone.values[n];
    return sum;
}

}  // namespace Kestrova
