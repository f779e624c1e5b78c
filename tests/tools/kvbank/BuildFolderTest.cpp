// kvbank build and the folder it is given: what lies there already, and what the folder refuses.
#include <memory>

#include "tests/support/PosixFaults.h"
#include "tests/support/TestDatabase.h"
#include "tests/tools/kvbank/CommandFixture.h"
#include "tests/tools/kvbank/Unprivileged.h"
#include "tools/kvbank/build/BuildReporter.h"

namespace Kestrova::Test {
namespace {

using ::testing::ElementsAre;

class BuildFolderTest : public CommandTest {
protected:
    BuildFolderTest() { Source(); }

    Outcome Build(const std::vector<std::string>& options = {}, const std::string& strFolder = "DIR") const {
        std::vector<std::string> arguments = {"build", "DIR/Src.kvs", "-d", strFolder, "-r", "44100"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Run(arguments);
    }
};

TEST_F(BuildFolderTest, ABankInTheOtherLayoutIsNamed) {
    ASSERT_EQ(0, Build().nCode);
    const Outcome outcome = Build({"--layout", "per-key"});
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ(
        "44100 Hz: there already, but in the plain layout (Src_0AC44.kvn); -f builds the per-key one in its "
        "place\n",
        outcome.strOut);
    const Json row = Build({"--layout", "per-key", "--json"}).Document()["banks"][0];
    EXPECT_EQ(Json::parse(R"({"rate": 44100, "file": "Src_0AC44.kvr", "predicted_mib": 1,
        "action": "skipped", "found_layout": "plain"})"),
              row);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100));
}

TEST_F(BuildFolderTest, OfBanksInBothLayoutsTheOneAskedForIsNamed) {
    ASSERT_EQ(0, Build().nCode);
    ASSERT_EQ(0, Build({"--layout", "per-key"}, "DIR/other").nCode);
    fs::copy_file(File("other/Src_0AC44.kvr"), File(k44100PerKey));
    for (const char* pszLayout : {"plain", "per-key"})
        EXPECT_EQ("44100 Hz: there already; -f builds it again\n", Build({"--layout", pszLayout}).strOut);
}

// A file that is no usable bank is neither a bank that is there nor silently replaced.
TEST_F(BuildFolderTest, AForeignFileUnderABanksNameIsInTheWay) {
    for (const char* pszName : {k44100, k44100PerKey}) {
        WriteFile(File(pszName), std::string("a letter that is longer than a header"));
        for (const std::vector<std::string>& options : {std::vector<std::string>(), {"-n"}}) {
            const Outcome outcome = Build(options);
            EXPECT_EQ(kExitProblem, outcome.nCode);
            EXPECT_EQ("", outcome.strOut);
            EXPECT_EQ("kvbank: DIR/" + std::string(pszName) +
                          ": in the way: not a bank; -f builds the bank in its place\n",
                      outcome.strErr);
        }
        EXPECT_THAT(Names(), ElementsAre("Src.kvs", pszName));
        EXPECT_EQ(0, Build({"-f"}).nCode);
        EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100));
        EXPECT_EQ(0, Run({"verify", "DIR/Src_0AC44.kvn"}).nCode);
        fs::remove(File(k44100));
    }
}

// Whatever is wrong with it, it was a bank and is none any more.
TEST_F(BuildFolderTest, ADamagedBankIsBuiltAnew) {
    ASSERT_EQ(0, Build().nCode);
    const Bytes good = ReadFile(File(k44100));
    WriteFile(File(k44100), WithoutLast(good, 1));
    EXPECT_EQ(
        "44100 Hz: would be built as Src_0AC44.kvn, about 1.0 MB, in place of a damaged one: it is cut "
        "short, "
        "1186 of 1187 bytes are there\n",
        Build({"-n"}).strOut);
    const Outcome outcome = Build();
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ(
        "DIR/Src_0AC44.kvn: was damaged: it is cut short, 1186 of 1187 bytes are there; built again\n"
        "44100 Hz: DIR/Src_0AC44.kvn, 1.2 kB in TIME\n",
        outcome.strOut);
    EXPECT_EQ(0, Run({"verify", "DIR/Src_0AC44.kvn", "--source", "DIR/Src.kvs"}).nCode);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100));
    WriteFile(File(k44100), WithoutLast(good, 1));
    const Json row = Build({"--json"}).Document()["banks"][0];
    EXPECT_EQ("built", row["action"]);
    EXPECT_EQ("it is cut short, 1186 of 1187 bytes are there", row["replaces_damaged"]);
}

