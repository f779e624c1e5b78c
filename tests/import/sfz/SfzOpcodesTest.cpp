#include <gtest/gtest.h>

#include "import/sfz/SfzOpcodes.h"
#include "tests/import/sfz/SfzFixture.h"

namespace Kestrova::Test {
namespace {

class SfzOpcodesTest : public ::testing::Test {
protected:
    SfzSettings::Number Read(std::string_view value, SfzForm form, double low = -1000, double high = 1000) {
        return ReadSfzNumber({"x", value}, form, low, high, m_report);
    }
    SfzSettings Set(const std::vector<SfzOpcode>& opcodes) {
        SfzSettings settings;
        SfzOpcodeSetter setter(m_controllers, m_report);
        for (const SfzOpcode& opcode : opcodes) setter.Set(opcode, settings);
        return settings;
    }
    Strings Notes(ImportEvent event) const { return NotesOf(m_report, event); }

    SfzControllers m_controllers{};
    ImportReport m_report;
};

struct KeyCase {
    std::string_view value;
    double key;
};
constexpr KeyCase kKeys[] = {
    {"c4", 60}, {"C4", 60},  {"c#4", 61}, {"C#4", 61}, {"db4", 61}, {"DB4", 61}, {"b3", 59},  {"bb3", 58},
    {"a0", 21}, {"g9", 127}, {"c-1", 0},  {"cb4", 59}, {"b#3", 60}, {"60", 60},  {"+60", 60}, {"-1", -1},
};

TEST_F(SfzOpcodesTest, KeysAreNumbersOrNames) {
    for (const KeyCase& row : kKeys) EXPECT_EQ(row.key, Read(row.value, SfzForm::Key)) << row.value;
    EXPECT_FALSE(m_report.HasLosses());
    for (const char* const pszWrong : {"h4", "c", "#4", "c#", "", "c44", "c-44"})
        EXPECT_EQ(std::nullopt, Read(pszWrong, SfzForm::Key)) << pszWrong;
    EXPECT_EQ("opcode \"x=h4\": it is neither a number nor a key", Notes(ImportEvent::Dropped)[0]);
}

TEST_F(SfzOpcodesTest, NumbersAreRoundedAndHeldWithANote) {
    EXPECT_EQ(12, Read("12", SfzForm::Whole));
    EXPECT_EQ(12, Read("12.0", SfzForm::Whole));
    EXPECT_EQ(0.25, Read("0.25", SfzForm::Number));
    EXPECT_FALSE(m_report.HasLosses());
    EXPECT_EQ(13, Read("12.5", SfzForm::Whole));
    EXPECT_EQ(127, Read("128", SfzForm::Whole, 0, 127));
    EXPECT_EQ(0, Read("-1e300", SfzForm::Whole, 0, 127));
    EXPECT_EQ(100, Read("100;", SfzForm::Whole));
    EXPECT_EQ((Strings{"opcode \"x=12.5\": taken as 13", "opcode \"x=128\": taken as 127",
                       "opcode \"x=-1e300\": taken as 0", "opcode \"x=100;\": taken as 100"}),
              Notes(ImportEvent::Repaired));
}

TEST_F(SfzOpcodesTest, WhatIsNoNumberIsDropped) {
    for (const char* const pszWrong : {"", "abc", "nan", "inf", "1e999", "- 1", "++1"})
        EXPECT_EQ(std::nullopt, Read(pszWrong, SfzForm::Whole)) << pszWrong;
    EXPECT_EQ("opcode \"x=\": it is no number", Notes(ImportEvent::Dropped)[0]);
    EXPECT_EQ(7u, Notes(ImportEvent::Dropped).size());
}

TEST_F(SfzOpcodesTest, EachOpcodeSetsItsNumber) {
    const SfzSettings set = Set({{"lokey", "1"},
                                 {"hikey", "2"},
                                 {"pitch_keycenter", "3"},
                                 {"lovel", "4"},
                                 {"hivel", "5"},
                                 {"tune", "-6"},
                                 {"transpose", "-7"},
                                 {"pitch_keytrack", "8"},
                                 {"offset", "9"},
                                 {"end", "10"},
                                 {"loop_start", "11"},
                                 {"loop_end", "12"},
                                 {"loop_mode", "loop_sustain"},
                                 {"sample", "a b.wav"}});
    EXPECT_EQ(1, set.lowKey);
    EXPECT_EQ(2, set.highKey);
    EXPECT_EQ(3, set.keyCenter);
    EXPECT_EQ(4, set.lowVelocity);
    EXPECT_EQ(5, set.highVelocity);
    EXPECT_EQ(-6, set.tune);
    EXPECT_EQ(-7, set.transpose);
    EXPECT_EQ(8, set.keyTrack);
    EXPECT_EQ(9, set.offset);
    EXPECT_EQ(10, set.end);
    EXPECT_EQ(11, set.loopStart);
    EXPECT_EQ(12, set.loopEnd);
    EXPECT_EQ(SfzLoopMode::Sustain, set.loopMode);
    EXPECT_EQ("a b.wav", set.sample);
    EXPECT_EQ(Strings(), Notes(ImportEvent::LeftOut));
}

TEST_F(SfzOpcodesTest, OldSpellingsAreTheSame) {
    const SfzSettings set =
        Set({{"loopmode", "one_shot"}, {"loopstart", "1"}, {"loopend", "2"}, {"pitch", "3"}});
    EXPECT_EQ(SfzLoopMode::OneShot, set.loopMode);
    EXPECT_EQ(1, set.loopStart);
    EXPECT_EQ(2, set.loopEnd);
    EXPECT_EQ(3, set.tune);
    EXPECT_EQ(SfzLoopMode::None, Set({{"loop_mode", "no_loop"}}).loopMode);
    EXPECT_EQ(SfzLoopMode::Continuous, Set({{"loop_mode", "loop_continuous"}}).loopMode);
}

TEST_F(SfzOpcodesTest, AKeySetsRangeAndCenterAndLaterOpcodesReplaceThem) {
    SfzSettings set = Set({{"key", "c4"}});
    EXPECT_EQ(60, set.lowKey);
    EXPECT_EQ(60, set.highKey);
    EXPECT_EQ(60, set.keyCenter);
    set = Set({{"pitch_keycenter", "sample"}, {"key", "40"}, {"hikey", "41"}, {"pitch_keycenter", "30"}});
    EXPECT_EQ(40, set.lowKey);
    EXPECT_EQ(41, set.highKey);
    EXPECT_EQ(30, set.keyCenter);
    EXPECT_FALSE(set.bKeyCenterOfSample);
    EXPECT_TRUE(Set({{"key", "40"}, {"pitch_keycenter", "sample"}}).bKeyCenterOfSample);
    EXPECT_FALSE(Set({{"pitch_keycenter", "sample"}, {"key", "40"}}).bKeyCenterOfSample);
}

TEST_F(SfzOpcodesTest, AValueThatIsDroppedLeavesTheOneBefore) {
    EXPECT_EQ(5, Set({{"lovel", "5"}, {"lovel", "x"}}).lowVelocity);
    EXPECT_EQ(SfzLoopMode::OneShot, Set({{"loop_mode", "one_shot"}, {"loop_mode", "once"}}).loopMode);
    EXPECT_EQ(
        (Strings{"opcode \"lovel=x\": it is no number", "opcode \"loop_mode=once\": its value is not known"}),
        Notes(ImportEvent::Dropped));
}

struct KindCase {
    std::string_view name;
    SfzLeftOut kind;
};
constexpr KindCase kKinds[] = {
    {"ampeg_release", SfzLeftOut::Envelopes},
    {"eg1_time2", SfzLeftOut::Envelopes},
    {"pitchlfo_freq", SfzLeftOut::Oscillators},
    {"lfo01_freq", SfzLeftOut::Oscillators},
    {"cutoff", SfzLeftOut::Filters},
    {"fil_type", SfzLeftOut::Filters},
    {"fileg_depth", SfzLeftOut::Envelopes},
    {"eq1_gain", SfzLeftOut::Filters},
    {"effect1", SfzLeftOut::Effects},
    {"volume", SfzLeftOut::Levels},
    {"pan", SfzLeftOut::Levels},
    {"amp_veltrack", SfzLeftOut::Levels},
    {"bend_oncc20", SfzLeftOut::Controllers},
    {"xfin_lovel", SfzLeftOut::Crossfades},
    {"group", SfzLeftOut::Other},
    {"region_label", SfzLeftOut::Other},
};

TEST_F(SfzOpcodesTest, WhatNoRecordExpressesIsCountedByNameAndKind) {
    for (const KindCase& row : kKinds) {
        std::bitset<kSfzLeftOutCount> expected;
        expected.set(static_cast<size_t>(row.kind));
        EXPECT_EQ(expected, Set({{row.name, "1"}}).leftOut) << row.name;
    }
    Set({{"pan", "2"}, {"pan", "x"}});
    EXPECT_EQ(std::size(kKinds), Notes(ImportEvent::LeftOut).size());
    EXPECT_EQ("3 x pan", Notes(ImportEvent::LeftOut)[10]);
    EXPECT_FALSE(m_report.HasLosses());
}

TEST_F(SfzOpcodesTest, ConditionsAreHeldAgainstTheControllersAtTheStart) {
    m_controllers[64] = 10;
    EXPECT_TRUE(Set({{"locc64", "11"}}).tooLow[64]);
    EXPECT_FALSE(Set({{"locc64", "11"}, {"locc64", "10"}}).tooLow.any());
    EXPECT_TRUE(Set({{"hicc64", "9"}}).tooHigh[64]);
    EXPECT_FALSE(Set({{"hicc64", "10"}}).tooHigh.any());
    EXPECT_TRUE(Set({{"on_locc64", "1"}}).bByController);
    EXPECT_TRUE(Set({{"start_hicc1", "1"}}).bByController);
    EXPECT_TRUE(Set({{"sw_down", "c1"}}).bOtherSwitch);
    const SfzSettings set = Set({{"sw_last", "c0"}});
    EXPECT_EQ(12, set.lowSwitch);
    EXPECT_EQ(12, set.highSwitch);
    EXPECT_EQ(SfzTrigger::Release, Set({{"trigger", "release_key"}}).trigger);
    EXPECT_EQ(
        (Strings{"3 x locc64", "2 x hicc64", "on_locc64", "start_hicc1", "sw_down", "sw_last", "trigger"}),
        Notes(ImportEvent::LeftOut));
}

TEST_F(SfzOpcodesTest, AControllerBeyondThoseThereAreIsLeftOut) {
    EXPECT_EQ(511u, ControllerOf("locc511", "locc"));
    EXPECT_EQ(std::nullopt, ControllerOf("locc512", "locc"));
    EXPECT_EQ(std::nullopt, ControllerOf("locc", "locc"));
    EXPECT_EQ(std::nullopt, ControllerOf("locc1x", "locc"));
    EXPECT_EQ(std::nullopt, ControllerOf("locc99999999999999999999", "locc"));
    EXPECT_FALSE(Set({{"locc512", "1"}}).tooLow.any());
}

}  // namespace
}  // namespace Kestrova::Test
