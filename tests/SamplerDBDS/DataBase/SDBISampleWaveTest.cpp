#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "SamplerDBDS/DataBase/SDBISample.h"
#include "SamplerDBDS/DataBase/SDBISampleEU.h"
#include "codec/ReadBudget.h"
#include "tests/SamplerDBDS/DataBase/SampleBodies.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/RecordBytes.h"
#include "tests/support/WaveMaker.h"

namespace Kestrova::Test {
namespace {

TEST(CompressSizeTest, IsTheCompressedLengthOfTheWave) {
    const Bytes wave = MakeWave(2000, 16, 2);
    CSDBISampleWave sample(1, 2);
    LoadWave(sample, wave);
    sample.CalcCompressSize();
    EXPECT_EQ(Packed(wave, 16).size(), sample.m_lStored);
    EXPECT_EQ(wave, WaveOf(sample));
}
// Q82

// Q82
TEST(CompressSizeTest, LengthAboveTheWavesIsKept) {
    const Bytes wave = MakeNoise(8);
    CSDBISampleWave sample(1, 2);
    LoadWave(sample, wave);
    sample.CalcCompressSize();
    EXPECT_GT(sample.m_lStored, 8u);
    const Bytes body = Encode(sample);
    EXPECT_EQ(sample.GetSize(), body.size());
    CSDBISampleWave again(1, 2);
    ASSERT_TRUE(Decode(again, body));
    EXPECT_EQ(wave, WaveOf(again));
}

TEST(CompressSizeTest, IsTheExpandedSizeWithoutWaveOrCompression) {
    CSDBISampleWave sample(1, 2);
    sample.m_info.lWave = 77;
    sample.CalcCompressSize();
    EXPECT_EQ(77u, sample.m_lStored);
    sample.m_info.nFormat = 8;  // a width without compression
    LoadWave(sample, Counting(50));
    sample.CalcCompressSize();
    EXPECT_EQ(50u, sample.m_lStored);
    EXPECT_EQ(sample.GetSize(), Encode(sample).size());
}

TEST(CompressSizeTest, WithoutMemoryTheWaveIsStoredRaw) {
    CSDBISampleWave sample(1, 2);
    LoadWave(sample, MakeWave(500, 16, 2));
    const PosixFault fault("realloc", ENOMEM);
    sample.CalcCompressSize();
    EXPECT_EQ(2000u, sample.m_lStored);
}

TEST(ReadBudgetOfASampleTest, ACompressedWaveAboveItIsNotExpanded) {
    const Bytes wave = MakeWave(2000, 16, 2);
    PlainBody body = PlainBody().Compressed(wave);
    for (const bool bInForce : {true, false}) {
        std::optional<ReadBudget> budget;
        if (bInForce) budget.emplace();
        for (const uint32_t nMore : {0u, 2u}) {
            body.nExpanded = static_cast<uint32_t>(kReadBudgetFloor) + nMore;
            CSDBISampleWave sample(1, 2);
            EXPECT_FALSE(Decode(sample, body.Get()));  // in any case: the stream has not as much
            EXPECT_EQ(bInForce && nMore > 0, sample.IsOverReadBudget());
            body.nExpanded = static_cast<uint32_t>(wave.size());
            EXPECT_TRUE(Decode(sample, body.Get()));
            EXPECT_FALSE(sample.IsOverReadBudget());
        }
    }
}

TEST(ReadBudgetOfASampleTest, AHeaderAboveItIsRead) {
    PlainBody body = PlainBody().Compressed(MakeWave(2000, 16, 2));
    body.nExpanded = 0xFFFFFFFE;
    const ReadBudget budget;
    CSDBISampleInfo sample(1, 2);
    EXPECT_TRUE(Decode(sample, body.Get()));
    EXPECT_EQ(0xFFFFFFFE, sample.m_info.lWave);
}

class WriteIntWaveTest : public ::testing::Test {
protected:
    WriteIntWaveTest() { m_file.Create(m_dir.File("f").c_str()); }
    Bytes Written() {
        m_file.Close();
        return ReadFile(m_dir.File("f"));
    }
    TempDir m_dir;
    CXFile m_file;
    CSDBISampleWave m_sample{1, 2};
};

TEST_F(WriteIntWaveTest, StoredSizeZeroWritesNothing) {
    LoadWave(m_sample, Counting(8));
    EXPECT_FALSE(m_sample.WriteIntWave(&m_file));
    EXPECT_EQ(Bytes(), Written());
}

TEST_F(WriteIntWaveTest, WithoutAWaveWritesNothing) {
    m_sample.m_info.lWave = m_sample.m_lStored = 8;
    EXPECT_FALSE(m_sample.WriteIntWave(&m_file));
    m_sample.m_lStored = 7;
    EXPECT_FALSE(m_sample.WriteIntWave(&m_file));
    EXPECT_EQ(Bytes(), Written());
}

TEST_F(WriteIntWaveTest, CompressedLengthMustBeTheStoredSize) {
    LoadWave(m_sample, MakeWave(200, 16, 2));
    m_sample.CalcCompressSize();
    ++m_sample.m_lStored;
    EXPECT_FALSE(m_sample.WriteIntWave(&m_file));
    --m_sample.m_lStored;
    EXPECT_TRUE(m_sample.WriteIntWave(&m_file));
    EXPECT_EQ(Packed(MakeWave(200, 16, 2), 16), Written());
}
// Q81

// Q81
TEST_F(WriteIntWaveTest, RawWaveIsCutToWholeSamples) {
    m_sample.m_info.nFormat = 24;
    LoadWave(m_sample, Counting(11));
    m_sample.m_lStored = 11;
    EXPECT_TRUE(m_sample.WriteIntWave(&m_file));
    EXPECT_EQ(Counting(9), Written());
    EXPECT_EQ(50u + 11, m_sample.GetSize()) << "counts what is stated";
}

TEST_F(WriteIntWaveTest, SamplesOfNoBytesAreRefused) {
    m_sample.m_info.nFormat = 7;
    LoadWave(m_sample, Counting(11));
    m_sample.m_lStored = 11;
    EXPECT_FALSE(m_sample.WriteIntWave(&m_file));
    EXPECT_EQ(Bytes(), Written());
}

TEST(SampleTest, RecordWithoutStoredWaveWritesNone) {
    CSDBISampleWave sample(1, 2);
    LoadWave(sample, Counting(8));
    EXPECT_EQ(50u, sample.GetSize());
    EXPECT_EQ(50u, Encode(sample).size());
}

TEST(WaveMemoryTest, LoadingClassesGet256SilentFramesOnBothSides) {
    struct Case {
        const char* pszWhy;
        std::unique_ptr<CSDBISampleBase> pSample;
        uint32_t nGuard;
    };
    Case cases[] = {
        {"plain, stored only", std::make_unique<CSDBISample>(1, 2, 0), 0},
        {"plain, header", std::make_unique<CSDBISampleInfo>(1, 2), 0},
        {"plain, wave", std::make_unique<CSDBISampleWave>(1, 2), 256 * 3 * 2},
        {"enriched, header", std::make_unique<CSDBISampleEUInfo>(1, 2), 0},
        {"enriched, wave", std::make_unique<CSDBISampleEUWave>(1, 2), 256 * 3 * 2},
        {"enriched, another type", std::make_unique<CSDBISampleEU>(1, 2, 2), 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pszWhy);
        c.pSample->m_info.nFormat = 0x80000018;
        c.pSample->m_info.nChannels = 2;
        LoadWave(*c.pSample, Counting(12));
        const uint8_t* pBegin = c.pSample->m_info.pWave - c.nGuard;
        EXPECT_EQ(Bytes(c.nGuard), Bytes(pBegin, pBegin + c.nGuard));
        EXPECT_EQ(Counting(12), WaveOf(*c.pSample));
        const uint8_t* pEnd = c.pSample->m_info.pWave + 12;
        EXPECT_EQ(Bytes(c.nGuard), Bytes(pEnd, pEnd + c.nGuard));
    }
}

TEST(WaveMemoryTest, IsFreedFromItsStartThoughTheHeaderChanged) {
    CSDBISampleWave sample(1, 2);
    LoadWave(sample, Counting(12));
    sample.m_info.nFormat = 24;
    sample.m_info.nChannels = 7;
    sample.SmplMemFree();
    EXPECT_EQ(nullptr, sample.m_info.pWave);
    EXPECT_EQ(12u, sample.m_info.lWave) << "the plain kind keeps the length";
    LoadWave(sample, Counting(5));
    EXPECT_EQ(Counting(5), WaveOf(sample));
}

TEST(WaveMemoryTest, FramesNobodyInterpolatesGetNoGuard) {
    CSDBISampleWave sample(1, 2);
    sample.m_info.nFormat = 0x7FFFFFFF;
    sample.m_info.nChannels = 0xFFFFFFFF;
    const PosixFault fault("calloc", ENOMEM, 1000000);
    LoadWave(sample, Counting(5));
    EXPECT_EQ(Counting(5), WaveOf(sample));
    sample.SmplMemFree();
    sample.m_info.nFormat = 16;
    sample.m_info.nChannels = 0x8000;  // 64 KiB: the largest that gets one
    LoadWave(sample, Counting(5));
    EXPECT_EQ(0, sample.m_info.pWave[-256 * 0x10000]);
}

TEST(WaveMemoryTest, MisuseAndFailure) {
    CSDBISampleWave sample(1, 2);
    EXPECT_DEATH(sample.SmplMemAlloc(), "SamplerDBDS/DataBase/SDBInterpreter.*m_info.lWave > 0");
    sample.m_info.lWave = 4;
    {
        const PosixFault fault("calloc", ENOMEM);
        EXPECT_FALSE(sample.SmplMemAlloc());
        EXPECT_EQ(nullptr, sample.m_info.pWave);
    }
    ASSERT_TRUE(sample.SmplMemAlloc());
    EXPECT_DEATH(sample.SmplMemAlloc(), "SamplerDBDS/DataBase/SDBInterpreter.*m_info.pWave == NULL");
}

}  // namespace
}  // namespace Kestrova::Test
