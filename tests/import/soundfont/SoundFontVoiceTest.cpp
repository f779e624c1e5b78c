#include "import/soundfont/SoundFontVoice.h"
#include "tests/import/soundfont/FontPlan.h"

namespace Kestrova::Test {
namespace {

struct PitchCase {
    const char* pszWhy;
    FontSpec::Gens gens;
    int nHeaderRoot, nCorrection;
    uint32_t nRootKey;
    int nFineTune;
};

TEST(SoundFontVoiceTest, TuningIsFoldedIntoRootKeyAndFineTune) {
    const int kOneKey = RangeAmount(40, 40);
    const PitchCase kCases[] = {
        {"as it stands", {}, 60, 0, 60, 0},
        {"the zone's root key", {{kGenRootKey, 48}}, 60, 0, 48, 0},
        {"a root key of -1 is none", {{kGenRootKey, -1}}, 61, 0, 61, 0},
        {"a root key of 128 is none", {{kGenRootKey, 128}}, 61, 0, 61, 0},
        {"played higher, so unchanged lower", {{kGenFineTune, 10}}, 60, 0, 60, -10},
        {"the most that stays", {{kGenFineTune, 49}}, 60, 0, 60, -49},
        {"one cent more moves the key", {{kGenFineTune, 50}}, 60, 0, 59, 50},
        {"the most upwards that stays", {{kGenFineTune, -50}}, 60, 0, 60, 50},
        {"one cent more moves the key up", {{kGenFineTune, -51}}, 60, 0, 61, -49},
        {"whole keys", {{kGenCoarseTune, 12}}, 60, 0, 48, 0},
        {"whole keys down", {{kGenCoarseTune, -7}}, 60, 0, 67, 0},
        {"the sample's correction", {}, 60, 30, 60, -30},
        {"everything together", {{kGenCoarseTune, 1}, {kGenFineTune, -30}}, 60, 25, 59, 5},
        {"no pitch is 60", {}, 255, 0, 60, 0},
        {"wide range: scale tuning is left out", {{kGenScaleTuning, 50}}, 60, 0, 60, 0},
        {"one key at its root", {{kGenKeyRange, kOneKey}}, 40, 0, 40, 0},
        {"one key, drum tuning: plays unchanged",
         {{kGenKeyRange, kOneKey}, {kGenScaleTuning, 0}},
         60,
         0,
         40,
         0},
        {"drum tuning and tune",
         {{kGenKeyRange, kOneKey}, {kGenScaleTuning, 0}, {kGenFineTune, 7}},
         60,
         0,
         40,
         -7},
        {"one key, half tuning: 10 keys lower",
         {{kGenKeyRange, kOneKey}, {kGenScaleTuning, 50}},
         60,
         0,
         50,
         0},
        {"one key, fixed key number: an octave up", {{kGenKeyRange, kOneKey}, {kGenKey, 72}}, 60, 0, 28, 0},
        {"wide range: fixed key number is left out", {{kGenKey, 72}}, 60, 0, 60, 0},
    };
    for (const PitchCase& c : kCases) {
        SCOPED_TRACE(c.pszWhy);
        FontSpec spec = SimpleFont(c.gens);
        spec.samples[0].nRootKey = static_cast<uint8_t>(c.nHeaderRoot);
        spec.samples[0].nCorrection = static_cast<int8_t>(c.nCorrection);
        const FontPlan made(spec);
        EXPECT_EQ(c.nRootKey, made.OnlyWave().tune.nRootKey);
        EXPECT_EQ(c.nFineTune, made.OnlyWave().tune.nFineTune);
        EXPECT_FALSE(made.Report().HasLosses());
    }
}

TEST(SoundFontVoiceTest, ThePresetsTuneIsAddedToTheInstruments) {
    FontSpec spec = SimpleFont({{kGenFineTune, 40}, {kGenCoarseTune, 2}});
    spec.presets[0].zones[0].gens = {{kGenFineTune, 70}, {kGenCoarseTune, -5}, {kGenInstrument, 0}};
    const FontPlan made(spec);
    EXPECT_EQ(62u, made.OnlyWave().tune.nRootKey);
    EXPECT_EQ(-10, made.OnlyWave().tune.nFineTune);
}

TEST(SoundFontVoiceTest, RootKeysBeyondTheKeyboardAreHeld) {
    for (const auto& [nTune, nRoot, strText] : {std::tuple{-100, 127u, "root key 160 held to 127"},
                                                std::tuple{100, 0u, "root key -40 held to 0"}}) {
        const FontPlan made(SimpleFont({{kGenCoarseTune, nTune}}));
        EXPECT_EQ(nRoot, made.OnlyWave().tune.nRootKey);
        EXPECT_EQ(Lines{std::string("sample \"Sample\": ") + strText}, made.Entries(ImportEvent::Repaired));
    }
}

TEST(SoundFontVoiceTest, AnImpossibleRootKeyOfASampleIsRepaired) {
    FontSpec spec = SimpleFont();
    spec.samples[0].nRootKey = 128;
    const FontPlan made(spec);
    EXPECT_EQ(60u, made.OnlyWave().tune.nRootKey);
    EXPECT_EQ(Lines{"sample \"Sample\": root key 128 taken as 60"}, made.Entries(ImportEvent::Repaired));
}

TEST(SoundFontVoiceTest, RatesAreHeldToWhatCanBePlayed) {
    struct Case {
        uint32_t nRate, nTaken;
        const char* pszRepair;
    };
    constexpr Case kCases[] = {
        {0, 44100, "rate 0 Hz taken as 44100 Hz"},
        {1, 400, "rate 1 Hz taken as 400 Hz"},
        {399, 400, "rate 399 Hz taken as 400 Hz"},
        {400, 400, nullptr},
        {50000, 50000, nullptr},
        {96000, 96000, nullptr},
        {192000, 192000, nullptr},
        {192001, 192000, "rate 192001 Hz taken as 192000 Hz"},
        {0xFFFFFFFF, 192000, "rate 4294967295 Hz taken as 192000 Hz"},
    };
    for (const Case& c : kCases) {
        FontSpec spec = SimpleFont();
        spec.samples[0].nRate = c.nRate;
        const FontPlan made(spec);
        EXPECT_EQ(c.nTaken, made.OnlyWave().tune.nRate);
        const Lines wanted =
            c.pszRepair == nullptr ? Lines() : Lines{std::string("sample \"Sample\": ") + c.pszRepair};
        EXPECT_EQ(wanted, made.Entries(ImportEvent::Repaired));
    }
}

struct LoopCase {
    const char* pszWhy;
    uint32_t nLoopStart, nLoopEnd;  // of the sample, which is frames 20 to 99
    FontSpec::Gens gens;
    bool bLoop;
    uint64_t nStart, nEnd;
    const char* pszRepaired;
    const char* pszDropped;
};

TEST(SoundFontVoiceTest, LoopsEndWithTheLastFramePlayed) {
    constexpr const char* kCut = "loop of sample \"Sample\": cut to its wave";
    constexpr const char* kNone = "loop of sample \"Sample\": it has no frames";
    const LoopCase kCases[] = {
        {"mode 0 has no loop", 30, 90, {}, false, 0, 0, nullptr, nullptr},
        {"mode 2 has no loop", 30, 90, {{kGenSampleModes, 2}}, false, 0, 0, nullptr, nullptr},
        {"mode 1", 30, 90, {{kGenSampleModes, 1}}, true, 10, 69, nullptr, nullptr},
        {"mode 3", 30, 90, {{kGenSampleModes, 3}}, true, 10, 69, nullptr, nullptr},
        {"other bits of the mode mean nothing",
         30,
         90,
         {{kGenSampleModes, 5}},
         true,
         10,
         69,
         nullptr,
         nullptr},
        {"the whole wave", 20, 100, {{kGenSampleModes, 1}}, true, 0, 79, nullptr, nullptr},
        {"one frame", 30, 31, {{kGenSampleModes, 1}}, true, 10, 10, nullptr, nullptr},
        {"end beyond the wave", 30, 101, {{kGenSampleModes, 1}}, true, 10, 79, kCut, nullptr},
        {"start before the wave", 19, 90, {{kGenSampleModes, 1}}, true, 0, 69, kCut, nullptr},
        {"no frames", 30, 30, {{kGenSampleModes, 1}}, false, 0, 0, nullptr, kNone},
        {"reversed", 90, 30, {{kGenSampleModes, 1}}, false, 0, 0, nullptr, kNone},
        {"behind the wave", 150, 160, {{kGenSampleModes, 1}}, false, 0, 0, nullptr, kNone},
        {"before the wave", 5, 15, {{kGenSampleModes, 1}}, false, 0, 0, nullptr, kNone},
        {"far away", 0xFFFFFFF0, 0xFFFFFFFF, {{kGenSampleModes, 1}}, false, 0, 0, nullptr, kNone},
        {"moved by offsets",
         30,
         90,
         {{kGenSampleModes, 1}, {kGenLoopStartOffset, 3}, {kGenLoopEndOffset, -4}},
         true,
         13,
         65,
         nullptr,
         nullptr},
        {"counted from the moved start",
         30,
         90,
         {{kGenSampleModes, 1}, {kGenStartOffset, 5}},
         true,
         5,
         64,
         nullptr,
         nullptr},
        {"coarse offsets",
         30,
         90,
         {{kGenSampleModes, 1},
          {kGenLoopStartCoarseOffset, 1},
          {kGenLoopStartOffset, -32760},
          {kGenLoopEndCoarseOffset, -1},
          {kGenLoopEndOffset, 32767}},
         true,
         18,
         68,
         nullptr,
         nullptr},
    };
    for (const LoopCase& c : kCases) {
        SCOPED_TRACE(c.pszWhy);
        FontSpec spec = SimpleFont(c.gens);
        spec.samples[0].nStart = 20;
        spec.samples[0].nLoopStart = c.nLoopStart;
        spec.samples[0].nLoopEnd = c.nLoopEnd;
        const FontPlan made(spec);
        const WaveTune tune = made.OnlyWave().tune;
        EXPECT_EQ(c.bLoop, tune.bLoop);
        EXPECT_EQ(c.nStart, tune.nLoopStart);
        EXPECT_EQ(c.nEnd, tune.nLoopEnd);
        EXPECT_EQ(c.pszRepaired ? Lines{c.pszRepaired} : Lines(), made.Entries(ImportEvent::Repaired));
        EXPECT_EQ(c.pszDropped ? Lines{c.pszDropped} : Lines(), made.Entries(ImportEvent::Dropped));
    }
}

TEST(SoundFontVoiceTest, LoopsUntilReleaseAreCounted) {
    const FontPlan made(SimpleFont({{kGenSampleModes, 3}}));
    EXPECT_EQ(Lines{"end of loops at release"}, made.Entries(ImportEvent::LeftOut));
}

struct PartCase {
    const char* pszWhy;
    uint32_t nStart, nEnd;
    FontSpec::Gens gens;
    uint64_t nFirst, nFrames;  // 0 frames: dropped
    bool bRepaired;
};

TEST(SoundFontVoiceTest, WavesAreTheSamplesFramesMovedByOffsetsAndHeldToTheData) {
    const PartCase kCases[] = {
        {"as it stands", 20, 100, {}, 20, 80, false},
        {"all there is", 0, 200, {}, 0, 200, false},
        {"offsets", 20, 100, {{kGenStartOffset, 4}, {kGenEndOffset, -6}}, 24, 70, false},
        {"coarse offsets",
         20,
         100,
         {{kGenStartCoarseOffset, -1},
          {kGenStartOffset, 32767},
          {kGenEndCoarseOffset, 1},
          {kGenEndOffset, -32700}},
         19,
         149,
         false},
        {"end beyond the data", 20, 201, {}, 20, 180, true},
        {"end far beyond the data", 20, 0xFFFFFFFF, {}, 20, 180, true},
        {"moved beyond the data", 20, 100, {{kGenEndOffset, 1000}}, 20, 180, true},
        {"moved before the data", 20, 100, {{kGenStartOffset, -21}}, 0, 100, true},
        {"no frames", 20, 20, {}, 0, 0, false},
        {"reversed", 100, 20, {}, 0, 0, false},
        {"behind the data", 200, 300, {}, 0, 0, false},
        {"moved to nothing", 20, 100, {{kGenStartOffset, 80}}, 0, 0, false},
    };
    for (const PartCase& c : kCases) {
        SCOPED_TRACE(c.pszWhy);
        FontSpec spec = SimpleFont(c.gens);
        spec.samples[0].nStart = c.nStart;
        spec.samples[0].nEnd = c.nEnd;
        const FontPlan made(spec);
        ASSERT_EQ(c.nFrames != 0, !made.Plan().waves.empty());
        if (c.nFrames != 0) {
            EXPECT_EQ((WavePart{0, c.nFirst, c.nFrames}), made.OnlyPart().left);
            EXPECT_EQ(Lines(), made.Entries(ImportEvent::Dropped));
        } else {
            EXPECT_EQ((Lines{"sample \"Sample\": it has no frames",
                             "preset 0:0 \"Preset\": none of its zones plays a sample"}),
                      made.Entries(ImportEvent::Dropped));
        }
        EXPECT_EQ(c.bRepaired ? Lines{"sample \"Sample\": cut to the file's wave data"} : Lines(),
                  made.Entries(ImportEvent::Repaired));
    }
}

TEST(SoundFontVoiceTest, RomAndUnknownSampleTypesAreDropped) {
    struct Case {
        uint16_t nType;
        const char* pszCause;  // null: taken
    };
    constexpr Case kCases[] = {
        {0, nullptr},
        {1, nullptr},
        {2, nullptr},
        {4, nullptr},
        {8, nullptr},
        {0x8001, "its wave is in ROM"},
        {0x8004, "its wave is in ROM"},
        {0x21, "its type 0x0021 is unknown"},
        {0x4000, "its type 0x4000 is unknown"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.nType);
        FontSpec spec = SimpleFont();
        spec.samples[0].nType = c.nType;
        const FontPlan made(spec);
        EXPECT_EQ(c.pszCause == nullptr, made.Plan().waves.size() == 1);
        if (c.pszCause == nullptr) continue;
        ASSERT_EQ(2u, made.Entries(ImportEvent::Dropped).size());
        EXPECT_EQ(std::string("sample \"Sample\": ") + c.pszCause, made.Entries(ImportEvent::Dropped)[0]);
    }
}

}  // namespace
}  // namespace Kestrova::Test
