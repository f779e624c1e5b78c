#include <regex>

#include "tests/support/PrivateHome.h"
#include "tests/tools/kvbank/CommandFixture.h"

namespace Kestrova::Test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class OutputOptionsTest : public CommandTest {
protected:
    // What an error looks like, on a terminal or elsewhere.
    std::string ErrorWith(std::vector<std::string> options, bool bTerminal) const {
        std::vector<std::string> arguments = {"info", "DIR/none"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Run(arguments, "", false, bTerminal).strErr;
    }
    std::string Log() const {
        const Bytes bytes = ReadFile(File("log"));
        return {bytes.begin(), bytes.end()};
    }

    const ScopedVariable m_term{"TERM", "xterm"};
    const ScopedVariable m_noColor{"NO_COLOR", nullptr};
};

constexpr const char* kPlain = "kvbank: DIR/none: No such file or directory\n";
constexpr const char* kColored = "\033[1;31mkvbank:\033[0m DIR/none: No such file or directory\n";

TEST_F(OutputOptionsTest, ColoursAreForTerminalsUnlessAskedForOrForbidden) {
    EXPECT_EQ(kPlain, ErrorWith({}, false));
    EXPECT_EQ(kColored, ErrorWith({}, true));
    EXPECT_EQ(kColored, ErrorWith({"--color=auto"}, true));
    EXPECT_EQ(kColored, ErrorWith({"--color=always"}, false));
    EXPECT_EQ(kPlain, ErrorWith({"--color=never"}, true));
}

TEST_F(OutputOptionsTest, TheEnvironmentCanForbidColours) {
    m_noColor.Set("1");
    EXPECT_EQ(kPlain, ErrorWith({}, true));
    EXPECT_EQ(kColored, ErrorWith({"--color=always"}, true)) << "the option is stronger";
    m_noColor.Set("");
    EXPECT_EQ(kColored, ErrorWith({}, true)) << "an empty value says nothing";
    for (const char* pszTerm : {"dumb", "", static_cast<const char*>(nullptr)}) {
        m_term.Set(pszTerm);
        EXPECT_EQ(kPlain, ErrorWith({}, true));
    }
}

TEST_F(OutputOptionsTest, AnUnknownChoiceIsWrongUse) {
    EXPECT_THAT(ErrorWith({"--progress=often"}, false),
                StartsWith("kvbank: --progress: 'often': give one of auto|always|never|json\n"));
    EXPECT_THAT(ErrorWith({"--log-file", ""}, false), StartsWith("kvbank: --log-file: the value is empty\n"));
    EXPECT_THAT(ErrorWith({"--color=red"}, false),
                StartsWith("kvbank: --color: 'red': give one of auto|always|never\n"));
}

TEST_F(OutputOptionsTest, WithProgressAsJsonEveryLineOfStandardErrorIsAnObject) {
    EXPECT_EQ("{\"event\":\"error\",\"text\":\"DIR/none: No such file or directory\"}\n",
              ErrorWith({"--progress=json"}, true));
}

TEST_F(OutputOptionsTest, TheLogHasTheCommandItsMessagesAndItsEnd) {
    ErrorWith({"--log-file", "DIR/log"}, false);
    Run({"demo", "-o", "DIR/Demo.kvs", "-q", "--log-file", "DIR/log"});
    const std::regex lines(
        "[^ ]+Z \\d+ start: kvbank info .*/none --log-file .*/log\n"
        "[^ ]+Z \\d+ error: .*/none: No such file or directory\n"
        "[^ ]+Z \\d+ end: exit code 3\n"
        "[^ ]+Z \\d+ start: kvbank demo .*\n"
        "[^ ]+Z \\d+ said: .*/Demo.kvs: .*\n"
        "[^ ]+Z \\d+ end: exit code 0\n");
    EXPECT_TRUE(std::regex_match(Log(), lines)) << Log();
}

TEST_F(OutputOptionsTest, WarningsThatAreNotPrintedAreInTheLog) {
    std::istringstream in;
    std::ostringstream out, err;
    Console console(in, out, err);
    console.bQuiet = true;
    console.strLogFile = File("log");
    ASSERT_EQ("", console.OpenLog());
    console.Warn("care");
    EXPECT_THAT(Log(), HasSubstr(" warning: care\n"));
    EXPECT_EQ("", err.str());
}

TEST_F(OutputOptionsTest, WithoutItsLogNothingIsDone) {
    const Outcome outcome = Run({"demo", "-o", "DIR/Demo.kvs", "--log-file", "DIR/none/log"});
    EXPECT_EQ(kExitOutput, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/none/log: No such file or directory\n", outcome.strErr);
    EXPECT_TRUE(Names().empty());
}

TEST_F(OutputOptionsTest, ASourceIsNeverTakenForALog) {
    const Bytes before = ReadFile(Source());
    const Outcome outcome =
        Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "44100", "--log-file", "DIR/Src.kvs"});
    EXPECT_EQ(kExitOutput, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: it is no text file, so no log is appended to it\n", outcome.strErr);
    EXPECT_EQ(before, ReadFile(File("Src.kvs")));
}

TEST_F(OutputOptionsTest, ALogThatCannotBeWrittenIsAFailureAtTheEnd) {
    const Outcome outcome = Run({"demo", "-o", "DIR/Demo.kvs", "--log-file", "/dev/full", "--json"});
    EXPECT_EQ(kExitOutput, outcome.nCode);
    EXPECT_EQ(kExitOutput, outcome.Document()["exit_code"]);
    EXPECT_EQ("kvbank: /dev/full: the log cannot be written: No space left on device\n", outcome.strErr);
    EXPECT_THAT(Names(), ::testing::ElementsAre("Demo.kvs"));
}

}  // namespace
}  // namespace Kestrova::Test
