#include <cstring>

#include "tests/support/TestDatabase.h"
#include "tests/tools/kvbank/ImportFixture.h"
#include "tools/kvbank/ImportReporter.h"

namespace Kestrova::Test {
namespace {

using ImportCommandTest = ImportTest;

TEST_F(ImportCommandTest, TellsWhatCameOver) {
    Font();
    const Outcome outcome = Import();
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ("", outcome.strErr);
    EXPECT_EQ(
        "DIR/a.kvs: 2 banks, 2 presets, 3 regions, 3 layers, 3 samples; 1 joined, 1 copied, 0 repaired, 0 "
        "dropped\nDIR/a.kvs: " +
            ReadableSize(std::filesystem::file_size(File("a.kvs"))) +
            " in TIME\nDIR/a.kvs: not carried: filters on 1 layer\n",
        outcome.strOut);
    EXPECT_THAT(Names(), ElementsAre("a.kvs", "a.sf2"));
}

TEST_F(ImportCommandTest, VerboseNamesWhatWasJoinedCopiedAndNotCarried) {
    Font();
    EXPECT_THAT(Import({"-v"}).strOut, HasSubstr("joined: sample \"Pad\"\n"
                                                 "copied: sample \"Flute\"\n"
                                                 "not carried: initialFilterFc (2 times)\n"));
}

TEST_F(ImportCommandTest, TheJsonDocumentHoldsCountsAndNames) {
    Font();
    const Json document = Import({"--json"}).Document();
    EXPECT_EQ(1, document["schema"]);
    EXPECT_EQ("import", document["command"]);
    EXPECT_EQ(0, document["exit_code"]);
    EXPECT_EQ("DIR/a.sf2", document["font"]);
    EXPECT_EQ("DIR/a.kvs", document["output"]);
    EXPECT_EQ("SoundFont", document["format"]);
    EXPECT_EQ("Test font", document["name"]);
    EXPECT_EQ("2.01", document["version"]);
    EXPECT_EQ(16, document["bits"]);
    EXPECT_EQ(
        Json({{"presets", 2}, {"banks", 2}, {"programs", 2}, {"regions", 3}, {"layers", 3}, {"samples", 3}}),
        document["counts"]);
    EXPECT_EQ(std::filesystem::file_size(File("a.kvs")), document["bytes"]);
    EXPECT_EQ(Json::parse(R"([{"what": "sample \"Pad\"", "times": 1}])"), document["joined"]);
    EXPECT_EQ(Json::parse(R"([{"what": "sample \"Flute\"", "times": 1}])"), document["copied"]);
    EXPECT_EQ(Json::array(), document["repaired"]);
    EXPECT_EQ(Json::array(), document["dropped"]);
    EXPECT_EQ(Json::array(), document["accepted"]);
    EXPECT_EQ(Json::parse(R"([{"what": "initialFilterFc", "times": 2}])"), document["not_carried"]);
}

// The records of a bank, read whole.
template <class TRecord>
std::vector<std::unique_ptr<TRecord>> ReadAll(CSDB& database, uint8_t nType) {
    std::vector<std::unique_ptr<TRecord>> records;
    for (const SDBNOTE* pNote = nullptr; (pNote = database.GetNoteByType(pNote, nType)) != nullptr;) {
        records.push_back(std::make_unique<TRecord>(pNote->idNote, kSdbNoID));
        EXPECT_TRUE(database.ReadWholeNote(records.back().get()));
    }
    return records;
}

