// kvbank list and kvbank remove.
#include <csignal>

#include "bank/place/PrivateFolder.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TestDatabase.h"
#include "tests/tools/kvbank/CommandFixture.h"
#include "tests/tools/kvbank/Unprivileged.h"
#include "tools/kvbank/folder/BankCheck.h"
#include "tools/kvbank/folder/BankFolder.h"

namespace Kestrova::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// A folder with a source, a bank of it in each layout, and another source's bank.
class FolderTest : public CommandTest {
protected:
    FolderTest() {
        Source();
        Source({.nPresets = 5}, "Other.kvs");
        Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "44100"});
        Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "48000", "--layout", "per-key"});
        Run({"build", "DIR/Other.kvs", "-d", "DIR", "-r", "44100"});
    }
};

class ListCommandTest : public FolderTest {};

TEST_F(ListCommandTest, ListsEveryBankOfTheFolderByName) {
    const Outcome outcome = Run({"list", "DIR"});
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ(
        "RATE    LAYOUT         SIZE  STATE        FILE\n"
        "44100   plain        1.4 kB  complete     DIR/Other_0AC44.kvn\n"
        "44100   plain        1.2 kB  complete     DIR/Src_0AC44.kvn\n"
        "48000   per-key      3.0 kB  complete     DIR/Src_0BB80.kvr\n",
        outcome.strOut);
    EXPECT_EQ("", outcome.strErr);
}

TEST_F(ListCommandTest, ListsTheBanksOfOneSource) {
    const Outcome outcome = Run({"list", "DIR", "--source", "DIR/Src.kvs", "--json"});
    EXPECT_EQ(Json::parse(R"({"schema": 1, "command": "list", "exit_code": 0, "folder": "DIR", "banks": [
        {"file": "DIR/Src_0AC44.kvn", "rate": 44100, "layout": "plain", "bytes": 1187, "state": "complete"},
        {"file": "DIR/Src_0BB80.kvr", "rate": 48000, "layout": "per-key", "bytes": 3029,
         "state": "complete"}], "leftovers": []})"),
              outcome.Document());
}

TEST_F(ListCommandTest, NamesWhatKilledRunsHaveLeft) {
    WriteFile(File("Src_15888.kvn"), std::string());
    WriteFile(File(".kvbank-part-17"), std::string("part of a bank"));
    fs::create_directory(File(".kvbank-dEaD00"));
    const PrivateFolder building(Folder(), FolderLock(Folder()));
    EXPECT_EQ(
        "RATE    LAYOUT         SIZE  STATE        FILE\n"
        "44100   plain        1.4 kB  complete     DIR/Other_0AC44.kvn\n"
        "44100   plain        1.2 kB  complete     DIR/Src_0AC44.kvn\n"
        "48000   per-key      3.0 kB  complete     DIR/Src_0BB80.kvr\n"
        "88200   plain       0 bytes  interrupted  DIR/Src_15888.kvn\n"
        "left by interrupted runs ('kvbank remove DIR --leftovers' removes them):\n"
        "DIR/.kvbank-dEaD00 (private folder)\n"
        "DIR/.kvbank-part-17 (part file)\n",
        Run({"list", "DIR"}).strOut);
    EXPECT_EQ(Json::parse(R"([{"file": "DIR/.kvbank-dEaD00", "kind": "private folder"},
        {"file": "DIR/.kvbank-part-17", "kind": "part file"},
        {"file": "DIR/Src_15888.kvn", "kind": "interrupted bank"}])"),
              Run({"list", "DIR", "--json"}).Document()["leftovers"]);
}

