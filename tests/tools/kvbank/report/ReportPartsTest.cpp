// The parts a report's page is made of.
#include <cmath>
#include <cstring>
#include <numbers>

#include "tests/support/Matchers.h"
#include "tests/support/TempDir.h"
#include "tools/kvbank/report/HtmlText.h"
#include "tools/kvbank/report/KeyMap.h"
#include "tools/kvbank/report/ReportPage.h"
#include "tools/kvbank/report/Spectrum.h"

namespace Kestrova::Test {
namespace {

// A mono record of 16 bits with these values.
std::unique_ptr<CSDBISampleEUWave> Record(const std::vector<int16_t>& values, uint32_t nChannels = 1) {
    auto pRecord = std::make_unique<CSDBISampleEUWave>(1, kSdbNoID);
    pRecord->m_info.nFormat = 16;
    pRecord->m_info.nChannels = nChannels;
    pRecord->m_info.nSampleRate = 48000;
    if (!pRecord->CopyWave(values.data(), 2 * values.size())) throw std::bad_alloc();
    return pRecord;
}

TEST(HtmlTextTest, NothingInATextIsTakenForMarkup) {
    EXPECT_EQ("&lt;script&gt;alert(&quot;1&quot;)&lt;/script&gt; &amp;amp; &#39;",
              HtmlText("<script>alert(\"1\")</script> &amp; '"));
    EXPECT_EQ("a?b?", HtmlText("a\x01"
                               "b\xFF"));
    EXPECT_EQ("\xC3\xA4", HtmlText("\xC3\xA4"));
}

TEST(HtmlTextTest, KeysHaveNames) {
    EXPECT_EQ("C4", KeyName(60));
    EXPECT_EQ("C-1", KeyName(0));
    EXPECT_EQ("G9", KeyName(127));
    EXPECT_EQ("128", KeyName(128));
    EXPECT_EQ("-1", KeyName(-1));
}

TEST(HtmlTextTest, BytesAreWrittenInBase64) {
    static constexpr const char* kRows[][2] = {{"", ""},
                                               {"f", "Zg=="},
                                               {"fo", "Zm8="},
                                               {"foo", "Zm9v"},
                                               {"foob", "Zm9vYg=="},
                                               {"fooba", "Zm9vYmE="},
                                               {"\xFF\xFE", "//4="}};
    for (const auto& [pszBytes, pszText] : kRows)
        EXPECT_EQ(pszText, Base64({reinterpret_cast<const uint8_t*>(pszBytes), std::strlen(pszBytes)}));
}

TEST(WavePictureTest, AColumnIsTheLeastAndTheGreatestOfItsFrames) {
    const auto pRecord = Record({0, 16384, -32768, 32767});
    EXPECT_EQ(
        "<svg class=\"wave\" viewBox=\"0 0 4 44\" preserveAspectRatio=\"none\"><path d=\"M0 22L1 11L2 44L3 "
        "0.25"
        "L3 0.25L2 44L1 11L0 22Z\"/></svg>",
        WaveformSvg(MonoWave(*pRecord), std::nullopt));
}

TEST(WavePictureTest, ALoopIsAShadeBehindTheWave) {
    const auto pRecord = Record(std::vector<int16_t>(1600));
    EXPECT_THAT(WaveformSvg(MonoWave(*pRecord), LoopFrames{400, 1599}),
                HasSubstr("<rect class=\"loop\" x=\"40\" y=\"0\" width=\"120\" height=\"44\"/>"));
}

TEST(WavePictureTest, AnExcerptIsAWavFileOfTheMeanOfAllChannels) {
    const auto pRecord = Record({100, 300, -100, -300, 5, 5}, 2);
    const std::vector<uint8_t> bytes = ExcerptOf(MonoWave(*pRecord), 22050, 48);
    ASSERT_EQ(48u, bytes.size()) << "two frames fit";
    EXPECT_EQ(0, std::memcmp(bytes.data(),
                             "RIFF\x28\0\0\0WAVEfmt "
                             "\x10\0\0\0\1\0\1\0\x22\x56\0\0\x44\xAC\0\0\2\0\x10\0data\4\0\0\0\xC8\0\x38\xFF",
                             48));
    EXPECT_TRUE(ExcerptOf(MonoWave(*pRecord), 0, 48).empty());
    EXPECT_TRUE(ExcerptOf(MonoWave(*pRecord), 22050, 44).empty());
}

TEST(WavePictureTest, AHighRateIsHalvedInAnExcerpt) {
    const auto pRecord = Record({100, 200, 300, 400, 500, 600, 700, 800});
    const std::vector<uint8_t> bytes = ExcerptOf(MonoWave(*pRecord), 96000, 1000);
    ASSERT_EQ(48u, bytes.size());
    EXPECT_EQ(24000, bytes[24] + 256 * bytes[25]);
    EXPECT_EQ(250, bytes[44] + 256 * bytes[45]);
    EXPECT_EQ(650, bytes[46] + 256 * bytes[47]);
}

TEST(WavePictureTest, AnUnknownFormatHasNoPicture) {
    auto pRecord = Record({1, 2, 3, 4});
    pRecord->m_info.nFormat = 12;
    EXPECT_EQ(0u, MonoWave(*pRecord).GetFrames());
    EXPECT_EQ("", WaveformSvg(MonoWave(*pRecord), std::nullopt));
    EXPECT_EQ("no wave of a known form", MakeView(*pRecord, {}).strFault);
}

// 64 turns in 4096 frames: entry 64, and nothing far from it.
TEST(SpectrumTest, AFullScaleToneIsAtItsFrequencyAndZeroDecibels) {
    std::vector<int16_t> values;
    for (int i = 0; i < 20000; ++i)
        values.push_back(static_cast<int16_t>(std::lround(32767 * std::sin(2 * std::numbers::pi * i / 64))));
    const auto pRecord = Record(values);
    const Spectrum spectrum = SpectrumOf(MonoWave(*pRecord), 48000);
    ASSERT_EQ(2048u, spectrum.decibels.size());
    EXPECT_NEAR(0, spectrum.decibels[64], 0.1);
    EXPECT_LT(spectrum.decibels[80], -80);
    EXPECT_LT(spectrum.decibels[1000], -80);
    EXPECT_THAT(SpectraSvg(spectrum, {}), HasSubstr("<path class=\"before\" d=\"M"));
    EXPECT_THAT(SpectraSvg(spectrum, {}), ::testing::Not(HasSubstr("<path class=\"after\"")));
}

TEST(KeyMapTest, RegionsAreDividedAmongTheirLayersUntilTheRoomIsUsed) {
    BankContents contents;
    for (const uint32_t id : {7u, 9u}) {
        contents.sampleById[id] = contents.samples.size();
        contents.samples.push_back({.note = {.idNote = id}, .strName = "S<" + std::to_string(id)});
    }
    const ProgramFacts program{
        .id = 1,
        .strName = "P",
        .strBank = "",
        .regions = {{"R", {60, 62}, {0, 99}, {7, 9, 1000}}, {"Empty", {128, 127}, {}, {7}}}};
    size_t nRoom = 2;
    const std::string strSvg = KeyMapSvg(program, contents, nRoom);
    EXPECT_EQ(0u, nRoom);
    EXPECT_THAT(strSvg,
                HasSubstr("<a href=\"#s7\"><rect x=\"480\" y=\"28\" width=\"24\" height=\"33.333333\" "
                          "fill=\"hsl(0,58%,52%)\"><title>S&lt;7: keys C4 to D4, velocities 0 to 99"
                          "</title></rect></a>"));
    EXPECT_THAT(strSvg, HasSubstr("<a href=\"#s9\"><rect x=\"480\" y=\"61.333333\""));
    nRoom = 1;
    EXPECT_THAT(KeyMapSvg(program, contents, nRoom), ::testing::Not(HasSubstr("#s9")));
}

TEST(ReportPageTest, ExcerptsShareTheirRoom) {
    EXPECT_EQ(ReportLimits::kLongSound, ExcerptBytes(0));
    EXPECT_EQ(ReportLimits::kLongSound, ExcerptBytes(10));
    EXPECT_EQ(45000u, ExcerptBytes(100));
    EXPECT_EQ(ReportLimits::kShortSound, ExcerptBytes(100000));
}

}  // namespace
}  // namespace Kestrova::Test
