// Compressing a plain sample's wave once, ahead of its writing.
#include <gtest/gtest.h>

#include <cstring>

#include "SamplerDBDS/DataBase/SDBISample.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/RecordBytes.h"
#include "tests/support/WaveMaker.h"

namespace Kestrova::Test {
namespace {

void Load(CSDBISampleWave& sample, const Bytes& wave) {
    sample.m_info.lWave = static_cast<uint32_t>(wave.size());
    ASSERT_TRUE(sample.SmplMemAlloc());
    std::memcpy(sample.m_info.pWave, wave.data(), wave.size());
}

TEST(PackWaveTest, ThePackedRecordHasTheBytesOfOneThatCompressesTwice) {
    const Bytes wave = MakeWave(2000, 16, 2);
    CSDBISampleWave packed(1, 2), twice(1, 2);
    Load(packed, wave);
    Load(twice, wave);
    EXPECT_TRUE(packed.PackWave());
    twice.CalcCompressSize();
    EXPECT_EQ(nullptr, packed.m_info.pWave) << "its memory is given back";
    EXPECT_EQ(twice.m_lStored, packed.m_lStored);
    EXPECT_EQ(twice.GetSize(), packed.GetSize());
    EXPECT_EQ(Encode(twice), Encode(packed));
}

TEST(PackWaveTest, AWaveThatDoesNotShrinkStaysRaw) {
    const Bytes wave = MakeNoise(8);
    CSDBISampleWave sample(1, 2);
    Load(sample, wave);
    EXPECT_TRUE(sample.PackWave());
    EXPECT_EQ(8u, sample.m_lStored);
    ASSERT_NE(nullptr, sample.m_info.pWave);
    CSDBISampleWave again(1, 2);
    ASSERT_TRUE(Decode(again, Encode(sample)));
    EXPECT_EQ(0, std::memcmp(wave.data(), again.m_info.pWave, 8));
}

TEST(PackWaveTest, WithoutAWaveOnlyTheSizeIsSet) {
    CSDBISampleWave sample(1, 2);
    sample.m_info.lWave = 77;
    EXPECT_TRUE(sample.PackWave());
    EXPECT_EQ(77u, sample.m_lStored);
}

TEST(PackWaveTest, WithoutMemoryTheCompressedSizeIsNotToBeHad) {
    CSDBISampleWave sample(1, 2);
    Load(sample, MakeWave(500, 16, 2));
    {
        const PosixFault fault("realloc", ENOMEM);
        EXPECT_FALSE(sample.CalcCompressSize());
        EXPECT_EQ(2000u, sample.m_lStored);
    }
    EXPECT_TRUE(sample.CalcCompressSize());
    EXPECT_GT(2000u, sample.m_lStored);
}

TEST(PackWaveTest, WithoutMemoryItSaysSoAndTheWaveStays) {
    CSDBISampleWave sample(1, 2);
    Load(sample, MakeWave(500, 16, 2));
    const PosixFault fault("realloc", ENOMEM);
    EXPECT_FALSE(sample.PackWave());
    EXPECT_EQ(2000u, sample.m_lStored);
    EXPECT_NE(nullptr, sample.m_info.pWave);
}

TEST(PackWaveTest, ClearEndsIt) {
    CSDBISampleWave sample(1, 2);
    const Bytes fresh = Encode(sample);
    Load(sample, MakeWave(500, 16, 2));
    sample.PackWave();
    sample.Clear(false);
    EXPECT_EQ(fresh, Encode(sample));
}

}  // namespace
}  // namespace Kestrova::Test