TEST_F(ListCommandTest, TellsTheStateOfEveryFile) {
    CSDB held;
    ASSERT_TRUE(held.Create(File("Src_15888.kvn").c_str(), kSdbFormatEnriched));
    WriteFile(File("Src_17700.kvn"), std::string());
    WriteFile(File("Src_2B110.kvn"), std::string("a letter that is longer than a header"));
    const PrivateFolder building(Folder(), FolderLock(Folder()));
    fs::copy(File(k44100), building.Path() / "Src_2EE00.kvn");
    fs::create_directory(File(".kvbank-dEaD00"));
    fs::copy(File(k44100), File(".kvbank-dEaD00/Src_2EE00.kvr"));
    fs::create_directory(File("Src_2EE00.kvn"));
    fs::create_symlink("elsewhere", File("Src_2B110.kvr"));
    std::error_code error;
    std::vector<std::string> states;
    for (const BankFile& bank : ListBanks(Folder(), "src", error))
        states.push_back(bank.path.filename().string() + " " + StateName(bank.state) +
                         (bank.bInPrivateFolder ? ", private" : ""));
    std::sort(states.begin(), states.end());
    EXPECT_THAT(
        states,
        ElementsAre("Src_0AC44.kvn complete", "Src_0BB80.kvr complete", "Src_15888.kvn being built",
                    "Src_17700.kvn interrupted", "Src_2B110.kvn not a bank", "Src_2B110.kvr unreadable",
                    "Src_2EE00.kvn being built, private", "Src_2EE00.kvr interrupted, private"));
}

// Two that ask share the lock they ask for; that is no build.
TEST_F(ListCommandTest, AnothersLookIsNoBuild) {
    CXFile looker;
    ASSERT_TRUE(looker.Open(File(k44100).c_str(), 0));
    ASSERT_EQ(LockAnswer::kHeld, looker.TryLockFile(FileLock::kShared));
    std::error_code error;
    const std::vector<BankFile> banks = ListBanks(Folder(), "Src", error);
    EXPECT_EQ(2u, banks.size());
    for (const BankFile& bank : banks) EXPECT_EQ(BankState::Complete, bank.state) << bank.path;
}

TEST_F(ListCommandTest, NamesOfWhateverSourceAreUnderstood) {
    EXPECT_EQ(1, ParseAnyBankName("a_b_0bb80.KVN")->nRateIndex);
    EXPECT_EQ(BankLayout::PerKey, ParseAnyBankName("x_0AC44.kvr")->layout);
    for (const char* pszName : {"_0AC44.kvn", "x_0AC45.kvn", "x0AC44.kvn", "x_0AC44.kvx", ""})
        EXPECT_FALSE(ParseAnyBankName(pszName)) << pszName;
}

TEST_F(ListCommandTest, AFolderWithoutBanksSaysSo) {
    fs::create_directory(File("empty"));
    EXPECT_EQ("no banks in DIR/empty\n", Run({"list", "DIR/empty"}).strOut);
    EXPECT_EQ("", Run({"list", "DIR/empty", "-q"}).strOut);
}

TEST_F(ListCommandTest, WhatCannotBeReadIsBadInput) {
    EXPECT_EQ(kExitBadInput, Run({"list", "DIR/none"}).nCode);
    EXPECT_EQ("kvbank: DIR/none: No such file or directory\n", Run({"list", "DIR/none"}).strErr);
    const Outcome outcome = Run({"list", "DIR", "--source", "DIR/none.kvs"});
    EXPECT_EQ(kExitBadInput, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/none.kvs: No such file or directory\n", outcome.strErr);
}

TEST_F(ListCommandTest, ABankThatCannotBeReadIsListedWithTheCause) {
    fs::create_symlink("elsewhere", File("Src_15888.kvn"));
    const Outcome outcome = Run({"list", "DIR", "--source", "DIR/Other.kvs"});
    EXPECT_EQ(0, outcome.nCode) << "of another source";
    const Outcome all = Run({"list", "DIR", "--json"});
    EXPECT_EQ(kExitProblem, all.nCode);
    EXPECT_EQ("kvbank: DIR/Src_15888.kvn: No such file or directory\n", all.strErr);
    EXPECT_EQ(Json::parse(R"({"file": "DIR/Src_15888.kvn", "rate": 88200, "layout": "plain", "bytes": 0,
        "state": "unreadable", "cause": "No such file or directory"})"),
              all.Document()["banks"][3]);
}

TEST_F(ListCommandTest, ABankOfAnotherUserIsUnreadable) {
    fs::permissions(Folder(), fs::perms(0755));
    fs::permissions(File(k44100), fs::perms(0));
    const Unprivileged nobody;
    if (!nobody.Works()) GTEST_SKIP() << "this process cannot give up its rights";
    const Outcome outcome = Run({"list", "DIR", "--source", "DIR/Src.kvs"});
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_THAT(outcome.strOut, ::testing::HasSubstr("unreadable   DIR/Src_0AC44.kvn\n"));
    EXPECT_EQ("kvbank: DIR/Src_0AC44.kvn: Permission denied\n", outcome.strErr);
}

