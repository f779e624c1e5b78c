#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/CommandLine.h"

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

TEST(CommandLineTest, ALaunchersMarkInTheFirstArgumentDropsAll) {
    ExpectLine("", "", "", Read({"-psn_0_12345"}));
    ExpectLine("", "", "", Read({"-psn_0_12345", "/a", "/b"}));
    ExpectLine("", "", "", Read({"install-psn", "/a", "/b"}));
}

TEST(CommandLineTest, ElsewhereAndOtherwiseSpeltTheMarkIsAText) {
    ExpectLine("install", "-psn_0", "-psn", Read({"install", "-psn_0", "-psn"}));
    ExpectLine("-PSN_0", "/a", "", Read({"-PSN_0", "/a"}));
    ExpectLine("-ps", "", "", Read({"-ps"}));
}

TEST(CommandLineTest, PathsAreUnifiedAndTheModeWordIsUntouched) {
    ExpectLine("Create\\48000", "C:/banks/a.kvs", "\\\\host/banks/",
               Read({"Create\\48000", "C:\\banks\\a.kvs", "\\\\host\\banks\\"}));
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

TEST(CommandLineTest, OtherWordsAskForNoInformation) {
    for (const char* pszWord :
         {static_cast<const char*>(nullptr), "", "install", "--HELP", "--helpful", "-h"})
        EXPECT_EQ(nullptr, InformationFor(pszWord)) << (pszWord != nullptr ? pszWord : "null");
}

}  // namespace
}  // namespace Kestrova::Test
