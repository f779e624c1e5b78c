#include <csignal>
#include <filesystem>
#include <sstream>

#include "tests/tools/kvbank/CommandFixture.h"
#include "tests/tools/kvbank/ForcedPoint.h"
#include "tools/kvbank/build/BatchReporter.h"

namespace Kestrova::Test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// Three sources, of which the second is none.
class BuildBatchTest : public CommandTest {
protected:
    BuildBatchTest() {
        Source({}, "A.kvs");
        WriteFile(File("B.kvs"), std::string("a letter"));
        Source({}, "C.kvs");
    }

    // All three, with these options behind.
    Outcome Build(std::vector<std::string> options = {}) const {
        std::vector<std::string> arguments = {"build", "DIR/A.kvs", "DIR/B.kvs", "DIR/C.kvs",
                                              "-d",    "DIR/out",   "-r",        "44100,48000"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Run(arguments);
    }
    bool IsGood(const std::string& strBank, const std::string& strSource) const {
        return Run({"verify", "DIR/out/" + strBank, "--source", "DIR/" + strSource}).nCode == 0;
    }
};

TEST_F(BuildBatchTest, EverySourceHasALineAndAFailedOneStopsNoOther) {
    const Outcome outcome = Build();
    EXPECT_EQ(kExitBadInput, outcome.nCode);
    EXPECT_EQ(
        "DIR/A.kvs: 2 banks built, 2.4 kB in TIME\n"
        "DIR/B.kvs: failed (exit code 3)\n"
        "DIR/C.kvs: 2 banks built, 2.4 kB in TIME\n"
        "3 sources: 2 done, 1 failed; 4 banks built, 4.8 kB in TIME\n",
        outcome.strOut);
    EXPECT_EQ("kvbank: DIR/B.kvs: not a bank\n", outcome.strErr);
    EXPECT_THAT(Names("out"), ElementsAre("A_0AC44.kvn", "A_0BB80.kvn", "C_0AC44.kvn", "C_0BB80.kvn"));
    EXPECT_TRUE(IsGood("A_0AC44.kvn", "A.kvs"));
    EXPECT_TRUE(IsGood("C_0BB80.kvn", "C.kvs"));
}

TEST_F(BuildBatchTest, TheExitCodeIsTheHighestOfAll) {
    WriteFile(File("C_0AC44.kvn"), std::string("a letter that is longer than a header"));
    Source({}, "D.kvs");
    const std::vector<std::string> rest = {"-d", "DIR", "-r", "44100"};
    const auto codeOf = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "build");
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        return Run(arguments).nCode;
    };
    EXPECT_EQ(kExitDone, codeOf({"DIR/A.kvs", "DIR/D.kvs"}));
    EXPECT_EQ(kExitProblem, codeOf({"DIR/C.kvs", "DIR/A.kvs"})) << "a file is in the way";
    EXPECT_EQ(kExitBadInput, codeOf({"DIR/C.kvs", "DIR/B.kvs", "DIR/A.kvs"}));
}

TEST_F(BuildBatchTest, ASecondRunPassesOverWhatIsThere) {
    Build();
    fs::remove(File("out/C_0BB80.kvn"));
    EXPECT_EQ(
        "DIR/A.kvs: 2 there already\n"
        "DIR/B.kvs: failed (exit code 3)\n"
        "DIR/C.kvs: 1 bank built, 1.2 kB in TIME; 1 there already\n"
        "3 sources: 2 done, 1 failed; 1 bank built, 1.2 kB in TIME; 3 there already\n",
        Build().strOut);
    EXPECT_THAT(Build({"-n", "-f"}).strOut,
                HasSubstr("DIR/A.kvs: 2 banks would be built\nDIR/B.kvs: failed (exit code 3)\n"));
}

TEST_F(BuildBatchTest, QuietPrintsOnlyErrorsAndVerboseEveryBank) {
    const Outcome quiet = Build({"-q"});
    EXPECT_EQ("", quiet.strOut);
    EXPECT_EQ("kvbank: DIR/B.kvs: not a bank\n", quiet.strErr);
    EXPECT_THAT(
        Build({"-v"}).strOut,
        HasSubstr("44100 Hz: there already; -f builds it again\n48000 Hz: there already; -f builds it "
                  "again\nDIR/A.kvs: 2 there already\n"));
}