TEST_F(ListCommandTest, ASourceWhoseAnalysisFailsStillNamesItsBanks) {
    Source({.samples = {{.nRate = 0}}});
    EXPECT_EQ(0, Run({"list", "DIR", "--source", "DIR/Src.kvs"}).nCode);
}

TEST_F(ListCommandTest, ADamagedBankIsListedWithTheCause) {
    WriteFile(File(k44100), WithoutLast(ReadFile(File(k44100)), 1));
    const Outcome outcome = Run({"list", "DIR", "--source", "DIR/Src.kvs", "-r", "44100"});
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ(
        "RATE    LAYOUT         SIZE  STATE        FILE\n"
        "44100   plain        1.2 kB  damaged      DIR/Src_0AC44.kvn\n",
        outcome.strOut);
    EXPECT_EQ("kvbank: DIR/Src_0AC44.kvn: damaged: it is cut short, 1186 of 1187 bytes are there\n",
              outcome.strErr);
    EXPECT_EQ(Json::parse(R"({"file": "DIR/Src_0AC44.kvn", "rate": 44100, "layout": "plain", "bytes": 1186,
        "state": "damaged", "cause": "it is cut short, 1186 of 1187 bytes are there"})"),
              Run({"list", "DIR", "--json", "-r", "44100"}).Document()["banks"][1]);
}

TEST_F(ListCommandTest, ABankNamedAfterAnotherRateIsDamaged) {
    fs::rename(File(k44100), File(k48000));
    fs::rename(File(k48000PerKey), File("Src_17700.kvn"));
    EXPECT_EQ(
        "kvbank: DIR/Src_0BB80.kvn: damaged: its name gives another sample rate than its information record, "
        "44100 Hz\n"
        "kvbank: DIR/Src_17700.kvn: damaged: its name gives another sample rate than its information record, "
        "48000 Hz\n",
        Run({"list", "DIR"}).strErr);
    fs::rename(File("Src_17700.kvn"), File(k48000));
    EXPECT_EQ(
        "kvbank: DIR/Src_0BB80.kvn: damaged: its name gives another layout than its information record\n",
        Run({"list", "DIR"}).strErr);
}

// The banks of both sources have the same name.
TEST_F(ListCommandTest, ABankOfAnotherSourceIsStale) {
    Source({.nPresets = 5}, "Src.v2.kvs");
    const Outcome outcome = Run({"list", "DIR", "--source", "DIR/Src.v2.kvs", "--json"});
    EXPECT_EQ(kExitProblem, outcome.nCode);
    const Json banks = outcome.Document()["banks"];
    for (const Json& row : banks) {
        EXPECT_EQ("stale", row["state"]);
        EXPECT_EQ("sample 3 \"Sample 0\": the source gives a preset here", row["cause"]);
    }
    EXPECT_EQ(2u, banks.size());
    EXPECT_EQ(0, Run({"list", "DIR", "--source", "DIR/Src.kvs"}).nCode);
    EXPECT_EQ(0, Run({"list", "DIR"}).nCode) << "nobody asked";
}

TEST_F(ListCommandTest, WhereThereAreNoLocksNobodyIsSaidToBuild) {
    const PrivateFolder building(Folder(), FolderLock(Folder()));
    fs::copy(File(k44100), building.Path() / "Src_2EE00.kvn");
    const PosixFault fault("flock", ENOLCK, PosixFault::kEveryCall);
    std::error_code error;
    const std::vector<BankFile> banks = ListBanks(Folder(), "Src", error, {192000});
    ASSERT_EQ(1u, banks.size());
    EXPECT_EQ(BankState::Unfinished, banks[0].state);
    EXPECT_STREQ("unfinished", StateName(banks[0].state));
}

TEST_F(ListCommandTest, NamesThatWouldDisturbATerminalAreMadePrintable) {
    fs::rename(File(k44100), File("Src\x1B[2J_0AC44.kvn"));
    EXPECT_THAT(Run({"list", "DIR"}).strOut, ::testing::HasSubstr("DIR/Src?[2J_0AC44.kvn\n"));
}

