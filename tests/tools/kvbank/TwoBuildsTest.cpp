// kvbank build when others work in the same folder: at forced points, and at once.
#include <unistd.h>

#include <array>
#include <csignal>
#include <latch>
#include <memory>
#include <thread>

#include "tests/support/PosixFaults.h"
#include "tests/tools/kvbank/CommandFixture.h"
#include "tests/tools/kvbank/ForcedPoint.h"
#include "tools/kvbank/BuildCommand.h"
#include "tools/kvbank/folder/BankFolder.h"
#include "tools/kvbank/folder/FolderLock.h"

namespace Kestrova::Test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class TwoBuildsTest : public CommandTest {
protected:
    TwoBuildsTest() { Source(); }

    Outcome Build(const std::string& strRates, std::vector<std::string> options = {},
                  const std::string& strFolder = "DIR") const {
        std::vector<std::string> arguments = {"build", "DIR/Src.kvs", "-d", strFolder, "-r", strRates};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Run(arguments);
    }
    // A build that does not wait for a turn.
    int BuildAtOnce(std::string& strErrors) const {
        CLI::App app;
        BuildCommand command(std::chrono::milliseconds(0));
        command.Describe(app);
        std::vector<std::string> arguments = {"-f", "44100", "-r", Folder(), "-d", File("Src.kvs")};
        app.parse(arguments);
        std::istringstream in;
        std::ostringstream out, err;
        Console console(in, out, err);
        const int nCode = command.Run(console);
        strErrors = err.str();
        return nCode;
    }
    bool IsGood(const std::string& strName) const {
        return Run({"verify", "DIR/" + strName, "--source", "DIR/Src.kvs"}).nCode == 0;
    }
};

// Whatever this build was going to make, the other's bank is not replaced without -f.
TEST_F(TwoBuildsTest, ABankThatAnotherHasFinishedMeanwhileIsSkipped) {
    static constexpr struct {
        const char* pszLayout;
        const char* pszFirst;  // the bank during which the other builds
        const char* pszSaid;
    } kRows[] = {
        {"plain", k44100, "48000 Hz: there already; -f builds it anew\n"},
        {"per-key", k44100PerKey,
         "48000 Hz: there already, but in the plain layout (Src_0BB80.kvn); -f builds the per-key one in its "
         "place\n"},
    };
    for (const auto& row : kRows) {
        Bytes finished;
        ForcedPoint point(row.pszFirst, [&] {
            EXPECT_EQ(0, Build("48000").nCode);
            finished = ReadFile(File(k48000));
        });
        point.Add(k48000PerKey, [] { ADD_FAILURE() << "it is not even begun"; });
        const Outcome outcome = Build("44100,48000", {"--layout", row.pszLayout});
        EXPECT_EQ(0, outcome.nCode);
        EXPECT_THAT(outcome.strOut, ::testing::EndsWith(row.pszSaid));
        EXPECT_FALSE(finished.empty());
        EXPECT_EQ(finished, ReadFile(File(k48000)));
        EXPECT_THAT(Names(), ElementsAre("Src.kvs", row.pszFirst, k48000));
        fs::remove(File(k48000));
        fs::remove(File(row.pszFirst));
    }
}

TEST_F(TwoBuildsTest, ABankThatIsBeingBuiltIsBusyToOthersInEitherLayout) {
    const std::vector<std::vector<std::string>> kOptions = {
        {}, {"-f"}, {"--layout", "per-key"}, {"--layout", "per-key", "-f"}, {"-n"}};
    const ForcedPoint point(k44100, [&] {
        for (const std::vector<std::string>& options : kOptions) {
            const Outcome other = Build("44100", options);
            EXPECT_EQ(kExitBusy, other.nCode);
            EXPECT_EQ("kvbank: Src_0AC44.kvn: another process is building it\n", other.strErr);
        }
        EXPECT_THAT(Run({"list", "DIR"}).strOut, HasSubstr("being built"));
    });
    const Outcome outcome = Build("44100");
    EXPECT_TRUE(point.WasReached());
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_TRUE(IsGood(k44100));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100));
}

