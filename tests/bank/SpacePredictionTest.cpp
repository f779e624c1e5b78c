#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "tests/bank/EngineDriver.h"
#include "tests/support/SourceMaker.h"

namespace Kestrova::Test {
namespace {

class SpacePredictionTest : public testing::Test {
protected:
    TempDir m_dir;
    EngineDriver m_driver;

    void Analyse(const SourceSpec& spec) {
        MakeSource(m_dir.File("Test_1.kvs"), spec);
        ASSERT_EQ(kBankDone, m_driver.Analyse(m_dir.File("Test_1.kvs")));
    }
    unsigned int Predicted(unsigned int nRate, int nPerKey) {
        unsigned int nMegabytes = 0;
        EXPECT_EQ(kBankDone, m_driver.Engine().Prediction(nRate, nPerKey, nMegabytes));
        return nMegabytes;
    }
    // Overhead and table, in bytes, as a bank in the plain layout counts them.
    uint64_t FixedBytes() {
        const BankAnalysis& analysis = m_driver.Engine().GetAnalysis();
        return analysis.nOverheadBytes + 16 * static_cast<uint64_t>(analysis.nPerKeyRecords);
    }
};

TEST_F(SpacePredictionTest, RatesOutsideTheTableEndsAreBadArguments) {
    Analyse({});
    unsigned int nMegabytes = 7;
    EXPECT_EQ(kBankBadArgument, m_driver.Engine().Prediction(44099, 0, nMegabytes));
    EXPECT_EQ(kBankBadArgument, m_driver.Engine().Prediction(192001, 0, nMegabytes));
    EXPECT_EQ(7u, nMegabytes);
    EXPECT_EQ(kBankDone, m_driver.Engine().Prediction(44100, 0, nMegabytes));
    EXPECT_EQ(kBankDone, m_driver.Engine().Prediction(192000, 0, nMegabytes));
}

TEST_F(SpacePredictionTest, WithoutAnAnalysisItIsNotReady) {
    unsigned int nMegabytes = 0;
    EXPECT_EQ(kBankNotReady, m_driver.Engine().Prediction(48000, 0, nMegabytes));
}

TEST_F(SpacePredictionTest, AtTheSamplesOwnRateItIsExactAndWholeMegabytesAreNotRoundedUp) {
    SourceSpec spec;
    spec.bEnriched = true;  // the waves take the bytes they play
    spec.samples[0].nFormat = 8;
    Analyse(spec);
    // Enough frames to come out at 3 MiB exactly, then one more.
    spec.samples[0].nFrames = static_cast<uint32_t>(3 * 1048576 - FixedBytes());
    Analyse(spec);
    EXPECT_EQ(3u, Predicted(44100, 0));
    spec.samples[0].nFrames += 1;
    Analyse(spec);
    EXPECT_EQ(4u, Predicted(44100, 0));
}
// Q103

// Q103
TEST_F(SpacePredictionTest, ThePlainLayoutScalesTheWavesByTheRates) {
    SourceSpec spec;
    spec.bEnriched = true;
    spec.samples = {{.nRate = 22050, .nFrames = 2000000}};
    Analyse(spec);
    for (const unsigned nRate : {44100u, 96000u, 192000u}) {
        const double bytes = static_cast<double>(FixedBytes()) + 4000000.0 * nRate / 22050;
        EXPECT_EQ(static_cast<unsigned>(std::ceil(bytes / 1048576)), Predicted(nRate, 0));
    }
}

TEST_F(SpacePredictionTest, ThePerKeyLayoutCountsACopyForEachKey) {
    SourceSpec spec;
    spec.bEnriched = true;
    spec.samples = {{.nRootKey = 60, .nFrames = 1000000}};
    spec.programs = {{true, {{48, 72, {0}}}}};
    Analyse(spec);
    const BankAnalysis& analysis = m_driver.Engine().GetAnalysis();
    double bytes = static_cast<double>(analysis.nPerKeyRecords) / analysis.nRecords *
                       static_cast<double>(analysis.nOverheadBytes) +
                   16.0 * static_cast<double>(analysis.nPerKeyRecords);
    for (int nKey = 48; nKey <= 72; ++nKey)
        bytes +=
            2000000.0 * (96000.0 / 44100) / static_cast<double>(exp2f(static_cast<float>(nKey - 60) / 12.0F));
    EXPECT_EQ(static_cast<unsigned>(std::ceil(bytes / 1048576)), Predicted(96000, 1));
}

TEST_F(SpacePredictionTest, AnUnplayedSampleCountsInFullInBothLayouts) {
    SourceSpec spec;
    spec.bEnriched = true;
    spec.samples = {{.nFrames = 3000000}};
    spec.programs.clear();
    Analyse(spec);
    EXPECT_EQ(Predicted(96000, 0), Predicted(96000, 1));
    EXPECT_GE(Predicted(96000, 1), 12u);
}

TEST_F(SpacePredictionTest, AnExternalWaveCountsByItsFrames) {
    CSDBISampleWave sample(kSdbNoID, kSdbNoID);
    const Bytes wave(4000000);
    sample.m_info.nFormat = 16;
    sample.m_info.nChannels = 1;
    sample.m_info.nFrames = 2000000;
    sample.m_info.lWave = 4000000;
    ASSERT_TRUE(sample.SmplMemAlloc());
    ASSERT_TRUE(sample.ExportToFile(m_dir.File("wave.wav").c_str()));
    Analyse({.samples = {{.strExternal = "wave.wav"}}});
    EXPECT_EQ(4u, Predicted(44100, 0));
}

TEST_F(SpacePredictionTest, MegabytesAreRoundedUpAndHeldTo32Bits) {
    EXPECT_EQ(0u, MegabytesRoundedUp(0));
    EXPECT_EQ(1u, MegabytesRoundedUp(1));
    EXPECT_EQ(1u, MegabytesRoundedUp(1048576));
    EXPECT_EQ(2u, MegabytesRoundedUp(1048577));
    EXPECT_EQ(0xFFFFFFFFu, MegabytesRoundedUp(UINT64_MAX));
}

}  // namespace
}  // namespace Kestrova::Test
