// kvbank build when others work in the same folder: at forced points, and at once.
#include <unistd.h>

#include <array>
#include <csignal>
#include <functional>
#include <latch>
#include <memory>
#include <set>
#include <thread>

#include "bank/place/FolderLock.h"
#include "tests/support/PosixFaults.h"
#include "tests/tools/kvbank/CommandFixture.h"
#include "tests/tools/kvbank/ForcedPoint.h"
#include "tools/kvbank/BuildCommand.h"
#include "tools/kvbank/build/BuildRun.h"
#include "tools/kvbank/folder/BankFolder.h"

namespace Kestrova::Test {
namespace {

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

// Of two builds that want the same banks the first must have them all; otherwise each could take one from the
// other, and both would fail.
TEST_F(TwoBuildsTest, AllBanksOfABuildAreItsFromItsBeginning) {
    const ForcedPoint point(k44100, [&] {
        for (const char* pszRates : {"48000", "44100,48000", "48000,44100"}) {
            const Outcome other = Build(pszRates);
            EXPECT_EQ(kExitBusy, other.nCode);
            EXPECT_THAT(other.strErr,
                        ::testing::EndsWith("kvbank: Src_0BB80.kvn: another process is building it\n"));
            EXPECT_EQ("", other.strOut) << "nothing is built";
        }
        const Outcome other = Build("48000,96000");
        EXPECT_EQ(kExitBusy, other.nCode);
        EXPECT_THAT(other.strOut, ::testing::StartsWith("96000 Hz: ")) << "what the first does not want";
    });
    EXPECT_EQ(0, Build("44100,48000").nCode);
    EXPECT_TRUE(point.WasReached());
    EXPECT_TRUE(IsGood(k44100));
    EXPECT_TRUE(IsGood(k48000));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100, k48000, "Src_17700.kvn"));
}

// Not every program marks what it builds. Whatever this build was going to make, the other's bank is not
// replaced without -f.
TEST_F(TwoBuildsTest, ABankThatAnotherHasFinishedMeanwhileIsSkipped) {
    static constexpr struct {
        const char* pszLayout;
        const char* pszFirst;  // the bank during which the other puts its own
        const char* pszSaid;
    } kRows[] = {
        {"plain", k44100, "48000 Hz: there already; -f builds it again\n"},
        {"per-key", k44100PerKey,
         "48000 Hz: there already, but in the plain layout (Src_0BB80.kvn); -f builds the per-key one in its "
         "place\n"},
    };
    ASSERT_EQ(0, Build("48000", {}, "DIR/other").nCode);
    const Bytes finished = ReadFile(File("other/Src_0BB80.kvn"));
    for (const auto& row : kRows) {
        ForcedPoint point(row.pszFirst, [&] { WriteFile(File(k48000), finished); });
        point.Add(k48000PerKey, [] { ADD_FAILURE() << "it is not even begun"; });
        const Outcome outcome = Build("44100,48000", {"--layout", row.pszLayout});
        EXPECT_EQ(0, outcome.nCode);
        EXPECT_THAT(outcome.strOut, ::testing::EndsWith(row.pszSaid));
        EXPECT_EQ(finished, ReadFile(File(k48000)));
        EXPECT_THAT(Names(), ElementsAre("Src.kvs", row.pszFirst, k48000, "other"));
        fs::remove(File(k48000));
        fs::remove(File(row.pszFirst));
    }
}

// A build with --wait, up to the point where its banks are marked. It does something when it begins to wait.
class WaitingBuild : public BuildWatcher {
public:
    WaitingBuild(const std::string& strSource, const std::string& strFolder, std::function<void()> onWait)
        : m_onWait(std::move(onWait)) {
        options.strSource = strSource;
        options.strFolder = strFolder;
        options.arRates = {44100, 48000};
        options.wait = std::chrono::hours(1);
    }
    void OnProgress(const BuildPlan&, uint64_t, ProgressPhase) override {}
    void OnNoLocks(int) override {}
    void OnWait(const std::string& strWhy) override {
        strReason = strWhy;
        m_onWait();
    }
    void Reserve() {
        EngineRun engine;
        EXPECT_EQ(kBankDone, engine.Analyse(options.strSource));
        BankOrigin origin(engine.Engine(), options.strSource);
        BuildRun run(engine, origin, options, *this);
        std::vector<BuildPlan> plans = run.Look().plans;
        fault = run.Reserve(plans);
        for (const BuildPlan& plan : plans) actions.push_back(plan.finding.action);
    }

    BuildOptions options;
    BuildFault fault;
    std::vector<BuildAction> actions;
    std::string strReason;  // to wait

private:
    const std::function<void()> m_onWait;
};

TEST_F(TwoBuildsTest, WithWaitTheSecondFindsTheBanksOfTheFirst) {
    std::latch waits(1);
    WaitingBuild second(File("Src.kvs"), Folder(), [&] { waits.count_down(); });
    std::thread waiting;
    const ForcedPoint point(k44100, [&] {
        waiting = std::thread([&] { second.Reserve(); });
        waits.wait();
    });
    EXPECT_EQ(0, Build("44100,48000").nCode);
    waiting.join();
    EXPECT_EQ(kExitDone, second.fault.code);
    EXPECT_EQ("Src_0AC44.kvn: another process is building it", second.strReason);
    EXPECT_THAT(second.actions, ElementsAre(BuildAction::SkipExisting, BuildAction::SkipExisting));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100, k48000));
}

