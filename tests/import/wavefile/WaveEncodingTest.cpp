#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "import/wavefile/WaveEncoding.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

template <class TNumber>
Bytes Packed(const std::vector<TNumber>& numbers, uint32_t nBits) {
    Bytes bytes(numbers.size() * nBits / 8);
    PackNumbers(numbers.data(), numbers.size(), nBits, bytes.data());
    return bytes;
}

TEST(WaveEncodingTest, NumbersOf16And24BitsKeepTheirBytes) {
    EXPECT_EQ((Bytes{0x34, 0x12, 0x00, 0x80, 0xff, 0x7f, 0xff, 0xff}),
              Packed<int32_t>({0x12340000, INT32_MIN, 0x7fff0000, -0x10000}, 16));
    EXPECT_EQ((Bytes{0x56, 0x34, 0x12, 0x00, 0x00, 0x80, 0xff, 0xff, 0x7f}),
              Packed<int32_t>({0x12345600, INT32_MIN, 0x7fffff00}, 24));
}

TEST(WaveEncodingTest, LongerNumbersAreRoundedAndHeldToTheLimit) {
    EXPECT_EQ((Bytes{1, 0, 0, 1, 0, 0, 2, 0, 0}), Packed<int32_t>({0x17f, 0x80, 0x180}, 24));
    EXPECT_EQ((Bytes{0xff, 0xff, 0xff, 0, 0, 0}), Packed<int32_t>({-0x81, -0x80}, 24));
    EXPECT_EQ((Bytes{0xff, 0xff, 0x7f, 0, 0, 0x80}), Packed<int32_t>({INT32_MAX, INT32_MIN}, 24));
}

TEST(WaveEncodingTest, FractionsAreRoundedAndHeldToTheLimits) {
    const double unit = std::ldexp(1.0, -23);
    EXPECT_EQ((Bytes{1, 0, 0, 1, 0, 0, 0, 0, 0}), Packed<double>({unit, unit * 0.5, unit * 0.49}, 24));
    EXPECT_EQ((Bytes{0xff, 0xff, 0xff, 0, 0, 0}), Packed<double>({unit * -0.51, unit * -0.5}, 24));
    EXPECT_EQ((Bytes{0xff, 0xff, 0x7f, 0, 0, 0x80}), Packed<double>({1.0, -1.0}, 24));
    EXPECT_EQ((Bytes{0xff, 0x7f, 0x00, 0x80}), Packed<double>({1e300, -1e300}, 16));
}

TEST(WaveEncodingTest, WhatIsNoNumberIsSilenceAndInfinityTheLimit) {
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ((Bytes{0, 0, 0xff, 0x7f, 0x00, 0x80}),
              Packed<double>({std::numeric_limits<double>::quiet_NaN(), infinity, -infinity}, 16));
}

struct EncodingCase {
    int nSubtype;
    uint32_t nBits;
    std::string strRounded;
};
const EncodingCase kCases[] = {
    {SF_FORMAT_PCM_S8, 16, ""},
    {SF_FORMAT_PCM_U8, 16, ""},
    {SF_FORMAT_PCM_16, 16, ""},
    {SF_FORMAT_PCM_24, 24, ""},
    {SF_FORMAT_PCM_32, 24, "32-bit numbers rounded to 24 bits"},
    {SF_FORMAT_FLOAT, 24, "32-bit floating point rounded to 24 bits"},
    {SF_FORMAT_DOUBLE, 24, "64-bit floating point rounded to 24 bits"},
    {SF_FORMAT_ALAC_20, 24, ""},
    {SF_FORMAT_VORBIS, 16, "Vorbis decoded to 16 bits"},
    {SF_FORMAT_OPUS, 16, "Opus decoded to 16 bits"},
    {SF_FORMAT_MPEG_LAYER_III, 16, "MPEG sound decoded to 16 bits"},
};

TEST(WaveEncodingTest, EachEncodingHasItsBitsAndSaysWhatIsRounded) {
    for (const EncodingCase& row : kCases) {
        const WaveEncoding* const pEncoding = FindWaveEncoding(SF_FORMAT_WAV | row.nSubtype);
        ASSERT_NE(nullptr, pEncoding) << row.nSubtype;
        EXPECT_EQ(row.nBits, pEncoding->nBits) << row.nSubtype;
        EXPECT_EQ(row.strRounded, pEncoding->pszRounded == nullptr ? "" : pEncoding->pszRounded);
    }
    EXPECT_EQ(nullptr, FindWaveEncoding(SF_FORMAT_WAV | SF_FORMAT_VOX_ADPCM));
}

}  // namespace
}  // namespace Kestrova::Test
