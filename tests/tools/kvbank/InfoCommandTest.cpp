// kvbank info and kvbank demo.
#include <csignal>

#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TestDatabase.h"
#include "tests/support/Vectors.h"
#include "tests/tools/kvbank/CommandFixture.h"

namespace Kestrova::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

class InfoCommandTest : public CommandTest {
protected:
    // A source whose identity is 1, 2, 3, 4.
    void KnownSource(const SourceSpec& spec = {}) {
        Source(spec);
        WriteFile(File("Src.kvs"), DatabaseImage(NotesOf(File("Src.kvs"))));
    }
};

TEST_F(InfoCommandTest, TellsKindIdentityRecordsRatesAndSizes) {
    KnownSource({.samples = {{}, {.nRate = 48000, .nFormat = 24, .nChannels = 2}, {}}});
    const Outcome outcome = Run({"info", "DIR/Src.kvs"});
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ("", outcome.strErr);
    EXPECT_EQ(R"(File       DIR/Src.kvs
Kind       plain (QXDB)
Identity   00000001-00000002-00000003-00000004
Size       1.7 kB
Name       Test source
About      
Records    1 information record, 1 preset, 1 bank, 1 program, 1 region, 1 layer, 3 samples
Samples    2 at 44100 Hz, 1 at 48000 Hz
Waves      1.0 kB expanded
Banks      predicted size: plain, per-key
   44100 Hz     1.0 MB     1.0 MB
   48000 Hz     1.0 MB     1.0 MB
   88200 Hz     1.0 MB     1.0 MB
   96000 Hz     1.0 MB     1.0 MB
  176400 Hz     1.0 MB     1.0 MB
  192000 Hz     1.0 MB     1.0 MB
)",
              outcome.strOut);
}

TEST_F(InfoCommandTest, JsonTellsTheSame) {
    KnownSource();
    Json document = Run({"info", "DIR/Src.kvs", "--json"}).Document();
    EXPECT_EQ(Json::parse(R"({"rate": 192000, "plain_mib": 1, "per_key_mib": 1})"), document["predicted"][5]);
    EXPECT_EQ(6u, document["predicted"].size());
    document.erase("predicted");
    EXPECT_EQ(Json::parse(R"({"schema": 1, "command": "info", "exit_code": 0, "file": "DIR/Src.kvs",
        "kind": "plain", "identity": "00000001-00000002-00000003-00000004", "bytes": 557,
        "name": "Test source", "description": "", "rate": 0, "layout": "plain",
        "records": {"information record": 1, "preset": 1, "bank": 1, "program": 1, "region": 1, "layer": 1,
                    "sample": 1},
        "sample_rates": [{"rate": 44100, "samples": 1}], "wave_bytes": 200})"),
              document);
}

TEST_F(InfoCommandTest, ABuiltBankHasARateAndALayout) {
    Source();
    Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "48000", "--layout", "per-key"});
    const Json document = Run({"info", "DIR/Src_0BB80.kvr", "--json"}).Document();
    EXPECT_EQ("enriched", document["kind"]);
    EXPECT_EQ(48000, document["rate"]);
    EXPECT_EQ("per-key", document["layout"]);
    EXPECT_EQ("PC Version", document["description"]);
    EXPECT_EQ(3, document["records"]["sample"]);
    EXPECT_EQ(1, document["records"]["quick-load table"]);
    EXPECT_THAT(Run({"info", "DIR/Src_0BB80.kvr"}).strOut,
                ::testing::HasSubstr("Rate       48000 Hz, per-key layout\n"));
}

TEST_F(InfoCommandTest, ASourceThatCannotBeAnalysedIsToldAsFarAsItGoes) {
    KnownSource({.samples = {}, .programs = {}});
    const Outcome outcome = Run({"info", "DIR/Src.kvs"});
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_THAT(outcome.strOut, ::testing::EndsWith("Records    1 information record, 1 preset, 1 bank\n"));
    EXPECT_EQ("kvbank: DIR/Src.kvs: source: there are no samples\n", outcome.strErr);
}

