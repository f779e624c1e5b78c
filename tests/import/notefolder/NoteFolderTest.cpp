#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <filesystem>

#include "import/notefolder/NoteFolder.h"
#include "import/notefolder/NoteFolderPlanner.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/SoundFileMaker.h"

namespace Kestrova::Test {
namespace {

using ::testing::ElementsAre;

class NoteFolderTest : public testing::Test {
protected:
    void Add(const std::string& strName, const Bytes& bytes = MakeRampWav(100)) const {
        WriteFile(m_dir.File(strName), bytes);
    }
    // The cause of a failure; empty: all went well.
    std::string Plan(const std::set<ProgramNumber>& chosen = {}) {
        const ImportOutcome opened = m_folder.Open(m_dir.File(""));
        if (!opened.IsDone()) return opened.strCause;
        return Explain(m_folder.MakePlan(chosen, m_plan, m_report));
    }
    // "Piano: 0-63 1-127 Piano C4"
    std::vector<std::string> Regions() const {
        std::vector<std::string> lines;
        for (const PlannedProgram& program : m_plan.programs)
            for (const PlannedRegion& region : program.regions) {
                const auto& [keys, velocities] = region.range;
                EXPECT_EQ(1u, region.layers.size());
                EXPECT_EQ(region.strName, m_plan.waves[region.layers[0]].strName);
                lines.push_back(std::to_string(program.nBank) + ":" + std::to_string(program.nProgram) + " " +
                                program.strName + ": " + std::to_string(keys.nLow) + "-" +
                                std::to_string(keys.nHigh) + " " + std::to_string(velocities.nLow) + "-" +
                                std::to_string(velocities.nHigh) + " " + region.strName);
            }
        return lines;
    }
    std::vector<std::string> Noted(ImportEvent event) const {
        std::vector<std::string> lines;
        for (const ImportReport::Entry& entry : m_report.Of(event))
            lines.push_back(entry.strWhat + ": " + entry.strCause);
        return lines;
    }
    WaveTune OnlyTune() const {
        EXPECT_EQ(1u, m_plan.waves.size());
        return m_plan.waves.empty() ? WaveTune() : m_plan.waves[0].tune;
    }