TEST_F(BuildFolderTest, ABankCutAnywhereIsBuiltAnew) {
    ASSERT_EQ(0, Build().nCode);
    const Bytes good = ReadFile(File(k44100));
    for (std::ptrdiff_t nLength = 0; nLength < static_cast<std::ptrdiff_t>(good.size()); nLength += 29) {
        WriteFile(File(k44100), Bytes(good.begin(), good.begin() + nLength));
        EXPECT_EQ(0, Build().nCode) << nLength;
        EXPECT_EQ(good.size(), fs::file_size(File(k44100))) << nLength;
    }
}

TEST_F(BuildFolderTest, ADamagedBankOfTheOtherLayoutGoesWithTheBuild) {
    ASSERT_EQ(0, Build({"--layout", "per-key"}).nCode);
    WriteFile(File(k44100PerKey), WithoutLast(ReadFile(File(k44100PerKey)), 1));
    EXPECT_EQ(0, Build().nCode);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100));
}

// A whole bank in the other layout is not given up for a damaged one.
TEST_F(BuildFolderTest, ADamagedBankBesideAWholeOneIsLeft) {
    ASSERT_EQ(0, Build().nCode);
    WriteFile(File(k44100PerKey), WithoutLast(ReadFile(File(k44100)), 1));
    EXPECT_THAT(Build({"--layout", "per-key"}).strOut,
                ::testing::HasSubstr("there already, but in the plain layout"));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100, k44100PerKey));
}

// It may be somebody's source.
// Q108
TEST_F(BuildFolderTest, ADamagedDatabaseOfTheOtherKindIsInTheWay) {
    WriteFile(File(k44100), WithoutLast(ReadFile(File("Src.kvs")), 1));
    const Outcome outcome = Build();
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ(
        "kvbank: DIR/Src_0AC44.kvn: in the way: it is cut short, 556 of 557 bytes are there; -f builds the "
        "bank in its place\n",
        outcome.strErr);
}

TEST_F(BuildFolderTest, ABankOfAnotherSourceIsReplacedByForceAlone) {
    ASSERT_EQ(0, Build().nCode);
    const Bytes before = ReadFile(File(k44100));
    Source({.nPresets = 2}, "Src.v2.kvs");
    const std::vector<std::string> arguments = {"build", "DIR/Src.v2.kvs", "-d", "DIR", "-r", "44100"};
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ("", outcome.strOut);
    EXPECT_EQ(
        "kvbank: DIR/Src_0AC44.kvn: stale, it was not made from this source: sample 3 \"Sample 0\": the "
        "source gives a preset here; -f builds the bank in its place\n",
        outcome.strErr);
    EXPECT_EQ(before, ReadFile(File(k44100)));
    std::vector<std::string> withJson = arguments;
    withJson.push_back("--json");
    const Json row = Run(withJson).Document()["banks"][0];
    EXPECT_EQ("stale", row["action"]);
    EXPECT_EQ("sample 3 \"Sample 0\": the source gives a preset here", row["cause"]);
    std::vector<std::string> withForce = arguments;
    withForce.push_back("-f");
    EXPECT_EQ(0, Run(withForce).nCode);
    EXPECT_EQ(kExitProblem, Build().nCode) << "now it is the other's";
}

