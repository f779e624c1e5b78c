// One source sample becomes one target sample: headers, loops, waves and refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "bank/Resampler.h"
#include "bank/SampleMaker.h"
#include "tests/support/Vectors.h"
#include "tests/support/WaveMaker.h"

namespace Kestrova::Test {
namespace {

class SampleMakerTest : public testing::Test {
protected:
    CSDBISampleWave m_source{5, 9};
    CSDBISampleEUWave m_made{kSdbNoID, kSdbNoID};
    BankOutcome m_outcome;

    void SetSource(uint32_t nRate, uint32_t nFrames, uint32_t nFormat = 16, uint32_t nChannels = 1) {
        const Bytes wave = MakeWave(nFrames, nFormat & ~kSampleFormatFlag, nChannels);
        CSDBISampleBase::Info& info = m_source.m_info;
        std::snprintf(info.szName, sizeof info.szName, "Source");
        info.nSampleRate = nRate;
        info.nFormat = nFormat;
        info.nChannels = nChannels;
        info.nFrames = nFrames;
        info.nRootKey = 60;
        info.nFineTune = -12;
        info.nFurther = 77;
        info.lWave = static_cast<uint32_t>(wave.size());
        ASSERT_TRUE(m_source.SmplMemAlloc());
        std::copy(wave.begin(), wave.end(), info.pWave);
        ASSERT_TRUE(m_source.AllocLoops(1));
        m_source.GetLoops()[0] = {3, 10, 20, 4};
        ASSERT_TRUE(m_source.m_params.Copy("\x08\0\0\0abcd", 8));
        ASSERT_TRUE(CopyStgPars(m_source.m_pars, "tail", 4));
    }
    BankResult Make(unsigned int nRate, bool bPerKey = false, int nKey = kEveryKey, int nQuality = 7) {
        m_outcome = MakeTargetSample(m_source, {nRate, nQuality, bPerKey}, nKey, m_made);
        return m_outcome.result;
    }
    Bytes WaveOf(const CSDBISampleBase& sample) const {
        return Bytes(sample.m_info.pWave, sample.m_info.pWave + sample.m_info.lWave);
    }
    void ExpectCopied() {
        EXPECT_EQ(WaveOf(m_source), WaveOf(m_made));
        EXPECT_EQ(m_source.m_info.nFrames, m_made.m_info.nFrames);
        EXPECT_EQ(10u, m_made.GetLoops()[0].nStart);
        EXPECT_EQ(20u, m_made.GetLoops()[0].nEnd);
    }
};

TEST_F(SampleMakerTest, TheHeaderAndWhatHangsOnItComeOver) {
    SetSource(44100, 100);
    ASSERT_EQ(kBankDone, Make(48000));
    EXPECT_STREQ("Source", m_made.m_info.szName);
    EXPECT_EQ(48000u, m_made.m_info.nSampleRate);
    EXPECT_EQ(16u, m_made.m_info.nFormat);
    EXPECT_EQ(1u, m_made.m_info.nChannels);
    EXPECT_EQ(60u, m_made.m_info.nRootKey);
    EXPECT_EQ(-12, m_made.m_info.nFineTune);
    EXPECT_EQ(77u, m_made.m_info.nFurther);
    ASSERT_EQ(1u, m_made.m_info.cLayerLoops);
    EXPECT_EQ(3u, m_made.GetLoops()[0].nCueID);
    EXPECT_EQ(4u, m_made.GetLoops()[0].nPlayCount);
    EXPECT_EQ(8u, m_made.m_params.Size());
    EXPECT_EQ(4u, m_made.m_pars.Size());
    EXPECT_EQ(kSdbNoID, m_made.GetParentID());
}

TEST_F(SampleMakerTest, AtTheSameRateTheWaveIsCopiedByteForByte) {
    SetSource(48000, 100, 24, 2);
    ASSERT_EQ(kBankDone, Make(48000));
    ExpectCopied();
}

TEST_F(SampleMakerTest, AtAnotherRateFramesLoopsAndWaveAreConverted) {
    SetSource(44100, 1000, 16, 2);
    ASSERT_EQ(kBankDone, Make(96000));
    const double ratio = 44100.0 / 96000;
    const unsigned long nFrames = Resampler::GetReciprocalEstimatedSize(1000, ratio);
    EXPECT_EQ(nFrames, m_made.m_info.nFrames);
    EXPECT_EQ(nFrames * 4, m_made.m_info.lWave);
    EXPECT_EQ(22u, m_made.GetLoops()[0].nStart);  // 10 / ratio + 0.5 = 22.27
    EXPECT_EQ(44u, m_made.GetLoops()[0].nEnd);    // 20 / ratio + 0.5 = 44.04
    Bytes expected(nFrames * 4);
    Resampler(ratio, m_source.m_info.pWave, 1000, expected.data(), static_cast<long>(nFrames), 4, 7, nullptr);
    EXPECT_EQ(expected, WaveOf(m_made));
    EXPECT_EQ(10u, m_source.GetLoops()[0].nStart) << "the source's own stay, for the next copy";
}

TEST_F(SampleMakerTest, APerKeyCopyAtItsRootKeyIsCopiedAndOthersAreTransposed) {
    SetSource(44100, 4800);
    ASSERT_EQ(kBankDone, Make(44100, true, 60));
    ExpectCopied();
    EXPECT_EQ(60u, m_made.m_info.nRootKey);
    for (const int nKey : {61, 62}) {
        m_made.Clear(false);
        ASSERT_EQ(kBankDone, Make(44100, true, nKey));
        const double ratio = double{exp2f(static_cast<float>(nKey - 60) / 12.0F)};
        EXPECT_EQ(Resampler::GetReciprocalEstimatedSize(4800, 44100 * ratio / 44100), m_made.m_info.nFrames);
        EXPECT_LT(m_made.m_info.nFrames, 4800u) << "shorter waves";
        EXPECT_EQ(static_cast<uint32_t>(nKey), m_made.m_info.nRootKey);
    }
}
// Q101

// Q101
TEST_F(SampleMakerTest, AnUnplayedSampleOfThePerKeyLayoutIsCopiedWhateverItsRate) {
    SetSource(22050, 100);
    ASSERT_EQ(kBankDone, Make(96000, true, kEveryKey));
    ExpectCopied();
    EXPECT_EQ(96000u, m_made.m_info.nSampleRate);
    EXPECT_EQ(60u, m_made.m_info.nRootKey);
}

struct FormatCase {
    uint32_t nFormat, nChannels;
    bool bConvertible;
};

TEST_F(SampleMakerTest, OnlyIntegersOf16And24BitsInOneOrTwoChannelsAreConverted) {
    for (const FormatCase& row : {FormatCase{16, 1, true},
                                  {16, 2, true},
                                  {24, 1, true},
                                  {24, 2, true},
                                  {8, 1, false},
                                  {8, 2, false},
                                  {32, 1, false},
                                  {32 | kSampleFormatFlag, 1, false},
                                  {16 | kSampleFormatFlag, 1, false},
                                  {16, 3, false},
                                  {24, 4, false}}) {
        SCOPED_TRACE(testing::Message() << row.nFormat << " bits, " << row.nChannels);
        m_source.Clear(false);
        m_made.Clear(false);
        SetSource(44100, 50, row.nFormat, row.nChannels);
        EXPECT_EQ(row.bConvertible ? kBankDone : kBankConversionFailed, Make(48000));
        if (!row.bConvertible) {
            EXPECT_STREQ("only 16 and 24 bits in one or two channels can be converted", m_outcome.pszCause);
        }
        m_made.Clear(false);
        EXPECT_EQ(kBankDone, Make(44100)) << "at equal rates every format is copied";
        ExpectCopied();
    }
}

TEST_F(SampleMakerTest, MoreFramesThanTheWaveHasAreInconsistentWhenItMustBeConverted) {
    SetSource(44100, 100);
    m_source.m_info.nFrames = 101;
    EXPECT_EQ(kBankSourceInconsistent, Make(48000));
    EXPECT_STREQ("its header states more frames than its wave has", m_outcome.pszCause);
    m_made.Clear(false);
    EXPECT_EQ(kBankDone, Make(44100));
}

TEST_F(SampleMakerTest, RatiosThatCannotBeUsedFailTheConversion) {
    SetSource(1, 100);  // a step of 0 at 48000
    EXPECT_EQ(kBankConversionFailed, Make(48000));
    m_source.Clear(false);
    m_made.Clear(false);
    SetSource(4000000000, 100);  // a step beyond 31 bits at 44100
    EXPECT_EQ(kBankConversionFailed, Make(44100));
    EXPECT_STREQ("its sample rate or root key is too far from the target's", m_outcome.pszCause);
    m_made.Clear(false);
    m_source.m_info.nRootKey = 0xFFFFFFFF;
    EXPECT_EQ(kBankConversionFailed, Make(44100, true, 0));
}

TEST_F(SampleMakerTest, AWaveNoRecordCanHoldIsNoMemory) {
    SetSource(3, 2000000);  // a step of 2: 32768 million frames
    EXPECT_EQ(kBankNoMemory, Make(44100));
    EXPECT_STREQ(
        "the converted wave is too large: a bank's sample holds less than 4 GiB; choose a lower sample rate, "
        "or cut the wave in two",
        m_outcome.pszCause);
    m_source.Clear(false);
    m_made.Clear(false);
    SetSource(30, 150000, 24, 2);  // 223 million frames of six bytes fit; at 192000 they do not
    EXPECT_EQ(kBankNoMemory, Make(192000));
}

TEST_F(SampleMakerTest, NoFramesAtAllFailTheConversion) {
    SetSource(44100, 100);
    m_source.m_info.nFrames = 0;
    EXPECT_EQ(kBankConversionFailed, Make(48000));
    EXPECT_STREQ("the conversion gave no frames", m_outcome.pszCause);
}

TEST(ScaledPositionTest, EqualsTheWorkedCases) {
    const nlohmann::json numbers = LoadVectors("numbers.json");
    for (const nlohmann::json& row : numbers.at("loop_positions"))
        EXPECT_EQ(row.at("result").get<uint32_t>(),
                  ScaledPosition(row.at("position").get<uint32_t>(), HexDouble(row.at("ratio_hex"))))
            << row.dump();
}

TEST(ScaledPositionTest, IsHeldTo32Bits) {
    EXPECT_EQ(0xFFFFFFFFu, ScaledPosition(0xFFFFFFFF, 0.5));
    EXPECT_EQ(0u, ScaledPosition(10, -1.0));
    EXPECT_EQ(0u, ScaledPosition(0, std::numeric_limits<double>::quiet_NaN()));
    EXPECT_EQ(0u, ScaledPosition(1, std::numeric_limits<double>::infinity()));
}

TEST(PitchFactorTest, TakesAnyRootKey) {
    EXPECT_EQ(2.0F, PitchFactor(72, 60));
    EXPECT_EQ(0.5F, PitchFactor(0, 12));
    EXPECT_EQ(0.0F, PitchFactor(0, 0xFFFFFFFF));
}

}  // namespace
}  // namespace Kestrova::Test