TEST_F(ImportCommandTest, EveryRecordHoldsWhatTheFontSays) {
    Font();
    ASSERT_EQ(0, Import().nCode);
    CSDB database;
    ASSERT_TRUE(database.Open(File("a.kvs").c_str(), kSdbFormatPlain, false));
    EXPECT_FALSE(database.IsDirty());
    EXPECT_EQ(kSdbQuickLoad, database.GetNoteByType(nullptr, kSdbAny)->nType);
    const auto infos = ReadAll<CSDBIInfo>(database, kSdbInfo);
    ASSERT_EQ(1u, infos.size());
    EXPECT_STREQ("Test font", infos[0]->m_info.szName);
    EXPECT_STREQ("(c) us", infos[0]->m_info.szDescription);
    const auto presets = ReadAll<CSDBIPreset>(database, kSdbPreset);
    ASSERT_EQ(2u, presets.size());
    EXPECT_STREQ("Woods", presets[0]->m_info.szName);
    EXPECT_EQ(5u, presets[0]->m_info.nFirst);
    EXPECT_EQ(128u * 128 + 3, presets[1]->m_info.nFirst);
    const auto banks = ReadAll<CSDBIBank>(database, kSdbBank);
    ASSERT_EQ(2u, banks.size());
    EXPECT_STREQ("Bank 0", banks[0]->m_info.szName);
    EXPECT_STREQ("Percussion", banks[1]->m_info.szName);
    EXPECT_EQ(128u, banks[1]->m_info.nFirst);
    EXPECT_EQ(0u, banks[1]->m_info.nSecond);
    const auto programs = ReadAll<CSDBIProgram>(database, kSdbProgram);
    ASSERT_EQ(2u, programs.size());
    EXPECT_STREQ("Woods", programs[0]->m_info.szName);
    EXPECT_EQ(5u, programs[0]->m_info.nFirst);
    EXPECT_TRUE(programs[0]->IsSplit());
    EXPECT_TRUE(programs[1]->IsSplit());
    EXPECT_EQ(banks[1]->GetID(), programs[1]->GetParentID());
    const auto regions = ReadAll<CSDBIRegion>(database, kSdbRegion);
    ASSERT_EQ(3u, regions.size());
    EXPECT_STREQ("Flutes", regions[1]->m_info.szName);
    EXPECT_EQ(64, regions[1]->m_info.nLowKey);
    EXPECT_EQ(127, regions[1]->m_info.nHighKey);
    EXPECT_EQ(0, regions[1]->m_info.nThird);
    EXPECT_EQ(127, regions[1]->m_info.nFourth);
    EXPECT_EQ(10, regions[2]->m_info.nThird);
    EXPECT_EQ(100, regions[2]->m_info.nFourth);
    EXPECT_EQ(programs[1]->GetID(), regions[2]->GetParentID());
    const auto layers = ReadAll<CSDBILayer>(database, kSdbLayer);
    const auto samples = ReadAll<CSDBISampleWave>(database, kSdbSample);
    ASSERT_EQ(3u, layers.size());
    ASSERT_EQ(3u, samples.size());
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(regions[i]->GetID(), layers[i]->GetParentID());
        EXPECT_EQ(samples[i]->GetID(), layers[i]->m_info.nSampleID);
        EXPECT_EQ(64u, layers[i]->m_info.nSecond) << "a default";
    }
}

TEST_F(ImportCommandTest, SamplesHoldTheirWavesLoopsAndTuning) {
    Font();
    ASSERT_EQ(0, Import().nCode);
    CSDB database;
    ASSERT_TRUE(database.Open(File("a.kvs").c_str(), kSdbFormatPlain, false));
    const auto samples = ReadAll<CSDBISampleWave>(database, kSdbSample);
    ASSERT_EQ(3u, samples.size());
    const CSDBISampleWave& flute = *samples[0];
    EXPECT_STREQ("Flute", flute.m_info.szName);
    EXPECT_EQ(44100u, flute.m_info.nSampleRate);
    EXPECT_EQ(16u, flute.m_info.nFormat);
    EXPECT_EQ(1u, flute.m_info.nChannels);
    EXPECT_EQ(1000u, flute.m_info.nFrames);
    EXPECT_EQ(60u, flute.m_info.nRootKey);
    ASSERT_EQ(1u, flute.m_info.cLayerLoops);
    EXPECT_EQ(100u, flute.GetLoops()[0].nStart);
    EXPECT_EQ(899u, flute.GetLoops()[0].nEnd);
    EXPECT_LT(flute.GetStoredBytes(), flute.m_info.lWave) << "compressed";
    const std::vector<int16_t> ramp = MakeRamp(3000);
    EXPECT_EQ(0, std::memcmp(ramp.data(), flute.m_info.pWave, 2000));
    EXPECT_EQ(0u, samples[1]->m_info.cLayerLoops);
    EXPECT_EQ(72u, samples[1]->m_info.nRootKey);
    const CSDBISampleWave& pad = *samples[2];
    EXPECT_STREQ("Pad", pad.m_info.szName);
    EXPECT_EQ(2u, pad.m_info.nChannels);
    EXPECT_EQ(1000u, pad.m_info.nFrames);
    EXPECT_EQ(61u, pad.m_info.nRootKey);
    EXPECT_EQ(-10, pad.m_info.nFineTune);
    for (size_t i = 0; i < 1000; ++i) {
        int16_t frame[2];
        std::memcpy(frame, pad.m_info.pWave + i * 4, 4);
        ASSERT_EQ(i < 900 ? ramp[1000 + i] : 0, frame[0]) << "the shorter half ends in silence";
        ASSERT_EQ(ramp[2000 + i], frame[1]);
    }
}