TEST_F(InfoCommandTest, ANameThatNoBankCouldBeNamedAfterIsASoundFileAllTheSame) {
    KnownSource();
    for (const char* pszName : {"noext", ".kvs"}) {
        fs::copy_file(File("Src.kvs"), File(pszName));
        const Outcome outcome = Run({"info", std::string("DIR/") + pszName});
        EXPECT_EQ(kExitDone, outcome.nCode);
        EXPECT_THAT(outcome.strOut, ::testing::EndsWith("1 layer, 1 sample\n"));
        EXPECT_EQ(std::string("kvbank: warning: DIR/") + pszName +
                      ": the name needs a '.' for banks to be named after what stands before it; samples and "
                      "sizes are not shown\n",
                  outcome.strErr);
    }
}

TEST_F(InfoCommandTest, JsonNamesAFileSoThatAScriptFindsItAgain) {
    const std::string strName = "a\n\xF0\x9F\x8E\xB9\x1B.kvs";
    Source({}, strName);
    EXPECT_EQ("DIR/" + strName, Run({"info", "DIR/" + strName, "--json"}).Document()["file"]);
    EXPECT_THAT(Run({"info", "DIR/" + strName}).strOut,
                StartsWith("File       DIR/a?\xF0\x9F\x8E\xB9?.kvs\n"));
}

TEST_F(InfoCommandTest, ADamagedBankIsToldAsSuch) {
    Source();
    ASSERT_EQ(0, Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "44100"}).nCode);
    const Bytes good = ReadFile(File(k44100));
    WriteFile(File(k48000), good);
    const std::string strCause = "its name gives another sample rate than its information record, 44100 Hz";
    Outcome outcome = Run({"info", "DIR/Src_0BB80.kvn"});
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src_0BB80.kvn: damaged: " + strCause + "\n", outcome.strErr);
    EXPECT_EQ(strCause, Run({"info", "DIR/Src_0BB80.kvn", "--json"}).Document()["damage"]);
    EXPECT_FALSE(Run({"info", "DIR/Src_0AC44.kvn", "--json"}).Document().contains("damage"));

    WriteFile(File(k44100), Bytes(good.begin(), good.begin() + 100));
    outcome = Run({"info", "DIR/Src_0AC44.kvn"});
    EXPECT_EQ(kExitBadInput, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src_0AC44.kvn: damaged: its quick-load table is cut short\n", outcome.strErr);
}

TEST_F(InfoCommandTest, WhatIsNoBankIsBadInput) {
    WriteFile(File("x.kvs"), std::string("a letter that is longer than a header"));
    WriteFile(File("y.kvs"), std::string("QXDB"));
    static constexpr const char* kRows[][2] = {{"x.kvs", "not a bank"},
                                               {"y.kvs", "not a bank"},
                                               {"none.kvs", "No such file or directory"},
                                               {"", "Is a directory"}};
    for (const auto& [pszName, pszCause] : kRows) {
        const Outcome outcome = Run({"info", std::string("DIR/") + pszName});
        EXPECT_EQ(kExitBadInput, outcome.nCode);
        EXPECT_EQ(std::string("kvbank: DIR/") + pszName + ": " + pszCause + "\n", outcome.strErr);
        EXPECT_EQ("", outcome.strOut);
    }
}

TEST_F(InfoCommandTest, ABankBeingBuiltIsBusy) {
    CSDB held;
    ASSERT_TRUE(held.Create(File("a.kvn").c_str(), kSdbFormatEnriched));
    EXPECT_EQ(kExitBusy, Run({"info", "DIR/a.kvn"}).nCode);
}

class DemoCommandTest : public CommandTest {};

TEST_F(DemoCommandTest, WritesTheSameBytesOnEveryMachine) {
    const Outcome outcome = Run({"demo", "-o", "DIR/Demo.kvs"});
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ("DIR/Demo.kvs: 5 programs, 6 samples, 256.2 kB\n", outcome.strOut);
    EXPECT_EQ("a3f6e28ff5a9ea0cace41329514e8a9d8f42346fef123732041c76b23aceba22",
              Sha256(ReadFile(File("Demo.kvs"))));
    EXPECT_THAT(Names(), ElementsAre("Demo.kvs"));
}