TEST_F(BuildFolderTest, ALinkThatLeadsToNothingIsInTheWay) {
    fs::create_symlink("elsewhere", File(k44100));
    const Outcome outcome = Build({"--json"});
    EXPECT_EQ(kExitProblem, outcome.nCode);
    const Json row = outcome.Document()["banks"][0];
    EXPECT_EQ("in the way", row["action"]);
    EXPECT_EQ("No such file or directory", row["cause"]);
    EXPECT_TRUE(fs::is_symlink(File(k44100)));
    EXPECT_EQ(0, Build({"-f"}).nCode);
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(File(k44100))));
}

TEST_F(BuildFolderTest, AFolderUnderABanksNameIsInTheWayOfForceToo) {
    fs::create_directory(File(k44100));
    for (const char* pszForce : {"-q", "-f"}) {
        const Outcome outcome = Build({pszForce});
        EXPECT_EQ(kExitProblem, outcome.nCode);
        EXPECT_EQ("kvbank: DIR/Src_0AC44.kvn: in the way: it is a folder\n", outcome.strErr);
    }
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100));
}

TEST_F(BuildFolderTest, ADryRunSaysWhatWouldFail) {
    for (const char* pszFolder : {"DIR/Src.kvs", "DIR/Src.kvs/deeper"})
        for (const char* pszOption : {"-n", "-q"}) {
            const Outcome outcome = Build({pszOption}, pszFolder);
            EXPECT_EQ(kExitOutput, outcome.nCode);
            EXPECT_EQ("", outcome.strOut);
            EXPECT_EQ("kvbank: " + std::string(pszFolder) + ": Not a directory\n", outcome.strErr);
        }
}

TEST_F(BuildFolderTest, AFolderThatIsNotOursIsSaidInADryRunToo) {
    ASSERT_EQ(0, Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "48000"}).nCode);
    fs::permissions(Folder(), fs::perms(0555));
    auto pNobody = std::make_unique<Unprivileged>();
    if (!pNobody->Works()) GTEST_SKIP() << "this process cannot give up its rights";
    for (const char* pszFolder : {"DIR", "DIR/new/er"})
        for (const char* pszOption : {"-n", "-q"}) {
            const Outcome outcome = Build({pszOption}, pszFolder);
            EXPECT_EQ(kExitOutput, outcome.nCode) << pszFolder << pszOption;
            EXPECT_EQ("", outcome.strOut);
            EXPECT_EQ("kvbank: " + std::string(pszFolder) + ": Permission denied\n", outcome.strErr);
        }
    EXPECT_EQ("48000 Hz: there already; -f builds it again\n",
              Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "48000"}).strOut)
        << "nothing is to be written";
    pNobody.reset();
    fs::permissions(Folder(), fs::perms(0755));
}

// A folder that can be written to but not read cannot be locked, and its names could not be synced.
TEST_F(BuildFolderTest, AFolderThatCannotBeReadIsSaidBeforeAnythingIsBuilt) {
    fs::permissions(Folder(), fs::perms(0755));
    fs::create_directory(File("banks"));
    fs::permissions(File("banks"), fs::perms(0333));
    {
        const Unprivileged nobody;
        if (!nobody.Works()) GTEST_SKIP() << "this process cannot give up its rights";
        for (const char* pszOption : {"-n", "-q"}) {
            const Outcome outcome = Build({pszOption}, "DIR/banks");
            EXPECT_EQ(kExitOutput, outcome.nCode);
            EXPECT_EQ("kvbank: DIR/banks: Permission denied\n", outcome.strErr);
        }
    }
    fs::permissions(File("banks"), fs::perms(0755));
    EXPECT_THAT(Names("banks"), ElementsAre());
}

// The bank is there all the same, and that of the other layout is not given up for it.
TEST_F(BuildFolderTest, ASyncThatFailsAfterTheRenameSaysThatTheBankIsThere) {
    ASSERT_EQ(0, Build({"--layout", "per-key"}).nCode);
    Outcome outcome;
    {
        const PosixFault fault("fsync", EIO, 2);  // the first is the private folder's
        outcome = Build({"-f", "--json"});
    }
    EXPECT_EQ(kExitOutput, outcome.nCode);
    EXPECT_EQ(
        "kvbank: DIR/Src_0AC44.kvn: the bank is in its place, but may be lost in a power failure: "
        "Input/output error\n",
        outcome.strErr);
    EXPECT_EQ("built", outcome.Document()["banks"][0]["action"]);
    EXPECT_EQ(0, Run({"verify", "DIR/Src_0AC44.kvn", "--source", "DIR/Src.kvs"}).nCode);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100, k44100PerKey));
}