TEST_F(ImportCommandTest, WavesOf24BitsComeWhole) {
    FontSpec spec = SimpleFont();
    spec.nMinor = 4;
    spec.low = Bytes(200);
    for (size_t i = 0; i < 200; ++i) (*spec.low)[i] = static_cast<uint8_t>(255 - i);
    Font(spec);
    ASSERT_EQ(0, Import().nCode);
    CSDB database;
    ASSERT_TRUE(database.Open(File("a.kvs").c_str(), kSdbFormatPlain, false));
    const auto samples = ReadAll<CSDBISampleWave>(database, kSdbSample);
    ASSERT_EQ(1u, samples.size());
    EXPECT_EQ(24u, samples[0]->m_info.nFormat);
    EXPECT_EQ(100u, samples[0]->m_info.nFrames);
    for (size_t i = 0; i < 100; ++i) {
        const auto nHigh = static_cast<uint16_t>(spec.wave[i]);
        const uint8_t frame[3] = {(*spec.low)[i], static_cast<uint8_t>(nHigh),
                                  static_cast<uint8_t>(nHigh >> 8)};
        ASSERT_EQ(0, std::memcmp(frame, samples[0]->m_info.pWave + i * 3, 3)) << i;
    }
}

TEST_F(ImportCommandTest, AMisfitting24BitPartIsAWarningAndADrop) {
    FontSpec spec = SimpleFont();
    spec.low = Bytes(200);
    Font(spec);
    const Outcome outcome = Import();
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ("kvbank: warning: DIR/a.sf2: 24-bit part in a font of version 2.01: 16 bits are used\n",
              outcome.strErr);
    EXPECT_THAT(outcome.strOut, HasSubstr("dropped: 24-bit part: it does not fit the font\n"));
    EXPECT_EQ(6, Import({"--strict", "-f"}).nCode);
}

TEST_F(ImportCommandTest, TheSameFontGivesTheSameBytesButForTheIdentity) {
    Font();
    Import();
    const Bytes first = BytesBehindIdentity();
    ASSERT_EQ(0, Import({"-f"}).nCode);
    EXPECT_EQ(first, BytesBehindIdentity());
}

TEST_F(ImportCommandTest, ABankCanBeBuiltOfTheSource) {
    Font();
    ASSERT_EQ(0, Import().nCode);
    for (const char* pszLayout : {"plain", "per-key"}) {
        const Outcome outcome =
            Run({"build", "DIR/a.kvs", "-d", "DIR/banks", "-r", "48000", "--layout", pszLayout});
        EXPECT_EQ(0, outcome.nCode) << outcome.strErr;
    }
}

TEST_F(ImportCommandTest, RepairsAndDropsAreNamedAndForbiddenByStrict) {
    FontSpec spec = SmallFont();
    spec.samples[0].nRate = 0;
    spec.samples[1].nType = 0x8004;
    Font(spec);
    const Outcome strict = Import({"--strict"});
    EXPECT_EQ(6, strict.nCode);
    EXPECT_EQ(
        "repaired: sample \"Flute\": rate 0 Hz taken as 44100 Hz\n"
        "dropped: sample \"Pad L\": its wave is in ROM\n",
        strict.strOut);
    EXPECT_EQ(
        "kvbank: DIR/a.sf2: nothing is written, because --strict forbids losses: 0 joined, 1 copied, 1 "
        "repaired, 1 dropped\n",
        strict.strErr);
    ExpectNothingButTheFont();
    const Outcome lenient = Import();
    EXPECT_EQ(0, lenient.nCode);
    EXPECT_EQ("", lenient.strErr);
    EXPECT_THAT(lenient.strOut, HasSubstr("; 0 joined, 1 copied, 1 repaired, 1 dropped\n"));
}