TEST_F(BuildBatchTest, JsonHasAnObjectForEachSource) {
    Json document = Build({"--json"}).Document();
    for (Json& source : document["sources"]) source.erase("bytes_free");
    const Json banks = Json::parse(R"([
        {"rate": 44100, "file": "A_0AC44.kvn", "predicted_mib": 1, "action": "built", "bytes": 1187,
         "seconds": "TIME"},
        {"rate": 48000, "file": "A_0BB80.kvn", "predicted_mib": 1, "action": "built", "bytes": 1205,
         "seconds": "TIME"}])");
    EXPECT_EQ(banks, document["sources"][0]["banks"]);
    EXPECT_EQ(2u, document["sources"][2]["banks"].size());
    document["sources"][0].erase("banks");
    document["sources"][2].erase("banks");
    EXPECT_EQ(Json::parse(R"json({"schema": 1, "command": "build", "exit_code": 3, "sources": [
        {"source": "DIR/A.kvs", "state": "done", "exit_code": 0, "folder": "DIR/out", "layout": "plain",
         "dry_run": false, "conversion": "standard", "bytes_needed": 2097152},
        {"source": "DIR/B.kvs", "state": "failed", "exit_code": 3, "folder": "DIR/out", "layout": "plain",
         "dry_run": false, "conversion": "standard", "errors": ["DIR/B.kvs: not a bank (engine result 7)"]},
        {"source": "DIR/C.kvs", "state": "done", "exit_code": 0, "folder": "DIR/out", "layout": "plain",
         "dry_run": false, "conversion": "standard", "bytes_needed": 2097152}],
        "summary": {"sources": 3, "done": 2, "failed": 1, "stopped": 0, "not_begun": 0, "banks_built": 4,
         "bytes": 4784, "seconds": "TIME"}})json"),
              document);
}

TEST_F(BuildBatchTest, SourcesOfTheSameBanksAreRefusedBeforeAnythingIsBuilt) {
    fs::create_directory(File("other"));
    Source({}, "other/a.kvs");
    fs::create_hard_link(File("C.kvs"), File("other/C.kvs"));
    const Outcome outcome = Run({"build", "DIR/A.kvs", "DIR/C.kvs", "DIR/other/a.kvs", "DIR/other/C.kvs",
                                 "-d", "DIR/out", "-r", "44100"});
    EXPECT_EQ(kExitUsage, outcome.nCode);
    EXPECT_EQ("", outcome.strOut);
    EXPECT_EQ(
        "kvbank: DIR/A.kvs and DIR/other/a.kvs: the banks of both would be named A_... in DIR/out; give each "
        "a folder of its own\n"
        "kvbank: DIR/C.kvs and DIR/other/C.kvs: the banks of both would be named C_... in DIR/out; give each "
        "a folder of its own\n",
        outcome.strErr);
    EXPECT_FALSE(fs::exists(File("out")));
}

// An enriched source names its banks without the rate of its own name.
TEST_F(BuildBatchTest, AnEnrichedSourceClashesByTheNameOfItsBanks) {
    Source({.bEnriched = true}, "A_0AC44.kvn");
    EXPECT_EQ(kExitUsage,
              Run({"build", "DIR/A.kvs", "DIR/A_0AC44.kvn", "-d", "DIR/out", "-r", "48000"}).nCode);
    EXPECT_FALSE(fs::exists(File("out")));
}

TEST_F(BuildBatchTest, SeveralAtOnceMakeTheSameBanks) {
    SourceSpec spec;
    spec.samples = {{.nFrames = 40000}, {.nRate = 48000, .nFrames = 40000}};
    std::vector<std::string> arguments = {"build", "--jobs", "4", "-d", "DIR/out", "-r", "all"};
    for (int n = 0; n < 8; ++n) {
        arguments.push_back("DIR/" + std::to_string(n) + ".kvs");
        Source(spec, std::to_string(n) + ".kvs");
    }
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(kExitDone, outcome.nCode);
    EXPECT_THAT(outcome.strOut, HasSubstr("8 sources: 8 done; 48 banks built, "));
    EXPECT_EQ(48u, Names("out").size());
    for (int n = 0; n < 8; ++n)
        EXPECT_TRUE(IsGood(std::to_string(n) + "_2EE00.kvn", std::to_string(n) + ".kvs")) << n;
}

