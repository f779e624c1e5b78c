#include "import/soundfont/SoundFontZones.h"

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
    {"modLfoToPitch", 0, GenUse::Oscillator, true},
    {"vibLfoToPitch", 0, GenUse::Oscillator, true},
    {"modEnvToPitch", 0, GenUse::Envelope, true},
    {"initialFilterFc", 13500, GenUse::Filter, true},
    {"initialFilterQ", 0, GenUse::Filter, true},
    {"modLfoToFilterFc", 0, GenUse::Filter, true},
    {"modEnvToFilterFc", 0, GenUse::Filter, true},
    {"endAddrsCoarseOffset", 0, GenUse::Carried, false},
    {"modLfoToVolume", 0, GenUse::Oscillator, true},
    kNothing,
    {"chorusEffectsSend", 0, GenUse::EffectSend, true},
    {"reverbEffectsSend", 0, GenUse::EffectSend, true},
    {"pan", 0, GenUse::Pan, true},
    kNothing,
    kNothing,
    kNothing,
    {"delayModLFO", -12000, GenUse::Oscillator, true},
    {"freqModLFO", 0, GenUse::Oscillator, true},
    {"delayVibLFO", -12000, GenUse::Oscillator, true},
    {"freqVibLFO", 0, GenUse::Oscillator, true},
    {"delayModEnv", -12000, GenUse::Envelope, true},
    {"attackModEnv", -12000, GenUse::Envelope, true},
    {"holdModEnv", -12000, GenUse::Envelope, true},
    {"decayModEnv", -12000, GenUse::Envelope, true},
    {"sustainModEnv", 0, GenUse::Envelope, true},
    {"releaseModEnv", -12000, GenUse::Envelope, true},
    {"keynumToModEnvHold", 0, GenUse::Envelope, true},
    {"keynumToModEnvDecay", 0, GenUse::Envelope, true},
    {"delayVolEnv", -12000, GenUse::Envelope, true},
    {"attackVolEnv", -12000, GenUse::Envelope, true},
    {"holdVolEnv", -12000, GenUse::Envelope, true},
    {"decayVolEnv", -12000, GenUse::Envelope, true},
    {"sustainVolEnv", 0, GenUse::Envelope, true},
    {"releaseVolEnv", -12000, GenUse::Envelope, true},
    {"keynumToVolEnvHold", 0, GenUse::Envelope, true},
    {"keynumToVolEnvDecay", 0, GenUse::Envelope, true},
    {"instrument", 0, GenUse::Carried, false},
    kNothing,
    {"keyRange", 0, GenUse::Carried, false},
    {"velRange", 0, GenUse::Carried, false},
    {"startloopAddrsCoarseOffset", 0, GenUse::Carried, false},
    {"keynum", -1, GenUse::FixedKey, false},
    {"velocity", -1, GenUse::FixedVelocity, false},
    {"initialAttenuation", 0, GenUse::Attenuation, true},
    kNothing,
    {"endloopAddrsCoarseOffset", 0, GenUse::Carried, false},
    {"coarseTune", 0, GenUse::Carried, true},
    {"fineTune", 0, GenUse::Carried, true},
    {"sampleID", 0, GenUse::Carried, false},
    {"sampleModes", 0, GenUse::Carried, false},
    kNothing,
    {"scaleTuning", 100, GenUse::ScaleTuning, true},
    {"exclusiveClass", 0, GenUse::ExclusiveClass, false},
    {"overridingRootKey", -1, GenUse::Carried, false},
    kNothing,
    kNothing,
}};

// By GenUse; empty where nothing is left out.
constexpr std::array<const char*, kGenUseCount> kUseNames = {"",
                                                             "",
                                                             "oscillators",
                                                             "envelopes",
                                                             "filters",
                                                             "effect sends",
                                                             "pan",
                                                             "fixed keys",
                                                             "fixed velocities",
                                                             "attenuation",
                                                             "scale tuning",
                                                             "exclusive classes",
                                                             "ends of loops at release",
                                                             "modulators"};

// The generators that one zone has, as they stand.
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

MidiRange RangeOf(const RawZone& raw, FontGen gen, uint32_t& nCutRanges) {
    if (!raw.has[gen]) return {};
    const MidiRange range = {raw.amounts[gen] & 0xFF, raw.amounts[gen] >> 8};
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
        zone.range.keys = RangeOf(raw, kGenKeyRange, merged.nCutRanges);
        zone.range.velocities = RangeOf(raw, kGenVelocityRange, merged.nCutRanges);
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

bool IsLeftOut(GenUse use) { return use > GenUse::Carried; }

const char* LeftOutName(GenUse use) { return kUseNames[static_cast<size_t>(use)]; }

const GenInfo& InfoOf(size_t nGen) { return kGenerators[nGen]; }

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
