// kvbank render.
#include <sys/stat.h>

#include <cerrno>
#include <cmath>

#include "bank/PitchTables.h"
#include "bank/Resampler.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TestDatabase.h"
#include "tests/support/WaveMaker.h"
#include "tests/tools/kvbank/CommandFixture.h"

namespace Kestrova::Test {
namespace {

using ::testing::HasSubstr;

class RenderCommandTest : public CommandTest {
protected:
    // A bank at 44100 Hz of one sample with a loop, on keys 60 to 62.
    void LoopedBank() {
        Source({.samples = {{.nFrames = 300, .loops = {{7, 100, 199, 0}}}}});
        Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "44100"});
    }
    Outcome Render(std::vector<std::string> options, const std::string& strFile = "DIR/Src_0AC44.kvn") const {
        options.insert(options.begin(), {"render", strFile, "-o", "DIR/note.wav"});
        return Run(options);
    }
    Bytes Wav() const { return ReadFile(File("note.wav")); }
    static Bytes FramesOf(const Bytes& wav) { return Bytes(wav.begin() + 44, wav.end()); }

    // The sample of LoopedBank on key 60, 7 cents above its own pitch, faded over the last nFade frames.
    static Bytes Expected(uint64_t nFrames, int64_t nFade) {
        const Bytes wave = MakeWave(300, 16, 1, 1);
        const double ratio = double{midiBendsToFactor(573)};  // 7 * 8192 / 100
        const auto nSource = static_cast<uint64_t>(std::ceil(static_cast<double>(nFrames) * ratio)) + 1;
        Bytes written(256 * 2);
        for (uint64_t n = 0; n < nSource + 256; ++n) {
            const uint64_t nFrame = n < 200 ? n : 100 + (n - 100) % 100;
            written.push_back(wave[2 * nFrame]);
            written.push_back(wave[2 * nFrame + 1]);
        }
        Bytes made(2 * nFrames);
        long nProduced = 0;
        const Resampler resampler(ratio, written.data() + 512, static_cast<long>(nSource), made.data(),
                                  static_cast<long>(nFrames), 2, 7, &nProduced);
        for (int64_t n = 0; n < nFade; ++n) {
            uint8_t* const p = &made[2 * (nFrames - static_cast<uint64_t>(nFade) + static_cast<uint64_t>(n))];
            const double faded = static_cast<int16_t>(p[0] | p[1] << 8) * static_cast<double>(nFade - n) /
                                 static_cast<double>(nFade);
            const auto nValue = static_cast<int>(std::lround(faded));
            p[0] = static_cast<uint8_t>(nValue);
            p[1] = static_cast<uint8_t>(nValue >> 8);
        }
        return made;
    }
};

TEST_F(RenderCommandTest, ANoteBecomesAWavFileOfTheBanksForm) {
    LoopedBank();
    const Outcome outcome =
        Render({"--program", "0:0", "--note", "60:100", "--seconds", "0.1", "--release", "0"});
    EXPECT_EQ("", outcome.strErr);
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ("DIR/note.wav: program 0:0 \"Program 0\", 1 note, 1 layer, 0.10 s, 44100 Hz, 16 bits, mono\n",
              outcome.strOut);
    Bytes expected;
    PutText(expected, "RIFF");
    PutLittle(expected, 36 + 8820, 4);
    PutText(expected, "WAVEfmt ");
    for (const auto& [nValue, nWidth] :
         {std::pair{16, 4}, {1, 2}, {1, 2}, {44100, 4}, {88200, 4}, {2, 2}, {16, 2}})
        PutLittle(expected, static_cast<uint64_t>(nValue), static_cast<size_t>(nWidth));
    PutText(expected, "data");
    PutLittle(expected, 8820, 4);
    const Bytes frames = Expected(4410, 0);
    expected.insert(expected.end(), frames.begin(), frames.end());
    EXPECT_EQ(expected, Wav());
}