class RemoveCommandTest : public FolderTest {
protected:
    Outcome Remove(std::vector<std::string> options, const std::string& strAnswer = "",
                   bool bTerminal = false) const {
        std::vector<std::string> arguments = {"remove", "DIR", "--source", "DIR/Src.kvs"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Run(arguments, strAnswer, bTerminal);
    }
    std::vector<std::string> Banks() const {
        std::vector<std::string> names = Names();
        std::erase_if(names, [](const std::string& strName) { return strName.ends_with(".kvs"); });
        return names;
    }
};

TEST_F(RemoveCommandTest, RemovesTheBanksOfTheSourceAtTheRatesInEitherLayout) {
    const Outcome outcome = Remove({"-r", "all", "-y"});
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ("removed DIR/Src_0AC44.kvn\nremoved DIR/Src_0BB80.kvr\n", outcome.strOut);
    EXPECT_EQ("", outcome.strErr);
    EXPECT_THAT(Names(), ElementsAre("Other.kvs", "Other_0AC44.kvn", "Src.kvs"));
}

TEST_F(RemoveCommandTest, LeavesTheOtherRates) {
    EXPECT_EQ(0, Remove({"-r", "48000,96000", "--yes", "-q"}).nCode);
    EXPECT_THAT(Banks(), ElementsAre("Other_0AC44.kvn", k44100));
}

TEST_F(RemoveCommandTest, AFolderWrittenWithASlashAtItsEndIsTheSame) {
    EXPECT_EQ(0, Run({"remove", "DIR/", "--source", "DIR/Src.kvs", "-r", "all", "-y"}).nCode);
    EXPECT_THAT(Banks(), ElementsAre("Other_0AC44.kvn"));
}

TEST_F(RemoveCommandTest, AsksOnATerminal) {
    static constexpr struct {
        const char* pszAnswer;
        bool bRemoves;
    } kRows[] = {{"", false},     {"\n", false},    {"n\n", false},
                 {"no\n", false}, {"yep\n", false}, {"Y\n", true}};
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.pszAnswer);
        const Outcome outcome = Remove({"-r", "44100"}, row.pszAnswer, true);
        EXPECT_EQ(0, outcome.nCode);
        EXPECT_EQ("DIR/Src_0AC44.kvn\nRemove 1 bank? [y/N] ", outcome.strErr);
        EXPECT_EQ(row.bRemoves ? "removed DIR/Src_0AC44.kvn\n" : "nothing was removed\n", outcome.strOut);
        EXPECT_EQ(row.bRemoves, !fs::exists(File(k44100)));
    }
    for (const char* pszYes : {"y\n", "yes\n", "Yes\n", "YES\n", "yes"}) {
        Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "44100"});
        EXPECT_EQ(0, Remove({"-r", "44100"}, pszYes, true).nCode);
        EXPECT_FALSE(fs::exists(File(k44100)));
    }
}

TEST_F(RemoveCommandTest, JsonSaysThatTheUserDeclined) {
    const Outcome outcome = Remove({"-r", "44100", "--json"}, "no\n", true);
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ(Json::parse(R"({"schema": 1, "command": "remove", "exit_code": 0, "folder": "DIR",
        "declined": true, "banks": []})"),
              outcome.Document());
    EXPECT_FALSE(Remove({"-r", "44100", "--json"}, "yes\n", true).Document().contains("declined"));
}

TEST_F(RemoveCommandTest, InAPipeItNeedsAYesBeforehand) {
    const Outcome outcome = Remove({"-r", "all"}, "y\n");
    EXPECT_EQ(kExitUsage, outcome.nCode);
    EXPECT_EQ("kvbank: cannot ask, because standard input is not a terminal; -y removes without asking\n",
              outcome.strErr);
    EXPECT_EQ(3u, Banks().size());
}

TEST_F(RemoveCommandTest, JsonTellsWhatWentAndWhatStayed) {
    CSDB held;
    ASSERT_TRUE(held.Open(File(k48000PerKey).c_str(), kSdbFormatEnriched, false));
    ASSERT_EQ(LockAnswer::kHeld, held.GetFile().TryLockFile());
    const Outcome outcome = Remove({"-r", "all", "-y", "--json"});
    EXPECT_EQ(kExitBusy, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src_0BB80.kvr: another process is building it\n", outcome.strErr);
    EXPECT_EQ(Json::parse(R"({"schema": 1, "command": "remove", "exit_code": 7, "folder": "DIR", "banks": [
        {"file": "DIR/Src_0AC44.kvn", "removed": true}, {"file": "DIR/Src_0BB80.kvr", "removed": false}],
        "errors": ["DIR/Src_0BB80.kvr: another process is building it"]})"),
              outcome.Document());
    EXPECT_THAT(Banks(), ElementsAre("Other_0AC44.kvn", k48000PerKey));
}

