// What the documents say of the tree is compared with the tree: the files, folders, programs, tests and
// presets that they name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/SourceTree.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

using Names = std::set<std::string>;

// The documents, as paths from the top of the tree.
std::vector<std::string> Documents() {
    std::vector<std::string> documents = FilesBelow("docs", {".md"});
    for (const char* pszPath : {"README.md", "CONTRIBUTING.md", "bench/README.md", "tests/vectors/README.md"})
        documents.push_back(pszPath);
    return documents;
}

// Every match of the pattern's first group.
Names Matches(const std::string& strText, const std::string& strPattern) {
    const std::regex pattern(strPattern);
    Names names;
    for (std::sregex_iterator it(strText.begin(), strText.end(), pattern), end; it != end; ++it)
        names.insert((*it)[1]);
    return names;
}

// The names in backticks in a column of the tables with this head.
Names NamesInColumn(const std::string& strDocument, const std::string& strHead, size_t nColumn) {
    Names names;
    for (const Cells& cells : TableRows(TextOf(strDocument), strHead))
        for (const std::string& strName : Quoted(cells.at(nColumn))) names.insert(strName);
    return names;
}

Names FuzzTargets() { return Matches(TextOf("tests/fuzz/CMakeLists.txt"), R"(\nkv_fuzz\((\w+))"); }

// The test programs that the CMake files make.
Names TestPrograms() {
    Names programs;
    for (const std::string& strFile : FilesBelow("tests", {"CMakeLists.txt"}))
        for (const std::string& strName : Matches("\n" + TextOf(strFile), R"(\n *kv_test\(\s*(\w+))"))
            programs.insert(strName + "_test");
    for (const std::string& strName : FuzzTargets()) programs.insert(strName + "_seeds_test");
    return programs;
}

TEST(DocsTest, EveryTestProgramHasARowAndEveryRowAProgram) {
    EXPECT_EQ(TestPrograms(), NamesInColumn("docs/TESTING.md", "Program", 0));
}

// The entries of CTest that are not the tests of a program; "*" stands for what a loop of the CMake file puts
// in.
Names OtherEntries() {
    Names entries;
    for (const std::string& strFile : FilesBelow("tests", {"CMakeLists.txt"}))
        for (const std::string& strName : Matches(TextOf(strFile), R"(add_test\(NAME\s+(\S+))"))
            entries.insert(std::regex_replace(strName, std::regex(R"(\$\{\w+\})"), "*"));
    return entries;
}

TEST(DocsTest, EveryOtherEntryOfCTestHasARow) {
    EXPECT_EQ(OtherEntries(), NamesInColumn("docs/TESTING.md", "Entry", 0));
}

TEST(DocsTest, EveryFuzzTargetHasARowAndSeeds) {
    const Names targets = FuzzTargets();
    EXPECT_EQ(targets, NamesInColumn("docs/TESTING.md", "Target", 0));
    for (const std::string& strTarget : targets)
        EXPECT_FALSE(FilesBelow("tests/fuzz/seeds/" + strTarget, {""}).empty()) << strTarget;
}

TEST(DocsTest, EveryHeaderOfTheSupportLibraryHasARow) {
    Names headers;
    for (const std::string& strFile : FilesBelow("tests/support", {".h"}))
        headers.insert(fs::path(strFile).filename().string());
    Names named;
    for (const std::string& strName : NamesInColumn("docs/TESTING.md", "Header", 0))
        if (strName.ends_with(".h")) named.insert(strName);
    EXPECT_EQ(headers, named);
}

TEST(DocsTest, EveryFolderOfTheProductHasARow) {
    const Names named = NamesInColumn("docs/ARCHITECTURE.md", "Folder", 0);
    for (const std::string& strTop : kProductFolders)
        for (const std::string& strFile : FilesBelow(strTop, {"CMakeLists.txt"})) {
            const std::string strFolder = fs::path(strFile).parent_path().string();
            EXPECT_EQ(1u, named.count(strFolder)) << strFolder;
        }
}

