#include <gtest/gtest.h>

#include "import/sfz/SfzRegions.h"
#include "tests/import/sfz/SfzFixture.h"

namespace Kestrova::Test {
namespace {

class SfzRegionsTest : public ::testing::Test {
protected:
    // The text must outlive the answer.
    const std::vector<SfzRegion>& Read(const std::string& strText) {
        m_strText = strText;
        m_regions.clear();
        const ImportOutcome outcome = ReadSfzRegions(m_strText, m_regions, m_report);
        EXPECT_EQ("", outcome.strCause);
        return m_regions;
    }
    // "SAMPLE tune transpose" of each, 0 where it has none.
    Strings Texts(const std::string& strText) {
        Strings texts;
        for (const SfzRegion& region : Read(strText))
            texts.push_back(region.strSample + " " +
                            std::to_string(static_cast<int>(region.settings.tune.value_or(0))) + " " +
                            std::to_string(static_cast<int>(region.settings.transpose.value_or(0))));
        return texts;
    }

    std::string m_strText;
    std::vector<SfzRegion> m_regions;
    ImportReport m_report;
};

TEST_F(SfzRegionsTest, ARegionHasWhatTheHeadersAboveItSet) {
    EXPECT_EQ((Strings{"g 1 2"}), Texts("<global>tune=1 <master>transpose=2 <group>sample=g <region>"));
    EXPECT_EQ(
        (Strings{"r 4 3"}),
        Texts(
            "<global>tune=1 sample=a <master>tune=2 transpose=2 <group>transpose=3 <region>sample=r tune=4"));
    EXPECT_EQ((Strings{"a 1 0", "b 0 0", "c 0 0"}),
              Texts("<region>sample=a tune=1 <region>sample=b<region>sample=c"));
}

TEST_F(SfzRegionsTest, AHeaderEndsThoseOfItsLevelAndBelow) {
    EXPECT_EQ((Strings{"a 1 2", "a 0 3"}),
              Texts("<global>sample=a <group>tune=1 transpose=2 <region> <group>transpose=3 <region>"));
    EXPECT_EQ((Strings{"a 1 2", "a 0 0"}),
              Texts("<global>sample=a <master>tune=1 <group>transpose=2 <region> <master> <region>"));
    EXPECT_EQ((Strings{"a 1 2", "b 0 0"}),
              Texts("<global>tune=1 <master>transpose=2 <group>sample=a <region> <global>sample=b <region>"));
}

TEST_F(SfzRegionsTest, TheDefaultPathStandsInFrontOfTheSamplesBehindIt) {
    EXPECT_EQ((Strings{"a.wav 0 0", "../Samples\\P_a.wav 0 0", "b.wav 0 0", "*sine 0 0", " 0 0"}),
              Texts("<group>sample=a.wav <region><control>default_path=../Samples\\P_\n<region>"
                    "<control>default_path=\n<region>sample=b.wav"
                    "<control>default_path=x\n<region>sample=*sine\n<region>sample="));
    EXPECT_EQ((Strings{"xa 0 0", "a 0 0"}),
              Texts("<control>default_path=x\n<region>sample=a <control>note_offset=1 <region>sample=a"))
        << "a control header begins without one";
}

TEST_F(SfzRegionsTest, OffsetsOfKeysHoldUntilTheyAreSetAgain) {
    std::vector<int> offsets;
    for (const SfzRegion& region :
         Read("<region><control>note_offset=-2 octave_offset=1 <region><control>octave_offset=0 <region>"
              "<control>note_offset=x <region>"))
        offsets.push_back(region.nKeyOffset);
    EXPECT_EQ((std::vector<int>{0, 10, -2, -2}), offsets);
    EXPECT_EQ((Strings{"opcode \"note_offset=x\": it is no number"}),
              NotesOf(m_report, ImportEvent::Dropped));
}

TEST_F(SfzRegionsTest, ControllersHaveTheirValuesAtTheStart) {
    const auto isOff = [](const SfzRegion& region) {
        return region.settings.tooLow.any() || region.settings.tooHigh.any();
    };
    EXPECT_FALSE(isOff(Read("<region>locc7=100 hicc7=100 locc10=64 hicc11=127 hicc1=0")[0]));
    EXPECT_TRUE(isOff(Read("<region>locc1=1")[0]));
    EXPECT_FALSE(isOff(Read("<control>set_cc1=1 <region>locc1=1")[0]));
}

TEST_F(SfzRegionsTest, OtherHeadersAreLeftOutWithTheirOpcodes) {
    EXPECT_EQ((Strings{"a 0 0"}),
              Texts("<curve>v000=0 tune=5 <effect>type=x <region>sample=a <curve>tune=1"));
    EXPECT_EQ((Strings{"2 x header \"curve\"", "header \"effect\""}),
              NotesOf(m_report, ImportEvent::LeftOut));
    Read("<control>label_cc1=Wheel");
    EXPECT_EQ("label_cc1", NotesOf(m_report, ImportEvent::LeftOut).back());
}

TEST_F(SfzRegionsTest, TooManyRegionsAreRefused) {
    std::string strText;
    for (size_t i = 0; i < kMostSfzRegions; ++i) strText += "<region>";
    EXPECT_EQ(kMostSfzRegions, Read(strText).size());
    m_regions.clear();
    strText += "<region>";
    EXPECT_EQ("it has more than 100000 regions", ReadSfzRegions(strText, m_regions, m_report).strCause);
}

}  // namespace
}  // namespace Kestrova::Test
