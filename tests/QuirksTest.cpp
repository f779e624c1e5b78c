// Every oddity that is meant has a number, Q17, in its row of docs/QUIRKS.md, in a comment at the line of the
// code that makes it, and above the tests that pin it. A row, a line or a test that goes must not leave the
// others behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/SourceTree.h"

namespace Kestrova::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using Names = std::set<std::string>;

// A row of the document.
struct Quirk {
    int nNumber = 0;  // 0 without one
    Names tests;
};

std::vector<Quirk> QuirksIn(const std::string& strDocument) {
    static const std::regex kNumber(R"(Q(\d+))");
    static const std::regex kTest(R"(\w+Test\.\w+)");
    std::vector<Quirk> quirks;
    for (const Cells& cells : TableRows(strDocument)) {
        Quirk quirk;
        std::smatch match;
        if (std::regex_match(cells.front(), match, kNumber)) quirk.nNumber = std::stoi(match[1]);
        for (const std::string& strQuoted : Quoted(cells.back()))
            if (std::regex_match(strQuoted, kTest)) quirk.tests.insert(strQuoted);
        quirks.push_back(quirk);
    }
    return quirks;
}

// The numbers in the comments of a source.
std::set<int> NumbersIn(const std::string& strSource) {
    static const std::regex kNumber(R"(\bQ(\d+)\b)");
    std::set<int> numbers;
    for (const std::string& strLine : LinesOf(strSource)) {
        const size_t nComment = strLine.find("//");
        if (nComment == std::string::npos) continue;
        const std::string strComment = strLine.substr(nComment);
        for (std::sregex_iterator it(strComment.begin(), strComment.end(), kNumber), end; it != end; ++it)
            numbers.insert(std::stoi((*it)[1]));
    }
    return numbers;
}

// The tests of each number.
std::map<int, Names> TestsByNumber(const std::vector<TestCase>& tests) {
    std::map<int, Names> byNumber;
    for (const TestCase& test : tests)
        for (const int nNumber : NumbersIn(test.strComment)) byNumber[nNumber].insert(test.strName);
    return byNumber;
}

std::map<int, Names> TestsByNumber(const std::vector<Quirk>& quirks) {
    std::map<int, Names> byNumber;
    for (const Quirk& quirk : quirks) byNumber[quirk.nNumber] = quirk.tests;
    return byNumber;
}

std::vector<Quirk> TheQuirks() { return QuirksIn(TextOf("docs/QUIRKS.md")); }

std::set<int> NumbersOf(const std::vector<Quirk>& quirks) {
    std::set<int> numbers;
    for (const Quirk& quirk : quirks) numbers.insert(quirk.nNumber);
    return numbers;
}

TEST(QuirksTest, EveryRowNamesTestsThatExist) {
    Names tests;
    for (const TestCase& test : AllTests()) tests.insert(test.strName);
    const std::vector<Quirk> quirks = TheQuirks();
    EXPECT_GT(quirks.size(), 60u);
    for (const Quirk& quirk : quirks) {
        EXPECT_FALSE(quirk.tests.empty()) << "a row without a test: Q" << quirk.nNumber;
        for (const std::string& strTest : quirk.tests) EXPECT_EQ(1u, tests.count(strTest)) << strTest;
    }
}

TEST(QuirkNumbersTest, TheyGoFromOneUpwardsWithoutAGap) {
    const std::vector<Quirk> quirks = TheQuirks();
    const std::set<int> numbers = NumbersOf(quirks);
    EXPECT_EQ(quirks.size(), numbers.size()) << "a number stands in two rows";
    EXPECT_EQ(1, *numbers.begin());
    EXPECT_EQ(static_cast<int>(quirks.size()), *numbers.rbegin());
}

TEST(QuirkNumbersTest, TheCodeBearsTheNumbersOfTheRows) {
    std::set<int> inCode;
    for (const std::string& strFolder : kProductFolders)
        for (const std::string& strFile : FilesBelow(strFolder, {".h", ".cpp"}))
            inCode.merge(NumbersIn(TextOf(strFile)));
    const std::set<int> inRows = NumbersOf(TheQuirks());
    for (const int nNumber : inRows) EXPECT_EQ(1u, inCode.count(nNumber)) << "no code has Q" << nNumber;
    for (const int nNumber : inCode) EXPECT_EQ(1u, inRows.count(nNumber)) << "no row has Q" << nNumber;
}

TEST(QuirkNumbersTest, ExactlyTheTestsOfARowBearItsNumber) {
    const std::map<int, Names> ofRows = TestsByNumber(TheQuirks());
    const std::map<int, Names> ofTests = TestsByNumber(AllTests());
    for (const auto& [nNumber, tests] : ofRows) {
        const auto it = ofTests.find(nNumber);
        EXPECT_EQ(tests, it == ofTests.end() ? Names() : it->second) << "Q" << nNumber;
    }
    for (const auto& [nNumber, tests] : ofTests)
        EXPECT_EQ(1u, ofRows.count(nNumber)) << "no row has Q" << nNumber << ", but " << *tests.begin();
}

TEST(QuirkReadingTest, ARowIsItsNumberAndTheTestsItNames) {
    const std::vector<Quirk> quirks = QuirksIn(
        "| No. | Quirk | Where | Test |\n"
        "|---|---|---|---|\n"
        "| Q7 | `Find` is `ATest.B` | `Find` | `StringTest.A`, `XDeathTest.B` |\n"
        "\n"
        "| No. | Quirk | Where | Test |\n"
        "|---|---|---|---|\n"
        "| none | b | c | none |\n");
    ASSERT_EQ(2u, quirks.size());
    EXPECT_EQ(7, quirks[0].nNumber);
    EXPECT_THAT(quirks[0].tests, ElementsAre("StringTest.A", "XDeathTest.B"));
    EXPECT_EQ(0, quirks[1].nNumber);
    EXPECT_THAT(quirks[1].tests, IsEmpty());
}

TEST(QuirkReadingTest, OnlyWholeNumbersInCommentsCount) {
    EXPECT_THAT(NumbersIn("int nQ1;  // Q2: deliberate, see Q13\n"
                          "// xQ4 Q5x Q\n"
                          "  // (Q6)\n"
                          "int Q7 = 0;\n"),
                ElementsAre(2, 6, 13));
}

TEST(QuirkReadingTest, ATestHasTheNumbersDirectlyAboveIt) {
    const std::vector<TestCase> tests = TestsIn(
        "// Q1\n"
        "\n"
        "// What it does.\n"
        "// Q2, Q3\n"
        "TEST(ATest, B) {\n"
        "    // Q4\n"
        "}\n"
        "// Q2\n"
        "TEST_P(ATest,\n"
        "       C) {\n"
        "TYPED_TEST(ATest, D) {}\n");
    EXPECT_THAT(TestsByNumber(tests),
                ElementsAre(Pair(2, ElementsAre("ATest.B", "ATest.C")), Pair(3, ElementsAre("ATest.B"))));
    EXPECT_EQ("ATest.D", tests.back().strName);
}

}  // namespace
}  // namespace Kestrova::Test
