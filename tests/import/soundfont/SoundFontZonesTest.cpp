#include <gtest/gtest.h>

#include "import/soundfont/SoundFontZones.h"
#include "tests/support/SoundFontMaker.h"

namespace Kestrova::Test {
namespace {

// Zones over generators of their own.
class ZoneList {
public:
    explicit ZoneList(const std::vector<FontSpec::Zone>& zones) {
        for (const FontSpec::Zone& zone : zones) {
            std::vector<FontGenerator> generators;
            for (const auto& [nOperator, nAmount] : zone.gens)
                generators.push_back({nOperator, static_cast<uint16_t>(nAmount)});
            m_generators.push_back(generators);
        }
        for (size_t i = 0; i < zones.size(); ++i) m_zones.push_back({m_generators[i], zones[i].nModulators});
    }
    MergedZones Instrument() const { return MergeInstrumentZones(m_zones); }
    MergedZones Preset() const { return MergePresetZones(m_zones); }

private:
    std::vector<std::vector<FontGenerator>> m_generators;
    std::vector<FontZone> m_zones;
};

TEST(SoundFontZonesTest, EveryGeneratorKeepsItsNumberAndDefault) {
    struct Case {
        size_t nGen;
        const char* pszName;
        int nDefault;
    };
    constexpr Case kCases[] = {
        {0, "startAddrsOffset", 0},
        {4, "startAddrsCoarseOffset", 0},
        {8, "initialFilterFc", 13500},
        {12, "endAddrsCoarseOffset", 0},
        {17, "pan", 0},
        {21, "delayModLFO", -12000},
        {23, "delayVibLFO", -12000},
        {30, "releaseModEnv", -12000},
        {33, "delayVolEnv", -12000},
        {37, "sustainVolEnv", 0},
        {38, "releaseVolEnv", -12000},
        {41, "instrument", 0},
        {43, "keyRange", 0},
        {46, "keynum", -1},
        {47, "velocity", -1},
        {48, "initialAttenuation", 0},
        {51, "coarseTune", 0},
        {54, "sampleModes", 0},
        {56, "scaleTuning", 100},
        {57, "exclusiveClass", 0},
        {58, "overridingRootKey", -1},
    };
    for (const Case& c : kCases) {
        EXPECT_STREQ(c.pszName, InfoOf(c.nGen).pszName);
        EXPECT_EQ(c.nDefault, InfoOf(c.nGen).nDefault) << c.pszName;
    }
}

TEST(SoundFontZonesTest, AZoneTakesWhatItDoesNotSetFromTheGlobalZone) {
    const MergedZones merged =
        ZoneList({{{{kGenPan, 100}, {kGenKeyRange, RangeAmount(20, 30)}}, 2},
                  {{{kGenSample, 4}}, 1},
                  {{{kGenKeyRange, RangeAmount(1, 2)}, {kGenPan, -9}, {kGenSample, 5}}, 0}})
            .Instrument();
    ASSERT_EQ(2u, merged.zones.size());
    EXPECT_EQ(4u, merged.zones[0].nTarget);
    EXPECT_EQ(100, merged.zones[0].values[kGenPan]);
    EXPECT_EQ((MidiRange{20, 30}), merged.zones[0].range.keys);
    EXPECT_EQ((MidiRange{0, 127}), merged.zones[0].range.velocities);
    EXPECT_EQ(3u, merged.zones[0].nModulators);
    EXPECT_EQ(100, merged.zones[0].values[kGenScaleTuning]) << "a default";
    EXPECT_EQ(-9, merged.zones[1].values[kGenPan]);
    EXPECT_EQ((MidiRange{1, 2}), merged.zones[1].range.keys);
    EXPECT_EQ(2u, merged.zones[1].nModulators);
    EXPECT_EQ(0u, merged.nWithoutTarget);
}

TEST(SoundFontZonesTest, OnlyTheFirstZoneCanBeGlobal) {
    const MergedZones merged =
        ZoneList({{{{kGenSample, 1}}}, {{{kGenPan, 7}}}, {{}}, {{{kGenSample, 2}}}}).Instrument();
    ASSERT_EQ(2u, merged.zones.size());
    EXPECT_EQ(0, merged.zones[1].values[kGenPan]);
    EXPECT_EQ(2u, merged.nWithoutTarget);
}

TEST(SoundFontZonesTest, TheLastOfTwoEqualGeneratorsCountsAndThoseBehindTheTargetDoNot) {
    const MergedZones merged =
        ZoneList({{{{kGenPan, 1}, {kGenPan, 2}, {kGenSample, 1}, {kGenPan, 3}}}}).Instrument();
    ASSERT_EQ(1u, merged.zones.size());
    EXPECT_EQ(2, merged.zones[0].values[kGenPan]);
}

TEST(SoundFontZonesTest, UnknownGeneratorsArePassedOver) {
    const MergedZones merged = ZoneList({{{{61, 1}, {0xFFFF, 2}, {kGenSample, 1}}}}).Instrument();
    EXPECT_EQ(1u, merged.zones.size());
}

TEST(SoundFontZonesTest, RangesStandAnywhereInFrontOfTheTarget) {
    const MergedZones merged = ZoneList({{{{kGenPan, 1},
                                           {kGenVelocityRange, RangeAmount(5, 6)},
                                           {kGenKeyRange, RangeAmount(3, 4)},
                                           {kGenSample, 1}}}})
                                   .Instrument();
    ASSERT_EQ(1u, merged.zones.size());
    EXPECT_EQ((MidiRange{3, 4}), merged.zones[0].range.keys);
    EXPECT_EQ((MidiRange{5, 6}), merged.zones[0].range.velocities);
}

TEST(SoundFontZonesTest, RangesBeyondTheKeyboardAreCutAndCounted) {
    const MergedZones merged = ZoneList({{{{kGenKeyRange, RangeAmount(100, 200)}, {kGenSample, 1}}},
                                         {{{kGenKeyRange, RangeAmount(200, 210)}, {kGenSample, 1}}},
                                         {{{kGenKeyRange, RangeAmount(90, 80)}, {kGenSample, 1}}}})
                                   .Instrument();
    ASSERT_EQ(3u, merged.zones.size());
    EXPECT_EQ((MidiRange{100, 127}), merged.zones[0].range.keys);
    EXPECT_TRUE(merged.zones[1].range.keys.IsEmpty());
    EXPECT_TRUE(merged.zones[2].range.keys.IsEmpty());
    EXPECT_EQ(2u, merged.nCutRanges);
}

TEST(SoundFontZonesTest, APresetAddsOnlyWhatAPresetMaySet) {
    const MergedZones preset = ZoneList({{{{kGenFineTune, 5}}},
                                         {{{kGenPan, -50},
                                           {kGenRootKey, 40},
                                           {kGenSampleModes, 1},
                                           {kGenStartOffset, 9},
                                           {kGenKey, 3},
                                           {kGenScaleTuning, -20},
                                           {kGenInstrument, 0}}}})
                                   .Preset();
    const MergedZones instrument =
        ZoneList({{{{kGenPan, 20}, {kGenRootKey, 50}, {kGenSample, 0}}}}).Instrument();
    ASSERT_EQ(1u, preset.zones.size());
    ASSERT_EQ(1u, instrument.zones.size());
    const GenValues sum = AddValues(preset.zones[0], instrument.zones[0]);
    EXPECT_EQ(-30, sum[kGenPan]);
    EXPECT_EQ(5, sum[kGenFineTune]);
    EXPECT_EQ(80, sum[kGenScaleTuning]);
    EXPECT_EQ(50, sum[kGenRootKey]);
    EXPECT_EQ(0, sum[kGenSampleModes]);
    EXPECT_EQ(0, sum[kGenStartOffset]);
    EXPECT_EQ(-1, sum[kGenKey]);
}

}  // namespace
}  // namespace Kestrova::Test
