#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <random>

#include "import/ImportReport.h"
#include "import/soundfont/SoundFont.h"
#include "import/soundfont/SoundFontPlanner.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/SoundFontMaker.h"

namespace Kestrova::Test {
namespace {

using Chunks = std::vector<FontChunkBytes>;

class SoundFontTest : public ::testing::Test {
protected:
    void Open(const Bytes& bytes) {
        WriteFile(Path(), bytes);
        const ImportOutcome outcome = m_font.Open(Path());
        ASSERT_TRUE(outcome.IsDone()) << outcome.strCause;
    }
    static std::string ErrorOf(const Bytes& bytes) {
        const TempDir dir;
        WriteFile(dir.File("font.sf2"), bytes);
        SoundFont font;
        return font.Open(dir.File("font.sf2")).strCause;
    }
    Bytes Frames(uint64_t nFirst, uint64_t nFrames) {
        Bytes bytes(nFrames * m_font.GetBits() / 8);
        EXPECT_TRUE(m_font.ReadFrames(nFirst, nFrames, bytes.data(), m_font.GetBits() / 8).IsDone());
        return bytes;
    }
    std::string Path() const { return m_dir.File("font.sf2"); }

    TempDir m_dir;
    SoundFont m_font;
};

TEST_F(SoundFontTest, ListsComeWithoutTheirTerminalRecords) {
    FontSpec spec = SimpleFont({{kGenPan, -500}});
    spec.nMinor = 4;
    spec.strCopyright = "(c) us";
    spec.presets[0] = {"Grand  ", 12, 128, {{{{kGenInstrument, 0}}, 3}, {{{kGenInstrument, 0}}, 0}}};
    spec.samples[0] = {"Wave", 1, 99, 2, 98, 22050, 61, -7, 5, 4};
    ASSERT_NO_FATAL_FAILURE(Open(MakeFont(spec)));
    EXPECT_EQ("2.04", m_font.GetVersion());
    EXPECT_EQ("Test font", m_font.GetName());
    EXPECT_EQ("(c) us", m_font.GetCopyright());
    EXPECT_EQ(16u, m_font.GetBits());
    EXPECT_EQ(200u, m_font.GetFrames());
    ASSERT_EQ(1u, m_font.GetPresets().size());
    const FontPreset& preset = m_font.GetPresets()[0];
    EXPECT_EQ("Grand", preset.strName);
    EXPECT_EQ(12, preset.nProgram);
    EXPECT_EQ(128, preset.nBank);
    ASSERT_EQ(2u, preset.zones.size());
    EXPECT_EQ(3u, preset.zones[0].nModulators);
    EXPECT_EQ(0u, preset.zones[1].nModulators);
    ASSERT_EQ(1u, m_font.GetInstruments().size());
    const FontZone& zone = m_font.GetInstruments()[0].zones[0];
    ASSERT_EQ(2u, zone.generators.size());
    EXPECT_EQ(kGenPan, zone.generators[0].nOperator);
    EXPECT_EQ(static_cast<uint16_t>(-500), zone.generators[0].nAmount);
    ASSERT_EQ(1u, m_font.GetSamples().size());
    const FontSample& sample = m_font.GetSamples()[0];
    EXPECT_EQ("Wave", sample.strName);
    EXPECT_THAT((std::vector<uint32_t>{sample.nStart, sample.nEnd, sample.nLoopStart, sample.nLoopEnd}),
                testing::ElementsAre(1, 99, 2, 98));
    EXPECT_EQ(22050u, sample.nRate);
    EXPECT_EQ(61, sample.nRootKey);
    EXPECT_EQ(-7, sample.nCorrection);
    EXPECT_EQ(5, sample.nLink);
    EXPECT_EQ(4, sample.nType);
}

TEST_F(SoundFontTest, WavesAreReadByRangesInLittleEndianOrder) {
    FontSpec spec = SimpleFont();
    spec.wave = {0x0102, 0x0304, -2};
    ASSERT_NO_FATAL_FAILURE(Open(MakeFont(spec)));
    EXPECT_EQ((Bytes{0x04, 0x03, 0xFE, 0xFF}), Frames(1, 2));
    Bytes spread(6, 0xAA);
    ASSERT_TRUE(m_font.ReadFrames(1, 2, spread.data(), 4).IsDone());
    EXPECT_EQ((Bytes{0x04, 0x03, 0xAA, 0xAA, 0xFE, 0xFF}), spread);
}

TEST_F(SoundFontTest, LongWavesComeInPieces) {
    FontSpec spec = SimpleFont();
    spec.wave = MakeRamp(40000);
    spec.nMinor = 4;
    spec.low = Bytes(40000);
    for (size_t i = 0; i < spec.low->size(); ++i) (*spec.low)[i] = static_cast<uint8_t>(i * 7);
    ASSERT_NO_FATAL_FAILURE(Open(MakeFont(spec)));
    const Bytes frames = Frames(1, 39999);
    for (size_t i = 0; i < 39999; ++i) {
        const auto nWave = static_cast<uint16_t>(spec.wave[i + 1]);
        ASSERT_EQ((Bytes{(*spec.low)[i + 1], static_cast<uint8_t>(nWave), static_cast<uint8_t>(nWave >> 8)}),
                  Bytes(&frames[i * 3], &frames[i * 3] + 3))
            << i;
    }
}

struct Wave24Case {
    const char* pszWhy;
    uint16_t nMinor;
    size_t nFrames, nLowBytes;
    uint32_t nBits;
    const char* pszWarning;
};

TEST_F(SoundFontTest, LowBytesAreTakenOnlyWhereVersionAndSizeAreRight) {
    constexpr Wave24Case kCases[] = {
        {"half of an even number of frames", 4, 200, 200, 24, ""},
        {"later versions too", 5, 200, 200, 24, ""},
        {"half of an odd number is rounded up", 4, 201, 202, 24, ""},
        {"not rounded", 4, 201, 201, 16, "24-bit part of 201 bytes instead of 202: 16 bits are used"},
        {"too short", 4, 200, 198, 16, "24-bit part of 198 bytes instead of 200: 16 bits are used"},
        {"too long", 4, 200, 202, 16, "24-bit part of 202 bytes instead of 200: 16 bits are used"},
        {"older version", 1, 200, 200, 16, "24-bit part in a font of version 2.01: 16 bits are used"},
    };
    for (const Wave24Case& c : kCases) {
        SCOPED_TRACE(c.pszWhy);
        FontSpec spec = SimpleFont();
        spec.nMinor = c.nMinor;
        spec.wave = MakeRamp(c.nFrames);
        spec.low = Bytes(c.nLowBytes, 0x77);
        WriteFile(Path(), MakeFont(spec));
        SoundFont font;
        ASSERT_TRUE(font.Open(Path()).IsDone());
        EXPECT_EQ(c.nBits, font.GetBits());
        EXPECT_EQ(c.pszWarning, font.GetWarning());
    }
}

TEST_F(SoundFontTest, AnOddLastByteOfTheWaveDataIsNoFrame) {
    Chunks chunks = MakeFontChunks(SimpleFont());
    BodyOf(chunks, "smpl").push_back(1);
    ASSERT_NO_FATAL_FAILURE(Open(AssembleFont(chunks)));
    EXPECT_EQ(200u, m_font.GetFrames());
}

TEST_F(SoundFontTest, UnknownChunksAndListsArePassedOver) {
    Chunks chunks = MakeFontChunks(SimpleFont());
    chunks.insert(chunks.begin(), {"INFO", "what", Bytes(3)});
    chunks.insert(chunks.begin(), {"INFO", "what", Bytes(3)});
    chunks.insert(chunks.begin(), {"odd ", "smpl", Bytes(5)});
    EXPECT_EQ("", ErrorOf(AssembleFont(chunks)));
}

TEST_F(SoundFontTest, BytesBehindTheFontArePassedOver) {
    Bytes bytes = MakeFont(SimpleFont());
    bytes.insert(bytes.end(), 1000, 0xEE);
    EXPECT_EQ("", ErrorOf(bytes));
}

TEST_F(SoundFontTest, AFileThatIsNotThereIsRefusedWithItsReason) {
    const ImportOutcome outcome = m_font.Open(m_dir.File("none"));
    EXPECT_EQ(ImportEnd::Unreadable, outcome.end);
    EXPECT_EQ(ENOENT, outcome.nError);
    EXPECT_EQ("No such file or directory", outcome.strCause);
}

struct BrokenCase {
    const char* pszWhy;
    std::function<void(Chunks&)> breakIt;
    const char* pszError;
};

void Erase(Chunks& chunks, const std::string& strTag) {
    std::erase_if(chunks, [&](const FontChunkBytes& chunk) { return chunk.strTag == strTag; });
}
std::function<void(Chunks&)> Without(const char* pszTag) {
    return [=](Chunks& chunks) { Erase(chunks, pszTag); };
}
std::function<void(Chunks&)> Resized(const char* pszTag, int nChange) {
    return [=](Chunks& chunks) {
        Bytes& body = BodyOf(chunks, pszTag);
        body.resize(static_cast<size_t>(static_cast<long>(body.size()) + nChange));
    };
}
std::function<void(Chunks&)> Poked(const char* pszTag, size_t nAt, uint8_t n) {
    return [=](Chunks& chunks) { BodyOf(chunks, pszTag).at(nAt) = n; };
}
std::function<void(Chunks&)> Twice(const char* pszTag) {
    return [=](Chunks& chunks) {
        for (size_t i = 0; i < chunks.size(); ++i)
            if (chunks[i].strTag == pszTag)
                return void(chunks.insert(chunks.begin() + static_cast<long>(i), chunks[i]));
    };
}

TEST_F(SoundFontTest, BrokenChunksAreRefusedClearly) {
    const BrokenCase kCases[] = {
        {"no version", Without("ifil"), "it does not tell its SoundFont version"},
        {"short version", Resized("ifil", -1), "it does not tell its SoundFont version"},
        {"version 1", Poked("ifil", 0, 1),
         "its SoundFont version is 1.01; only versions 2 (2.01 to 2.04) and 3 are taken"},
        {"version 4", Poked("ifil", 0, 4),
         "its SoundFont version is 4.01; only versions 2 (2.01 to 2.04) and 3 are taken"},
        {"no waves", Without("smpl"), "it has no waves"},
        {"no presets", Without("phdr"), "it has no chunk \"phdr\""},
        {"no preset zones", Without("pbag"), "it has no chunk \"pbag\""},
        {"no preset modulators", Without("pmod"), "it has no chunk \"pmod\""},
        {"no preset generators", Without("pgen"), "it has no chunk \"pgen\""},
        {"no instruments", Without("inst"), "it has no chunk \"inst\""},
        {"no instrument zones", Without("ibag"), "it has no chunk \"ibag\""},
        {"no instrument modulators", Without("imod"), "it has no chunk \"imod\""},
        {"no instrument generators", Without("igen"), "it has no chunk \"igen\""},
        {"no samples", Without("shdr"), "it has no chunk \"shdr\""},
        {"empty table", Resized("pbag", -8), "its chunk \"pbag\" is empty"},
        {"part of a preset", Resized("phdr", 2), "its chunk \"phdr\" does not hold whole records"},
        {"part of a bag", Resized("ibag", -2), "its chunk \"ibag\" does not hold whole records"},
        {"part of a generator", Resized("igen", 1), "its chunk \"igen\" does not hold whole records"},
        {"part of a modulator", Resized("pmod", 4), "its chunk \"pmod\" does not hold whole records"},
        {"part of a sample", Resized("shdr", -6), "its chunk \"shdr\" does not hold whole records"},
        {"more rows than indexes", Resized("pgen", 4 * 0x10000), "its chunk \"pgen\" is too long"},
        {"waves twice", Twice("smpl"), "its chunk \"smpl\" is there twice"},
        {"name twice", Twice("INAM"), "its chunk \"INAM\" is there twice"},
        {"presets twice", Twice("phdr"), "its chunk \"phdr\" is there twice"},
        {"preset zones fall", Poked("phdr", 24, 2),
         "the zone indexes of its chunk \"phdr\" are out of order"},
        {"preset zones beyond the table", Poked("phdr", 38 + 24, 2),
         "the zone indexes of its chunk \"phdr\" are out of order"},
        {"instrument zones fall", Poked("inst", 20, 2),
         "the zone indexes of its chunk \"inst\" are out of order"},
        {"instrument zones beyond the table", Poked("inst", 22 + 21, 9),
         "the zone indexes of its chunk \"inst\" are out of order"},
        {"generators fall", Poked("pbag", 0, 2),
         "the generator indexes of its chunk \"pbag\" are out of order"},
        {"generators beyond the table", Poked("ibag", 4, 2),
         "the generator indexes of its chunk \"ibag\" are out of order"},
        {"modulators fall", Poked("pbag", 2, 1),
         "the modulator indexes of its chunk \"pbag\" are out of order"},
        {"modulators beyond the table", Poked("ibag", 6, 1),
         "the modulator indexes of its chunk \"ibag\" are out of order"},
    };
    for (const BrokenCase& c : kCases) {
        SCOPED_TRACE(c.pszWhy);
        Chunks chunks = MakeFontChunks(SimpleFont());
        c.breakIt(chunks);
        EXPECT_EQ(c.pszError, ErrorOf(AssembleFont(chunks)));
    }
}

TEST_F(SoundFontTest, TheMostRowsThatIndexesReachAreTaken) {
    Chunks chunks = MakeFontChunks(SimpleFont());
    BodyOf(chunks, "shdr").resize(46 * 0x10001);
    EXPECT_EQ("", ErrorOf(AssembleFont(chunks)));
    BodyOf(chunks, "shdr").resize(46 * 0x10002);
    EXPECT_EQ("its chunk \"shdr\" is too long", ErrorOf(AssembleFont(chunks)));
}

TEST_F(SoundFontTest, OtherFilesAreNotSoundFonts) {
    Bytes wave = MakeFont(SimpleFont());
    wave[8] = 'W';
    for (const Bytes& bytes : {Bytes(), Bytes(3), Bytes(100), Bytes{'R', 'I', 'F', 'F', 0, 0, 0, 0},
                               Bytes{'R', 'I', 'F', 'X', 255, 255, 255, 255}, wave})
        EXPECT_EQ("it is not a SoundFont file", ErrorOf(bytes));
}

// A size is the four bytes behind its tag.
void SetSize(Bytes& bytes, const std::string& strTag, uint32_t nSize) {
    const auto it = std::search(bytes.begin(), bytes.end(), strTag.begin(), strTag.end());
    for (int i = 0; i < 4; ++i) *(it + 4 + i) = static_cast<uint8_t>(nSize >> 8 * i);
}

TEST_F(SoundFontTest, SizesBeyondWhatIsThereAreRefusedWithoutTakingMemory) {
    struct Case {
        const char* pszTag;
        std::string strError;
    };
    const size_t nFile = MakeFont(SimpleFont()).size();
    const Case kCases[] = {
        {"RIFF", "its chunk \"RIFF\" is cut short: it claims 4294967295 bytes, there are " +
                     std::to_string(nFile - 8)},
        {"LIST", "its chunk \"LIST\" is cut short: it claims 4294967295 bytes, there are " +
                     std::to_string(nFile - 20)},
        {"INAM", "its chunk \"INAM\" is cut short: it claims 4294967295 bytes, there are 10"},
        {"smpl", "its chunk \"smpl\" is cut short: it claims 4294967295 bytes, there are 400"},
        {"shdr", "its chunk \"shdr\" is cut short: it claims 4294967295 bytes, there are 92"},
    };
    for (const Case& c : kCases) {
        Bytes bytes = MakeFont(SimpleFont());
        SetSize(bytes, c.pszTag, 0xFFFFFFFF);
        EXPECT_EQ(c.strError, ErrorOf(bytes));
    }
}

TEST_F(SoundFontTest, CutShortAnywhereItIsRefused) {
    FontSpec spec = SimpleFont({{kGenPan, 1}});
    spec.nMinor = 4;
    spec.low = Bytes(200);
    const Bytes whole = MakeFont(spec);
    EXPECT_EQ("", ErrorOf(whole));
    for (size_t n = 0; n < whole.size(); ++n)
        ASSERT_NE("", ErrorOf({whole.begin(), whole.begin() + static_cast<long>(n)})) << n;
}

// Plans what opens, reads every planned wave, and counts the plans.
void UseFont(const std::string& strPath, int& nPlans) {
    SoundFont font;
    if (const ImportOutcome outcome = font.Open(strPath); !outcome.IsDone()) {
        EXPECT_NE("", outcome.strCause);
        return;
    }
    ImportReport report;
    SoundFontPlan plan;
    if (!SoundFontPlanner(font, report).Make({}, plan).IsDone()) return;
    ++nPlans;
    for (const FontWave& wave : plan.waves) {
        ASSERT_LE(wave.left.nStart + wave.left.nFrames, font.GetFrames());
        ASSERT_GT(wave.left.nFrames, 0u);
    }
    const SoundFontWaves reader(font, plan.waves);
    for (size_t n = 0; n < plan.bank.waves.size(); ++n) {
        const PlannedWave& wave = plan.bank.waves[n];
        Bytes bytes(wave.nFrames * wave.FrameBytes());
        ASSERT_TRUE(reader.ReadFrames(n, 0, wave.nFrames, bytes.data()).IsDone());
        if (!wave.tune.bLoop) continue;
        ASSERT_LE(wave.tune.nLoopStart, wave.tune.nLoopEnd);
        ASSERT_LT(wave.tune.nLoopEnd, wave.nFrames);
    }
}

TEST_F(SoundFontTest, WithBytesFlippedItIsRefusedOrGivesASoundPlan) {
    FontSpec spec = SimpleFont({{kGenSampleModes, 1}, {kGenKeyRange, RangeAmount(10, 90)}});
    spec.nMinor = 4;
    spec.low = Bytes(200);
    spec.samples.push_back({"Other", 100, 200, 110, 190, 44100, 60, 0, 0, 2});
    spec.instruments.push_back({"Other", {{{{kGenPan, 3}}}, {{{kGenSample, 1}}, 2}, {{{kGenSample, 0}}}}});
    spec.presets.push_back({"Other", 1, 0, {{{{kGenFineTune, 9}}, 1}, {{{kGenInstrument, 1}}}}});
    const Bytes whole = MakeFont(spec);
    std::mt19937 random(7);
    constexpr int kFonts = 4000;
    int nPlans = 0;
    for (int i = 0; i < kFonts; ++i) {
        SCOPED_TRACE(i);
        Bytes bytes = whole;
        const size_t nFlips = 1 + random() % 4;
        for (size_t n = 0; n < nFlips; ++n) bytes[random() % bytes.size()] = static_cast<uint8_t>(random());
        WriteFile(Path(), bytes);
        UseFont(Path(), nPlans);
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(nPlans, 0);
    EXPECT_LT(nPlans, kFonts);
}

TEST_F(SoundFontTest, AReadThatFailsIsAnErrorOfReading) {
    FontSpec spec = SimpleFont();
    spec.wave = MakeRamp(100000);  // does not fit the file's buffer: several reads
    WriteFile(Path(), MakeFont(spec));
    for (int nFault = 1;; ++nFault) {
        SCOPED_TRACE(nFault);
        FaultyFileEnv env;
        env.FailCall(nFault, FaultyFileEnv::Lasting::kForGood);
        SoundFont font;
        Bytes frames(200000);
        ImportOutcome outcome = font.Open(Path());
        if (outcome.IsDone()) outcome = font.ReadFrames(0, 100000, frames.data(), 2);
        if (!env.FaultHit()) {
            EXPECT_TRUE(outcome.IsDone());
            EXPECT_GT(nFault, 4);
            break;
        }
        EXPECT_EQ(ImportEnd::Unreadable, outcome.end);
        EXPECT_EQ(EIO, outcome.nError);
        EXPECT_EQ("Input/output error", outcome.strCause);
    }
}

TEST_F(SoundFontTest, AFontThatBecameShorterRefusesItsWave) {
    FontSpec spec = SimpleFont();
    spec.wave = MakeRamp(100000);
    ASSERT_NO_FATAL_FAILURE(Open(MakeFont(spec)));
    std::filesystem::resize_file(Path(), 1000);
    Bytes frames(200000);
    const ImportOutcome outcome = m_font.ReadFrames(0, 100000, frames.data(), 2);
    EXPECT_EQ(ImportEnd::Refused, outcome.end);
    EXPECT_EQ("it is cut short", outcome.strCause);
}

TEST_F(SoundFontTest, EmptyModulatorTablesAreTakenWithANote) {
    for (const char* pszTag : {"pmod", "imod"}) {
        Chunks chunks = MakeFontChunks(SimpleFont());
        BodyOf(chunks, pszTag).clear();
        WriteFile(Path(), AssembleFont(chunks));
        SoundFont font;
        ASSERT_TRUE(font.Open(Path()).IsDone());
        EXPECT_THAT(font.GetNotes(), testing::ElementsAre(std::string("its chunk \"") + pszTag +
                                                          "\" is empty, without even the terminal record"));
        BodyOf(chunks, pszTag == std::string("pmod") ? "pbag" : "ibag")[6] = 1;
        EXPECT_THAT(ErrorOf(AssembleFont(chunks)), testing::StartsWith("the modulator indexes"))
            << "an index into it leads nowhere";
    }
}

// The size that a RIFF chunk has when its header is counted too.
Bytes WithRiffSize(Bytes bytes, uint32_t nSize) {
    for (size_t i = 0; i < 4; ++i) bytes[4 + i] = static_cast<uint8_t>(nSize >> 8 * i);
    return bytes;
}

TEST_F(SoundFontTest, ARiffSizeThatCountsItsHeaderIsTakenWithANote) {
    const Bytes bytes = MakeFont(SimpleFont());
    const auto nSize = static_cast<uint32_t>(bytes.size());
    ASSERT_NO_FATAL_FAILURE(Open(WithRiffSize(bytes, nSize)));
    EXPECT_THAT(m_font.GetNotes(), testing::ElementsAre("the size of its RIFF chunk is 8 bytes too large"));
    EXPECT_EQ(200u, m_font.GetFrames());
    for (const uint32_t nOther : {nSize - 7, nSize - 1, nSize + 1, nSize + 8})
        EXPECT_THAT(ErrorOf(WithRiffSize(bytes, nOther)), testing::HasSubstr("\"RIFF\" is cut short"));
}

TEST_F(SoundFontTest, AGoodFontHasNoNotes) {
    ASSERT_NO_FATAL_FAILURE(Open(MakeFont(SimpleFont())));
    EXPECT_THAT(m_font.GetNotes(), testing::ElementsAre());
}

TEST_F(SoundFontTest, AFontOfGigabytesIsReadByRanges) {
    Chunks chunks = MakeFontChunks(SimpleFont());
    Bytes bytes = AssembleFont(chunks);
    constexpr uint32_t kWaveBytes = 3000000000;
    const uint32_t nTail = static_cast<uint32_t>(bytes.size()) - 8;
    SetSize(bytes, "RIFF", nTail - 400 + kWaveBytes);
    const std::string strTag = "sdta";
    const auto itList = std::search(bytes.begin(), bytes.end(), strTag.begin(), strTag.end());
    for (int i = 0; i < 4; ++i) *(itList - 4 + i) = static_cast<uint8_t>((kWaveBytes + 12) >> 8 * i);
    SetSize(bytes, "smpl", kWaveBytes);
    const auto nHead = itList - bytes.begin() + 12;
    {
        std::ofstream file(Path(), std::ios::binary);
        file.write(reinterpret_cast<const char*>(bytes.data()), nHead);
        file.seekp(nHead + static_cast<long>(kWaveBytes) - 2);
        file.put(0x34).put(0x12);
        file.write(reinterpret_cast<const char*>(bytes.data()) + nHead + 400,
                   static_cast<long>(bytes.size()) - nHead - 400);
    }
    ASSERT_TRUE(m_font.Open(Path()).IsDone());
    EXPECT_EQ(kWaveBytes / 2, m_font.GetFrames());
    EXPECT_EQ((Bytes{0, 0, 0x34, 0x12}), Frames(kWaveBytes / 2 - 2, 2));
}

}  // namespace
}  // namespace Kestrova::Test
