#include <gtest/gtest.h>

#include "tests/support/TempDir.h"
#include "tools/kvbank/render/WaveMix.h"

namespace Kestrova::Test {
namespace {

// The low bytes of each value, little-endian.
Bytes Packed(const std::vector<int>& values, int nBytes) {
    Bytes bytes;
    for (const int nValue : values)
        for (int i = 0; i < nBytes; ++i) bytes.push_back(static_cast<uint8_t>(nValue >> (8 * i)));
    return bytes;
}

TEST(WaveMixTest, WavesAreAddedWhereTheyBegin) {
    WaveMix mix({44100, 16, 1}, 5);
    mix.Add(Packed({1, -2, 3}, 2), 16, 1, 0, 0);
    mix.Add(Packed({100, 200, -300}, 2), 16, 1, 2, 0);
    EXPECT_EQ(Packed({1, -2, 103, 200, -300}, 2), mix.Frames());
    EXPECT_EQ(1.0, mix.Gain());
}

TEST(WaveMixTest, AMonoWaveIsHeardOnBothSides) {
    WaveMix mix({44100, 16, 2}, 2);
    mix.Add(Packed({10, 20}, 2), 16, 1, 0, 0);
    mix.Add(Packed({1, 2, 3, 4}, 2), 16, 2, 0, 0);
    EXPECT_EQ(Packed({11, 12, 23, 24}, 2), mix.Frames());
}

TEST(WaveMixTest, SixteenBitsAreTheUpperOnesOfTwentyFour) {
    WaveMix mix({44100, 24, 1}, 2);
    mix.Add(Packed({0x1234, -1}, 2), 16, 1, 0, 0);
    mix.Add(Packed({0x000056, -8388608 + 256}, 3), 24, 1, 0, 0);
    EXPECT_EQ(Packed({0x123456, -8388608}, 3), mix.Frames());
}

TEST(WaveMixTest, TheEndFadesInAStraightLine) {
    WaveMix mix({44100, 16, 1}, 6);
    mix.Add(Packed({1000, 1000, 1000, 1000, 1000, -1000}, 2), 16, 1, 0, 4);
    EXPECT_EQ(Packed({1000, 1000, 1000, 750, 500, -250}, 2), mix.Frames());
}

// Cut off values would crackle, wrapped ones would roar.
TEST(WaveMixTest, WavesThatAreTooLoudTogetherAreLoweredInProportion) {
    WaveMix mix({44100, 24, 1}, 3);
    for (int n = 0; n < 4; ++n) mix.Add(Packed({8388607, -4194304, 100}, 3), 24, 1, 0, 0);
    EXPECT_EQ(Packed({8388607, -4194304, 100}, 3), mix.Frames());
    EXPECT_EQ(0.25, mix.Gain());
}

TEST(WaveMixTest, TheLowestValueIsNotTooLoud) {
    WaveMix mix({44100, 16, 1}, 2);
    mix.Add(Packed({-32768, 32767}, 2), 16, 1, 0, 0);
    EXPECT_EQ(1.0, mix.Gain());
    EXPECT_EQ(Packed({-32768, 32767}, 2), mix.Frames());
}

}  // namespace
}  // namespace Kestrova::Test
