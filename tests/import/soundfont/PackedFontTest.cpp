// Fonts with compressed samples (SF3).
#include <gmock/gmock.h>

#include <cmath>

#include "import/soundfont/SoundFontInstrument.h"
#include "import/soundfont/SoundFontZones.h"
#include "tests/support/PackedFont.h"

namespace Kestrova::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

std::vector<int16_t> Sine(size_t nFrames, double period) {
    std::vector<int16_t> wave;
    for (size_t i = 0; i < nFrames; ++i)
        wave.push_back(
            static_cast<int16_t>(std::lround(8000 * std::sin(2 * M_PI * static_cast<double>(i) / period))));
    return wave;
}

// Two samples in one wave, each with an instrument's zone.
FontSpec TwoSamples() {
    FontSpec spec = SimpleFont();
    spec.wave = Sine(40000, 100);
    spec.samples = {{"First", 0, 30000, 1000, 29000, 44100, 60, 0, 0, 1},
                    {"Second", 30000, 40000, 30500, 39500, 22050, 72, 5, 0, 1}};
    spec.instruments[0].zones = {
        {{{kGenSampleModes, 1}, {kGenKeyRange, RangeAmount(0, 63)}, {kGenSample, 0}}},
        {{{kGenSampleModes, 1}, {kGenKeyRange, RangeAmount(64, 127)}, {kGenSample, 1}}}};
    return spec;
}

class PackedFontTest : public testing::Test {
protected:
    // The cause of a failure; empty: all went well.
    std::string Plan(const FontSpec& spec) { return PlanOf(MakeFont(spec)); }
    std::string PlanOf(const Bytes& font) {
        WriteFile(m_dir.File("a.sf3"), font);
        m_pFont = std::make_unique<SoundFontInstrument>();
        const ImportOutcome opened = m_pFont->Open(m_dir.File("a.sf3"));
        if (!opened.IsDone()) return opened.strCause;
        return Explain(m_pFont->MakePlan({}, m_plan, m_report));
    }
    std::vector<int16_t> Frames(size_t nWave, uint64_t nFirst, uint64_t nFrames) const {
        std::vector<int16_t> frames(nFrames);
        EXPECT_EQ("", Explain(m_pFont->ReadFrames(nWave, nFirst, nFrames,
                                                  reinterpret_cast<uint8_t*>(frames.data()))));
        return frames;
    }
    // As the sound file alone decodes.
    std::vector<int16_t> Decoded(const Bytes& sound) const {
        WriteFile(m_dir.File("alone.ogg"), sound);
        WaveFile file;
        EXPECT_TRUE(file.Open(m_dir.File("alone.ogg")).IsDone());
        std::vector<int16_t> frames(file.GetFacts().nFrames);
        EXPECT_TRUE(file.ReadFrames(0, frames.size(), reinterpret_cast<uint8_t*>(frames.data())).IsDone());
        return frames;
    }

    TempDir m_dir;
    std::unique_ptr<SoundFontInstrument> m_pFont;
    ImportPlan m_plan;
    ImportReport m_report;
};

TEST_F(PackedFontTest, SamplesHaveTheFramesAndLoopsOfTheirOwnSounds) {
    ASSERT_EQ("", Plan(Packed(TwoSamples())));
    EXPECT_EQ("3.01", m_pFont->GetFacts().strVersion);
    EXPECT_EQ(16u, m_pFont->GetFacts().nBits);
    ASSERT_EQ(2u, m_plan.waves.size());
    EXPECT_EQ(30000u, m_plan.waves[0].nFrames);
    EXPECT_EQ((WaveTune{44100, 60, 0, true, 1000, 28999}), m_plan.waves[0].tune);
    EXPECT_EQ(10000u, m_plan.waves[1].nFrames);
    EXPECT_EQ((WaveTune{22050, 72, -5, true, 500, 9499}), m_plan.waves[1].tune);
    EXPECT_FALSE(m_report.HasLosses());
}

TEST_F(PackedFontTest, FramesAreThoseThatTheSoundDecodesTo) {
    const FontSpec spec = TwoSamples();
    ASSERT_EQ("", Plan(Packed(spec)));
    const std::vector<int16_t> first = Decoded(VorbisOf({spec.wave.begin(), spec.wave.begin() + 30000}));
    EXPECT_EQ(first, Frames(0, 0, 30000));
    EXPECT_EQ((std::vector<int16_t>(first.begin() + 20000, first.begin() + 25000)), Frames(0, 20000, 5000));
    for (size_t i = 0; i < first.size(); ++i) ASSERT_NEAR(spec.wave[i], first[i], 400) << i;
    EXPECT_EQ(Decoded(VorbisOf({spec.wave.begin() + 30000, spec.wave.end()})), Frames(1, 0, 10000));
}

