#include <gtest/gtest.h>

#include <cmath>

#include "bank/Resampler.h"
#include "tests/support/TempDir.h"
#include "tools/kvbank/render/PitchedWave.h"

namespace Kestrova::Test {
namespace {

// Sixteen bits, mono: the frames 1000, 1001, 1002 ...
struct Ramp {
    explicit Ramp(uint64_t nFrames) {
        for (uint64_t n = 0; n < nFrames; ++n) {
            bytes.push_back(static_cast<uint8_t>(1000 + n));
            bytes.push_back(static_cast<uint8_t>((1000 + n) >> 8));
        }
        wave = {bytes, nFrames};
    }
    Bytes bytes;
    WaveFrames wave;
};

std::vector<int> ValuesOf(const std::vector<uint8_t>& bytes) {
    std::vector<int> values;
    for (size_t n = 0; n + 1 < bytes.size(); n += 2)
        values.push_back(static_cast<int16_t>(bytes[n] | bytes[n + 1] << 8));
    return values;
}

kvb_sample SampleAt(uint32_t nRate, uint32_t nRootKey, int nFineTune) {
    kvb_sample sample{};
    sample.rate = nRate;
    sample.root_key = nRootKey;
    sample.fine_tune = nFineTune;
    return sample;
}

TEST(PlayRatioTest, CountsKeysCentsAndRates) {
    EXPECT_EQ(1.0, PlayRatio(SampleAt(44100, 60, 0), 60, 44100));
    EXPECT_EQ(2.0, PlayRatio(SampleAt(44100, 60, 0), 72, 44100));
    EXPECT_EQ(0.25, PlayRatio(SampleAt(44100, 60, 0), 48, 88200));
    EXPECT_NEAR(std::exp2(-50 / 1200.0), PlayRatio(SampleAt(44100, 60, 50), 60, 44100), 1e-6);
    EXPECT_NEAR(std::exp2(749 / 1200.0), PlayRatio(SampleAt(48000, 60, -49), 67, 48000), 1e-6);
}

TEST(PlayRatioTest, ARootKeyThatIsNoKeyHasNone) {
    EXPECT_EQ(0.0, PlayRatio(SampleAt(44100, 0xFFFFFFFF, 0), 60, 44100));
    EXPECT_EQ(0.0, PlayRatio(SampleAt(44100, 189, 0), 60, 44100));
    EXPECT_GT(PlayRatio(SampleAt(44100, 188, 0), 60, 44100), 0.0);
}

TEST(PlayWaveTest, AtARatioOfOneFramesAreCopiedAndSilenceFollows) {
    const Ramp ramp(4);
    EXPECT_EQ((std::vector<int>{1000, 1001, 1002, 1003, 0, 0}),
              ValuesOf(*PlayWave(ramp.wave, 2, std::nullopt, 1.0, 6)));
    EXPECT_EQ((std::vector<int>{1000, 1001}), ValuesOf(*PlayWave(ramp.wave, 2, std::nullopt, 1.0, 2)));
}

TEST(PlayWaveTest, TheLoopIsRepeatedAtItsSeamWithItsLastFrame) {
    const Ramp ramp(6);
    EXPECT_EQ((std::vector<int>{1000, 1001, 1002, 1003, 1001, 1002, 1003, 1001}),
              ValuesOf(*PlayWave(ramp.wave, 2, kvb_loop{1, 3, 0, 0}, 1.0, 8)));
    EXPECT_EQ((std::vector<int>{1000, 1001, 1002, 1002, 1002}),
              ValuesOf(*PlayWave(ramp.wave, 2, kvb_loop{2, 2, 0, 0}, 1.0, 5)));
}

// The frames are those that a build would make of the same wave, written out, with the loop's next frames
// behind it.
TEST(PlayWaveTest, OtherPitchesAreMadeByTheBanksResampler) {
    const Ramp ramp(1000);
    const double ratio = std::exp2(3 / 12.0);
    std::vector<uint8_t> written(256 * 2);
    for (uint64_t n = 0; n < 5000; ++n) {
        const uint64_t nFrame = n < 900 ? n : 400 + (n - 400) % 500;
        written.push_back(ramp.bytes[2 * nFrame]);
        written.push_back(ramp.bytes[2 * nFrame + 1]);
    }
    std::vector<uint8_t> expected(2 * 3000);
    long nProduced = 0;
    const Resampler resampler(ratio, written.data() + 512, 4700, expected.data(), 3000, 2, 7, &nProduced);
    ASSERT_EQ(3000, nProduced);
    EXPECT_EQ(expected, *PlayWave(ramp.wave, 2, kvb_loop{400, 899, 0, 0}, ratio, 3000));
}

TEST(PlayWaveTest, AWaveWithoutALoopEndsInSilence) {
    const Ramp ramp(1000);
    const std::vector<int> values = ValuesOf(*PlayWave(ramp.wave, 2, std::nullopt, 2.0, 2000));
    ASSERT_EQ(2000u, values.size());
    EXPECT_NE(0, values[490]);
    EXPECT_EQ(std::vector<int>(1490, 0), std::vector<int>(values.begin() + 510, values.end()));
}

TEST(PlayWaveTest, WhatCannotBeConvertedGivesNothing) {
    const Ramp ramp(10);
    const kvb_loop loop{0, 9, 0, 0};
    EXPECT_FALSE(PlayWave(ramp.wave, 2, loop, 0, 10));
    EXPECT_FALSE(PlayWave(ramp.wave, 2, loop, NAN, 10));
    EXPECT_FALSE(PlayWave(ramp.wave, 2, loop, 60000, 1000000)) << "it would need 120 GB";
    EXPECT_FALSE(PlayWave(ramp.wave, 2, loop, 1e-9, 10)) << "no step at all";
}

}  // namespace
}  // namespace Kestrova::Test