TEST_F(RemoveCommandTest, WhatCannotBeRemovedTellsTheSystemsReason) {
    fs::permissions(Folder(), fs::perms(0555));
    {
        const Unprivileged nobody;
        if (!nobody.Works()) GTEST_SKIP() << "this process cannot give up its rights";
        const Outcome outcome = Remove({"-r", "44100", "-y"});
        EXPECT_EQ(kExitOutput, outcome.nCode);
        EXPECT_EQ("kvbank: DIR/Src_0AC44.kvn: Permission denied\n", outcome.strErr);
    }
    fs::permissions(Folder(), fs::perms(0755));
    EXPECT_EQ(3u, Banks().size());
}

TEST_F(RemoveCommandTest, TheSourceStaysEvenWhenItBearsABanksName) {
    Source({.bEnriched = true}, "Own_0AC44.kvn");
    const Outcome outcome =
        Run({"remove", "DIR", "--source",
             "DIR/../" + fs::path(Folder()).filename().string() + "/Own_0AC44.kvn", "-r", "all", "-y"});
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ("no such banks in DIR\n", outcome.strOut);
    EXPECT_TRUE(fs::exists(File("Own_0AC44.kvn")));
}

// The banks of another source with the same base name.
class RemoveStaleTest : public RemoveCommandTest {
protected:
    RemoveStaleTest() { Source({.nPresets = 5}, "Src.v2.kvs"); }
    Outcome RemoveV2(std::vector<std::string> options, const std::string& strAnswer = "",
                     bool bTerminal = false) const {
        std::vector<std::string> arguments = {"remove", "DIR", "--source", "DIR/Src.v2.kvs", "-r", "44100"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Run(arguments, strAnswer, bTerminal);
    }
};

TEST_F(RemoveStaleTest, InAPipeAStaleBankNeedsForce) {
    const Outcome outcome = RemoveV2({"-y", "--json"});
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ(
        "kvbank: DIR/Src_0AC44.kvn: stale, it was not made from this source: sample 3 \"Sample 0\": the "
        "source gives a preset here; left as it is, -f removes it too\n",
        outcome.strErr);
    EXPECT_EQ(Json::parse(R"([{"file": "DIR/Src_0AC44.kvn", "removed": false, "state": "stale",
                               "cause": "sample 3 \"Sample 0\": the source gives a preset here"}])"),
              outcome.Document()["banks"]);
    EXPECT_TRUE(fs::exists(File(k44100)));
    EXPECT_EQ(0, RemoveV2({"-y", "-f"}).nCode);
    EXPECT_FALSE(fs::exists(File(k44100)));
}

TEST_F(RemoveStaleTest, AtATerminalTheQuestionNamesItAsStale) {
    const std::string strAsked =
        "DIR/Src_0AC44.kvn (stale, it was not made from this source: sample 3 \"Sample 0\": the source "
        "gives a "
        "preset here)\nRemove 1 bank? [y/N] ";
    for (const std::vector<std::string>& options : {std::vector<std::string>(), {"-y"}}) {
        const Outcome outcome = RemoveV2(options, "n\n", true);
        EXPECT_EQ(0, outcome.nCode);
        EXPECT_EQ(strAsked, outcome.strErr);
        EXPECT_EQ("nothing was removed\n", outcome.strOut);
        EXPECT_TRUE(fs::exists(File(k44100)));
    }
    EXPECT_EQ("", RemoveV2({"-y", "-f", "-q"}, "", true).strErr) << "asks nothing";
    EXPECT_FALSE(fs::exists(File(k44100)));
}

TEST_F(RemoveStaleTest, AYesTakesIt) {
    EXPECT_EQ("removed DIR/Src_0AC44.kvn\n", RemoveV2({}, "y\n", true).strOut);
}

