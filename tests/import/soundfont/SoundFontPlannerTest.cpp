#include "import/soundfont/SoundFontPlanner.h"
#include "tests/import/soundfont/FontPlan.h"

namespace Kestrova::Test {
namespace {

FontSpec::Zone Zone(int nSample, FontSpec::Gens gens = {}) {
    gens.emplace_back(uint16_t{kGenSample}, nSample);
    return {gens};
}
FontSpec::Zone PresetZone(int nInstrument, FontSpec::Gens gens = {}) {
    gens.emplace_back(uint16_t{kGenInstrument}, nInstrument);
    return {gens};
}
std::pair<uint16_t, int> Keys(int nLow, int nHigh) { return {kGenKeyRange, RangeAmount(nLow, nHigh)}; }
std::pair<uint16_t, int> Velocities(int nLow, int nHigh) {
    return {kGenVelocityRange, RangeAmount(nLow, nHigh)};
}

// Samples "A", "B" ... of 50 frames each.
FontSpec LetterFont(size_t nSamples) {
    FontSpec spec = SimpleFont();
    spec.wave = MakeRamp(nSamples * 50);
    spec.samples.clear();
    for (size_t i = 0; i < nSamples; ++i) {
        FontSpec::Sample sample;
        sample.strName = std::string(1, static_cast<char>('A' + i));
        sample.nStart = static_cast<uint32_t>(i * 50);
        sample.nEnd = sample.nStart + 50;
        spec.samples.push_back(sample);
    }
    return spec;
}

// "low-high/low-high:layer,layer name"
Lines RegionLines(const PlannedProgram& program) {
    Lines lines;
    for (const PlannedRegion& region : program.regions) {
        const auto range = [](const MidiRange& r) {
            return std::to_string(r.nLow) + "-" + std::to_string(r.nHigh);
        };
        std::string strLine = range(region.range.keys) + "/" + range(region.range.velocities) + ":";
        for (const size_t nWave : region.layers) strLine += " " + std::to_string(nWave);
        lines.push_back(strLine + " " + region.strName);
    }
    return lines;
}

TEST(SoundFontPlannerTest, RegionsAreTheDistinctRangesOfPairsOfZonesInOrder) {
    FontSpec spec = LetterFont(3);
    spec.instruments = {{"First",
                         {Zone(0, {Keys(60, 80)}), Zone(1, {Keys(0, 59), Velocities(0, 63)}),
                          Zone(2, {Keys(0, 59), Velocities(64, 127)})}},
                        {"Second", {Zone(2)}}};
    spec.presets[0].zones = {PresetZone(0, {Keys(10, 70)}), PresetZone(1, {Keys(60, 70)}),
                             PresetZone(0, {Keys(100, 127)})};
    const FontPlan made(spec);
    ASSERT_EQ(1u, made.Plan().programs.size());
    EXPECT_EQ((Lines{"10-59/0-63: 1 First", "10-59/64-127: 2 First", "60-70/0-127: 0 2 First"}),
              RegionLines(made.Plan().programs[0]));
    EXPECT_EQ(3u, made.Plan().waves.size());
    EXPECT_EQ("A", made.Plan().waves[0].strName) << "waves come in the order of their first use";
    EXPECT_FALSE(made.Report().HasLosses()) << "zones that never meet lose nothing";
    EXPECT_EQ(3u, made.Plan().CountRegions());
    EXPECT_EQ(4u, made.Plan().CountLayers());
}

TEST(SoundFontPlannerTest, AWaveIsSharedByEqualUsesAndCopiedForOthers) {
    FontSpec spec = LetterFont(2);
    spec.instruments[0].zones = {Zone(0, {Keys(0, 10)}),
                                 Zone(0, {Keys(11, 20)}),
                                 Zone(0, {Keys(21, 30), {kGenRootKey, 50}}),
                                 Zone(0, {Keys(31, 40), {kGenSampleModes, 1}}),
                                 Zone(0, {Keys(41, 50), {kGenStartOffset, 5}}),
                                 Zone(0, {Keys(51, 60), {kGenPan, 99}}),
                                 Zone(1, {Keys(61, 70)})};
    const FontPlan made(spec);
    EXPECT_EQ((Lines{"0-10/0-127: 0 Instrument", "11-20/0-127: 0 Instrument", "21-30/0-127: 1 Instrument",
                     "31-40/0-127: 2 Instrument", "41-50/0-127: 3 Instrument", "51-60/0-127: 0 Instrument",
                     "61-70/0-127: 4 Instrument"}),
              RegionLines(made.Plan().programs[0]));
    EXPECT_EQ(Lines{"sample \"A\" x3"}, made.Entries(ImportEvent::Copied));
}

TEST(SoundFontPlannerTest, ProgramsComeByBankAndNumberAndTheFirstOfEqualOnesCounts) {
    FontSpec spec = LetterFont(1);
    spec.instruments[0].zones = {Zone(0)};
    const std::vector<FontSpec::Zone> zones = {PresetZone(0)};
    spec.presets = {
        {"Drums", 0, 128, zones}, {"Two", 2, 0, zones}, {"One", 1, 0, zones}, {"Too", 2, 0, zones}};
    const FontPlan made(spec);
    Lines names;
    for (const PlannedProgram& program : made.Plan().programs) names.push_back(program.strName);
    EXPECT_EQ((Lines{"One", "Two", "Drums"}), names);
    EXPECT_EQ(2u, made.Plan().CountBanks());
    EXPECT_EQ(Lines{"preset 0:2 \"Too\": another preset has its number"}, made.Entries(ImportEvent::Dropped));
}

TEST(SoundFontPlannerTest, ChosenPresetsComeAlone) {
    FontSpec spec = LetterFont(2);
    spec.instruments = {{"I", {Zone(0)}}, {"J", {Zone(1)}}};
    spec.presets = {{"One", 1, 0, {PresetZone(0)}}, {"Two", 2, 0, {PresetZone(1)}}};
    const FontPlan made(spec, {{0, 2}});
    ASSERT_EQ(1u, made.Plan().programs.size());
    EXPECT_EQ("Two", made.Plan().programs[0].strName);
    EXPECT_EQ("B", made.OnlyWave().strName);
}

TEST(SoundFontPlannerTest, ZonesThatCannotSoundAreDroppedByName) {
    FontSpec spec = LetterFont(1);
    spec.instruments = {{"Keys",
                         {Zone(0),
                          Zone(7),
                          {{{kGenPan, 1}}},
                          Zone(0, {Keys(9, 8)}),
                          Zone(0, {Keys(200, 201)}),
                          Zone(0, {Keys(5, 200)})}}};
    spec.presets[0] = {
        "Grand", 3, 0, {PresetZone(0), PresetZone(1), {{{kGenPan, 1}}}, PresetZone(0, {Velocities(2, 1)})}};
    const FontPlan made(spec);
    EXPECT_EQ((Lines{"preset 0:3 \"Grand\": a zone without instrument",
                     "preset 0:3 \"Grand\": a zone with instrument 1, which is not there",
                     "preset 0:3 \"Grand\": a zone with an empty range",
                     "instrument \"Keys\": a zone without sample",
                     "instrument \"Keys\": a zone with sample 7, which is not there",
                     "instrument \"Keys\": a zone with an empty range x2"}),
              made.Entries(ImportEvent::Dropped));
    EXPECT_EQ(Lines{"instrument \"Keys\": a range cut to 127 x2"}, made.Entries(ImportEvent::Repaired));
    EXPECT_EQ((Lines{"0-127/0-127: 0 Keys", "5-127/0-127: 0 Keys"}), RegionLines(made.Plan().programs[0]));
}

TEST(SoundFontPlannerTest, AnInstrumentOfManyPresetsIsReportedOnce) {
    FontSpec spec = LetterFont(1);
    spec.instruments = {{"Keys", {Zone(0), Zone(7)}}};
    spec.presets = {{"One", 1, 0, {PresetZone(0)}}, {"Two", 2, 0, {PresetZone(0)}}};
    const FontPlan made(spec);
    EXPECT_EQ(Lines{"instrument \"Keys\": a zone with sample 7, which is not there"},
              made.Entries(ImportEvent::Dropped));
}

TEST(SoundFontPlannerTest, PresetsWithoutSoundAreDropped) {
    FontSpec spec = LetterFont(1);
    spec.presets.push_back({"Empty", 5, 1, {}});
    spec.presets.push_back({"Only global", 6, 1, {{{{kGenPan, 5}}}}});
    const FontPlan made(spec);
    EXPECT_EQ(1u, made.Plan().programs.size());
    EXPECT_EQ((Lines{"preset 1:5 \"Empty\": none of its zones plays a sample",
                     "preset 1:6 \"Only global\": none of its zones plays a sample"}),
              made.Entries(ImportEvent::Dropped));
}

TEST(SoundFontPlannerTest, SettingsThatNoRecordExpressesAreCountedByGenerator) {
    FontSpec spec = LetterFont(2);
    spec.instruments[0].zones = {{{{8, 5000}, {kGenScaleTuning, 50}, {kGenPan, 3}}, 2},  // the global zone
                                 Zone(0, {Keys(0, 9)}),
                                 Zone(1, {Keys(10, 10), {8, 13500}, {kGenPan, 0}, {48, 60}})};
    spec.presets[0].zones[0].nModulators = 1;
    const FontPlan made(spec);
    EXPECT_EQ((Lines{"initialFilterFc", "pan", "initialAttenuation", "scaleTuning", "modulators x6"}),
              made.Entries(ImportEvent::LeftOut))
        << "the scale tuning of a single key is in its tune";
    EXPECT_EQ((Lines{"filters", "pan", "attenuation", "scale tuning", "modulators x2"}),
              made.Entries(ImportEvent::LeftOutKind))
        << "of two layers";
    EXPECT_FALSE(made.Report().HasLosses());
}

TEST(SoundFontPlannerTest, KindsOfSettingsAreCountedByTheLayersThatHaveAny) {
    FontSpec spec = LetterFont(2);
    spec.samples[0].nType = kFontLeft;
    spec.samples[0].nLink = 1;
    spec.samples[1].nType = kFontRight;
    for (FontSpec::Sample& sample : spec.samples) {
        sample.nLoopStart = sample.nStart + 10;
        sample.nLoopEnd = sample.nEnd;
    }
    const FontSpec::Gens gens = {{8, 5000}, {9, 20}, {34, -100}, {kGenSampleModes, 3}};
    spec.instruments[0].zones = {Zone(0, gens), Zone(1, gens)};
    const FontPlan made(spec);
    ASSERT_EQ(1u, made.Plan().CountLayers()) << "two halves make one layer";
    EXPECT_EQ((Lines{"envelopes", "filters", "ends of loops at release"}),
              made.Entries(ImportEvent::LeftOutKind));
    EXPECT_EQ(
        (Lines{"initialFilterFc x2", "initialFilterQ x2", "attackVolEnv x2", "end of loops at release x2"}),
        made.Entries(ImportEvent::LeftOut));
}

TEST(SoundFontPlannerTest, AStoppedPlanIsCancelled) {
    const TempDir dir;
    WriteFile(dir.File("font.sf2"), MakeFont(SimpleFont()));
    SoundFont font;
    ASSERT_TRUE(font.Open(dir.File("font.sf2")).IsDone());
    ImportReport report;
    SoundFontPlan plan;
    ImportWatch watch;
    watch.isStopped = [] { return true; };
    EXPECT_EQ(ImportEnd::Cancelled, SoundFontPlanner(font, report).Make({}, plan, watch).end);
}

TEST(SoundFontPlannerTest, FontsOfTooManyPairsOfZonesAreRefused) {
    FontSpec spec = LetterFont(1);
    spec.instruments[0].zones.assign(2000, Zone(0, {Keys(0, 1)}));
    spec.presets[0].zones.assign(2000, PresetZone(0, {Keys(2, 3)}));
    EXPECT_TRUE(FontPlan(spec).Outcome().IsDone()) << "4000000 pairs";
    spec.presets[0].zones.push_back(PresetZone(0));
    const FontPlan refused(spec);
    EXPECT_EQ(ImportEnd::Refused, refused.Outcome().end);
    EXPECT_EQ("it has more than 4000000 pairs of a preset's zone and an instrument's zone",
              refused.Outcome().strCause);
}

}  // namespace
}  // namespace Kestrova::Test