TEST_F(DemoCommandTest, HasFormatsRatesLoopsAndProgramsOfEveryKind) {
    ASSERT_EQ(0, Run({"demo", "-o", "DIR/Demo.kvs", "-q"}).nCode);
    CSDB database;
    ASSERT_TRUE(database.Open(File("Demo.kvs").c_str(), kSdbFormatPlain, false));
    std::vector<std::string> samples, programs;
    for (const uint32_t id : IdsOfType(database, kSdbSample)) {
        CSDBISampleWave sample(id, kSdbNoID);
        ASSERT_TRUE(database.ReadWholeNote(&sample));
        samples.push_back(
            std::to_string(sample.m_info.nSampleRate) + " " + std::to_string(sample.m_info.nFormat) + " " +
            std::to_string(sample.m_info.nChannels) + " " + std::to_string(sample.m_info.cLayerLoops));
        const int nPeak = *std::max_element(sample.m_info.pWave, sample.m_info.pWave + sample.m_info.lWave);
        EXPECT_GT(nPeak, 0) << "silence";
    }
    for (const uint32_t id : IdsOfType(database, kSdbProgram)) {
        CSDBIProgram program(id, kSdbNoID);
        ASSERT_TRUE(database.ReadWholeNote(&program));
        programs.push_back(program.m_info.szName + std::string(program.IsSplit() ? " split" : ""));
    }
    EXPECT_THAT(samples, ElementsAre("22050 16 1 0", "32000 16 1 0", "44100 24 2 0", "48000 24 1 1",
                                     "44100 16 2 1", "44100 16 1 0"));
    EXPECT_THAT(programs, ElementsAre("Pluck split", "Bell split", "Pad split", "Strings", "Wood block"));
}

