// The program where there is no desktop.
#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

using Words = std::vector<std::string>;

constexpr char kNoDisplay[] = "kvbankmgr: no display can be reached, so no window can be shown.\n";

// A new home, in which the program also starts, and nothing of this process's environment.
class NoDisplayTest : public testing::Test {
protected:
    NoDisplayTest() { fs::create_directory(m_dir.File("home")); }

    ProgramRun Run(const Words& variables, const Words& arguments) {
        Words words = {"env", "-i", "-C", m_dir.File("home"), "HOME=" + m_dir.File("home"), "LC_ALL=C.UTF-8"};
        words.insert(words.end(), variables.begin(), variables.end());
        words.push_back(KV_KVBANKMGR);
        words.insert(words.end(), arguments.begin(), arguments.end());
        return RunProgram(words);
    }
    std::vector<fs::path> LeftBehind() const {
        return {fs::recursive_directory_iterator(m_dir.Path()), fs::recursive_directory_iterator()};
    }
    void ExpectRefused(const Words& variables, const Words& arguments = {}) {
        const ProgramRun run = Run(variables, arguments);
        const std::string strCase = testing::PrintToString(variables) + testing::PrintToString(arguments);
        EXPECT_EQ(255, run.nStatus) << strCase;
        EXPECT_EQ(kNoDisplay, run.strErr) << strCase;
        EXPECT_EQ("", run.strOut) << strCase;
        EXPECT_EQ(std::vector<fs::path>{m_dir.Path() / "home"}, LeftBehind()) << strCase;
    }

    const TempDir m_dir;
};

TEST_F(NoDisplayTest, WithoutADisplayOneLineSaysSoAndNothingIsMade) {
    ExpectRefused({"QT_QPA_PLATFORM=xcb"});
    ExpectRefused({"QT_QPA_PLATFORM=xcb", "DISPLAY=:4711"});
    ExpectRefused({"QT_QPA_PLATFORM=xcb", "DISPLAY="});
}

TEST_F(NoDisplayTest, AnUnknownPlatformIsNoDisplayEither) { ExpectRefused({"QT_QPA_PLATFORM=nothing"}); }

TEST_F(NoDisplayTest, WithoutAChosenPlatformItIsTheSame) {
    ExpectRefused({});
    ExpectRefused({"DISPLAY=:4711"});
    ExpectRefused({"WAYLAND_DISPLAY=wayland-4711"});
}

TEST_F(NoDisplayTest, TheModesThatNeedNoUserNeedADisplayAsWell) {
    for (const char* const pszMode : {"install", "uninstall", "create96000"})
        ExpectRefused({"QT_QPA_PLATFORM=xcb"}, {pszMode, "source.kvs", m_dir.File("home/banks")});
}
// Q134

// Q134
TEST_F(NoDisplayTest, HelpAndVersionNeedNoDisplay) {
    for (const char* const pszWord : {"--help", "--version"}) {
        const ProgramRun run = Run({"QT_QPA_PLATFORM=xcb"}, {pszWord});
        EXPECT_EQ(0, run.nStatus) << pszWord;
        EXPECT_NE("", run.strOut) << pszWord;
        EXPECT_EQ("", run.strErr) << pszWord;
        EXPECT_EQ('\n', run.strOut.back()) << pszWord;
        EXPECT_NE(std::string::npos, run.strOut.find("kvbankmgr")) << pszWord;
        EXPECT_EQ(std::vector<fs::path>{m_dir.Path() / "home"}, LeftBehind()) << pszWord;
    }
}

TEST_F(NoDisplayTest, HelpThatCannotBeWrittenIsAFailure) {
    const ProgramRun run = RunProgram({"sh", "-c", KV_KVBANKMGR " --help >/dev/full"});
    EXPECT_EQ(1, run.nStatus);
}

}  // namespace
}  // namespace Kestrova::Test