TEST_F(BuildFolderTest, ARenameThatFailsLeavesTheOldBank) {
    ASSERT_EQ(0, Build().nCode);
    const Bytes before = ReadFile(File(k44100));
    const PosixFault fault("rename", EROFS);
    const Outcome outcome = Build({"-f"});
    EXPECT_EQ(kExitOutput, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src_0AC44.kvn: Read-only file system\n", outcome.strErr);
    EXPECT_EQ(before, ReadFile(File(k44100)));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100));
}

TEST_F(BuildFolderTest, ABanksNameThatIsTooLongIsSaid) {
    const std::string strSource = std::string(246, 'x') + ".kvs";
    Source({}, strSource);
    const Outcome outcome = Run({"build", "DIR/" + strSource, "-d", "DIR", "-r", "44100"});
    EXPECT_EQ(kExitOutput, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/" + std::string(246, 'x') +
                  "_0AC44.kvn: 44100 Hz: the bank file cannot be created: File name too long\n",
              outcome.strErr);
}

// A sample of 1 Hz that says it expands to 4 GiB needs hundreds of terabytes.
TEST_F(BuildFolderTest, TooLittleSpaceMakesNoFolder) {
    Source({.samples = {{.nRate = 1}}});
    std::vector<NoteFields> notes = NotesOf(ReadFile(File("Src.kvs")));
    notes[2].strBody.replace(50, 4, "\xFF\xFF\xFF\xFF");  // the expanded length
    WriteFile(File("Src.kvs"), DatabaseImage(notes));
    const Outcome outcome = Build({}, "DIR/new/er");
    EXPECT_EQ(kExitNoSpace, outcome.nCode);
    EXPECT_THAT(outcome.strErr, ::testing::EndsWith(" are free\n"));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs"));
    const Outcome ignored = Build({"-n", "--ignore-space"}, "DIR/new/er");
    EXPECT_EQ(0, ignored.nCode);
    EXPECT_THAT(ignored.strErr, ::testing::StartsWith("kvbank: warning: DIR/new/er: "));
}

// The megabytes of both would read alike.
TEST(BuildReporterTest, SizesThatReadAlikeAreGivenToTheByte) {
    std::istringstream in;
    std::ostringstream out, err;
    Console console(in, out, err);
    BuildOptions options;
    options.strFolder = "banks";
    BuildReporter reporter(console, options);
    reporter.TellSpace(1048576, 1048575);
    reporter.TellSpace(3000000, 1000000);
    reporter.TellSpace(1, 1);
    EXPECT_EQ(
        "kvbank: banks: 1048576 bytes are needed, 1048575 bytes are free\n"
        "kvbank: banks: 3.0 MB are needed, 1.0 MB are free\n",
        err.str());
}

TEST_F(BuildFolderTest, WhatABuildCannotRemoveOfItsOwnIsSaid) {
    Outcome outcome;
    {
        const PosixFault fault("rmdir", EBUSY);
        outcome = Build();
    }
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_THAT(outcome.strErr, ::testing::MatchesRegex("kvbank: DIR/\\.kvbank-......: what a build left "
                                                        "here cannot be removed: Device or resource busy\n"));
    EXPECT_TRUE(fs::exists(File(k44100)));
    {
        const PosixFault fault("rmdir", EACCES);
        outcome = Build();
    }
    EXPECT_EQ(0, outcome.nCode) << "of a build before";
    EXPECT_THAT(outcome.strErr, ::testing::HasSubstr("warning: DIR/.kvbank-"));
    EXPECT_EQ(0, Build().nCode);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100));
}

}  // namespace
}  // namespace Kestrova::Test