TEST_F(BuildBatchTest, OneSourceIsToldAsEver) {
    const Outcome outcome = Run({"build", "DIR/A.kvs", "-d", "DIR/out", "-r", "44100", "--jobs", "4"});
    EXPECT_EQ("44100 Hz: DIR/out/A_0AC44.kvn, 1.2 kB in TIME\n", outcome.strOut);
    EXPECT_EQ(
        0u,
        Run({"build", "DIR/A.kvs", "-d", "DIR/out", "-r", "44100", "--json"}).Document().count("sources"));
}

// The bank that is being committed when the signal comes is finished.
TEST_F(BuildBatchTest, ASignalStopsAllAndWhatIsDoneIsTold) {
    const ForcedPoint point("C_0BB80.kvn", [] { SetCancelSignal(SIGINT); });
    const Outcome outcome =
        Run({"build", "DIR/C.kvs", "DIR/A.kvs", "-d", "DIR/out", "-r", "44100,48000,96000"});
    EXPECT_TRUE(point.WasReached());
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ(
        "DIR/C.kvs: 2 banks built, 2.4 kB in TIME; 1 bank not begun (exit code 1)\n"
        "2 sources: 1 stopped, 1 not begun; 2 banks built, 2.4 kB in TIME; 1 bank not begun\n",
        outcome.strOut);
    EXPECT_THAT(Names("out"), ElementsAre("C_0AC44.kvn", "C_0BB80.kvn"));
}

TEST_F(BuildBatchTest, ASourceThatWasNotBegunIsInTheDocument) {
    SetCancelSignal(SIGTERM);
    const Json document = Build({"--json"}).Document();
    EXPECT_EQ(kExitProblem, document["exit_code"]);
    EXPECT_EQ(Json::parse(R"({"source": "DIR/A.kvs", "state": "not begun"})"), document["sources"][0]);
    EXPECT_EQ(3, document["summary"]["not_begun"]);
    EXPECT_FALSE(fs::exists(File("out")));
}

TEST_F(BuildBatchTest, TheLogHasEveryBankOfEverySource) {
    Build({"-q", "--log-file", "DIR/log"});
    const Bytes log = ReadFile(File("log"));
    const std::string strLog(log.begin(), log.end());
    for (const char* pszPart :
         {" start: kvbank build ", " said: 44100 Hz: ", "/out/A_0AC44.kvn, 1.2 kB in ",
          " error: ", "/B.kvs: not a bank\n", " said: 3 sources: 2 done, 1 failed; ", " end: exit code 3\n"})
        EXPECT_THAT(strLog, HasSubstr(pszPart));
}

TEST_F(BuildBatchTest, TheNumberOfSourcesAtOnceIsChecked) {
    for (const char* pszJobs : {"0", "65", "-1", "two"}) {
        EXPECT_EQ(kExitUsage, Build({"--jobs", pszJobs}).nCode) << pszJobs;
        EXPECT_FALSE(fs::exists(File("out")));
    }
}

// The line of the progress goes before a source is told, and comes back.
TEST(BatchReporterTest, TheProgressCountsSourcesAndMakesWayForTheirLines) {
    std::istringstream in;
    std::ostringstream out, err;
    Console console(in, out, err);
    console.progress = Console::ProgressStyle::Always;
    BatchReporter reporter(console, 3);
    reporter.OnProgress(1, 0.5, 2000);
    reporter.OnEnd({.strSource = "S",
                    .state = SourceOutcome::State::Failed,
                    .code = kExitOutput,
                    .tally = {},
                    .seconds = 1,
                    .strLines = "not shown",
                    .strErrors = "kvbank: S: wrong\n",
                    .facts = {}});
    EXPECT_EQ("S: failed (exit code 4)\n", out.str());
    EXPECT_EQ("\r\033[K1 of 3 sources [############............]  50%  2.0 kB\r\033[Kkvbank: S: wrong\n",
              err.str());
}

}  // namespace
}  // namespace Kestrova::Test