TEST_F(ImportCommandTest, StrictAllowsWhatNoRecordExpresses) {
    Font();
    EXPECT_EQ(0, Import({"--strict"}).nCode);
}

TEST_F(ImportCommandTest, ChosenPresetsComeAlone) {
    Font();
    EXPECT_THAT(Import({"--preset", "0:5"}).strOut,
                HasSubstr("1 bank, 1 preset, 2 regions, 2 layers, 2 samples"));
    EXPECT_THAT(Import({"-f", "--preset", "0:5", "--preset", "128:3"}).strOut,
                HasSubstr("2 banks, 2 presets, "));
}

TEST_F(ImportCommandTest, PresetsThatAreNotThereOrNoNumbersAreWrongUse) {
    Font();
    const Outcome outcome = Import({"--preset", "0:6"});
    EXPECT_EQ(2, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/a.sf2: there is no preset 0:6\n", outcome.strErr);
    for (const char* pszText : {"5", "0:", ":5", "0:5x", "-1:5", "0:70000", "a:b", "0:5:1"}) {
        const Outcome wrong = Import({"--preset", pszText});
        EXPECT_EQ(2, wrong.nCode) << pszText;
        EXPECT_THAT(wrong.strErr, HasSubstr("give bank and program as 0:12"));
    }
    ExpectNothingButTheFont();
}

TEST_F(ImportCommandTest, ListTellsThePresetsAndWritesNothing) {
    Font();
    const Outcome outcome = Run({"import", "DIR/a.sf2", "--list"});
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ(
        "PRESET    ZONES  NAME\n"
        "0:5           1  Woods\n"
        "128:3         1  Kit\n",
        outcome.strOut);
    const Json document = Run({"import", "DIR/a.sf2", "--list", "--json"}).Document();
    EXPECT_EQ(Json::parse(R"([{"bank": 0, "program": 5, "name": "Woods", "zones": 1},
                              {"bank": 128, "program": 3, "name": "Kit", "zones": 1}])"),
              document["presets"]);
    EXPECT_EQ(Run({"import", "DIR/a.sf2", "--list", "--preset", "128:3"}).strOut,
              "PRESET    ZONES  NAME\n128:3         1  Kit\n");
    ExpectNothingButTheFont();
}

TEST_F(ImportCommandTest, NamesOfTheFontReachTheTerminalClean) {
    FontSpec spec = SmallFont();
    spec.presets[1].strName = "W\x1B[31m\xFF";
    Font(spec);
    EXPECT_THAT(Run({"import", "DIR/a.sf2", "--list"}).strOut, HasSubstr("W?[31m?\n"));
}

TEST_F(ImportCommandTest, OutputsThatWouldDoHarmAreWrongUse) {
    Font();
    WriteFile(File("b.kvs"), std::string("old"));
    std::filesystem::create_directory(File("d.kvs"));
    std::filesystem::create_symlink("a.sf2", File("link.kvs"));
    struct Case {
        std::vector<std::string> arguments;
        const char* pszError;
    };
    const Case kCases[] = {
        {{}, "kvbank: -o OUT is required\n"},
        {{"-o", "DIR/b.kvs"}, "kvbank: DIR/b.kvs: there already; -f replaces it\n"},
        {{"-o", "DIR/d.kvs", "-f"}, "kvbank: DIR/d.kvs: this is not a file\n"},
        {{"-o", "DIR/a.sf2", "-f"}, "kvbank: DIR/a.sf2: this is the file to import itself\n"},
        {{"-o", "DIR//./a.sf2", "-f"}, "kvbank: DIR//./a.sf2: this is the file to import itself\n"},
        {{"-o", "DIR/link.kvs", "-f"}, "kvbank: DIR/link.kvs: this is the file to import itself\n"},
        {{"-o", "DIR/bank"},
         "kvbank: DIR/bank: the name needs a '.': banks are named after what stands before it\n"},
        {{"-o", "DIR/.kvs"},
         "kvbank: DIR/.kvs: the name needs a '.': banks are named after what stands before it\n"},
    };
    for (const Case& c : kCases) {
        std::vector<std::string> arguments = {"import", "DIR/a.sf2"};
        arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(2, outcome.nCode);
        EXPECT_EQ(c.pszError, outcome.strErr);
    }
    EXPECT_THAT(Names(), ElementsAre("a.sf2", "b.kvs", "d.kvs", "link.kvs"));
    EXPECT_EQ((Bytes{'o', 'l', 'd'}), ReadFile(File("b.kvs")));
}