    TempDir m_dir;
    NoteFolder m_folder;
    ImportPlan m_plan;
    ImportReport m_report;
};

TEST(NoteFolderRangesTest, AKeyBelongsToTheNearestNoteAndTheMiddleToTheLowerOne) {
    EXPECT_EQ((MidiRange{0, 127}), KeysOfNote({}, 60, {}));
    EXPECT_EQ((MidiRange{0, 61}), KeysOfNote({}, 60, 62)) << "61 lies in the middle";
    EXPECT_EQ((MidiRange{62, 127}), KeysOfNote(60, 62, {}));
    EXPECT_EQ((MidiRange{62, 63}), KeysOfNote(60, 63, 64)) << "61 is nearer to 60";
    EXPECT_EQ((MidiRange{61, 61}), KeysOfNote(60, 61, 62));
    EXPECT_EQ((MidiRange{64, 127}), KeysOfNote(0, 127, {}));
}

TEST(NoteFolderRangesTest, LayersShareTheVelocitiesWithoutAGap) {
    for (int nLayers = 1; nLayers <= 127; ++nLayers) {
        int nNext = 1;
        for (int nLayer = 0; nLayer < nLayers; ++nLayer) {
            const MidiRange range = VelocitiesOfLayer(nLayer, nLayers);
            EXPECT_EQ(nNext, range.nLow);
            EXPECT_LE(range.nLow, range.nHigh);
            EXPECT_NEAR(127.0 / nLayers, range.nHigh - range.nLow + 1, 1.0);
            nNext = range.nHigh + 1;
        }
        EXPECT_EQ(128, nNext);
    }
}

TEST_F(NoteFolderTest, NotesBecomeRegionsAndNumbersLayers) {
    Add("Piano C4 v1.wav");
    Add("Piano C4 v2.wav");
    Add("Piano E4.wav");
    ASSERT_EQ("", Plan());
    EXPECT_THAT(Regions(),
                ElementsAre("0:0 Piano: 0-62 1-63 Piano C4 v1", "0:0 Piano: 0-62 64-127 Piano C4 v2",
                            "0:0 Piano: 63-127 1-127 Piano E4"));
    EXPECT_EQ(60u, m_plan.waves[0].tune.nRootKey);
    EXPECT_EQ(64u, m_plan.waves[2].tune.nRootKey);
}

TEST_F(NoteFolderTest, LayersAreOrderedByTheirNumbersAndNoNumberComesFirst) {
    for (const char* pszName : {"60 v10.wav", "60 v9.wav", "60.wav"}) Add(pszName);
    ASSERT_EQ("", Plan());
    EXPECT_EQ("60", m_plan.programs[0].regions[0].strName);
    EXPECT_EQ("60 v9", m_plan.programs[0].regions[1].strName);
    EXPECT_EQ("60 v10", m_plan.programs[0].regions[2].strName);
}

TEST_F(NoteFolderTest, EveryNameIsAProgramInTheOrderOfTheNamesWhateverTheirCase) {
    for (const char* pszName : {"violin C4.wav", "Oboe 60.wav", "VIOLIN G4.wav", "72.wav"}) Add(pszName);
    ASSERT_EQ("", Plan());
    const std::string strFolder = std::filesystem::path(m_dir.File("")).parent_path().filename();
    EXPECT_THAT(Regions(),
                ElementsAre("0:0 " + strFolder + ": 0-127 1-127 72", "0:1 Oboe: 0-127 1-127 Oboe 60",
                            "0:2 VIOLIN: 0-63 1-127 violin C4", "0:2 VIOLIN: 64-127 1-127 VIOLIN G4"));
    const std::vector<InstrumentProgram> programs = m_folder.GetPrograms();
    ASSERT_EQ(3u, programs.size());
    EXPECT_EQ(2u, programs[2].nZones);
    EXPECT_EQ("folder of samples", m_folder.GetFacts().strFormat);
    EXPECT_EQ(strFolder, m_folder.GetFacts().strName);
}

TEST_F(NoteFolderTest, TheProgramBehindThe128thIsInTheNextBank) {
    for (int i = 0; i < 129; ++i) Add("P" + std::to_string(1000 + i) + " 60.wav");
    ASSERT_EQ("", Plan({{1, 0}}));
    EXPECT_THAT(Regions(), ElementsAre("1:0 P1128: 0-127 1-127 P1128 60"));
}

TEST_F(NoteFolderTest, FramesComeFromTheFiles) {
    Add("C4.wav", MakeRampWav(100));
    Add("A4.wav", MakeRampWav(50000));
    ASSERT_EQ("", Plan());
    EXPECT_EQ(100u, m_plan.waves[0].nFrames);
    EXPECT_EQ(50000u, m_plan.waves[1].nFrames);
    Bytes bytes(200);
    ASSERT_TRUE(m_folder.ReadFrames(1, 40000, 100, bytes.data()).IsDone());
    EXPECT_EQ(RampFrames(40000, 100), bytes);
}

TEST_F(NoteFolderTest, ALoopOfTheFileIsCarried) {
    Add("60.wav", MakeRampWav(100, {{"smpl", SmplChunk(60, 0, {{0, 10, 89}})}}));
    ASSERT_EQ("", Plan());
    EXPECT_TRUE(OnlyTune().bLoop);
    EXPECT_EQ(10u, OnlyTune().nLoopStart);
    EXPECT_EQ(89u, OnlyTune().nLoopEnd);
}

TEST_F(NoteFolderTest, OfSeveralLoopsTheFirstIsCarriedAndTheRestNoted) {
    Add("60.wav", MakeRampWav(100, {{"smpl", SmplChunk(60, 0, {{0, 10, 20}, {0, 30, 40}})}}));
    ASSERT_EQ("", Plan());
    EXPECT_EQ(20u, OnlyTune().nLoopEnd);
    EXPECT_THAT(Noted(ImportEvent::Dropped), ElementsAre("loops of sample \"60\": all but the first"));
}

TEST_F(NoteFolderTest, ALoopThatRunsToAndFroIsTakenAsOneThatRunsForwards) {
    Add("60.wav", MakeRampWav(100, {{"smpl", SmplChunk(60, 0, {{1, 10, 20}})}}));
    ASSERT_EQ("", Plan());
    EXPECT_TRUE(OnlyTune().bLoop);
    EXPECT_EQ(10u, OnlyTune().nLoopStart);
    EXPECT_EQ(20u, OnlyTune().nLoopEnd);
    EXPECT_THAT(Noted(ImportEvent::Repaired),
                ElementsAre("loop of sample \"60\": taken as a loop that plays forwards"));
}

TEST_F(NoteFolderTest, TheFineTuneOfTheFileCountsWhenItsRootKeyIsTheNote) {
    Add("60.wav", MakeRampWav(100, {{"smpl", SmplChunk(60, 0x40000000, {})}}));
    ASSERT_EQ("", Plan());
    EXPECT_EQ(60u, OnlyTune().nRootKey);
    EXPECT_EQ(25, OnlyTune().nFineTune);
}

TEST_F(NoteFolderTest, TheNameComesBeforeTheRootKeyOfTheFile) {
    Add("60.wav", MakeRampWav(100, {{"smpl", SmplChunk(72, 0x40000000, {})}}));
    ASSERT_EQ("", Plan());
    EXPECT_EQ(60u, OnlyTune().nRootKey);
    EXPECT_EQ(0, OnlyTune().nFineTune);
}

TEST_F(NoteFolderTest, AFileThatIsCutShortIsCarriedAndNoted) {
    const Bytes whole = MakeRampWav(100, {});
    Add("60.wav", Bytes(whole.begin(), whole.end() - 60));
    ASSERT_EQ("", Plan());
    EXPECT_EQ(70u, m_plan.waves[0].nFrames);
    EXPECT_THAT(
        Noted(ImportEvent::Repaired),
        ElementsAre("sample \"60\": its file is cut short: only the 70 frames that are there are carried"));
}

TEST_F(NoteFolderTest, WavesThatAreRoundedAreNotedOnce) {
    for (const char* pszName : {"60.wav", "61.wav"})
        WriteSound(m_dir.File(pszName), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, 44100, {0, 1 << 24});
    ASSERT_EQ("", Plan());
    EXPECT_EQ(24u, m_plan.waves[0].nBits);
    EXPECT_THAT(Noted(ImportEvent::Accepted), ElementsAre("waves: 32-bit floating point rounded to 24 bits"));
    EXPECT_EQ(2u, m_report.CountOf(ImportEvent::Accepted));
}

TEST_F(NoteFolderTest, FilesThatCannotBeUsedAreDroppedByName) {
    Add("C4.wav");
    Add("60.flac", MakeRampWav(10));
    Add("drum.wav");
    Add("D4.wav", Bytes{'t', 'e', 'x', 't'});
    Add("E4.wav", MakeRampWav(0));
    ASSERT_EQ("", Plan());
    EXPECT_EQ(1u, m_plan.waves.size());
    const std::vector<std::string> dropped = Noted(ImportEvent::Dropped);
    ASSERT_EQ(4u, dropped.size());
    EXPECT_EQ("file \"drum.wav\": its name tells no note", dropped[0]);
    EXPECT_EQ("file \"C4\": another file has its note and layer", dropped[1]);
    EXPECT_EQ("file \"D4\": it is no sound file of a known kind", dropped[2]);
    EXPECT_EQ("file \"E4\": it has no frames", dropped[3]);
}

TEST_F(NoteFolderTest, FilesThatAreNoSoundAreLeftOutAndFoldersNotLookedInto) {
    Add("C4.WAV");
    Add("C5.txt");
    std::filesystem::create_directory(m_dir.File("C6.wav"));
    ASSERT_EQ("", Plan());
    EXPECT_THAT(Regions(), ElementsAre(::testing::EndsWith(": 0-127 1-127 C4")));
    EXPECT_THAT(Noted(ImportEvent::LeftOut), ElementsAre("file \"C5.txt\": it is no sound file"));
    EXPECT_FALSE(m_report.HasLosses());
}

TEST_F(NoteFolderTest, AProgramWithoutAUsableFileIsDropped) {
    Add("Piano C4.wav", Bytes{'x'});
    ASSERT_EQ("", Plan());
    EXPECT_TRUE(m_plan.programs.empty());
    EXPECT_THAT(Noted(ImportEvent::Dropped),
                ::testing::Contains("preset \"Piano\": none of its files can be used"));
}

TEST_F(NoteFolderTest, AFolderWithoutANoteIsRefused) {
    constexpr char kCause[] =
        "no sound file in this folder is named by note, as \"Piano C#4.wav\" or \"60.wav\"";
    EXPECT_EQ(kCause, Plan());
    Add("drum.wav");
    Add("C4.txt");
    EXPECT_EQ(kCause, Plan());
}

TEST_F(NoteFolderTest, AFolderThatCannotBeListedIsToldWithTheSystemsReason) {
    const ImportOutcome outcome = m_folder.Open(m_dir.File("none"));
    EXPECT_EQ(ImportEnd::Unreadable, outcome.end);
    EXPECT_EQ("No such file or directory", outcome.strCause);
}

TEST_F(NoteFolderTest, AFileThatTheSystemCannotReadEndsThePlan) {
    Add("C4.wav");
    ASSERT_TRUE(m_folder.Open(m_dir.File("")).IsDone());
    FaultyFileEnv env;
    env.FailCallOf(FileOp::kRead, 1, FaultyFileEnv::Lasting::kForGood);
    EXPECT_EQ("file \"C4\": Input/output error", Explain(m_folder.MakePlan({}, m_plan, m_report)));
}

TEST_F(NoteFolderTest, APlanThatIsStoppedIsCancelled) {
    Add("C4.wav");
    ASSERT_TRUE(m_folder.Open(m_dir.File("")).IsDone());
    ImportWatch watch;
    watch.isStopped = [] { return true; };
    EXPECT_EQ(ImportEnd::Cancelled, m_folder.MakePlan({}, m_plan, m_report, watch).end);
}

}  // namespace
}  // namespace Kestrova::Test
