#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "app/CommandLine.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

CommandLine Read(const std::vector<const char*>& arguments) {
    std::vector<const char*> argv = {"kvbankmgr"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    return ReadCommandLine(static_cast<int>(argv.size()), argv.data());
}

void ExpectLine(const char* pszMode, const char* pszSource, const char* pszTarget, const CommandLine& line) {
    EXPECT_STREQ(pszMode, line.strMode);
    EXPECT_STREQ(pszSource, line.strSource);
    EXPECT_STREQ(pszTarget, line.strTarget);
}

// The path of a file or folder of the folder this test was started in.
std::string Here(const char* pszName) { return std::filesystem::current_path().string() + "/" + pszName; }

TEST(CommandLineTest, ArgumentsAreModeSourceAndTarget) {
    ExpectLine("", "", "", Read({}));
    ExpectLine("install", "", "", Read({"install"}));
    ExpectLine("install", "/a/b.kvs", "", Read({"install", "/a/b.kvs"}));
    ExpectLine("install", "/a/b.kvs", "/c", Read({"install", "/a/b.kvs", "/c"}));
}

TEST(CommandLineTest, NotEvenTheProgramsNameIsNeeded) { ExpectLine("", "", "", ReadCommandLine(0, nullptr)); }

TEST(CommandLineTest, MoreThanThreeAreIgnored) {
    ExpectLine("install", "/a", "/b", Read({"install", "/a", "/b", "/c", "-psn_0"}));
}
// Q115

// Q115
TEST(CommandLineTest, ALaunchersMarkInTheFirstArgumentDropsAll) {
    ExpectLine("", "", "", Read({"-psn_0_12345"}));
    ExpectLine("", "", "", Read({"-psn_0_12345", "/a", "/b"}));
    ExpectLine("", "", "", Read({"install-psn", "/a", "/b"}));
}

TEST(CommandLineTest, ElsewhereAndOtherwiseSpeltTheMarkIsAText) {
    ExpectLine("install", Here("-psn_0").c_str(), Here("-psn").c_str(), Read({"install", "-psn_0", "-psn"}));
    ExpectLine("-PSN_0", "/a", "", Read({"-PSN_0", "/a"}));
    ExpectLine("-ps", "", "", Read({"-ps"}));
}

TEST(CommandLineTest, PathsAreUnifiedAndTheModeWordIsUntouched) {
    ExpectLine("Create\\48000", "/banks/a.kvs", "//host/banks/",
               Read({"Create\\48000", "\\banks\\a.kvs", "/\\host\\banks\\"}));
}
// Q141

// Q141
TEST(CommandLineTest, RelativePathsAreMadeAbsoluteAndTheModeWordIsNot) {
    ExpectLine("a", Here("b.kvs").c_str(), Here("../banks/").c_str(), Read({"a", "b.kvs", "..\\banks\\"}));
    // Drives and hosts of other systems are names like any other here.
    ExpectLine("", Here("C:/a.kvs").c_str(), Here("\\\\host/b").c_str(),
               Read({"", "C:\\a.kvs", "\\\\host\\b"}));
}

TEST(CommandLineTest, TheFolderOfTheProcessIsTakenAsItIs) {
    const TempDir dir;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::create_directory(dir.File("a\\b"));
    std::filesystem::current_path(dir.File("a\\b"));
    EXPECT_EQ(dir.File("a\\b/c/d"), Read({"", "c\\d"}).strSource.c_str());
    std::filesystem::remove(dir.File("a\\b"));
    EXPECT_STREQ("c/d", Read({"", "c\\d"}).strSource) << "a folder that has gone cannot be told";
    std::filesystem::current_path(before);
}

TEST(CommandLineTest, EmptyArgumentsKeepTheirPlace) { ExpectLine("", "", "/b", Read({"", "", "/b"})); }

TEST(CommandLineTest, HelpNamesEveryModeWord) {
    const char* const pszHelp = InformationFor("--help");
    ASSERT_NE(nullptr, pszHelp);
    const std::string strHelp(pszHelp);
    EXPECT_EQ(0u, strHelp.find("Usage: kvbankmgr [MODE [SOURCE [FOLDER]]]\n"));
    for (const char* pszWord : {"install ", "uninstall ", "createN ", "kvbank --help"})
        EXPECT_NE(std::string::npos, strHelp.find(pszWord)) << pszWord;
    EXPECT_EQ('\n', strHelp.back());
}

TEST(CommandLineTest, VersionIsOneLine) { EXPECT_STREQ("kvbankmgr 1.0\n", InformationFor("--version")); }

// The numbers of the engine's results: 6 to 8 are those of jobs that were refused at once.
// Q135
TEST(CommandLineTest, TheExitCodeIsTheStatusButOfRefusedJobsThatOfFailedOnes) {
    const std::vector<std::pair<int, int>> codes = {{-1, -1}, {0, 0},  {2, 2}, {3, 3},   {4, 4},   {6, 9},
                                                    {7, 9},   {8, 10}, {9, 9}, {10, 10}, {11, 11}, {12, 12}};
    for (const auto& [nStatus, nCode] : codes) EXPECT_EQ(nCode, ExitCode(nStatus)) << nStatus;
}

TEST(CommandLineTest, OtherWordsAskForNoInformation) {
    for (const char* pszWord :
         {static_cast<const char*>(nullptr), "", "install", "--HELP", "--helpful", "-h"})
        EXPECT_EQ(nullptr, InformationFor(pszWord)) << (pszWord != nullptr ? pszWord : "null");
}

}  // namespace
}  // namespace Kestrova::Test