// What follows the loop's last frame is its first: the step between them is like its neighbours'.
TEST_F(DemoCommandTest, AnInstrumentThatFailsToCloseIsAFailedOutput) {
    FaultyFileEnv env;
    env.FailCallOf(FileOp::kClose, 1);
    const Outcome outcome = Run({"demo", "-o", "DIR/Demo.kvs"});
    EXPECT_EQ(kExitOutput, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Demo.kvs: Input/output error\n", outcome.strErr);
    EXPECT_TRUE(Names().empty());
}

TEST_F(DemoCommandTest, LoopsAreSeamless) {
    ASSERT_EQ(0, Run({"demo", "-o", "DIR/Demo.kvs", "-q"}).nCode);
    CSDB database;
    ASSERT_TRUE(database.Open(File("Demo.kvs").c_str(), kSdbFormatPlain, false));
    CSDBISampleWave pad(IdsOfType(database, kSdbSample)[3], kSdbNoID);
    ASSERT_TRUE(database.ReadWholeNote(&pad));
    const auto frameAt = [&pad](uint32_t n) {
        const uint8_t* const p = pad.m_info.pWave + size_t{n} * 3;
        return static_cast<int32_t>(uint32_t{p[0]} << 8 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 24) >> 8;
    };
    const SDBLOOP& loop = pad.GetLoops()[0];
    const int nBefore = frameAt(loop.nEnd) - frameAt(loop.nEnd - 1);
    const int nAcross = frameAt(loop.nStart) - frameAt(loop.nEnd);
    EXPECT_LT(std::abs(nAcross - nBefore), 4000) << "of 8388607";
}

TEST_F(DemoCommandTest, VerifiesAndItsBanksDoAtEveryRateInBothLayouts) {
    ASSERT_EQ(0, Run({"demo", "-o", "DIR/Demo.kvs"}).nCode);
    EXPECT_EQ("DIR/Demo.kvs: good, 26 records, 256.2 kB\n", Run({"verify", "DIR/Demo.kvs"}).strOut);
    ASSERT_EQ(0, Run({"build", "DIR/Demo.kvs", "-d", "DIR", "-r", "all"}).nCode);
    ASSERT_EQ(
        0, Run({"build", "DIR/Demo.kvs", "-d", "DIR/k", "-r", "all", "--layout", "per-key", "--quality", "0"})
               .nCode);
    std::vector<std::string> plain = {"verify", "--source", "DIR/Demo.kvs"};
    for (const std::string& strName : Names())
        if (strName.ends_with(".kvn")) plain.push_back("DIR/" + strName);
    std::vector<std::string> perKey = {"verify", "--source", "DIR/Demo.kvs", "--quality", "0"};
    for (const std::string& strName : Names("k")) perKey.push_back("DIR/k/" + strName);
    EXPECT_EQ(3u + 6, plain.size());
    EXPECT_EQ(5u + 6, perKey.size());
    EXPECT_EQ("", Run(plain).strErr);
    EXPECT_EQ("", Run(perKey).strErr);
}

TEST_F(DemoCommandTest, ReplacesAFileWhenForcedOnly) {
    WriteFile(File("Demo.kvs"), std::string("dear"));
    const Outcome outcome = Run({"demo", "-o", "DIR/Demo.kvs"});
    EXPECT_EQ(kExitUsage, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Demo.kvs: there already; -f replaces it\n", outcome.strErr);
    EXPECT_EQ(4u, fs::file_size(File("Demo.kvs")));
    const Json document = Run({"demo", "-o", "DIR/Demo.kvs", "-f", "--json"}).Document();
    EXPECT_EQ(Json::parse(R"({"schema": 1, "command": "demo", "exit_code": 0, "file": "DIR/Demo.kvs",
        "bytes": 256212, "samples": 6, "programs": 5})"),
              document);
    EXPECT_EQ(256212u, fs::file_size(File("Demo.kvs")));
}

TEST_F(DemoCommandTest, ANameThatNoBankCouldBeNamedAfterIsRefused) {
    for (const char* pszName : {"Demo", ".kvs"}) {
        const Outcome outcome = Run({"demo", "-o", std::string("DIR/") + pszName});
        EXPECT_EQ(kExitUsage, outcome.nCode);
        EXPECT_EQ(std::string("kvbank: DIR/") + pszName +
                      ": the name needs a '.': banks are named after what stands before it\n",
                  outcome.strErr);
    }
    EXPECT_THAT(Names(), ElementsAre());
}

TEST_F(DemoCommandTest, WhatCannotBeWrittenLeavesNothing) {
    EXPECT_EQ("kvbank: DIR/none/Demo.kvs: No such file or directory\n",
              Run({"demo", "-o", "DIR/none/Demo.kvs"}).strErr);
    fs::create_directory(File("Demo.kvs"));
    EXPECT_EQ("kvbank: DIR/Demo.kvs: this is not a file\n", Run({"demo", "-o", "DIR/Demo.kvs", "-f"}).strErr);
    WriteFile(File("Old.kvs"), std::string("dear"));
    for (int nFault = 1;; nFault *= 2) {
        FaultyFileEnv env;
        env.FailCallOf(FileOp::kWrite, nFault, FaultyFileEnv::Lasting::kForGood, ENOSPC);
        const Outcome outcome = Run({"demo", "-o", "DIR/Old.kvs", "-f"});
        if (!env.FaultHit()) break;
        EXPECT_EQ(kExitOutput, outcome.nCode);
        EXPECT_EQ("kvbank: DIR/Old.kvs: No space left on device\n", outcome.strErr) << nFault;
        EXPECT_EQ(4u, fs::file_size(File("Old.kvs")));
        EXPECT_THAT(Names(), ElementsAre("Demo.kvs", "Old.kvs"));
    }
    EXPECT_EQ(256212u, fs::file_size(File("Old.kvs")));
}

TEST_F(DemoCommandTest, ACancelLeavesNothing) {
    SetCancelSignal(SIGHUP);
    EXPECT_EQ(kExitProblem, Run({"demo", "-o", "DIR/Demo.kvs"}).nCode);
    EXPECT_THAT(Names(), ElementsAre());
}

}  // namespace
}  // namespace Kestrova::Test