TEST_F(PackedFontTest, WithoutAMarkAllSamplesOfVersion3AreCompressed) {
    FontSpec spec = Packed(TwoSamples());
    for (FontSpec::Sample& sample : spec.samples) sample.nType = 1;
    ASSERT_EQ("", Plan(spec));
    EXPECT_EQ(30000u, m_plan.waves[0].nFrames);
    EXPECT_EQ(10000u, m_plan.waves[1].nFrames);
}

TEST_F(PackedFontTest, WithAMarkOnOneSampleTheOthersAreNotCompressed) {
    for (const uint16_t nMajor : {uint16_t{2}, uint16_t{3}}) {
        FontSpec spec = TwoSamples();
        const std::vector<int16_t> plain(spec.wave.begin(), spec.wave.begin() + 100);
        SetSounds(spec, {Bytes(200), VorbisOf(Sine(5000, 50))});
        std::copy(plain.begin(), plain.end(), spec.wave.begin());
        spec.samples[0].nEnd = 100;
        spec.samples[1].nType |= 0x10;
        spec.nMajor = nMajor;
        m_report = {};
        ASSERT_EQ("", Plan(spec));
        EXPECT_EQ(100u, m_plan.waves[0].nFrames);
        EXPECT_EQ(plain, Frames(0, 0, 100));
        EXPECT_EQ(5000u, m_plan.waves[1].nFrames);
    }
}

TEST_F(PackedFontTest, The24BitPartIsNotUsed) {
    FontSpec spec = Packed(TwoSamples());
    spec.nMinor = 4;
    spec.low = Bytes(spec.wave.size() + spec.wave.size() % 2);
    ASSERT_EQ("", Plan(spec));
    EXPECT_EQ("24-bit part in a font of compressed samples: 16 bits are used",
              m_pFont->GetFacts().strWarning);
    EXPECT_EQ(16u, m_plan.waves[0].nBits);
    EXPECT_TRUE(m_report.HasLosses());
}

void Decrement(Bytes& bytes, size_t pos) {
    while (bytes[pos]-- == 0) ++pos;
}

// The chunk "smpl", of an odd size, without the padding behind it.
Bytes WithoutPadding(const FontSpec& spec) {
    std::vector<FontChunkBytes> chunks = MakeFontChunks(spec);
    BodyOf(chunks, "smpl").push_back(0);
    Bytes bytes = AssembleFont(chunks);
    const std::string strTag = "smpl";
    const auto tag = std::search(bytes.begin(), bytes.end(), strTag.begin(), strTag.end());
    const auto posTag = static_cast<size_t>(tag - bytes.begin());
    Decrement(bytes, 4);           // the size of the file's chunk
    Decrement(bytes, posTag - 8);  // and that of the list around this one
    bytes.erase(tag + 8 + static_cast<long>(BodyOf(chunks, "smpl").size()));
    return bytes;
}

TEST_F(PackedFontTest, AChunkWithoutItsPaddingIsAccepted) {
    ASSERT_EQ("", PlanOf(WithoutPadding(Packed(TwoSamples()))));
    EXPECT_EQ(2u, m_plan.waves.size());
    ASSERT_EQ(1u, m_report.Of(ImportEvent::Accepted).size());
    EXPECT_EQ("a chunk of an odd size is not padded", m_report.Of(ImportEvent::Accepted)[0].strWhat);
}

TEST_F(PackedFontTest, TwoHalvesAreJoined) {
    FontSpec spec = TwoSamples();
    spec.samples = {{"Pad L", 0, 20000, 10, 90, 44100, 60, 0, 1, 4},
                    {"Pad R", 20000, 40000, 20010, 20090, 44100, 60, 0, 0, 2}};
    spec.instruments[0].zones = {{{{kGenSample, 0}}}, {{{kGenSample, 1}}}};
    ASSERT_EQ("", Plan(Packed(spec)));
    ASSERT_EQ(1u, m_plan.waves.size());
    EXPECT_EQ("Pad", m_plan.waves[0].strName);
    EXPECT_EQ(2u, m_plan.waves[0].nChannels);
    std::vector<int16_t> frames(2 * 20000);
    ASSERT_TRUE(m_pFont->ReadFrames(0, 0, 20000, reinterpret_cast<uint8_t*>(frames.data())).IsDone());
    const std::vector<int16_t> right = Decoded(VorbisOf({spec.wave.begin() + 20000, spec.wave.end()}));
    for (size_t i = 0; i < right.size(); ++i) ASSERT_EQ(right[i], frames[2 * i + 1]);
}

