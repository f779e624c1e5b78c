#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "tools/kvbank/contents/SampleRecord.h"
#include "tools/kvbank/export/WaveForm.h"

namespace Kestrova::Test {
namespace {

constexpr uint32_t kFloat32 = 32 | kSampleFormatFlag;

// One sample of a format, given as its little-endian number, as one of nBits bits.
int32_t Converted(uint32_t nSample, uint32_t nFormat, uint32_t nBits, uint64_t& nRounded) {
    uint8_t bytes[4];
    std::memcpy(bytes, &nSample, sizeof bytes);
    return SampleAt(bytes, nFormat, nBits, nRounded) / (1 << (32 - nBits));
}

TEST(WaveFormTest, WiderSamplesAreExact) {
    uint64_t nRounded = 0;
    EXPECT_EQ(-0x800000, Converted(0x8000, 16, 24, nRounded));
    EXPECT_EQ(0x7FFF00, Converted(0x7FFF, 16, 24, nRounded));
    EXPECT_EQ(-0x100, Converted(0xFFFF, 16, 24, nRounded));
    EXPECT_EQ(-0x8000, Converted(0x00, 8, 16, nRounded)) << "8 bits are unsigned";
    EXPECT_EQ(0x7F00, Converted(0xFF, 8, 16, nRounded));
    EXPECT_EQ(0u, nRounded);
}

TEST(WaveFormTest, NarrowerSamplesAreRoundedAndCounted) {
    static constexpr struct {
        uint32_t nSample;
        uint32_t nFormat;
        uint32_t nBits;
        int32_t nWanted;
        uint64_t nRounded;
    } kRows[] = {
        {0x001200, 24, 16, 0x12, 0},       {0x00127F, 24, 16, 0x12, 1},
        {0x001280, 24, 16, 0x13, 1},       {0xFFFF80, 24, 16, 0, 1},  // half a step below 0 goes up
        {0x7FFFFF, 24, 16, 0x7FFF, 1},                                // nothing above the largest
        {0x800000, 24, 16, -0x8000, 0},    {0x12345678, 32, 24, 0x123456, 1},
        {0x12345680, 32, 24, 0x123457, 1}, {0x12345600, 32, 24, 0x123456, 0},
    };
    for (const auto& row : kRows) {
        uint64_t nRounded = 0;
        EXPECT_EQ(row.nWanted, Converted(row.nSample, row.nFormat, row.nBits, nRounded)) << row.nSample;
        EXPECT_EQ(row.nRounded, nRounded) << row.nSample;
    }
}

TEST(WaveFormTest, FloatsAreHeldToFullScaleAndNoNumberIsSilence) {
    static constexpr struct {
        float fSample;
        int32_t nWanted;
        uint64_t nRounded;
    } kRows[] = {{0.5F, 0x400000, 0},    {-1.0F, -0x800000, 0},
                 {1.0F, 0x7FFFFF, 1},    {std::numeric_limits<float>::infinity(), 0x7FFFFF, 1},
                 {-1e30F, -0x800000, 1}, {std::numeric_limits<float>::quiet_NaN(), 0, 1},
                 {1e-30F, 0, 1}};
    for (const auto& row : kRows) {
        uint32_t nSample = 0;
        std::memcpy(&nSample, &row.fSample, sizeof nSample);
        uint64_t nRounded = 0;
        EXPECT_EQ(row.nWanted, Converted(nSample, kFloat32, 24, nRounded)) << row.fSample;
        EXPECT_EQ(row.nRounded, nRounded) << row.fSample;
    }
}

TEST(WaveFormTest, OtherFormatsCannotBeConverted) {
    for (const uint32_t nFormat : {0u, 12u, 20u, 40u, 64u, 64u | kSampleFormatFlag, 16u | kSampleFormatFlag})
        EXPECT_FALSE(IsConvertible(nFormat)) << nFormat;
}

TEST(WaveFormTest, ALoopIsCutToItsWaveAndOneOutsideItGoes) {
    CSDBISampleEUWave sample(1, kSdbNoID);
    ASSERT_TRUE(sample.AllocLoops(4));
    sample.GetLoops()[0] = {7, 10, 99, 3};
    sample.GetLoops()[1] = {8, 10, 100, 0};
    sample.GetLoops()[2] = {9, 100, 120, 0};
    sample.GetLoops()[3] = {10, 50, 40, 0};
    EXPECT_EQ(3u, MendLoops(sample, 100));
    ASSERT_EQ(2u, sample.m_info.cLayerLoops);
    EXPECT_EQ(7u, sample.GetLoops()[0].nCueID);
    EXPECT_EQ(3u, sample.GetLoops()[0].nPlayCount);
    EXPECT_EQ(8u, sample.GetLoops()[1].nCueID);
    EXPECT_EQ(99u, sample.GetLoops()[1].nEnd);
    EXPECT_EQ(0u, MendLoops(sample, 100));
}

// Q143
TEST(WaveFormTest, ANegativeFineTuneIsNamedFromTheKeyBelow) {
    CSDBISampleEUWave sample(1, kSdbNoID);
    sample.m_info.nRootKey = 60;
    sample.m_info.nFineTune = -7;
    NamePitchUpward(sample);
    EXPECT_EQ(59u, sample.m_info.nRootKey);
    EXPECT_EQ(93, sample.m_info.nFineTune);
    NamePitchUpward(sample);
    EXPECT_EQ(59u, sample.m_info.nRootKey);
    sample.m_info.nRootKey = 0;
    sample.m_info.nFineTune = -7;
    NamePitchUpward(sample);
    EXPECT_EQ(-7, sample.m_info.nFineTune) << "there is no key below";
}

}  // namespace
}  // namespace Kestrova::Test