TEST_F(RemoveCommandTest, ADamagedBankGoesLikeAnother) {
    WriteFile(File(k44100), WithoutLast(ReadFile(File(k44100)), 1));
    EXPECT_EQ("removed DIR/Src_0AC44.kvn\n", Remove({"-r", "44100", "-y"}).strOut);
}

TEST_F(RemoveCommandTest, PrivateFoldersOfBuildsAreNotItsBusiness) {
    fs::create_directory(File(".kvbank-dEaD00"));
    fs::copy(File(k44100), File(".kvbank-dEaD00/Src_0AC44.kvn"));
    EXPECT_EQ(0, Remove({"-r", "all", "-y"}).nCode);
    EXPECT_TRUE(fs::exists(File(".kvbank-dEaD00/Src_0AC44.kvn")));
}

TEST_F(RemoveCommandTest, WhatCannotBeReadIsBadInput) {
    EXPECT_EQ(kExitBadInput, Run({"remove", "DIR/none", "--source", "DIR/Src.kvs", "-r", "all", "-y"}).nCode);
    EXPECT_EQ(kExitBadInput, Run({"remove", "DIR", "--source", "DIR/none.kvs", "-r", "all", "-y"}).nCode);
}

TEST_F(RemoveCommandTest, AfterASignalNothingMoreIsRemoved) {
    SetCancelSignal(SIGINT);
    Remove({"-r", "all", "-y"});
    EXPECT_EQ(3u, Banks().size());
}

class RemoveLeftoversTest : public CommandTest {};

TEST_F(RemoveLeftoversTest, ClearsTheFolderWithoutAQuestion) {
    WriteFile(File("Src_15888.kvn"), std::string());
    WriteFile(File(".kvbank-part-17"), std::string("part of a bank"));
    const PrivateFolder building(Folder(), FolderLock(Folder()));
    const std::string strHeld = building.Path().filename().string();
    const Outcome outcome = Run({"remove", "DIR", "--leftovers"});
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_THAT(outcome.strOut, HasSubstr("removed DIR/.kvbank-part-17\n"));
    EXPECT_THAT(outcome.strOut, HasSubstr("removed DIR/Src_15888.kvn\n"));
    EXPECT_THAT(outcome.strOut,
                HasSubstr("DIR/" + strHeld + ": left as it is, because a process is using it\n"));
    EXPECT_EQ("", outcome.strErr);
    EXPECT_THAT(Names(), ElementsAre(strHeld));
}

TEST_F(RemoveLeftoversTest, SaysThatNothingIsLeft) {
    EXPECT_EQ("no leftovers of interrupted runs in DIR\n", Run({"remove", "DIR", "--leftovers"}).strOut);
    EXPECT_EQ(Json::parse(R"({"schema": 1, "command": "remove", "exit_code": 0, "folder": "DIR",
        "leftovers": []})"),
              Run({"remove", "DIR", "--leftovers", "--json"}).Document());
}

TEST_F(RemoveLeftoversTest, WhatCannotBeRemovedIsAnErrorOfOutput) {
    fs::create_directory(File(".kvbank-dEaD00"));
    WriteFile(File(".kvbank-dEaD00/letter.txt"), std::string("dear"));
    const Outcome outcome = Run({"remove", "DIR", "--leftovers", "--json"});
    EXPECT_EQ(kExitOutput, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/.kvbank-dEaD00: Directory not empty\n", outcome.strErr);
    EXPECT_EQ(Json::parse(R"([{"file": "DIR/.kvbank-dEaD00", "kind": "private folder", "removed": false}])"),
              outcome.Document()["leftovers"]);
}

TEST_F(RemoveLeftoversTest, AFolderThatIsNotThereIsBadInput) {
    const Outcome outcome = Run({"remove", "DIR/none", "--leftovers"});
    EXPECT_EQ(kExitBadInput, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/none: No such file or directory\n", outcome.strErr);
}

TEST_F(RemoveLeftoversTest, NoBanksCanBeAskedForWithIt) {
    for (const auto& [strOption, strValue] : {std::pair{"--source", "x.kvs"}, {"-r", "all"}})
        EXPECT_EQ(kExitUsage, Run({"remove", "DIR", "--leftovers", strOption, strValue}).nCode) << strOption;
}

}  // namespace
}  // namespace Kestrova::Test
