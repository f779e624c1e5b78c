#include <gtest/gtest.h>

#include <string>

#include "bank/resample/SampleFormat.h"

namespace Kestrova::Test {
namespace {

TEST(SampleFormatTest, SamplesAreSignedAndLittleEndian) {
    EXPECT_EQ(-2, Mono16::Load("\xFE\xFF"));
    EXPECT_EQ(0x1234, Mono16::Load("\x34\x12"));
    EXPECT_EQ(-2, Mono24::Load("\xFE\xFF\xFF"));
    EXPECT_EQ(0x123456, Mono24::Load("\x56\x34\x12"));
    EXPECT_EQ(-8388608, Mono24::Load(std::string("\0\0\x80", 3).data()));
    EXPECT_EQ(8388607, Stereo24::Load("\xFF\xFF\x7F"));
}

TEST(SampleFormatTest, StoresWriteTheSampleAndNoByteMore) {
    std::string str = "abcd";
    Mono16::Store(str.data(), -2);
    EXPECT_EQ(
        "\xFE\xFF"
        "cd",
        str);
    Stereo24::Store(str.data(), 0x7FEEDD);
    EXPECT_EQ(
        "\xDD\xEE\x7F"
        "d",
        str);
}

TEST(SampleFormatTest, ClampHoldsTheRangeOfTheFormat) {
    EXPECT_EQ(32767, Stereo16::Clamp(32768));
    EXPECT_EQ(-32768, Mono16::Clamp(-32769));
    EXPECT_EQ(-32768, Mono16::Clamp(-32768));
    EXPECT_EQ(8388607, Mono24::Clamp(8388608));
    EXPECT_EQ(-8388608, Stereo24::Clamp(-0x7FFFFFFF));
    EXPECT_EQ(-5, Mono24::Clamp(-5));
}

TEST(SampleFormatTest, FramesHoldOneSampleOfEachChannel) {
    EXPECT_EQ(2, Mono16::kFrameBytes);
    EXPECT_EQ(4, Stereo16::kFrameBytes);
    EXPECT_EQ(3, Mono24::kFrameBytes);
    EXPECT_EQ(6, Stereo24::kFrameBytes);
}

}  // namespace
}  // namespace Kestrova::Test