TEST_F(PackedFontTest, OffsetsCountFramesOfTheSound) {
    FontSpec spec = TwoSamples();
    spec.instruments[0].zones.resize(1);
    spec.instruments[0].zones[0].gens.insert(spec.instruments[0].zones[0].gens.begin(),
                                             {kGenStartOffset, 400});
    ASSERT_EQ("", Plan(Packed(spec)));
    EXPECT_EQ(29600u, m_plan.waves[0].nFrames);
    EXPECT_EQ(600u, m_plan.waves[0].tune.nLoopStart);
    EXPECT_EQ(Decoded(VorbisOf({spec.wave.begin(), spec.wave.begin() + 30000}))[400], Frames(0, 0, 1)[0]);
}

TEST_F(PackedFontTest, ASampleOfNoBytesIsDropped) {
    FontSpec spec = Packed(TwoSamples());
    spec.samples[1].nEnd = spec.samples[1].nStart;
    ASSERT_EQ("", Plan(spec));
    EXPECT_EQ(1u, m_plan.waves.size());
    ASSERT_EQ(1u, m_report.Of(ImportEvent::Dropped).size());
    EXPECT_EQ("it has no frames", m_report.Of(ImportEvent::Dropped)[0].strCause);
}

TEST_F(PackedFontTest, ASampleThatNoPresetPlaysIsNotOpened) {
    FontSpec spec = Packed(TwoSamples());
    spec.samples[1].nStart += 10;
    spec.instruments[0].zones.resize(1);
    EXPECT_EQ("", Plan(spec));
}

TEST_F(PackedFontTest, SoundsThatCannotBeUsedAreToldWithTheirSample) {
    const Bytes sound = VorbisOf(Sine(5000, 50));
    FontSpec spec = Packed(TwoSamples());
    SetSounds(spec, {sound, {sound.begin() + 1, sound.end()}});
    EXPECT_EQ("sample \"Second\": it is no sound file of a known kind", Plan(spec));
    SetSounds(spec, {sound, Bytes(1000, 'O')});
    EXPECT_EQ("sample \"Second\": it is no sound file of a known kind", Plan(spec));
    SetSounds(spec, {sound, {sound.begin(), sound.begin() + 1000}});
    EXPECT_THAT(Plan(spec), StartsWith("sample \"Second\": its sound "));
    SetSounds(spec, {sound, VorbisOf(Sine(5000, 50), 2)});
    EXPECT_EQ("sample \"Second\": its compressed sound has 2 channels of 16 bits; only one of 16 is taken",
              Plan(spec));
    SetSounds(spec, {sound, sound});
    spec.samples[1].nEnd += 2;
    EXPECT_EQ("sample \"Second\": its compressed sound reaches beyond the file's wave data", Plan(spec));
    spec.samples[1].nStart = UINT32_MAX - 1;
    spec.samples[1].nEnd = UINT32_MAX;
    EXPECT_EQ("sample \"Second\": its compressed sound reaches beyond the file's wave data", Plan(spec));
}

TEST_F(PackedFontTest, ASoundThatIsDamagedInTheMiddleIsNoSilence) {
    FontSpec spec = Packed(TwoSamples());
    Bytes sound = VorbisOf(Sine(200000, 50));
    const auto nQuarter = static_cast<long>(sound.size() / 4);
    std::fill(sound.begin() + 2 * nQuarter, sound.begin() + 3 * nQuarter, uint8_t{0});
    SetSounds(spec, {sound, sound});
    const std::string strCause = Plan(spec);
    if (!strCause.empty()) {
        EXPECT_THAT(strCause, StartsWith("sample \"First\": its "));
        return;
    }
    ASSERT_EQ(2u, m_plan.waves.size());
    Bytes frames(m_plan.waves[0].nFrames * 2);
    EXPECT_FALSE(m_pFont->ReadFrames(0, 0, m_plan.waves[0].nFrames, frames.data()).IsDone());
}

}  // namespace
}  // namespace Kestrova::Test