TEST_F(RenderCommandTest, TheReleaseFadesTheSound) {
    LoopedBank();
    ASSERT_EQ(0, Render({"--seconds", "0.1", "--release", "0.05"}).nCode);
    const Bytes expected = Expected(4410 + 2205, 2205), made = FramesOf(Wav());
    ASSERT_EQ(expected.size(), made.size());
    for (size_t n = 0; n < made.size(); n += 2)
        EXPECT_NEAR(static_cast<int16_t>(expected[n] | expected[n + 1] << 8),
                    static_cast<int16_t>(made[n] | made[n + 1] << 8), 1)
            << n;
}

TEST_F(RenderCommandTest, ASourceBankSoundsAsTheBankBuiltOfIt) {
    LoopedBank();
    ASSERT_EQ(0, Render({"--seconds", "0.2"}).nCode);
    const Bytes built = Wav();
    ASSERT_EQ(0, Render({"--seconds", "0.2", "-f"}, "DIR/Src.kvs").nCode);
    EXPECT_EQ(built, Wav());
}

TEST_F(RenderCommandTest, ACompressedWaveIsExpanded) {
    Source({.samples = {{.nFormat = 24, .nChannels = 2, .nFrames = 30000}}});
    Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "44100"});
    const Outcome outcome = Render({"--seconds", "0.2"});
    EXPECT_THAT(outcome.strOut, HasSubstr("44100 Hz, 24 bits, stereo\n"));
    const Bytes built = Wav();
    ASSERT_EQ(0, Render({"--seconds", "0.2", "-f"}, "DIR/Src.kvs").nCode);
    EXPECT_EQ(built, Wav());
}

TEST_F(RenderCommandTest, ThePerKeyLayoutPlaysTheSampleOfTheKey) {
    Source({.samples = {{.nFrames = 20000}}});
    Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "44100", "--layout", "per-key"});
    const Json document = [&] {
        return Run({"render", "DIR/Src_0AC44.kvr", "-o", "DIR/note.wav", "--note", "62", "--json"})
            .Document();
    }();
    EXPECT_EQ(62, document["notes"][0]["layers"][0]["root_key"]);
    EXPECT_NEAR(std::exp2(7 / 1200.0), document["notes"][0]["layers"][0]["ratio"].get<double>(), 5e-6);
}

TEST_F(RenderCommandTest, LayersAreAddedAndLoweredWhenTheyAreTooLoud) {
    Source({.samples = {{.nFrames = 300, .loops = {{7, 100, 199, 0}}}},
            .programs = {{.regions = {{60, 60, {0, 0, 0, 0, 0, 0, 0, 0}}, {60, 60, {0}}}}}});
    const Json document = [&] {
        return Run({"render", "DIR/Src.kvs", "-o", "DIR/note.wav", "--seconds", "0.1", "--json"}).Document();
    }();
    EXPECT_EQ(9u, document["notes"][0]["layers"].size());
    const double gain = document["gain"];
    ASSERT_LT(gain, 1.0);
    EXPECT_THAT(Render({"--seconds", "0.1", "-f"}, "DIR/Src.kvs").strOut,
                HasSubstr(" dB, because the layers together are too loud\n"));
    int nLoudest = 0;
    const Bytes frames = FramesOf(Wav());
    for (size_t n = 0; n < frames.size(); n += 2)
        nLoudest = std::max(nLoudest, std::abs(static_cast<int16_t>(frames[n] | frames[n + 1] << 8)));
    EXPECT_GE(nLoudest, 32767);
}

TEST_F(RenderCommandTest, TheVelocityChoosesTheRegion) {
    Source({.samples = {{}, {}}, .programs = {{.regions = {{60, 60, {0}, 0, 63}, {60, 60, {1}, 64, 127}}}}});
    for (const auto& [pszNote, nSample] : {std::pair{"60:63", 0}, {"60:64", 1}}) {
        const Json document = Render({"--note", pszNote, "-f", "--json"}, "DIR/Src.kvs").Document();
        EXPECT_EQ("Sample " + std::to_string(nSample), document["notes"][0]["layers"][0]["name"]);
    }
}