// Tries for a turn while a file is made in a private folder.
class TurnAtCreation : public FaultyFileEnv {
public:
    explicit TurnAtCreation(std::string strFolder) : m_strFolder(std::move(strFolder)) {}
    int Open(const char* pszPath, FileMode mode) override {
        if (mode == FileMode::kCreate) {
            ++m_nCreated;
            EXPECT_EQ(FolderLock::Outcome::Busy,
                      FolderLock(m_strFolder, std::chrono::milliseconds(0)).GetOutcome());
        }
        return FaultyFileEnv::Open(pszPath, mode);
    }
    int Created() const { return m_nCreated; }

private:
    const std::string m_strFolder;
    int m_nCreated = 0;
};

// Between the look and the mark no other build may look.
TEST_F(TwoBuildsTest, TheMarkIsMadeInTheTurnOfTheLook) {
    const TurnAtCreation env(Folder());
    EXPECT_EQ(0, Build("44100,48000").nCode);
    EXPECT_EQ(2, env.Created());
}

TEST_F(TwoBuildsTest, TheOtherRatesOfAFolderCanBeBuiltMeanwhile) {
    const ForcedPoint point(k44100, [&] { EXPECT_EQ(0, Build("48000").nCode); });
    EXPECT_EQ(0, Build("44100").nCode);
    EXPECT_TRUE(IsGood(k44100));
    EXPECT_TRUE(IsGood(k48000));
}

// Not every program marks what it builds: the place is looked at once more at the end.
TEST_F(TwoBuildsTest, WhatTookThePlaceMeanwhileStaysWithoutForce) {
    ASSERT_EQ(0, Build("44100", {}, "DIR/other").nCode);
    const Bytes finished = ReadFile(File("other/Src_0AC44.kvn"));
    for (const char* pszName : {k44100, k44100PerKey}) {
        const ForcedPoint point(k44100, [&] { WriteFile(File(pszName), finished); });
        const Outcome outcome = Build("44100");
        EXPECT_EQ(0, outcome.nCode);
        EXPECT_THAT(outcome.strOut, ::testing::StartsWith("44100 Hz: there already"));
        EXPECT_EQ(finished, ReadFile(File(pszName)));
        EXPECT_THAT(Names(), ElementsAre("Src.kvs", pszName, "other"));
        fs::remove(File(pszName));
    }
    const ForcedPoint point(k44100, [&] { WriteFile(File(k44100), finished); });
    EXPECT_EQ(0, Build("44100", {"-f"}).nCode);
    EXPECT_NE(finished, ReadFile(File(k44100)));
}

TEST_F(TwoBuildsTest, ABankThatAnotherHoldsInThePlaceIsNeverReplaced) {
    for (const char* pszName : {k44100, k44100PerKey}) {
        CSDB other;
        const ForcedPoint point(
            k44100, [&] { EXPECT_TRUE(other.Create(File(pszName).c_str(), kSdbFormatEnriched)); });
        const Outcome outcome = Build("44100", {"-f", "--json"});
        EXPECT_EQ(kExitBusy, outcome.nCode);
        EXPECT_EQ(std::string("kvbank: ") + pszName + ": another process is building it\n", outcome.strErr);
        EXPECT_EQ("busy", outcome.Document()["banks"][0]["action"]);
        EXPECT_THAT(Names(), ElementsAre("Src.kvs", pszName));
        EXPECT_EQ(20u, fs::file_size(File(pszName)));
        other.Close(false);
        fs::remove(File(pszName));
    }
}

TEST_F(TwoBuildsTest, AMarkEndsWhenItsBankIsGivenUp) {
    ASSERT_EQ(0, Build("44100", {}, "DIR/other").nCode);
    ForcedPoint point(k44100, [&] { fs::copy_file(File("other/Src_0AC44.kvn"), File(k44100)); });
    point.Add(k48000, [&] { EXPECT_EQ(0, Build("44100", {"-f"}).nCode); });
    EXPECT_EQ(0, Build("44100,48000").nCode);
    EXPECT_TRUE(point.WasReached());
    EXPECT_TRUE(IsGood(k44100));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100, k48000, "other"));
}

TEST_F(TwoBuildsTest, AMarkDoesNotOutliveACancel) {
    {
        const ForcedPoint point(k44100, [] { SetCancelSignal(SIGINT); });
        Build("44100,48000");
        EXPECT_TRUE(point.WasReached());
    }
    SetCancelSignal(0);
    EXPECT_THAT(Names(), ::testing::Not(::testing::Contains(::testing::StartsWith(".kvbank-"))));
    EXPECT_EQ(0, Build("44100,48000", {"-f"}).nCode);
}

