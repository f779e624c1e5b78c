// Imports of other inputs than plain SoundFont files.
#include <cmath>
#include <filesystem>

#include "tests/support/FaultyFileEnv.h"
#include "tests/support/PackedFont.h"
#include "tests/tools/kvbank/ImportFixture.h"

namespace Kestrova::Test {
namespace {

class ImportFormatsTest : public ImportTest {
protected:
    void AddSound(const std::string& strName, const Bytes& bytes = MakeRampWav(1000)) const {
        std::filesystem::create_directory(File("in"));
        WriteFile(File("in/" + strName), bytes);
    }
    Outcome ImportFolder(std::vector<std::string> options = {}) const {
        std::vector<std::string> arguments = {"import", "DIR/in", "-o", "DIR/a.kvs"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Run(arguments);
    }
};

TEST_F(ImportFormatsTest, AFontOfCompressedSamplesIsImported) {
    FontSpec spec = SmallFont();
    for (size_t i = 0; i < spec.wave.size(); ++i)
        spec.wave[i] = static_cast<int16_t>(std::lround(8000 * std::sin(static_cast<double>(i) / 20)));
    Font(Packed(spec));
    const Outcome outcome = Import();
    EXPECT_EQ(0, outcome.nCode) << outcome.strErr;
    EXPECT_THAT(outcome.strOut,
                HasSubstr("2 banks, 2 presets, 3 regions, 3 layers, 3 samples; 1 joined, 1 copied, 0 "
                          "repaired, 0 dropped\n"));
    EXPECT_EQ("3.01", Import({"-f", "--json"}).Document()["version"]);
    CSDB database;
    ASSERT_TRUE(database.Open(File("a.kvs").c_str(), kSdbFormatPlain, false));
    const auto samples = ReadAll<CSDBISampleWave>(database, kSdbSample);
    EXPECT_EQ(1000u, samples[0]->m_info.nFrames);
    EXPECT_EQ(100u, samples[0]->GetLoops()[0].nStart);
    EXPECT_EQ(899u, samples[0]->GetLoops()[0].nEnd);
    for (size_t i = 0; i < 1000; ++i) {
        int16_t nFrame = 0;
        std::memcpy(&nFrame, samples[0]->m_info.pWave + i * 2, 2);
        ASSERT_NEAR(spec.wave[i], nFrame, 500) << i;
    }
}

TEST_F(ImportFormatsTest, ACompressedSampleThatCannotBeReadIsBadInputNamedWithItsSample) {
    FontSpec spec = Packed(SmallFont());
    SetSounds(spec, {Bytes(100, 'x'), Bytes(100, 'x'), Bytes(100, 'x')});
    Font(spec);
    const Outcome outcome = Import();
    EXPECT_EQ(3, outcome.nCode);
    EXPECT_THAT(outcome.strErr,
                StartsWith("kvbank: DIR/a.sf2: sample \"Flute\": it is no sound file of a known kind\n"));
    ExpectNothingButTheFont();
}

TEST_F(ImportFormatsTest, AFolderOfSamplesIsImported) {
    AddSound("Piano C4.wav");
    AddSound("Piano C5 v1.wav");
    AddSound("Piano C5 v2.wav", MakeRampWav(2000, {{"smpl", SmplChunk(72, 0, {{0, 5, 1999}})}}));
    const Outcome outcome = ImportFolder({"--strict"});
    EXPECT_EQ(0, outcome.nCode) << outcome.strErr;
    EXPECT_THAT(outcome.strOut,
                StartsWith("DIR/a.kvs: 1 bank, 1 preset, 3 regions, 3 layers, 3 samples; 0 joined, 0 "
                           "copied, 0 repaired, 0 dropped\n"));
    CSDB database;
    ASSERT_TRUE(database.Open(File("a.kvs").c_str(), kSdbFormatPlain, false));
    const auto samples = ReadAll<CSDBISampleWave>(database, kSdbSample);
    ASSERT_EQ(3u, samples.size());
    EXPECT_STREQ("Piano C5 v2", samples[2]->m_info.szName);
    EXPECT_EQ(1999u, samples[2]->GetLoops()[0].nEnd);
    const Bytes frames = RampFrames(0, 2000);
    EXPECT_EQ(0, std::memcmp(frames.data(), samples[2]->m_info.pWave, frames.size()));
    const auto regions = ReadAll<CSDBIRegion>(database, kSdbRegion);
    EXPECT_EQ(66, regions[0]->m_info.nHighKey);
    EXPECT_EQ(67, regions[1]->m_info.nLowKey);
}

TEST_F(ImportFormatsTest, ListTellsTheRuleOfAFolderAndWhatEachFileBecomes) {
    AddSound("Piano C4.wav");
    AddSound("Piano C5.wav");
    AddSound("drum.wav");
    const Outcome outcome = Run({"import", "DIR/in/", "--list"});
    EXPECT_EQ(0, outcome.nCode) << outcome.strErr;
    EXPECT_THAT(outcome.strOut,
                HasSubstr("\nThe last word of a file's name that is a note, as C#4, Db4 or A-1, tells its "
                          "key (C4 is 60);\nwithout one the last number from 0 to 127. "));
    EXPECT_THAT(outcome.strOut, testing::EndsWith("\nPRESET    KEYS      VELOCITIES  SAMPLE\n"
                                                  "0:0       0-66      1-127       Piano C4\n"
                                                  "0:0       67-127    1-127       Piano C5\n"
                                                  "dropped: file \"drum.wav\": its name tells no note\n"));
    const Json document = Run({"import", "DIR/in", "--list", "--json"}).Document();
    EXPECT_EQ("folder of samples", document["format"]);
    EXPECT_EQ("in", document["name"]);
    EXPECT_EQ(0u, document.count("version"));
    EXPECT_EQ(0u, document.count("bits"));
    EXPECT_THAT(document["rule"].get<std::string>(), StartsWith("The last word"));
    EXPECT_EQ(Json::parse(R"({"bank": 0, "program": 0, "low_key": 0, "high_key": 66, "low_velocity": 1,
                              "high_velocity": 127, "name": "Piano C4"})"),
              document["regions"][0]);
    EXPECT_THAT(Names(), ElementsAre("in"));
}

TEST_F(ImportFormatsTest, AnSfzInstrumentIsImported) {
    AddSound("c4.wav");
    WriteFile(File("in/Piano.sfz"), std::string("<region> sample=c4.wav key=60 pitch_keycenter=60\n"));
    const Outcome outcome = Run({"import", "DIR/in/Piano.sfz", "-o", "DIR/a.kvs", "--json"});
    EXPECT_EQ(0, outcome.nCode) << outcome.strErr;
    EXPECT_EQ("SFZ", outcome.Document()["format"]);
    EXPECT_EQ(1u, outcome.Document()["counts"]["samples"]);
    CSDB database;
    ASSERT_TRUE(database.Open(File("a.kvs").c_str(), kSdbFormatPlain, false));
    const auto samples = ReadAll<CSDBISampleWave>(database, kSdbSample);
    const Bytes frames = RampFrames(0, 1000);
    EXPECT_EQ(0, std::memcmp(frames.data(), samples[0]->m_info.pWave, frames.size()));
}

TEST_F(ImportFormatsTest, AnyFailedFileCallGivesAWholeBankOrNone) {
    Font(Packed(SmallFont()));
    AddSound("60.wav");
    for (const char* pszInput : {"DIR/a.sf2", "DIR/in"}) {
        int nFailures = 0;
        for (int nFault = 1;; ++nFault) {
            SCOPED_TRACE(pszInput + std::to_string(nFault));
            FaultyFileEnv env;
            env.FailCall(nFault, FaultyFileEnv::Lasting::kForGood);
            const Outcome outcome = Run({"import", pszInput, "-o", "DIR/a.kvs", "-f"});
            if (!env.FaultHit()) break;
            if (outcome.nCode == 0) {  // the file system was asked for what can be done without
                std::filesystem::remove(File("a.kvs"));
                continue;
            }
            ++nFailures;
            EXPECT_TRUE(outcome.nCode == kExitBadInput || outcome.nCode == kExitOutput) << outcome.nCode;
            EXPECT_THAT(outcome.strErr, HasSubstr("Input/output error"));
            EXPECT_THAT(Names(), ElementsAre("a.sf2", "in"));
        }
        EXPECT_GT(nFailures, 10);
        CSDB database;
        EXPECT_TRUE(database.Open(File("a.kvs").c_str(), kSdbFormatPlain, false));
        std::filesystem::remove(File("a.kvs"));
    }
}

TEST_F(ImportFormatsTest, AFolderWithoutANoteIsBadInput) {
    AddSound("drum.wav");
    const Outcome outcome = ImportFolder();
    EXPECT_EQ(3, outcome.nCode);
    EXPECT_EQ(
        "kvbank: DIR/in: no sound file in this folder is named by note, as \"Piano C#4.wav\" or \"60.wav\"\n",
        outcome.strErr);
}

TEST_F(ImportFormatsTest, ABankCanBeBuiltOfAFolder) {
    AddSound("Piano C4.wav");
    ASSERT_EQ(0, ImportFolder({"--unsplit", "0:0"}).nCode);
    const Outcome outcome =
        Run({"build", "DIR/a.kvs", "-d", "DIR/banks", "-r", "48000", "--layout", "per-key"});
    EXPECT_EQ(0, outcome.nCode) << outcome.strErr;
}

}  // namespace
}  // namespace Kestrova::Test
