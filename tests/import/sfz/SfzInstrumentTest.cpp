#include <gtest/gtest.h>

#include "import/sfz/SfzInstrument.h"
#include "tests/import/sfz/SfzFixture.h"

namespace Kestrova::Test {
namespace {

class SfzInstrumentTest : public SfzFixture {};

TEST_F(SfzInstrumentTest, AnInstrumentHasOneProgramNamedAfterItsFile) {
    WriteFile(m_dir.File("Grand v1.2.sfz"), std::string("<group>sample=none.wav <region> <region>"));
    ASSERT_EQ("", m_instrument.Open(m_dir.File("Grand v1.2.sfz")).strCause) << "without its sound files";
    EXPECT_EQ("SFZ", m_instrument.GetFacts().strFormat);
    EXPECT_EQ("Grand v1.2", m_instrument.GetFacts().strName);
    EXPECT_EQ(0u, m_instrument.GetFacts().nBits);
    EXPECT_EQ("", m_instrument.GetFacts().strWarning);
    const std::vector<InstrumentProgram> programs = m_instrument.GetPrograms();
    ASSERT_EQ(1u, programs.size());
    EXPECT_EQ(ProgramNumber(0, 0), programs[0].number);
    EXPECT_EQ("Grand v1.2", programs[0].strName);
    EXPECT_EQ(2u, programs[0].nZones);
}

TEST_F(SfzInstrumentTest, FramesAreThoseOfTheFilesFromTheOffset) {
    WriteWaves({"a.wav", "b.wav"});
    ASSERT_EQ("", Plan("<region>sample=a.wav offset=10 <region>sample=b.wav end=49").strCause);
    Bytes bytes(180);
    EXPECT_EQ("", m_instrument.ReadFrames(0, 0, 90, bytes.data()).strCause);
    EXPECT_EQ(RampFrames(10, 90), bytes);
    bytes.resize(20);
    EXPECT_EQ("", m_instrument.ReadFrames(1, 40, 10, bytes.data()).strCause);
    EXPECT_EQ(RampFrames(40, 10), bytes);
}

TEST_F(SfzInstrumentTest, AFileThatHasGoneSinceThePlanIsTold) {
    WriteWaves({"a.wav"});
    ASSERT_EQ("", Plan("<region>sample=a.wav").strCause);
    fs::remove(m_dir.File("a.wav"));
    Bytes bytes(200);
    EXPECT_EQ(m_dir.File("a.wav") + ": No such file or directory",
              m_instrument.ReadFrames(0, 0, 100, bytes.data()).strCause);
}

TEST_F(SfzInstrumentTest, APlanOfOtherProgramsIsEmpty) {
    WriteWaves({"a.wav"});
    ASSERT_EQ("", Plan("<region>sample=a.wav").strCause);
    EXPECT_EQ(1u, m_plan.programs.size());
    ASSERT_TRUE(m_instrument.MakePlan({{0, 1}}, m_plan, m_report).IsDone());
    EXPECT_TRUE(m_plan.programs.empty());
    EXPECT_EQ("Piano", m_plan.strName);
    ASSERT_TRUE(m_instrument.MakePlan({{0, 0}, {0, 1}}, m_plan, m_report).IsDone());
    EXPECT_EQ(1u, m_plan.programs.size());
}

TEST_F(SfzInstrumentTest, WhatTheTextNotedIsInThePlansReport) {
    WriteWaves({"a.wav"});
    ASSERT_EQ("", Plan("<region>sample=a.wav volume=3 lovel=300").strCause);
    EXPECT_EQ((Strings{"opcode \"lovel=300\": taken as 127"}), Notes(ImportEvent::Repaired));
    EXPECT_EQ((Strings{"volume"}), Notes(ImportEvent::LeftOut));
}

TEST_F(SfzInstrumentTest, AMissingFileIsUnreadable) {
    const ImportOutcome outcome = m_instrument.Open(m_dir.File("none.sfz"));
    EXPECT_EQ(ImportEnd::Unreadable, outcome.end);
    EXPECT_EQ("No such file or directory", outcome.strCause);
}

TEST_F(SfzInstrumentTest, ATextWithoutRegionsHasAnEmptyPlan) {
    ASSERT_EQ("", Plan("<control>").strCause);
    EXPECT_TRUE(m_plan.programs.empty());
    EXPECT_EQ(0u, m_instrument.GetPrograms()[0].nZones);
}

TEST(SfzInstrumentKindTest, ItsKindIsKnownByTheFirstBytes) {
    EXPECT_TRUE(SfzInstrument::IsSfz("// Piano\n<region>"));
    EXPECT_FALSE(SfzInstrument::IsSfz("RIFF"));
}

}  // namespace
}  // namespace Kestrova::Test
