// How a run ends that could not begin its work, or not go on with it: errors of usage, no memory, internal
// errors.
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "shared/Process/kvOutOfMemory.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/SoundFontMaker.h"
#include "tests/tools/kvbank/CommandFixture.h"

namespace Kestrova::Test {
namespace {

class UsageTest : public CommandTest {
protected:
    Outcome ExpectUsage(const std::vector<std::string>& arguments, const std::string& strError) const {
        SCOPED_TRACE(::testing::PrintToString(arguments));
        Outcome outcome = Run(arguments);
        EXPECT_EQ(kExitUsage, outcome.nCode);
        EXPECT_EQ("", outcome.strOut);
        EXPECT_THAT(outcome.strErr, StartsWith("kvbank: " + strError + "\n"));
        return outcome;
    }
};

TEST_F(UsageTest, TellsWhichWordIsWrong) {
    static const struct {
        std::vector<std::string> arguments;
        const char* pszError;
    } kRows[] = {
        {{}, "a verb is required"},
        {{"bogus"}, "unknown verb 'bogus'"},
        {{"-q", "bogus", "-v"}, "unknown verb 'bogus'"},
        {{"bogus\x1B[2J"}, "unknown verb 'bogus?[2J'"},
        {{"--bogus"}, "unknown option '--bogus'"},
        {{"build", "--bogus"}, "unknown option '--bogus'"},
        {{"build", "x.kvs", "--dirr=y", "-r", "all"}, "unknown option '--dirr=y'; did you mean '--dir'?"},
        {{"biuld", "x.kvs"}, "unknown verb 'biuld'; did you mean 'build'?"},
        {{"-q", "Import"}, "unknown verb 'Import'; did you mean 'import'?"},
        {{"hlep"}, "unknown verb 'hlep'; did you mean 'help'?"},
        {{"--versoin"}, "unknown option '--versoin'; did you mean '--version'?"},
        {{"list", "DIR", "-quiet"}, "unknown option '-uiet'; did you mean '--quiet'?"},
        {{"verify", "x", "--sorce", "y"}, "unknown option '--sorce'; did you mean '--source'?"},
        {{"list", "DIR", "more"}, "unexpected argument 'more'"},
        {{"list"}, "DIR is required"},
        {{"build", "x.kvs", "-d", "DIR", "-r", "48001"},
         "--rates: '48001': give 'all' or some of 44100, 48000, 88200, 96000, 176400 and 192000, with commas "
         "between"},
    };
    for (const auto& row : kRows) ExpectUsage(row.arguments, row.pszError);
}

TEST_F(UsageTest, PointsToTheHelpOfTheVerb) {
    EXPECT_EQ("kvbank: unknown verb 'bogus'\nRun 'kvbank --help' to see how it is used.\n",
              Run({"bogus"}).strErr);
    EXPECT_EQ("kvbank: DIR is required\nRun 'kvbank list --help' to see how it is used.\n",
              Run({"list"}).strErr);
}

TEST_F(UsageTest, JsonIsADocumentForUsageTooWhereverItIsAskedFor) {
    static const struct {
        std::vector<std::string> arguments;
        const char* pszVerb;
        const char* pszError;
    } kRows[] = {
        {{"--json"}, "", "a verb is required"},
        {{"--json", "bogus"}, "", "unknown verb 'bogus'"},
        {{"bogus", "--json"}, "", "unknown verb 'bogus'"},
        {{"verfy", "--json"}, "", "unknown verb 'verfy'; did you mean 'verify'?"},
        {{"import", "--lsit", "--json"}, "import", "unknown option '--lsit'; did you mean '--list'?"},
        {{"build", "--json"}, "build", "SOURCE is required"},
        {{"--json", "list"}, "list", "DIR is required"},
        {{"list", "", "--json"}, "list", "DIR: the value is empty"},
        {{"verify", "x", "--quality", "8", "--json"}, "verify", "--quality: Value 8 not in range 0 to 7"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(::testing::PrintToString(row.arguments));
        const Outcome outcome = Run(row.arguments);
        EXPECT_EQ(kExitUsage, outcome.nCode);
        EXPECT_EQ(std::string("kvbank: ") + row.pszError + "\n", outcome.strErr);
        EXPECT_EQ((Json{{"schema", 1},
                        {"command", row.pszVerb},
                        {"exit_code", 2},
                        {"errors", Json::array({row.pszError})}}),
                  outcome.Document());
    }
}

TEST_F(UsageTest, BehindADoubleDashJsonIsAName) {
    const Outcome outcome = Run({"info", "--", "--json"});
    EXPECT_EQ(kExitBadInput, outcome.nCode);
    EXPECT_EQ("kvbank: --json: No such file or directory\n", outcome.strErr);
    EXPECT_EQ("", outcome.strOut);
}

TEST_F(UsageTest, AnEmptyValueIsAMistakeEverywhere) {
    ExpectUsage({"build", "x.kvs", "-d", "", "-r", "all"}, "--dir: the value is empty");
    ExpectUsage({"build", "", "-d", "DIR", "-r", "all"}, "SOURCE: the value is empty");
    ExpectUsage({"verify", "x", "--source", ""}, "--source: the value is empty");
    ExpectUsage({"verify", "x", ""}, "FILE: the value is empty");
    ExpectUsage({"demo", "-o", ""}, "--output: the value is empty");
    EXPECT_THAT(Names(), ElementsAre());
}

TEST_F(UsageTest, LeftoversAreOfNoSourceAndNoRates) {
    ExpectUsage({"remove", "DIR", "--leftovers", "--source", "x.kvs"}, "--source excludes --leftovers");
    ExpectUsage({"remove", "DIR", "--leftovers", "-r", "all"}, "--rates excludes --leftovers");
    EXPECT_THAT(Run({"remove", "--help"}).strOut, Not(HasSubstr("Excludes")));
}

TEST_F(UsageTest, LayoutsAreGivenByTheirNamesAlone) {
    for (const char* pszLayout : {"r", "n", "110", "114", "Plain", "PER-KEY", "perkey", "0"})
        ExpectUsage({"build", "x.kvs", "-d", "DIR", "-r", "all", "--layout", pszLayout},
                    std::string("--layout: '") + pszLayout + "': give 'plain' or 'per-key'");
    const std::string strHelp = Run({"build", "--help"}).strOut;
    EXPECT_THAT(strHelp, HasSubstr("--layout plain|per-key "));
    EXPECT_THAT(strHelp, Not(HasSubstr("{")));
}

TEST_F(UsageTest, AnOptionInFrontOfTheFontLeavesItAlone) {
    WriteFile(File("a.sf2"), MakeFont(SimpleFont()));
    const auto import = [this](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "import");
        arguments.insert(arguments.end(), {"-o", "DIR/a.kvs", "-f"});
        return Run(arguments);
    };
    EXPECT_EQ(kExitDone, import({"--preset", "0:0", "DIR/a.sf2"}).nCode);
    EXPECT_EQ(kExitDone, import({"--preset=0:0", "DIR/a.sf2"}).nCode);
    EXPECT_EQ(kExitDone, import({"--preset", "0:0", "--preset", "0:0", "DIR/a.sf2"}).nCode);
    EXPECT_THAT(import({"DIR/a.sf2", "--preset", "0:0", "0:1"}).strErr,
                StartsWith("kvbank: unexpected argument '0:1'\n"));
    EXPECT_EQ("kvbank: DIR/a.sf2: there is no preset 9:9\n",
              import({"--preset", "0:0", "--preset", "9:9", "DIR/a.sf2"}).strErr);
}

// How a run in a process of its own ended.
enum MemoryEnd { kToldNoMemory = 40, kDoneAllTheSame, kNoFaultMet, kWrongEnd };

// Lists the folder while allocation nCall fails.
MemoryEnd ListWithFailure(const std::string& strFolder, int nCall) {
    std::vector<std::string> arguments = {"list", strFolder, "--json"};
    std::istringstream in;
    std::ostringstream out, err;
    Console console(in, out, err);
    int nCode = 0;
    bool bMet = false;
    {
        const PosixFault fault("_Znwm", 1, nCall);
        nCode = RunKvBank(std::move(arguments), console);
        bMet = fault.Calls() >= nCall;
    }
    if (!bMet) return kNoFaultMet;
    if (nCode == kExitDone) return kDoneAllTheSame;
    const Json document = Json::parse(out.str());
    const bool bRight = nCode == kExitNoMemory && err.str() == "kvbank: out of memory\n" &&
                        document["schema"] == 1 && document["exit_code"] == kExitNoMemory &&
                        document["errors"] == Json::array({"out of memory"});
    return bRight ? kToldNoMemory : kWrongEnd;
}

// Each allocation fails in a run of its own. The run always ends with the exit code, and with a document,
// unless the allocation was one of a destructor.
TEST_F(UsageTest, WithoutMemoryTheDocumentSaysSo) {
    Source();
    int nTold = 0;
    for (int nCall = 1;; nCall += 1 + nCall / 16) {
        SCOPED_TRACE(nCall);
        const pid_t nChild = fork();
        ASSERT_GE(nChild, 0);
        if (nChild == 0) {
            EndCleanlyWithoutMemory({"kvbank: out of memory\n", kExitNoMemory});
            _exit(ListWithFailure(Folder(), nCall));
        }
        int nStatus = 0;
        ASSERT_EQ(nChild, waitpid(nChild, &nStatus, 0));
        ASSERT_TRUE(WIFEXITED(nStatus));
        const int nEnd = WEXITSTATUS(nStatus);
        if (nEnd == kNoFaultMet) break;
        EXPECT_TRUE(nEnd == kToldNoMemory || nEnd == kDoneAllTheSame || nEnd == kExitNoMemory) << nEnd;
        nTold += nEnd == kToldNoMemory;
    }
    EXPECT_GT(nTold, 10);
}

// The engine tells of it by its result alone; whether the bank is there has not been looked at then.
TEST_F(UsageTest, WithoutMemoryForTheEngineARemovalSaysSoOfTheBank) {
    Source();
    ASSERT_EQ(0, Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "44100", "-q"}).nCode);
    const std::string strBank = File("Src_0AC44.kvn");
    const Bytes bank = ReadFile(strBank);
    int nTold = 0;
    bool bMet = true;
    for (int nCall = 1; bMet; ++nCall) {
        SCOPED_TRACE(nCall);
        WriteFile(strBank, bank);
        const PosixFault fault("open", ENOMEM, nCall);
        const Outcome outcome = Run({"remove", "DIR", "--source", "DIR/Src.kvs", "-r", "44100", "-y"});
        bMet = fault.Calls() >= nCall;
        EXPECT_TRUE(outcome.nCode == kExitDone || outcome.nCode == kExitNoMemory) << outcome.strErr;
        EXPECT_EQ(outcome.nCode != kExitDone, fs::exists(strBank));
        nTold += outcome.strErr == "kvbank: DIR/Src_0AC44.kvn: out of memory\n";
    }
    EXPECT_EQ(2, nTold);  // the engine looks at the bank twice
}

// Input that throws where no command expects it.
class ThrowingInput : public std::streambuf {
protected:
    int_type underflow() override { throw std::runtime_error("the input\nthrew"); }
};

TEST_F(UsageTest, AnInternalErrorHasItsCodeAndDocument) {
    Source();
    ASSERT_EQ(0, Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "44100", "-q"}).nCode);
    ThrowingInput input;
    std::istream in(&input);
    in.exceptions(std::ios::badbit);
    std::ostringstream out, err;
    Console console(in, out, err);
    console.bInIsTerminal = true;
    EXPECT_EQ(kExitInternal,
              RunKvBank({"remove", Folder(), "--source", File("Src.kvs"), "-r", "all", "--json"}, console));
    EXPECT_THAT(err.str(), HasSubstr("kvbank: internal error: the input?threw\n"));
    EXPECT_EQ(Json::parse(R"({"schema": 1, "command": "remove", "exit_code": 70,
        "errors": ["internal error: the input\nthrew"]})"),
              Json::parse(out.str()));
    EXPECT_TRUE(fs::exists(File("Src_0AC44.kvn")));
}

}  // namespace
}  // namespace Kestrova::Test
