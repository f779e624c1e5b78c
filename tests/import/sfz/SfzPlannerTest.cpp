#include <gtest/gtest.h>
#include <sndfile.h>

#include "import/sfz/SfzPlanner.h"
#include "tests/import/sfz/SfzFixture.h"

namespace Kestrova::Test {
namespace {

class SfzPlannerTest : public SfzFixture {
protected:
    SfzPlannerTest() { WriteWaves({"a.wav", "b.wav", "c.wav"}); }
};

TEST_F(SfzPlannerTest, RegionsWithTheSameRangesAreLayersOfOne) {
    EXPECT_EQ((Strings{"0-59 0-127 c: 2", "60-60 0-63 a: 0 1", "60-60 0-127 b: 1"}),
              Regions("<region>sample=a.wav key=60 hivel=63 <region>sample=b.wav key=60 hivel=63 "
                      "<region>sample=c.wav hikey=59 <region>sample=b.wav key=60"));
    ASSERT_EQ(1u, m_plan.programs.size());
    EXPECT_EQ("Piano", m_plan.strName);
    EXPECT_EQ("", m_plan.strDescription);
    EXPECT_EQ("Piano", m_plan.programs[0].strName);
    EXPECT_EQ(0, m_plan.programs[0].nBank);
    EXPECT_EQ(0, m_plan.programs[0].nProgram);
    EXPECT_FALSE(m_report.HasLosses());
}

TEST_F(SfzPlannerTest, RangesIncludeBothEnds) {
    EXPECT_EQ((Strings{"0-127 0-127 a: 0"}), Regions("<region>sample=a.wav"));
    EXPECT_EQ((Strings{"12-60 5-5 a: 0"}), Regions("<region>sample=a.wav lokey=c0 hikey=c4 lovel=5 hivel=5"));
    EXPECT_EQ((Strings{"0-60 0-127 a: 0"}), Regions("<region>sample=a.wav lokey=-1 hikey=60"));
}

TEST_F(SfzPlannerTest, KeysAreMovedByTheOffsets) {
    EXPECT_EQ((Strings{"73-73 0-127 a: 0"}),
              Regions("<control>note_offset=1 octave_offset=1 <region>sample=a.wav key=60"));
    EXPECT_EQ((Strings{"a 100 73 0"}),
              Waves("<control>note_offset=1 octave_offset=1 <region>sample=a.wav key=60"));
    EXPECT_EQ((Strings{"a 100 60 0"}), Waves("<control>note_offset=1 <region>sample=a.wav"))
        << "the center of none is not moved";
    EXPECT_FALSE(m_report.HasLosses());
    EXPECT_EQ((Strings{"120-127 0-127 a: 0"}),
              Regions("<control>octave_offset=5 <region>sample=a.wav lokey=60 hikey=70"));
    EXPECT_EQ((Strings{"sample \"a.wav\": a key range cut to 0 to 127"}), Notes(ImportEvent::Repaired));
}

TEST_F(SfzPlannerTest, ARegionThatNothingPlaysIsDropped) {
    for (const char* const pszRange : {"lokey=61 hikey=60", "hikey=-1", "key=-1", "lovel=3 hivel=2"}) {
        EXPECT_EQ(Strings(), Regions(std::string("<region>sample=a.wav ") + pszRange)) << pszRange;
        EXPECT_EQ((Strings{"sample \"a.wav\": a region that no key or velocity plays"}),
                  Notes(ImportEvent::Dropped));
        EXPECT_TRUE(m_plan.programs.empty());
        EXPECT_TRUE(m_plan.waves.empty());
    }
    EXPECT_EQ(Strings(), Regions("<control>note_offset=100 <region>sample=a.wav lokey=60"));
}

TEST_F(SfzPlannerTest, TheKeyCenterIsThePitchAtWhichTheWavePlaysUnchanged) {
    EXPECT_EQ((Strings{"a 100 60 0"}), Waves("<region>sample=a.wav"));
    EXPECT_EQ((Strings{"a 100 48 0"}), Waves("<region>sample=a.wav pitch_keycenter=c3"));
    EXPECT_EQ((Strings{"a 100 47 -10"}),
              Waves("<region>sample=a.wav pitch_keycenter=48 transpose=1 tune=10"));
    EXPECT_EQ((Strings{"a 100 49 -49"}), Waves("<region>sample=a.wav pitch_keycenter=48 tune=-51"));
    EXPECT_EQ((Strings{"a 100 48 50"}), Waves("<region>sample=a.wav pitch_keycenter=48 tune=-50"));
    EXPECT_FALSE(m_report.HasLosses());
    EXPECT_EQ((Strings{"a 100 127 0"}), Waves("<region>sample=a.wav key=120 transpose=-10"));
    EXPECT_EQ((Strings{"sample \"a.wav\": root key 130 held to 127"}), Notes(ImportEvent::Repaired));
}

TEST_F(SfzPlannerTest, TheKeyCenterCanBeTheFiles) {
    WriteFile(m_dir.File("s.wav"), MakeRampWav(10, {{"smpl", SmplChunk(50, 0x40000000, {})}}));
    EXPECT_EQ((Strings{"s 10 50 25"}), Waves("<region>sample=s.wav pitch_keycenter=sample"));
    EXPECT_EQ((Strings{"s 10 50 5"}), Waves("<region>sample=s.wav pitch_keycenter=sample tune=20"));
    EXPECT_EQ((Strings{"s 10 60 0"}), Waves("<region>sample=s.wav")) << "not without being asked";
    EXPECT_FALSE(m_report.HasLosses());
    EXPECT_EQ((Strings{"a 100 60 0"}), Waves("<region>sample=a.wav pitch_keycenter=sample"));
    EXPECT_EQ((Strings{"sample \"a.wav\": its file has no root key; 60 is taken"}),
              Notes(ImportEvent::Repaired));
}

TEST_F(SfzPlannerTest, AKeyTrackIsExactForOneKeyAndLeftOutOfMore) {
    EXPECT_EQ((Strings{"a 100 36 0"}), Waves("<region>sample=a.wav lokey=36 hikey=36 pitch_keytrack=0"));
    EXPECT_EQ((Strings{"a 100 48 0"}), Waves("<region>sample=a.wav lokey=36 hikey=36 pitch_keytrack=50"));
    EXPECT_EQ((Strings{"a 100 35 -10"}),
              Waves("<region>sample=a.wav lokey=36 hikey=36 pitch_keytrack=0 transpose=1 tune=10"));
    EXPECT_EQ(Strings(), Notes(ImportEvent::LeftOut));
    EXPECT_EQ((Strings{"a 100 60 0"}), Waves("<region>sample=a.wav lokey=36 hikey=37 pitch_keytrack=0"));
    EXPECT_EQ((Strings{"pitch_keytrack"}), Notes(ImportEvent::LeftOut));
    EXPECT_EQ((Strings{"scale tuning"}), Notes(ImportEvent::LeftOutKind));
    EXPECT_EQ((Strings{"a 100 60 0"}), Waves("<region>sample=a.wav pitch_keytrack=100"));
    EXPECT_EQ(Strings(), Notes(ImportEvent::LeftOut));
}

TEST_F(SfzPlannerTest, OffsetAndEndCutTheWave) {
    EXPECT_EQ((Strings{"a 90 60 0"}), Waves("<region>sample=a.wav offset=10"));
    EXPECT_EQ((Strings{"a 41 60 0"}), Waves("<region>sample=a.wav offset=10 end=50"));
    EXPECT_EQ((Strings{"a 1 60 0"}), Waves("<region>sample=a.wav end=0"));
    EXPECT_EQ((Strings{"a 100 60 0"}), Waves("<region>sample=a.wav end=99"));
    EXPECT_FALSE(m_report.HasLosses());
    EXPECT_EQ((Strings{"a 100 60 0"}), Waves("<region>sample=a.wav end=100"));
    EXPECT_EQ((Strings{"sample \"a.wav\": its end taken as that of its file"}), Notes(ImportEvent::Repaired));
    for (const char* const pszNone : {"offset=100", "offset=50 end=49", "offset=4294967295"}) {
        EXPECT_EQ(Strings(), Waves(std::string("<region>sample=a.wav ") + pszNone));
        EXPECT_EQ((Strings{"sample \"a.wav\": it has no frames"}), Notes(ImportEvent::Dropped)) << pszNone;
    }
}

TEST_F(SfzPlannerTest, TheTextsLoopEndsWithTheLastFramePlayed) {
    EXPECT_EQ((Strings{"a 100 60 0 10-19"}),
              Waves("<region>sample=a.wav loop_mode=loop_continuous loop_start=10 loop_end=19"));
    EXPECT_EQ((Strings{"a 95 60 0 5-14"}),
              Waves("<region>sample=a.wav loopmode=loop_continuous loopstart=10 loopend=19 offset=5"));
    EXPECT_EQ((Strings{"a 100 60 0 0-99"}), Waves("<region>sample=a.wav loop_mode=loop_continuous"));
    EXPECT_EQ((Strings{"a 41 60 0 0-40"}),
              Waves("<region>sample=a.wav loop_mode=loop_continuous offset=10 end=50"));
    EXPECT_EQ((Strings{"a 100 60 0 7-99"}),
              Waves("<region>sample=a.wav loop_mode=loop_continuous loop_start=7"));
    EXPECT_FALSE(m_report.HasLosses());
}

TEST_F(SfzPlannerTest, AFilesLoopIsTakenUnlessTheTextHasOne) {
    WriteLooped("l.wav", 60, {{0, 20, 39}});
    EXPECT_EQ((Strings{"l 100 60 0 20-39"}), Waves("<region>sample=l.wav"));
    EXPECT_EQ((Strings{"l 100 60 0 20-39"}), Waves("<region>sample=l.wav loop_mode=loop_continuous"));
    EXPECT_EQ((Strings{"l 100 60 0 25-39"}), Waves("<region>sample=l.wav loop_start=25"));
    EXPECT_EQ((Strings{"l 100 60 0 20-29"}), Waves("<region>sample=l.wav loop_end=29"));
    EXPECT_EQ((Strings{"l 90 60 0 10-29"}), Waves("<region>sample=l.wav offset=10"));
    EXPECT_FALSE(m_report.HasLosses());
    EXPECT_EQ((Strings{"l 100 60 0"}), Waves("<region>sample=l.wav loop_mode=no_loop"));
    EXPECT_EQ((Strings{"l 100 60 0"}), Waves("<region>sample=l.wav loop_mode=one_shot"));
    EXPECT_EQ((Strings{"loop_mode=one_shot"}), Notes(ImportEvent::LeftOut));
}

TEST_F(SfzPlannerTest, EndsWithoutALoopModeAreLeftOutWhenTheFileHasNoLoop) {
    EXPECT_EQ((Strings{"a 100 60 0"}), Waves("<region>sample=a.wav loop_start=1 loop_end=9"));
    EXPECT_EQ((Strings{"ends of a loop without a loop mode"}), Notes(ImportEvent::LeftOut));
    EXPECT_EQ((Strings{"a 100 60 0"}), Waves("<region>sample=a.wav loop_start=1 loop_mode=no_loop"));
    EXPECT_EQ(Strings(), Notes(ImportEvent::LeftOut));
}

TEST_F(SfzPlannerTest, ThatALoopEndsAtTheReleaseIsLeftOut) {
    EXPECT_EQ((Strings{"a 100 60 0 0-99"}), Waves("<region>sample=a.wav loop_mode=loop_sustain"));
    EXPECT_EQ((Strings{"end of loops at release"}), Notes(ImportEvent::LeftOut));
    EXPECT_EQ((Strings{"ends of loops at release"}), Notes(ImportEvent::LeftOutKind));
}

TEST_F(SfzPlannerTest, AFileThatIsCutShortIsCarriedAndNotedOnce) {
    WriteLooped("l.wav", 60, {});
    const Bytes whole = ReadFile(m_dir.File("l.wav"));
    WriteFile(m_dir.File("l.wav"), Bytes(whole.begin(), whole.end() - 100));
    EXPECT_EQ((Strings{"l 50 60 0"}), Waves("<region>sample=l.wav<region>sample=l.wav lovel=5"));
    EXPECT_EQ(
        (Strings{"sample \"l.wav\": its file is cut short: only the 50 frames that are there are carried"}),
        Notes(ImportEvent::Repaired));
}

TEST_F(SfzPlannerTest, LoopsOfFilesThatABankCannotHoldAreRepaired) {
    WriteLooped("l.wav", 60, {{1, 20, 200}, {0, 1, 2}});
    EXPECT_EQ((Strings{"l 100 60 0 20-99"}), Waves("<region>sample=l.wav"));
    EXPECT_EQ((Strings{"loop of sample \"l.wav\": taken as a loop that plays forwards",
                       "loop of sample \"l.wav\": cut to its wave"}),
              Notes(ImportEvent::Repaired));
    EXPECT_EQ((Strings{"loops of sample \"l.wav\": all but the first"}), Notes(ImportEvent::Dropped));
    WriteLooped("l.wav", 60, {{0, 50, 20}});
    EXPECT_EQ((Strings{"l 100 60 0"}), Waves("<region>sample=l.wav"));
    EXPECT_EQ((Strings{"loop of sample \"l.wav\": it has no frames"}), Notes(ImportEvent::Dropped));
}

TEST_F(SfzPlannerTest, AWaveIsPlannedOnceForEachDifferentUse) {
    WriteLooped("l.wav", 60, {{0, 20, 39}});
    EXPECT_EQ((Strings{"a 100 60 0", "a 100 61 0", "a 99 60 0", "l 100 60 0 20-39", "l 100 60 0"}),
              Waves("<region>sample=a.wav hikey=60 <region>sample=A.wav lokey=61 "
                    "<region>sample=a.wav pitch_keycenter=61 <region>sample=a.wav offset=1 "
                    "<region>sample=l.wav <region>sample=l.wav loop_mode=no_loop"));
    EXPECT_EQ((Strings{"2 x sample \"a\"", "sample \"l\""}), Notes(ImportEvent::Copied));
}

struct ConditionCase {
    std::string strText;
    std::string strRegions;  // their layers' files
    std::string strDropped;
};
const ConditionCase kConditions[] = {
    {"<region>sample=a.wav end=-1 <region>sample=b.wav", "b", "regions: end=-1 keeps them from playing"},
    {"<region>sample=a.wav trigger=attack <region>sample=b.wav trigger=release", "a",
     "regions: they sound when a key is released"},
    {"<region>sample=a.wav trigger=first <region>sample=b.wav trigger=legato", "a",
     "regions: they sound while another key is held"},
    {"<group>seq_length=2 <region>sample=a.wav <region>sample=b.wav seq_position=2", "a",
     "regions: they sound in a later turn of a round"},
    {"<region>sample=a.wav hirand=0.5 <region>sample=b.wav lorand=0.5", "a",
     "regions: they sound by chance in place of another"},
    {"<region>sample=a.wav sw_last=c0 <region>sample=b.wav sw_last=d0", "a",
     "regions: they sound after another key switch"},
    {"<global>sw_default=d0 <region>sample=a.wav sw_last=c0 <region>sample=b.wav sw_last=d0", "b",
     "regions: they sound after another key switch"},
    {"<global>sw_default=20 <region>sample=a.wav sw_lolast=18 sw_hilast=20 <region>sample=b.wav sw_lolast=21",
     "a", "regions: they sound after another key switch"},
    {"<region>sample=a.wav sw_up=c0 <region>sample=b.wav sw_down=c0", "a",
     "regions: they sound after a key switch"},
    {"<region>sample=a.wav <region>sample=b.wav on_locc64=1", "a", "regions: a controller starts them"},
    {"<region>sample=a.wav hicc64=63 <region>sample=b.wav locc64=64", "a",
     "regions: they sound when a controller is moved"},
    {"<control>set_cc64=127 <region>sample=a.wav hicc64=63 <region>sample=b.wav locc64=64", "b",
     "regions: they sound when a controller is moved"},
    {"<region>sample=a.wav lochan=1 <region>sample=b.wav lochan=2", "a",
     "regions: they sound on another channel"},
    {"<region>sample=a.wav hibend=0 <region>sample=b.wav lobend=1", "a",
     "regions: they sound when the pitch is bent"},
    {"<region>sample=a.wav <region>key=60", "a", "regions: they have no sample"},
    {"<region>sample=*sine <region>sample=a.wav", "a", "sample \"*sine\": a player makes it; it is no file"},
    {"<region>sample=*silence <region>sample=a.wav", "a",
     "sample \"*silence\": a player makes it; it is no file"},
};

TEST_F(SfzPlannerTest, OnlyWhatSoundsWhenAPlayerHasJustBegunComesOver) {
    for (const ConditionCase& row : kConditions) {
        EXPECT_EQ((Strings{row.strRegions + " 100 60 0"}), Waves(row.strText)) << row.strText;
        EXPECT_EQ((Strings{row.strDropped}), Notes(ImportEvent::Dropped)) << row.strText;
    }
}

TEST_F(SfzPlannerTest, AllFilesThatAreMissingOrUnusableAreNamedAtOnce) {
    WriteFile(m_dir.File("text.wav"), std::string("no sound"));
    WriteFile(m_dir.File("three.wav"), MakeWav({1, 3, 44100, 16, Bytes(60)}));
    const ImportOutcome outcome = Plan(
        "<region>sample=x/y.wav <region>sample=a.wav <region>sample=z.wav <region>sample=z.wav "
        "<region>sample=text.wav <region>sample=three.wav <region>sample=q.wav trigger=release");
    EXPECT_EQ(ImportEnd::Refused, outcome.end);
    EXPECT_EQ(
        "4 of its files cannot be used: text.wav: it is no sound file of a known kind; "
        "three.wav: it has 3 channels, and a bank takes one or two; x/y.wav: No such file or directory; "
        "z.wav: No such file or directory",
        outcome.strCause);
}

TEST_F(SfzPlannerTest, WhatIsRoundedOrHeldIsNoted) {
    WriteSound(m_dir.File("f.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 48000, std::vector<int32_t>(20));
    WriteSound(m_dir.File("o.ogg"), SF_FORMAT_OGG | SF_FORMAT_VORBIS, 1, 48000, std::vector<int32_t>(2000));
    WriteFile(m_dir.File("r.wav"), MakeWav({1, 1, 300, 16, Bytes(20)}));
    EXPECT_EQ((Strings{"f 10 60 0", "o 2000 60 0", "r 10 60 0"}),
              Waves("<region>sample=f.wav <region>sample=o.ogg <region>sample=r.wav"));
    EXPECT_EQ(
        (Strings{"waves: 32-bit floating point rounded to 24 bits", "waves: Vorbis decoded to 16 bits"}),
        Notes(ImportEvent::Accepted));
    EXPECT_EQ((Strings{"sample \"r.wav\": rate 300 Hz taken as 400 Hz"}), Notes(ImportEvent::Repaired));
    EXPECT_EQ(24u, m_plan.waves[0].nBits);
    EXPECT_EQ(2u, m_plan.waves[0].nChannels);
    EXPECT_EQ(48000u, m_plan.waves[0].tune.nRate);
    EXPECT_EQ(16u, m_plan.waves[1].nBits);
    EXPECT_EQ(400u, m_plan.waves[2].tune.nRate);
}

TEST_F(SfzPlannerTest, LayersAreCountedByTheKindsLeftOutOfThem) {
    Plan(
        "<group>ampeg_release=1 volume=3 <region>sample=a.wav pan=5 <region>sample=b.wav <region>sample=x "
        "end=-1");
    EXPECT_EQ((Strings{"2 x volume and pan", "2 x envelopes"}), Notes(ImportEvent::LeftOutKind));
    EXPECT_EQ((Strings{"ampeg_release", "volume", "pan"}), Notes(ImportEvent::LeftOut));
}

TEST_F(SfzPlannerTest, ASampleInAnotherCaseOrWithBackslashesIsNoted) {
    WriteWaves({"Samples/C4.wav"});
    EXPECT_EQ((Strings{"C4 100 60 0"}), Waves("<control>default_path=samples\\\n<region>sample=c4.WAV"));
    EXPECT_EQ((Strings{"names of files: the case of letters taken from the files",
                       "names of files: backslashes taken as slashes"}),
              Notes(ImportEvent::Accepted));
    EXPECT_FALSE(m_report.HasLosses());
}

TEST_F(SfzPlannerTest, TheWatchStopsThePlan) {
    ImportWatch watch;
    int nAsked = 0;
    watch.isStopped = [&nAsked] { return ++nAsked == 2; };
    EXPECT_EQ(ImportEnd::Cancelled, Plan("<region>sample=a.wav <region>sample=b.wav", watch).end);
}

}  // namespace
}  // namespace Kestrova::Test