TEST(DocsTest, TheExplainedPresetsAreThoseThereAre) {
    const nlohmann::json presets = nlohmann::json::parse(TextOf("CMakePresets.json"));
    Names names;
    for (const nlohmann::json& preset : presets["buildPresets"]) names.insert(preset["name"]);
    const std::string strText = TextOf("CONTRIBUTING.md");
    const std::string strLead = "presets of `CMakePresets.json` (";
    const size_t nAt = strText.find(strLead);
    ASSERT_NE(std::string::npos, nAt);
    const size_t nFrom = nAt + strLead.size();
    EXPECT_EQ(names, Matches(strText.substr(nFrom, strText.find(')', nFrom) - nFrom), R"(([\w-]+))"));
}

// The code of these folders without its comments, with texts that stand behind each other as one.
std::string CodeWithTexts(const std::vector<std::string>& folders) {
    std::string strCode;
    for (const std::string& strFolder : folders)
        for (const std::string& strFile : FilesBelow(strFolder, {".cpp", ".h"}))
            for (const std::string& strWhole : LinesOf(TextOf(strFile))) {
                const std::string strLine = strWhole.substr(0, strWhole.find("//"));
                const size_t nFrom = strLine.find_first_not_of(' ');
                if (nFrom == std::string::npos) continue;
                const bool bGoesOn = strLine[nFrom] == '"' && strCode.ends_with('"');
                if (bGoesOn) strCode.pop_back();
                strCode += bGoesOn ? strLine.substr(nFrom + 1) : "\n" + strLine;
            }
    return strCode;
}

// The parts of a message between the "..." that stand for what differs; short ones could be anywhere.
std::vector<std::string> FixedParts(const std::string& strMessage) {
    constexpr size_t kTooShort = 5;
    std::vector<std::string> parts;
    for (size_t nFrom = 0; nFrom < strMessage.size();) {
        const size_t nEnd = std::min(strMessage.find("...", nFrom), strMessage.size());
        if (nEnd - nFrom >= kTooShort) parts.push_back(strMessage.substr(nFrom, nEnd - nFrom));
        nFrom = nEnd + 3;
    }
    return parts;
}

TEST(DocsTest, EveryMessageOfTheGuideStandsInTheSources) {
    const std::string strCode = CodeWithTexts({"tools/kvbank", "import", "bank", "app"});
    const Names messages = NamesInColumn("docs/GUIDE.md", "Message", 0);
    EXPECT_GT(messages.size(), 50u);
    for (const std::string& strMessage : messages) {
        const std::vector<std::string> parts = FixedParts(strMessage);
        EXPECT_FALSE(parts.empty()) << strMessage;
        for (const std::string& strPart : parts)
            EXPECT_NE(std::string::npos, strCode.find(strPart)) << strMessage << ": " << strPart;
    }
}

TEST(DocsReadingTest, AMessageIsReadByItsFixedParts) {
    EXPECT_EQ((std::vector<std::string>{" are needed, ", " are free"}),
              FixedParts("... are needed, ... are free"));
    EXPECT_EQ((std::vector<std::string>{"unknown verb '"}), FixedParts("unknown verb '...'"));
}

// A pattern of a document, in which "*" stands for any text without a slash, as a regular expression.
std::string PatternOf(const std::string& strPath) {
    std::string strPattern;
    for (const char ch : strPath) {
        if (ch == '*')
            strPattern += "[^/]*";
        else if (ch == '.')
            strPattern += "\\.";
        else
            strPattern += ch;
    }
    return strPattern;
}

// Every file and folder of the tree, as a path from its top.
Names AllPaths() {
    Names paths;
    for (const fs::directory_entry& top : fs::directory_iterator(SourceDir())) {
        const std::string strTop = top.path().filename().string();
        if (strTop == ".git" || strTop == "build" || strTop == "banks") continue;
        paths.insert(strTop);
        if (!top.is_directory()) continue;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top))
            paths.insert(fs::relative(entry.path(), SourceDir()).string());
    }
    return paths;
}