TEST_F(RenderCommandTest, JsonTellsProgramFormAndLayers) {
    LoopedBank();
    Json document = Render({"--seconds", "0.1", "--release", "0.1", "--json"}).Document();
    EXPECT_NEAR(std::exp2(7 / 1200.0), document["notes"][0]["layers"][0]["ratio"].get<double>(), 5e-6);
    document["notes"][0]["layers"][0].erase("ratio");
    EXPECT_EQ(Json::parse(R"({"schema": 1, "command": "render", "exit_code": 0, "file": "DIR/Src_0AC44.kvn",
        "output": "DIR/note.wav", "program": {"bank": 0, "number": 0, "name": "Program 0"}, "conversion": "standard", "rate": 44100,
        "bits": 16, "channels": 1, "frames": 8820, "gain": 1.0,
        "notes": [{"key": 60, "velocity": 100, "start": 0.0,
                   "layers": [{"sample": 3, "name": "Sample 0", "root_key": 60, "looped": true}]}]})"),
              document);
}

TEST_F(RenderCommandTest, TheDemoIsAScaleAndAChordOfTheNotesThatSound) {
    LoopedBank();
    const Outcome outcome = Render({"--demo"});
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_THAT(outcome.strOut, HasSubstr(", 3 notes, 3 layers, 6.20 s, 44100 Hz, 16 bits, mono\n"));
    EXPECT_THAT(outcome.strErr,
                HasSubstr("kvbank: warning: key 64 is left out: program 0:0 \"Program 0\" plays "
                          "nothing for it\n"));
}

TEST_F(RenderCommandTest, AFileThatIsThereIsReplacedOnlyByForce) {
    LoopedBank();
    WriteFile(File("note.wav"), std::string("mine"));
    const Outcome refused = Render({});
    EXPECT_EQ(kExitUsage, refused.nCode);
    EXPECT_EQ("kvbank: DIR/note.wav: there already; -f replaces it\n", refused.strErr);
    EXPECT_EQ(4u, Wav().size());
    EXPECT_EQ(0, Render({"-f"}).nCode);
    EXPECT_GT(Wav().size(), 44u);
}

TEST_F(RenderCommandTest, TheBankItselfIsNeverReplaced) {
    LoopedBank();
    const Bytes before = ReadFile(File(k44100));
    const Outcome outcome = Run({"render", "DIR/Src_0AC44.kvn", "-o", "DIR//Src_0AC44.kvn", "-f"});
    EXPECT_EQ(kExitUsage, outcome.nCode);
    EXPECT_EQ("kvbank: DIR//Src_0AC44.kvn: this is the bank itself\n", outcome.strErr);
    EXPECT_EQ(before, ReadFile(File(k44100)));
}

TEST_F(RenderCommandTest, WhatTheBankDoesNotHaveIsAnErrorAndNoSilence) {
    LoopedBank();
    const Outcome program = Render({"--program", "1:5"});
    EXPECT_EQ(kExitUsage, program.nCode);
    EXPECT_EQ("kvbank: DIR/Src_0AC44.kvn: there is no program 1:5\n", program.strErr);
    EXPECT_EQ(kExitUsage, Render({"--program", "5"}).nCode);
    const Outcome key = Render({"--note", "63:9"});
    EXPECT_EQ(kExitUsage, key.nCode);
    EXPECT_EQ("kvbank: DIR/Src_0AC44.kvn: the program plays nothing for key 63 at velocity 9\n", key.strErr);
    EXPECT_EQ(kExitUsage, Render({"--demo", "--note", "80"}).nCode);
    EXPECT_FALSE(fs::exists(File("note.wav")));
}

TEST_F(RenderCommandTest, OptionsThatMeanNothingAreRefused) {
    LoopedBank();
    for (const std::vector<std::string>& options :
         std::vector<std::vector<std::string>>{{"--program", "x"},
                                               {"--program", "1:"},
                                               {"--program", ":1"},
                                               {"--program", "0:1:2"},
                                               {"--note", "128"},
                                               {"--note", "60:128"},
                                               {"--note", "60:"},
                                               {"--note", "-1"},
                                               {"--note", "C4"},
                                               {"--seconds", "61"},
                                               {"--seconds", "-1"},
                                               {"--release", "11"},
                                               {"--seconds", "0", "--release", "0"}})
        EXPECT_EQ(kExitUsage, Render(options).nCode) << options[0] << " " << options[1];
    EXPECT_FALSE(fs::exists(File("note.wav")));
}

