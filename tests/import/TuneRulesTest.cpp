#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "import/TuneRules.h"

namespace Kestrova::Test {
namespace {

class TuneRulesTest : public ::testing::Test {
protected:
    // "WHAT: CAUSE" of everything noted.
    std::vector<std::string> Notes(ImportEvent event) const {
        std::vector<std::string> notes;
        for (const ImportReport::Entry& entry : m_report.Of(event))
            notes.push_back(entry.strWhat + ": " + entry.strCause);
        return notes;
    }
    std::pair<int, int> PitchOf(int nCents) {
        WaveTune tune;
        SettlePitch(tune, nCents, "wave", m_report);
        return {static_cast<int>(tune.nRootKey), tune.nFineTune};
    }

    ImportReport m_report;
};

using Strings = std::vector<std::string>;

TEST_F(TuneRulesTest, RatesAreHeldToWhatABankTakes) {
    for (const uint32_t nRate : {400u, 44100u, 192000u}) EXPECT_EQ(nRate, HoldRate(nRate, "wave", m_report));
    EXPECT_FALSE(m_report.HasLosses());
    EXPECT_EQ(44100u, HoldRate(0, "wave", m_report));
    EXPECT_EQ(400u, HoldRate(399, "wave", m_report));
    EXPECT_EQ(192000u, HoldRate(UINT32_MAX, "wave", m_report));
    EXPECT_EQ((Strings{"wave: rate 0 Hz taken as 44100 Hz", "wave: rate 399 Hz taken as 400 Hz",
                       "wave: rate 4294967295 Hz taken as 192000 Hz"}),
              Notes(ImportEvent::Repaired));
}

TEST_F(TuneRulesTest, APitchIsAKeyAndMinus49To50Cents) {
    EXPECT_EQ(std::pair(60, 0), PitchOf(6000));
    EXPECT_EQ(std::pair(60, 50), PitchOf(6050));
    EXPECT_EQ(std::pair(61, -49), PitchOf(6051));
    EXPECT_EQ(std::pair(0, -49), PitchOf(-49));
    EXPECT_EQ(std::pair(127, 50), PitchOf(12750));
    EXPECT_FALSE(m_report.HasLosses());
}

TEST_F(TuneRulesTest, AKeyOutsideIsHeldToTheLimit) {
    EXPECT_EQ(std::pair(0, 50), PitchOf(-50));
    EXPECT_EQ(std::pair(127, -49), PitchOf(12751));
    EXPECT_EQ((Strings{"wave: root key -1 held to 0", "wave: root key 128 held to 127"}),
              Notes(ImportEvent::Repaired));
}

TEST_F(TuneRulesTest, ALoopOfTheWaveIsKept) {
    WaveTune tune;
    EXPECT_TRUE(SettleLoop(tune, 0, 10, 10, "wave", m_report));
    EXPECT_EQ((WaveTune{0, 0, 0, true, 0, 9}), tune);
    EXPECT_TRUE(SettleLoop(tune, 4, 5, 10, "wave", m_report));
    EXPECT_EQ((WaveTune{0, 0, 0, true, 4, 4}), tune);
    EXPECT_FALSE(m_report.HasLosses());
}

TEST_F(TuneRulesTest, ALoopThatReachesBeyondItsWaveIsCut) {
    WaveTune tune;
    EXPECT_TRUE(SettleLoop(tune, -3, 11, 10, "wave", m_report));
    EXPECT_EQ((WaveTune{0, 0, 0, true, 0, 9}), tune);
    EXPECT_EQ((Strings{"loop of wave: cut to its wave"}), Notes(ImportEvent::Repaired));
}

TEST_F(TuneRulesTest, ALoopWithoutFramesIsDropped) {
    WaveTune tune;
    EXPECT_FALSE(SettleLoop(tune, 5, 5, 10, "wave", m_report));
    EXPECT_FALSE(SettleLoop(tune, 10, 20, 10, "wave", m_report));
    EXPECT_FALSE(SettleLoop(tune, INT64_MAX, INT64_MIN, 10, "wave", m_report));
    EXPECT_EQ(WaveTune(), tune);
    EXPECT_EQ((Strings{"loop of wave: it has no frames"}), Notes(ImportEvent::Dropped));
}

}  // namespace
}  // namespace Kestrova::Test