// True for a text that is written like a path of this tree: a folder of it and a name in that, or a file
// name.
bool IsLikeAPath(const std::string& strQuoted, const Names& paths) {
    static const std::regex kCharacters(R"([\w.*/-]+)");
    static const std::regex kFileName(R"([\w*]+\.(h|cpp|sh|md|supp|json|txt))");
    if (!std::regex_match(strQuoted, kCharacters)) return false;
    const size_t nSlash = strQuoted.find('/');
    if (nSlash == std::string::npos) return std::regex_match(strQuoted, kFileName);
    return paths.count(strQuoted.substr(0, nSlash)) == 1;
}

// A unit may be named without the endings of its files.
bool Exists(const std::string& strQuoted, const Names& paths) {
    std::string strPath = strQuoted;
    if (strPath.back() == '/') strPath.pop_back();
    const std::regex pattern("(.*/)?" + PatternOf(strPath) + R"((\.\w+)?)");
    return std::any_of(paths.begin(), paths.end(),
                       [&](const std::string& strOne) { return std::regex_match(strOne, pattern); });
}

TEST(DocsTest, FilesAndFoldersThatAreNamedExist) {
    const Names paths = AllPaths();
    size_t nSeen = 0;
    for (const std::string& strDocument : Documents()) {
        for (const std::string& strQuoted : Quoted(TextOf(strDocument))) {
            if (!IsLikeAPath(strQuoted, paths)) continue;
            ++nSeen;
            EXPECT_TRUE(Exists(strQuoted, paths)) << strDocument << ": " << strQuoted;
        }
    }
    EXPECT_GT(nSeen, 150u);
}

TEST(DocsTest, TestsThatAreNamedExist) {
    Names suites, tests = OtherEntries();
    for (const TestCase& test : AllTests()) {
        tests.insert(test.strName);
        suites.insert(test.strName.substr(0, test.strName.find('.')));
    }
    for (const std::string& strFile : FilesBelow("tests", {".cpp"})) suites.insert(fs::path(strFile).stem());
    const std::regex suite(R"(\w+Test)"), test(R"(\w+Test\.\w+)");
    for (const std::string& strDocument : Documents()) {
        for (const std::string& strQuoted : Quoted(TextOf(strDocument))) {
            if (std::regex_match(strQuoted, suite)) {
                EXPECT_EQ(1u, suites.count(strQuoted)) << strDocument << ": " << strQuoted;
            }
            if (std::regex_match(strQuoted, test) && !strQuoted.ends_with(".cpp")) {
                EXPECT_EQ(1u, tests.count(strQuoted)) << strDocument << ": " << strQuoted;
            }
        }
    }
}

TEST(DocsReadingTest, AStarStandsForAnyTextOfOneName) {
    const Names paths = {"bank/BankFileName.cpp", "tests/bank/BankFileNameTest.cpp", "bank"};
    EXPECT_TRUE(Exists("BankFileName.*", paths));
    EXPECT_TRUE(Exists("bank/", paths));
    EXPECT_TRUE(Exists("bank/BankFileName", paths));
    EXPECT_TRUE(Exists("tests/*/BankFileNameTest.cpp", paths));
    EXPECT_FALSE(Exists("FileName.cpp", paths));
    EXPECT_FALSE(Exists("tests/*.cpp", paths));
    EXPECT_TRUE(IsLikeAPath("bank/missing", paths));
    EXPECT_TRUE(IsLikeAPath("Missing.h", paths));
    EXPECT_FALSE(IsLikeAPath("bank/a b", paths));
    EXPECT_FALSE(IsLikeAPath("other/path", paths));
}

}  // namespace
}  // namespace Kestrova::Test