TEST_F(RenderCommandTest, FilesThatCannotBeReadAreTold) {
    LoopedBank();
    EXPECT_EQ("kvbank: DIR/missing: No such file or directory\n", Render({}, "DIR/missing").strErr);
    EXPECT_EQ(kExitBadInput, Render({}, "DIR/missing").nCode);
    WriteFile(File("text"), std::string("this is a text and no bank at all"));
    EXPECT_EQ("kvbank: DIR/text: the file is not a bank\n", Render({}, "DIR/text").strErr);
    WriteFile(File("cut.kvn"), WithoutLast(ReadFile(File(k44100)), 1));
    const Outcome cut = Render({}, "DIR/cut.kvn");
    EXPECT_EQ(kExitBadInput, cut.nCode);
    EXPECT_EQ("kvbank: DIR/cut.kvn: the file is damaged: it ends too early or contradicts itself\n",
              cut.strErr);
}

TEST_F(RenderCommandTest, WavesThatCannotBePlayedAreTold) {
    Source({.samples = {{.nFormat = 32 | kSampleFormatFlag}}});
    const Outcome floats = Render({}, "DIR/Src.kvs");
    EXPECT_EQ(kExitBadInput, floats.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: sample 2 \"Sample 0\": only integers of 16 and 24 bits can be played\n",
              floats.strErr);
    Source({.samples = {{.nFrames = 10, .strExternal = "wave.wav"}}}, "Ext.kvs");
    EXPECT_EQ(kExitBadInput, Render({}, "DIR/Ext.kvs").nCode);
    Source({.samples = {{.nRootKey = 4000000000}}}, "Root.kvs");
    EXPECT_EQ("kvbank: DIR/Root.kvs: sample 2 \"Sample 0\": its root key 4000000000 is too far from key 60\n",
              Render({}, "DIR/Root.kvs").strErr);
}

TEST_F(RenderCommandTest, ADamagedCompressedWaveIsTold) {
    Source({.samples = {{.nFrames = 30000}}});
    std::vector<NoteFields> notes = NotesOf(File("Src.kvs"));
    for (NoteFields& note : notes)
        if (note.nType == kSdbSample) note.strBody[note.strBody.size() / 2] ^= 1;
    WriteFile(File("Bad.kvs"), DatabaseImage(notes));
    const Outcome outcome = Render({}, "DIR/Bad.kvs");
    EXPECT_EQ(kExitBadInput, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Bad.kvs: sample 2 \"Sample 0\": the wave is damaged\n", outcome.strErr);
}

TEST_F(RenderCommandTest, AnOutputThatFailsLeavesNothing) {
    LoopedBank();
    const Outcome missing = Run({"render", "DIR/Src_0AC44.kvn", "-o", "DIR/none/note.wav"});
    EXPECT_EQ(kExitOutput, missing.nCode);
    for (const char* pszCall : {"write", "fsync"}) {
        const PosixFault fault(pszCall, ENOSPC);
        const Outcome full = Render({});
        EXPECT_EQ(kExitOutput, full.nCode) << pszCall;
        EXPECT_EQ("kvbank: DIR/note.wav: No space left on device\n", full.strErr) << pszCall;
    }
    {
        const PosixFault fault("close", EIO, PosixFault::kEveryCall);
        const Outcome refused = Render({});
        EXPECT_EQ(kExitOutput, refused.nCode);
        EXPECT_EQ("kvbank: DIR/note.wav: Input/output error\n", refused.strErr);
    }
    EXPECT_EQ((std::vector<std::string>{"Src.kvs", k44100}), Names());
}

TEST_F(RenderCommandTest, TheSameBankGivesTheSameBytes) {
    LoopedBank();
    ASSERT_EQ(0, Render({"--demo"}).nCode);
    const Bytes first = Wav();
    ASSERT_EQ(0, Render({"--demo", "-f"}).nCode);
    EXPECT_EQ(first, Wav());
}

}  // namespace
}  // namespace Kestrova::Test