TEST_F(TwoBuildsTest, AMarkDoesNotOutliveACrash) {
    EXPECT_EXIT(
        {
            const ForcedPoint point(k44100, [] { _exit(9); });
            Build("44100");
        },
        ::testing::ExitedWithCode(9), "");
    EXPECT_EQ(2u, Names().size()) << "the source and a private folder";
    EXPECT_THAT(Run({"list", "DIR"}).strOut, HasSubstr("interrupted"));
    EXPECT_EQ("44100 Hz: would be built as Src_0AC44.kvn, about 1.0 MB\n", Build("44100", {"-n"}).strOut);
    EXPECT_THAT(Build("44100").strOut, ::testing::StartsWith("removed what 1 interrupted build had left\n"));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100));
}

TEST_F(TwoBuildsTest, AFolderThatStaysLockedIsBusy) {
    const FolderLock other(Folder());
    std::string strErrors;
    EXPECT_EQ(kExitBusy, BuildAtOnce(strErrors));
    EXPECT_EQ("kvbank: " + Folder() + ": another process keeps the folder locked\n", strErrors);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs"));
}

TEST_F(TwoBuildsTest, AFolderLockedAtTheEndKeepsTheOldBank) {
    ASSERT_EQ(0, Build("44100").nCode);
    const Bytes before = ReadFile(File(k44100));
    std::unique_ptr<FolderLock> pOther;
    const ForcedPoint point(k44100, [&] { pOther = std::make_unique<FolderLock>(Folder()); });
    std::string strErrors;
    EXPECT_EQ(kExitBusy, BuildAtOnce(strErrors));
    EXPECT_TRUE(pOther->IsHeld());
    EXPECT_EQ("kvbank: " + Folder() + ": another process keeps the folder locked\n", strErrors);
    EXPECT_EQ(before, ReadFile(File(k44100)));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100));
}

// A signal while the build waits at the end for its turn.
TEST_F(TwoBuildsTest, ACancelEndsTheWaitForTheFolder) {
    std::unique_ptr<FolderLock> pOther;
    std::thread signal;
    const ForcedPoint point(k44100, [&] {
        pOther = std::make_unique<FolderLock>(Folder());
        signal = std::thread([] { SetCancelSignal(SIGTERM); });
    });
    const Outcome outcome = Build("44100");
    signal.join();
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_THAT(outcome.strErr, HasSubstr("cancelled\n"));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs"));
}

TEST_F(TwoBuildsTest, NothingIsDoneWithoutALock) {
    for (int n = 1;; ++n) {
        SCOPED_TRACE(n);
        const PosixFault fault("flock", ENOLCK, n);
        const Outcome outcome = Build("44100");
        if (fault.Calls() < n) break;
        EXPECT_TRUE(outcome.nCode == 0 || outcome.nCode == kExitOutput || outcome.nCode == kExitBusy);
        if (n == 1) {
            EXPECT_EQ("kvbank: DIR: No locks available\n", outcome.strErr);
        }
        EXPECT_EQ(outcome.nCode == 0, fs::exists(File(k44100)));
        EXPECT_EQ(outcome.nCode == 0 ? 2u : 1u, Names().size());
        fs::remove(File(k44100));
    }
}

// Started together, one of them builds, and the other finds it building or the bank done.
TEST_F(TwoBuildsTest, OfTwoThatStartTogetherOneBuilds) {
    for (int nRound = 0; nRound < 10; ++nRound) {
        std::latch start(2);
        std::array<Outcome, 2> outcomes;
        std::array<std::thread, 2> threads;
        for (size_t i = 0; i < 2; ++i)
            threads[i] = std::thread([&, i] {
                start.arrive_and_wait();
                outcomes[i] = Build("44100", {"--json"});
            });
        for (std::thread& thread : threads) thread.join();
        int nBuilt = 0;
        for (const Outcome& outcome : outcomes) {
            const std::string strAction = outcome.Document()["banks"][0]["action"];
            nBuilt += strAction == "built";
            EXPECT_EQ(strAction == "busy" ? kExitBusy : kExitDone, outcome.nCode) << strAction;
            EXPECT_TRUE(strAction == "built" || strAction == "busy" || strAction == "skipped") << strAction;
        }
        EXPECT_EQ(1, nBuilt);
        EXPECT_TRUE(IsGood(k44100));
        EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100));
        fs::remove(File(k44100));
    }
}

}  // namespace
}  // namespace Kestrova::Test
