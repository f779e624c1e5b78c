#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <limits>
#include <string>

#include "SamplerDBDS/DataBase/SDBISample.h"
#include "SamplerDBDS/DataBase/SDBISampleEU.h"
#include "SamplerDBDS/DataBase/SDBIWaveFile.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/RecordBytes.h"
#include "tests/support/WaveMaker.h"

namespace Kestrova::Test {
namespace {

class ExportTest : public ::testing::Test {
protected:
    // A sample whose wave is to be exported.
    template <class TSample>
    static void Fill(TSample& sample, uint32_t nFormat, uint32_t nChannels, const Bytes& wave) {
        sample.m_info.nSampleRate = 48000;
        sample.m_info.nFormat = nFormat;
        sample.m_info.nChannels = nChannels;
        sample.m_info.lWave = static_cast<uint32_t>(wave.size());
        if (wave.empty()) return;
        ASSERT_TRUE(sample.SmplMemAlloc());
        std::memcpy(sample.m_info.pWave, wave.data(), wave.size());
    }

    std::string Path() const { return m_dir.File("out.wav"); }
    Bytes Written() const { return ReadFile(Path()); }
    bool Exists() const { return std::filesystem::exists(Path()); }

    TempDir m_dir;
    CSDBISampleWave m_sample{1, 2};
};

TEST_F(ExportTest, PlainWaveIsFormatAndData) {
    Fill(m_sample, 16, 2, Counting(8));
    ASSERT_TRUE(m_sample.ExportToFile(Path().c_str()));
    BodyBuilder expected;
    expected.Id("RIFF").Word(44).Id("WAVE").Id("fmt ").Word(16).Half(1).Half(2).Word(48000).Word(192000).Half(
        4);
    expected.Half(16).Id("data").Counted(Counting(8));
    EXPECT_EQ(expected.Get(), Written());
}

TEST_F(ExportTest, AnOpenFileGetsTheBytesOfAFileWithAName) {
    Fill(m_sample, 16, 2, Counting(8));
    ASSERT_TRUE(m_sample.ExportToFile(Path().c_str()));
    const std::string strOpen = m_dir.File("open.wav");
    CXFile file;
    ASSERT_TRUE(file.Create(strOpen.c_str()));
    EXPECT_TRUE(m_sample.ExportTo(file));
    file.Close();
    EXPECT_EQ(Written(), ReadFile(strOpen));
}

TEST_F(ExportTest, AnOpenFileStaysEmptyWhenTheWaveFitsNoFile) {
    Fill(m_sample, 20, 2, Counting(8));
    const std::string strOpen = m_dir.File("open.wav");
    CXFile file;
    ASSERT_TRUE(file.Create(strOpen.c_str()));
    EXPECT_FALSE(m_sample.ExportTo(file));
    file.Close();
    EXPECT_EQ(Bytes(), ReadFile(strOpen));
}

TEST_F(ExportTest, LoopsRootKeyAndFineTuneGoIntoTheSamplerChunk) {
    Fill(m_sample, 0x80000020, 1, Counting(8));
    m_sample.m_info.nRootKey = 60;
    m_sample.m_info.nFineTune = -50;
    ASSERT_TRUE(m_sample.AllocLoops(1));
    m_sample.GetLoops()[0] = {9, 1, 2, 3};
    ASSERT_TRUE(m_sample.ExportToFile(Path().c_str()));
    BodyBuilder expected;
    expected.Id("RIFF")
        .Word(44 + 8 + 60)
        .Id("WAVE")
        .Id("fmt ")
        .Word(16)
        .Half(3)
        .Half(1)
        .Word(48000)
        .Word(192000);
    expected.Half(4).Half(32).Id("data").Counted(Counting(8)).Id("smpl").Word(60).Word(0).Word(0).Word(20833);
    expected.Word(60)
        .Word(0x80000000)
        .Word(0)
        .Word(0)
        .Word(1)
        .Word(0)
        .Word(9)
        .Word(0)
        .Word(1)
        .Word(2)
        .Word(0)
        .Word(3);
    EXPECT_EQ(expected.Get(), Written());
}

TEST_F(ExportTest, SamplerChunkIsWrittenWhenThereIsSomethingToTell) {
    struct Case {
        const char* pszWhy;
        uint32_t nLoops, nRootKey;
        int32_t nFineTune;
        bool bWritten;
    };
    constexpr Case kCases[] = {
        {"nothing", 0, 0, 0, false},
        {"a loop", 1, 0, 0, true},
        {"a root key", 0, 1, 0, true},
        {"a fine tune", 0, 0, -1, true},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.pszWhy);
        CSDBISampleWave sample(1, 2);
        Fill(sample, 16, 2, Counting(8));
        sample.m_info.nRootKey = c.nRootKey;
        sample.m_info.nFineTune = c.nFineTune;
        ASSERT_TRUE(sample.AllocLoops(c.nLoops));
        ASSERT_TRUE(sample.ExportToFile(Path().c_str()));
        EXPECT_EQ(52u + (c.bWritten ? 44 + 24 * c.nLoops : 0), Written().size());
    }
}

TEST_F(ExportTest, ExportIsReadBackAsAnExternalFile) {
    for (const uint32_t nFormat : {8u, 16u, 24u, 32u, 0x80000020u, 0x80000040u}) {
        SCOPED_TRACE(nFormat);
        const uint32_t nBytes = (nFormat & 0xFF) / 8;
        const Bytes wave = MakeNoise(100 * 2 * nBytes);
        CSDBISampleEUWave from(1, 2);
        Fill(from, nFormat, 2, wave);
        from.m_info.nRootKey = 61;
        from.m_info.nFineTune = -49;
        ASSERT_TRUE(from.AllocLoops(2));
        from.GetLoops()[1] = {1, 2, 0xFFFFFFFF, 4};
        ASSERT_TRUE(from.ExportToFile(Path().c_str()));

        CSDBISampleWave to(1, 2);
        CopyStgStr(to.m_szFile, Path().c_str());
        ASSERT_TRUE(to.GetExtFileInfo());
        ASSERT_TRUE(to.GetExtFileData());
        EXPECT_EQ(wave, Bytes(to.m_info.pWave, to.m_info.pWave + to.m_info.lWave));
        EXPECT_EQ(48000u, to.m_info.nSampleRate);
        EXPECT_EQ(nFormat, to.m_info.nFormat);
        EXPECT_EQ(2u, to.m_info.nChannels);
        EXPECT_EQ(100u, to.m_info.nFrames);
        EXPECT_EQ(61u, to.m_info.nRootKey);
        EXPECT_EQ(-49, to.m_info.nFineTune);
        ASSERT_EQ(2u, to.m_info.cLayerLoops);
        EXPECT_EQ(0, std::memcmp(from.GetLoops(), to.GetLoops(), 32));
    }
}

TEST_F(ExportTest, OddDataIsPaddedAndOnlyWholeFramesAreWritten) {
    Fill(m_sample, 24, 1, Counting(11));
    m_sample.m_info.nRootKey = 60;
    ASSERT_TRUE(m_sample.ExportToFile(Path().c_str()));
    const Bytes file = Written();
    EXPECT_EQ(BodyBuilder().Id("data").Counted(Counting(9)).Zeros(1).Id("smpl").Get(),
              Bytes(file.begin() + 36, file.begin() + 36 + 8 + 10 + 4));
    EXPECT_EQ(0u, file.size() % 2);
    uint32_t nRiff = 0;
    std::memcpy(&nRiff, &file[4], 4);
    EXPECT_EQ(file.size() - 8, nRiff);
}

uint32_t WordOf(float f) {
    uint32_t n;
    std::memcpy(&n, &f, 4);
    return n;
}

TEST_F(ExportTest, TheSecondFormConvertsTo24Bits) {
    struct Case {
        const char* pszWhy;
        uint32_t nFormat;
        Bytes wave;
        Bytes expected;
    };
    BodyBuilder floats;
    for (const float f : {0.0f, 1.0f, -1.0f, 0.5f, -0.5f, 2.0f, -2.0f, 1.0f / 8388608, -3.0f / 8388608,
                          std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()})
        floats.Word(WordOf(f));
    const Case cases[] = {
        {"8 bits are unsigned", 8, {0, 1, 128, 255}, {0, 0, 0x80, 0, 0, 0x81, 0, 0, 0, 0, 0, 0x7F}},
        {"16 bits", 16, {0x34, 0x12, 0xFF, 0xFF}, {0, 0x34, 0x12, 0, 0xFF, 0xFF}},
        {"24 bits as they are", 24, Counting(9), Counting(9)},
        {"32 bits lose the lowest byte", 32, {9, 1, 2, 0x83}, {1, 2, 0x83}},
        {"floats are held to full scale",
         0x80000020,
         floats.Get(),
         {0,    0, 0, 0xFF, 0xFF, 0x7F, 0, 0,    0x80, 0,    0, 0x40, 0, 0,    0xC0, 0xFF, 0xFF,
          0x7F, 0, 0, 0x80, 1,    0,    0, 0xFD, 0xFF, 0xFF, 0, 0,    0, 0xFF, 0xFF, 0x7F}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pszWhy);
        CSDBISampleWave sample(1, 2);
        Fill(sample, c.nFormat, 1, c.wave);
        ASSERT_TRUE(sample.ExportToFile24(Path().c_str()));
        const Bytes file = Written();
        EXPECT_EQ(BodyBuilder().Half(1).Half(1).Word(48000).Word(144000).Half(3).Half(24).Id("data").Get(),
                  Bytes(file.begin() + 20, file.begin() + 40));
        EXPECT_EQ(c.expected, Bytes(file.begin() + 44,
                                    file.begin() + 44 + static_cast<std::ptrdiff_t>(c.expected.size())));
    }
}

TEST_F(ExportTest, LongWavesAreConvertedWhole) {
    const Bytes wave = MakeNoise(2 * 3 * 20000);
    Fill(m_sample, 16, 3, wave);
    ASSERT_TRUE(m_sample.ExportToFile24(Path().c_str()));
    const Bytes file = Written();
    ASSERT_EQ(44u + 3 * 60000, file.size());
    for (size_t i = 0; i < 60000; ++i) {
        ASSERT_EQ(0, file[44 + 3 * i]);
        ASSERT_EQ(0, std::memcmp(&wave[2 * i], &file[45 + 3 * i], 2)) << i;
    }
}

TEST_F(ExportTest, WhatTheFieldsCannotHoldIsRefusedAndThePathNotTouched) {
    struct Case {
        const char* pszWhy;
        uint32_t nFormat, nChannels, nRate;
        size_t nWave;
        bool bPlain, b24;
    };
    constexpr Case kCases[] = {
        {"no wave", 16, 2, 48000, 0, false, false},
        {"less than a frame", 16, 2, 48000, 3, false, false},
        {"no channels", 16, 0, 48000, 8, false, false},
        {"no bits", 0, 2, 48000, 8, false, false},
        {"20 bits", 20, 2, 48000, 8, false, false},
        {"64-bit floats", 0x80000040, 1, 48000, 8, true, false},
        {"a width above 16 bits", 0x10010, 1, 48000, 80000, false, false},
        {"frames above 16 bits", 16, 0x8000, 1, 0x10000, false, false},
        {"frames that are too large as 24 bits only", 16, 0x5556, 1, 0x20000, true, false},
        {"bytes per second above 32 bits", 16, 2, 0x40000000, 8, false, false},
        {"bytes per second above 32 bits as 24 bits only", 16, 2, 0x3FFFFFFF, 8, true, false},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.pszWhy);
        CSDBISampleWave sample(1, 2);
        Fill(sample, c.nFormat, c.nChannels, Counting(c.nWave));
        sample.m_info.nSampleRate = c.nRate;
        EXPECT_EQ(c.bPlain, sample.ExportToFile(Path().c_str()));
        EXPECT_EQ(c.bPlain, Exists());
        std::filesystem::remove(Path());
        EXPECT_EQ(c.b24, sample.ExportToFile24(Path().c_str()));
        EXPECT_EQ(c.b24, Exists());
        std::filesystem::remove(Path());
    }
}

TEST_F(ExportTest, FilesThatCannotBeWrittenAreRemoved) {
    Fill(m_sample, 16, 2, MakeNoise(200000));
    m_sample.m_info.nRootKey = 60;
    for (uint64_t nRoom = 0; nRoom < 200100; nRoom += 40020) {
        FaultyFileEnv env;
        env.FillDiskAfter(nRoom);
        EXPECT_FALSE(m_sample.ExportToFile(Path().c_str()));
        EXPECT_FALSE(m_sample.ExportToFile24(Path().c_str()));
        EXPECT_FALSE(Exists());
    }
    {
        FaultyFileEnv env;
        env.FailCallOf(FileOp::kClose, 1);
        EXPECT_FALSE(m_sample.ExportToFile(Path().c_str()));
        EXPECT_FALSE(Exists());
    }
    EXPECT_FALSE(m_sample.ExportToFile(nullptr));
    EXPECT_FALSE(m_sample.ExportToFile((m_dir.Path() / "none" / "x.wav").c_str()));
}

}  // namespace
}  // namespace Kestrova::Test
