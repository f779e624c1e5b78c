// docs/QUIRKS.md names the test that pins each oddity; a test renamed or removed must not leave a row behind.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

namespace fs = std::filesystem;

std::string TextOf(const fs::path& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// "Suite.Name" of every TEST, TEST_F and TEST_P in the tree of tests.
std::set<std::string> AllTests() {
    static const std::regex kTest(R"(TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\))");
    std::set<std::string> tests;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(SourceDir() / "tests")) {
        if (entry.path().extension() != ".cpp") continue;
        const std::string strText = TextOf(entry.path());
        for (std::sregex_iterator it(strText.begin(), strText.end(), kTest), end; it != end; ++it)
            tests.insert((*it)[1].str() + "." + (*it)[2].str());
    }
    return tests;
}

TEST(QuirksTest, EveryRowNamesATestThatExists) {
    static const std::regex kName(R"(`(\w+Test\.\w+)`)");
    const std::set<std::string> tests = AllTests();
    std::ifstream in(SourceDir() / "docs" / "QUIRKS.md");
    size_t nRows = 0;
    for (std::string strLine; std::getline(in, strLine);) {
        if (strLine.rfind("| ", 0) != 0 || strLine.rfind("| Quirk", 0) == 0) continue;
        ++nRows;
        std::sregex_iterator it(strLine.begin(), strLine.end(), kName), end;
        EXPECT_NE(end, it) << "no test: " << strLine;
        for (; it != end; ++it) EXPECT_EQ(1u, tests.count((*it)[1])) << (*it)[1];
    }
    EXPECT_GT(nRows, 60u);
}

}  // namespace
}  // namespace Kestrova::Test