TEST_F(ImportCommandTest, ForceReplacesAnOlderFile) {
    Font();
    WriteFile(File("a.kvs"), std::string("old"));
    EXPECT_EQ(0, Import({"-f"}).nCode);
    EXPECT_GT(std::filesystem::file_size(File("a.kvs")), 1000u);
    EXPECT_THAT(Names(), ElementsAre("a.kvs", "a.sf2"));
}

TEST_F(ImportCommandTest, TheSummaryCountsRecordsCopiedAndThingsDropped) {
    ImportReport report;
    report.Note(ImportEvent::Copied, "sample \"A\"", "", 3);
    report.Note(ImportEvent::Copied, "sample \"B\"");
    for (int i = 0; i < 5; ++i) report.Note(ImportEvent::Dropped, "sample \"C\"", "it has no frames");
    EXPECT_EQ("0 joined, 4 copied, 0 repaired, 1 dropped", SummaryOf(report));
    std::istringstream in;
    std::ostringstream out, err;
    Console console(in, out, err);
    ImportReporter(console, "a.sf2", "a.kvs").TellReport(report);
    EXPECT_EQ("dropped: sample \"C\": it has no frames (5 times)\n", out.str());
}

TEST_F(ImportCommandTest, TheThreeMostFrequentKindsNotCarriedAreToldAndAllWithVerbose) {
    ImportReport report;
    report.Note(ImportEvent::LeftOutKind, "envelopes", "", 12);
    report.Note(ImportEvent::LeftOutKind, "filters", "", 11987);
    report.Note(ImportEvent::LeftOutKind, "pan", "", 12);
    report.Note(ImportEvent::LeftOutKind, "modulators");
    std::istringstream in;
    std::ostringstream out, err;
    Console console(in, out, err);
    const auto lastLine = [&] {
        out.str("");
        ImportReporter(console, "a.sf2", "a.kvs").TellBank({}, {}, report);
        return out.str().substr(out.str().find("not carried"));
    };
    EXPECT_EQ(
        "not carried: filters on 11,987 layers, envelopes on 12 layers, pan on 12 layers; -v names 1 more\n",
        lastLine());
    console.bVerbose = true;
    EXPECT_EQ(
        "not carried: filters on 11,987 layers, envelopes on 12 layers, pan on 12 layers, modulators on 1 "
        "layer\n",
        lastLine());
}

TEST_F(ImportCommandTest, WithAllCarriedNothingIsSaidOfIt) {
    Font(SimpleFont());
    const Outcome outcome = Import();
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_THAT(outcome.strOut, Not(HasSubstr("not carried")));
}

TEST_F(ImportCommandTest, WhatIsTakenThoughTheFormatForbidsItIsNotedAndNoLoss) {
    std::vector<FontChunkBytes> chunks = MakeFontChunks(SmallFont());
    BodyOf(chunks, "pmod").clear();
    Bytes bytes = AssembleFont(chunks);
    for (size_t i = 0; i < 4; ++i) bytes[4 + i] = static_cast<uint8_t>(bytes.size() >> 8 * i);
    WriteFile(File("a.sf2"), bytes);
    const Outcome outcome = Import({"--strict"});
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_THAT(outcome.strOut,
                StartsWith("accepted: the size of its RIFF chunk is 8 bytes too large\n"
                           "accepted: its chunk \"pmod\" is empty, without even the terminal record\n"));
    EXPECT_EQ(2u, Import({"-f", "--json"}).Document()["accepted"].size());
}

TEST_F(ImportCommandTest, QuietSaysNothingAndTheProgressIsATerminals) {
    Font();
    const Outcome quiet = Import({"-q"});
    EXPECT_EQ("", quiet.strOut + quiet.strErr);
    const Outcome drawn = Run({"import", "DIR/a.sf2", "-o", "DIR/a.kvs", "-f"}, "", false, true);
    EXPECT_THAT(drawn.strErr, HasSubstr("a.kvs ["));
}

}  // namespace
}  // namespace Kestrova::Test
