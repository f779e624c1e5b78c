#include "import/soundfont/StereoJoin.h"
#include "tests/import/soundfont/FontPlan.h"

namespace Kestrova::Test {
namespace {

using Gens = FontSpec::Gens;

// One half and its zone.
struct HalfSpec {
    std::string strName = "Wave";
    uint16_t nType = 1;
    uint16_t nLink = 0;
    Gens gens = {};
    uint32_t nFrames = 500;
};

// An instrument of one zone for each half, in their order.
FontSpec HalvesFont(const std::vector<HalfSpec>& halves) {
    FontSpec spec = SimpleFont();
    spec.samples.clear();
    spec.instruments[0].zones.clear();
    uint32_t nStart = 0;
    for (size_t i = 0; i < halves.size(); ++i) {
        FontSpec::Sample sample;
        sample.strName = halves[i].strName;
        sample.nStart = nStart;
        nStart += halves[i].nFrames;
        sample.nEnd = nStart;
        sample.nLoopStart = sample.nStart + 10;
        sample.nLoopEnd = sample.nStart + 90;
        sample.nType = halves[i].nType;
        sample.nLink = halves[i].nLink;
        spec.samples.push_back(sample);
        FontSpec::Zone zone{halves[i].gens};
        zone.gens.emplace_back(uint16_t{kGenSample}, static_cast<int>(i));
        spec.instruments[0].zones.push_back(zone);
    }
    spec.wave = MakeRamp(nStart);
    return spec;
}

const Gens kHardLeft = {{kGenPan, -500}};
const Gens kHardRight = {{kGenPan, 500}};

struct JoinCase {
    const char* pszWhy;
    std::vector<HalfSpec> halves;
    std::string strJoined;  // the name, or empty: stay apart
    uint32_t nFirst = 0;    // the sample of the first channel
};

TEST(StereoJoinTest, HalvesAreJoinedByLinkThenLengthThenName) {
    const JoinCase kCases[] = {
        {"linked", {{"One", kFontLeft, 1}, {"Two", kFontRight, 0}}, "One"},
        {"linked, right half first", {{"One", kFontRight, 1}, {"Two", kFontLeft, 0}}, "Two", 1},
        {"linked, lengths a little different",
         {{"One", kFontLeft, 1}, {"Two", kFontRight, 0, {}, 500 + kMostStrayFrames}},
         "One"},
        {"linked, lengths too different",
         {{"One", kFontLeft, 1}, {"Two", kFontRight, 0, {}, 501 + kMostStrayFrames}},
         ""},
        {"link not mutual, lengths different", {{"One", kFontLeft, 1}, {"Two", kFontRight, 1, {}, 501}}, ""},
        {"link not mutual, but equal lengths", {{"One", kFontLeft, 1}, {"Two", kFontRight, 1}}, "One"},
        {"linked to nowhere, equal lengths", {{"One", kFontLeft, 99}, {"Two", kFontRight, 99}}, "One"},
        {"linked, both left", {{"One", kFontLeft, 1}, {"Two", kFontLeft, 0}}, ""},
        {"linked to itself", {{"One", kFontLeft, 0}}, ""},
        {"typed both ways", {{"One", 6, 1}, {"Two", 6, 0}}, ""},
        {"mono, panned apart, equal lengths", {{"One", 1, 0, kHardLeft}, {"Two", 1, 0, kHardRight}}, "One"},
        {"mono, panned halfway", {{"One", 1, 0, {{kGenPan, -250}}}, {"Two", 1, 0, {{kGenPan, 250}}}}, "One"},
        {"mono, panned less", {{"One", 1, 0, {{kGenPan, -249}}}, {"Two", 1, 0, {{kGenPan, 249}}}}, ""},
        {"mono, panned apart, other lengths", {{"One", 1, 0, kHardLeft}, {"Two", 1, 0, kHardRight, 501}}, ""},
        {"two right halves for a left one",
         {{"One", 1, 0, kHardLeft}, {"Two", 1, 0, kHardRight}, {"Three", 1, 0, kHardRight}},
         ""},
        {"by name", {{"Flute(L)", 1}, {"Flute(R)", 1}}, "Flute"},
        {"by name, a little different in length", {{"Flute-L", 1}, {"Flute-R", 1, 0, {}, 900}}, "Flute"},
        {"by name, too different in length", {{"Flute-L", 1}, {"Flute-R", 1, 0, {}, 1501}}, ""},
        {"by name, right half first", {{"Flute R", 1}, {"Flute L", 1}}, "Flute", 1},
        {"other names", {{"Flute(L)", 1}, {"Oboe(R)", 1}}, ""},
        {"the pan tells the channel",
         {{"One", kFontLeft, 1, kHardRight}, {"Two", kFontRight, 0, kHardLeft}},
         "Two",
         1},
        {"another key range",
         {{"A L", kFontLeft, 1, {{kGenKeyRange, RangeAmount(0, 60)}}}, {"A R", kFontRight, 0}},
         ""},
        {"another velocity range",
         {{"A L", kFontLeft, 1, {{kGenVelocityRange, RangeAmount(0, 60)}}}, {"A R", kFontRight, 0}},
         ""},
        {"another tune", {{"A L", kFontLeft, 1, {{kGenFineTune, 1}}}, {"A R", kFontRight, 0}}, ""},
        {"one loops", {{"A L", kFontLeft, 1, {{kGenSampleModes, 1}}}, {"A R", kFontRight, 0}}, ""},
        {"another setting", {{"A L", kFontLeft, 1, {{kGenPan + 31, 10}}}, {"A R", kFontRight, 0}}, ""},
    };
    for (const JoinCase& c : kCases) {
        SCOPED_TRACE(c.pszWhy);
        const FontPlan made(HalvesFont(c.halves));
        if (c.strJoined.empty()) {
            EXPECT_EQ(c.halves.size(), made.Plan().waves.size());
            for (const PlannedWave& wave : made.Plan().waves) EXPECT_EQ(1u, wave.nChannels);
            EXPECT_EQ(Lines(), made.Entries(ImportEvent::Joined));
            continue;
        }
        const PlannedWave wave = made.OnlyWave();
        ASSERT_EQ(2u, wave.nChannels);
        EXPECT_EQ(c.nFirst, made.OnlyPart().left.nSample);
        EXPECT_EQ(1 - c.nFirst, made.OnlyPart().right->nSample);
        EXPECT_EQ(c.strJoined, wave.strName);
        EXPECT_EQ(std::max(c.halves[0].nFrames, c.halves[1].nFrames), wave.nFrames);
        EXPECT_EQ(Lines{"sample \"" + c.strJoined + "\""}, made.Entries(ImportEvent::Joined));
        EXPECT_EQ(1u, made.Plan().CountLayers()) << "one layer for both";
    }
}

TEST(StereoJoinTest, TheSameSampleTwiceIsNoPair) {
    FontSpec spec = HalvesFont({{"Wave", 1, 0, kHardLeft}, {"Wave", 1, 0, kHardRight}});
    spec.instruments[0].zones[1].gens.back().second = 0;
    const FontPlan made(spec);
    EXPECT_EQ(1u, made.OnlyWave().nChannels);
    EXPECT_EQ(2u, made.Plan().CountLayers());
}

TEST(StereoJoinTest, EachPairOfOneRangeIsJoined) {
    const FontPlan made(
        HalvesFont({{"A", kFontLeft, 3}, {"B", kFontLeft, 2}, {"C", kFontRight, 1}, {"D", kFontRight, 0}}));
    ASSERT_EQ(2u, made.Plan().waves.size());
    EXPECT_EQ(0u, made.Parts()[0].left.nSample);
    EXPECT_EQ(3u, made.Parts()[0].right->nSample);
    EXPECT_EQ(1u, made.Parts()[1].left.nSample);
    EXPECT_EQ(2u, made.Parts()[1].right->nSample);
}

TEST(StereoJoinTest, PansOfHardJoinedHalvesAreCarriedOthersNot) {
    const FontPlan hard(HalvesFont({{"A L", 1, 0, kHardLeft}, {"A R", 1, 0, kHardRight}}));
    EXPECT_EQ(Lines(), hard.Entries(ImportEvent::LeftOut));
    const FontPlan soft(HalvesFont({{"A L", 1, 0, {{kGenPan, -400}}}, {"A R", 1, 0, kHardRight}}));
    EXPECT_EQ(1u, soft.Plan().waves.size());
    EXPECT_EQ(Lines{"pan x2"}, soft.Entries(ImportEvent::LeftOut));
}

TEST(StereoJoinTest, JoinedNamesAreWhatTheHalvesShare) {
    struct Case {
        const char *pszLeft, *pszRight, *pszJoined;
    };
    constexpr Case kCases[] = {
        {"Piano C4 (L)", "Piano C4 (R)", "Piano C4"},
        {"PianoC4L", "PianoC4R", "PianoC4"},
        {"Piano_l", "Piano_r", "Piano"},
        {"Piano-Left", "Piano-Right", "Piano"},
        {"PIANO LEFT", "PIANO RIGHT", "PIANO"},
        {"Strings.L", "Strings.R", "Strings"},
        {"Strings[L]", "Strings[R]", "Strings"},
        {"Bell", "Beer", "Bell"},  // small letters without a separator say nothing
        {"L", "R", "L"},
        {"One L", "Two R", "One L"},
        {"One L", "One L", "One L"},
        {"", "", ""},
    };
    for (const Case& c : kCases) EXPECT_EQ(c.pszJoined, JoinedName(c.pszLeft, c.pszRight));
}

TEST(StereoJoinTest, ManyVoicesOfOneRangeTakeNoQuadraticTime) {
    FontSpec spec = HalvesFont({{"Wave", 1}, {"Wave", 1}});
    const FontSpec::Zone zone = spec.instruments[0].zones[0];
    spec.instruments[0].zones.assign(30000, zone);
    const FontPlan made(spec);
    EXPECT_EQ(1u, made.Plan().waves.size());
    EXPECT_EQ(30000u, made.Plan().CountLayers());
}

}  // namespace
}  // namespace Kestrova::Test
