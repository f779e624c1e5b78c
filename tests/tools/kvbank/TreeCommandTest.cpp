// kvbank tree.
#include "tests/support/TestDatabase.h"
#include "tests/tools/kvbank/CommandFixture.h"

namespace Kestrova::Test {
namespace {

class TreeCommandTest : public CommandTest {
protected:
    // A file of bank records with these ids and parents.
    void Notes(const std::vector<NoteFields>& notes) const {
        WriteFile(File("Src.kvs"), DatabaseImage(notes));
    }
    Outcome Tree(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"tree", "DIR/Src.kvs"});
        return Run(options);
    }
};

TEST_F(TreeCommandTest, RecordsStandBelowTheirParents) {
    Source();
    const Outcome outcome = Tree();
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ("", outcome.strErr);
    EXPECT_EQ(R"(information record 0 "Test source", 33 bytes
preset 1 "Preset 0", 17 bytes
sample 2 "Sample 0", 287 bytes
bank 3 "Bank 0", 19 bytes
  program 4 "Program 0", 26 bytes
    region 5 "Region 0", 29 bytes, keys 60 to 62
      layer 6, 28 bytes, plays sample 2
)",
              outcome.strOut);
}

TEST_F(TreeCommandTest, DepthAndTypeChooseWhatIsShown) {
    Source();
    EXPECT_THAT(Tree({"--depth", "2"}).strOut,
                ::testing::EndsWith("  program 4 \"Program 0\", 26 bytes\n"
                                    "2 records are deeper than 2 levels, not shown\n"));
    EXPECT_EQ("sample 2 \"Sample 0\", 287 bytes\n", Tree({"--type", "sample"}).strOut);
    EXPECT_EQ("    region 5 \"Region 0\", 29 bytes, keys 60 to 62\n", Tree({"--type", "19"}).strOut);
    EXPECT_EQ("no record\n", Tree({"--type", "254"}).strOut);
    EXPECT_EQ(kExitUsage, Tree({"--depth", "0"}).nCode);
    EXPECT_EQ(kExitUsage, Tree({"--depth", "65"}).nCode);
    for (const char* pszType : {"samples", "256", "-1", "1x"})
        EXPECT_THAT(
            Tree({"--type", pszType}).strErr,
            StartsWith(std::string("kvbank: --type: '") + pszType +
                       "': give info, preset, bank, program, region, layer, sample or a number from 0 "
                       "to 255\n"));
}

TEST_F(TreeCommandTest, JsonTellsTheSame) {
    Source();
    const Json document = Tree({"--json", "--depth", "3", "--type", "region"}).Document();
    EXPECT_EQ(Json::parse(R"({"schema": 1, "command": "tree", "exit_code": 0, "file": "DIR/Src.kvs",
        "kind": "plain", "records": [{"level": 3, "type": "region", "id": 5, "parent": 4, "name": "Region 0",
                                      "bytes": 29, "detail": "keys 60 to 62"}], "not_shown": 0})"),
              document);
}

TEST_F(TreeCommandTest, ARecordWithoutItsParentStandsAtTheTop) {
    Notes({{0, kSdbBank, 1}, {0, kSdbProgram, 2, 99}, {0, kSdbRegion, 3, 2}});
    const Outcome outcome = Tree();
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: 1 record has no place in the tree\n", outcome.strErr);
    EXPECT_EQ(
        "bank 1, 0 bytes\n"
        "program 2, 0 bytes (its parent, record 99, is missing)\n"
        "  region 3, 0 bytes, cannot be read whole\n",
        outcome.strOut);
}

TEST_F(TreeCommandTest, CirclesOfParentsAreToldOnceEach) {
    // 1 is its own parent; 2 and 3 each other's; 4 lies below 3, and 5 below 4.
    Notes({{0, kSdbBank, 5, 4},
           {0, kSdbBank, 1, 1},
           {0, kSdbBank, 2, 3},
           {0, kSdbBank, 3, 2},
           {0, kSdbBank, 4, 3}});
    const Outcome outcome = Tree();
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: 2 records have no place in the tree\n", outcome.strErr);
    EXPECT_EQ(
        "bank 3, 0 bytes (it is its own ancestor)\n"
        "  bank 2, 0 bytes\n"
        "  bank 4, 0 bytes\n"
        "    bank 5, 0 bytes\n"
        "bank 1, 0 bytes (it is its own ancestor)\n",
        outcome.strOut);
}

TEST_F(TreeCommandTest, OfTwoRecordsWithOneIdTheFirstHasTheChildren) {
    Notes({{0, kSdbBank, 1}, {0, kSdbBank, 1}, {0, kSdbProgram, 2, 1, std::string(17, '\0')}});
    EXPECT_EQ("bank 1, 0 bytes\n  program 2, 17 bytes\nbank 1, 0 bytes\n", Tree().strOut);
}

// A chain, or circles, of that many records would take for ever if each were climbed, or indented, whole.
TEST_F(TreeCommandTest, ALongChainAndManyCirclesEndInFiniteTime) {
    constexpr uint32_t kNotes = 200000;
    std::vector<NoteFields> chain, circles;
    for (uint32_t id = 1; id <= kNotes; ++id) {
        chain.push_back({0, kSdbBank, id, id - 1});
        circles.push_back({0, kSdbBank, id, (id ^ 1) == 0 ? id : id ^ 1});
    }
    chain.front().idParent = kSdbNoID;
    Notes(chain);
    EXPECT_THAT(Tree().strOut, ::testing::EndsWith("199936 records are deeper than 64 levels, not shown\n"));
    Notes(circles);
    EXPECT_EQ("kvbank: DIR/Src.kvs: 100001 records have no place in the tree\n", Tree({"-q"}).strErr);
}

TEST_F(TreeCommandTest, WhatIsNoBankIsBadInput) {
    WriteFile(File("Src.kvs"), std::string("a letter that is longer than a header"));
    const Outcome outcome = Tree();
    EXPECT_EQ(kExitBadInput, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: not a bank\n", outcome.strErr);
    CSDB held;
    ASSERT_TRUE(held.Create(File("a.kvn").c_str(), kSdbFormatEnriched));
    EXPECT_EQ(kExitBusy, Run({"tree", "DIR/a.kvn"}).nCode);
}

TEST_F(TreeCommandTest, ARecordCutShortIsToldAsSuch) {
    Source();
    WriteFile(File("Src.kvs"), WithoutLast(ReadFile(File("Src.kvs")), 3));
    EXPECT_THAT(Tree().strOut,
                ::testing::EndsWith("      layer 6, 28 bytes, cut short by the end of the file\n"));
}

}  // namespace
}  // namespace Kestrova::Test