TEST_F(TwoBuildsTest, AWaitIsSaidOnceAndEndsWithItsTime) {
    const ForcedPoint point(k44100, [&] {
        const Outcome other = Build("44100,48000", {"--wait=1"});
        EXPECT_EQ(kExitBusy, other.nCode);
        EXPECT_EQ("Src_0AC44.kvn: another process is building it; waiting for it to end\n", other.strOut);
        EXPECT_EQ(
            "kvbank: Src_0AC44.kvn: another process is building it\n"
            "kvbank: Src_0BB80.kvn: another process is building it\n",
            other.strErr);
    });
    EXPECT_EQ(0, Build("44100,48000").nCode);
    EXPECT_TRUE(point.WasReached());
}

TEST_F(TwoBuildsTest, ACancelEndsTheWaitForAnotherBuild) {
    const ForcedPoint point(k44100, [&] {
        WaitingBuild other(File("Src.kvs"), Folder(), [] { SetCancelSignal(SIGTERM); });
        other.Reserve();
        EXPECT_EQ(kExitProblem, other.fault.code);
        EXPECT_EQ(File("Src.kvs") + ": cancelled", other.fault.strPath + ": " + other.fault.strCause);
        SetCancelSignal(0);
    });
    EXPECT_EQ(0, Build("44100").nCode);
    EXPECT_TRUE(point.WasReached());
}

TEST_F(TwoBuildsTest, ALockedFolderIsWaitedForToo) {
    FolderLock other(Folder());
    WaitingBuild second(File("Src.kvs"), Folder(), [&] { other.Release(); });
    second.options.turnWait = std::chrono::milliseconds(0);
    second.Reserve();
    EXPECT_EQ(Folder() + ": another process keeps the folder locked", second.strReason);
    EXPECT_EQ(kExitDone, second.fault.code);
    EXPECT_THAT(second.actions, ElementsAre(BuildAction::Build, BuildAction::Build));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs")) << "the marks have gone with the run";
}

TEST_F(TwoBuildsTest, AWaitIsANumberOfSeconds) {
    for (const char* pszWait : {"--wait=soon", "--wait=-1", "--wait=1s"}) {
        const Outcome outcome = Build("44100", {pszWait});
        EXPECT_EQ(kExitUsage, outcome.nCode);
        EXPECT_THAT(outcome.strErr, HasSubstr("give a number of seconds, or none"));
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
    ASSERT_EQ(0, Build("44100", {"--layout", "per-key"}, "DIR/more").nCode);
    Bytes finished = ReadFile(File("more/Src_0AC44.kvr"));
    for (const char* pszName : {k44100PerKey, k44100}) {
        const ForcedPoint point(k44100, [&] { WriteFile(File(pszName), finished); });
        const Outcome outcome = Build("44100");
        EXPECT_EQ(0, outcome.nCode);
        EXPECT_THAT(outcome.strOut, ::testing::StartsWith("44100 Hz: there already"));
        EXPECT_EQ(finished, ReadFile(File(pszName)));
        EXPECT_THAT(Names(), ElementsAre("Src.kvs", pszName, "more", "other"));
        fs::remove(File(pszName));
        finished = ReadFile(File("other/Src_0AC44.kvn"));
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

TEST_F(TwoBuildsTest, NothingIsDoneWhenALockFails) {
    for (int n = 1;; ++n) {
        SCOPED_TRACE(n);
        const PosixFault fault("flock", EIO, n);
        const Outcome outcome = Build("44100");
        if (fault.Calls() < n) break;
        EXPECT_TRUE(outcome.nCode == 0 || outcome.nCode == kExitOutput || outcome.nCode == kExitBusy);
        if (n == 1) {
            EXPECT_EQ("kvbank: DIR: Input/output error\n", outcome.strErr);
        }
        EXPECT_EQ(outcome.nCode == 0, fs::exists(File(k44100)));
        EXPECT_EQ(outcome.nCode == 0 ? 2u : 1u, Names().size());
        fs::remove(File(k44100));
    }
}

TEST_F(TwoBuildsTest, ATurnWithoutLocksIsWarnedOf) {
    const PosixFault fault("flock", EOPNOTSUPP);
    const Outcome outcome = Build("44100");
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ(
        "kvbank: warning: DIR: the file system has no locks (Operation not supported), so nothing keeps "
        "other "
        "builds away from this one's banks; run one build at a time in this folder\n",
        outcome.strErr);
    EXPECT_TRUE(IsGood(k44100));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100));
}

// Started together, one of them builds all, and the other finds each bank being built or done.
TEST_F(TwoBuildsTest, OfTwoThatStartTogetherOneBuilds) {
    for (int nRound = 0; nRound < 10; ++nRound) {
        std::latch start(2);
        std::array<Outcome, 2> outcomes;
        std::array<std::thread, 2> threads;
        for (size_t i = 0; i < 2; ++i)
            threads[i] = std::thread([&, i] {
                start.arrive_and_wait();
                outcomes[i] = Build("44100,48000,96000", {"--json"});
            });
        for (std::thread& thread : threads) thread.join();
        int nBuilders = 0;
        for (const Outcome& outcome : outcomes) {
            const Json document = outcome.Document();
            std::multiset<std::string> actions;
            for (const Json& row : document["banks"]) actions.insert(row["action"]);
            nBuilders += actions.count("built") == 3;
            EXPECT_TRUE(actions.count("built") == 3 || actions.count("built") == 0) << outcome.strOut;
            EXPECT_EQ(3u, actions.count("built") + actions.count("busy") + actions.count("skipped"));
            EXPECT_EQ(actions.count("busy") > 0 ? kExitBusy : kExitDone, outcome.nCode) << outcome.strOut;
        }
        EXPECT_EQ(1, nBuilders);
        EXPECT_TRUE(IsGood(k44100));
        EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100, k48000, "Src_17700.kvn"));
        for (const char* pszName : {k44100, k48000, "Src_17700.kvn"}) fs::remove(File(pszName));
    }
}

}  // namespace
}  // namespace Kestrova::Test
