// Jobs that are cancelled, and a storage manager that goes while one runs.
#include <csignal>

#include "tests/app/StgManFixture.h"

namespace Kestrova::Test {
namespace {

using Codes = std::vector<int>;

// No file of the folder passes for a bank: a later session removes what it finds there.
void ExpectNoBanks(StgManBench& bench) {
    bench.pMan.reset();
    bench.Open();
    bench.RunReady([&] { EXPECT_EQ((std::vector<int>{0, 0, 0, 0, 0, 0}), bench.Boxes()); });
    EXPECT_TRUE(fs::is_empty(bench.banks));
}

TEST(StgManEndTest, ACancelledBankGoesAndTheUserIsTold) {
    StgManBench bench;
    StgMan& man = bench.Open();
    const int nStatus = bench.RunReady([&] {
        bench.BuildAndHold({1, 3});
        bench.gui.Press(kCancelButton);
        bench.files.Release();
        bench.WaitIdle();
        EXPECT_TRUE(bench.gui.Alerts().empty());
        bench.gui.Tick();
        ASSERT_EQ((Codes{1}), bench.AlertCodes());
        EXPECT_EQ(kAlertCaution, bench.gui.Alerts()[0].nType);
        EXPECT_EQ("Cancelled by user.", bench.gui.Alerts()[0].strText);
        EXPECT_EQ(StgStatusReady, man.GetStatus());
        EXPECT_EQ(0, man.GetBanksCreated());
        EXPECT_EQ((std::vector<int>{0, 0, 0, 0, 0, 0}), bench.Boxes());
        EXPECT_FALSE(bench.Control(kProgressBar).bShown);
        EXPECT_TRUE(bench.Control(kTargetChooser).bEnabled);
    });
    EXPECT_EQ(2, nStatus);
    EXPECT_TRUE(fs::is_empty(bench.banks)) << "the run has stopped";
}

// The worker stands behind the last record, where the bank is brought to the disk. That bank is finished, and
// the run ends before the next.
TEST(StgManEndTest, ACancelBehindTheLastRecordOfABankStopsTheRunBeforeTheNext) {
    StgManBench bench;
    StgMan& man = bench.Open();
    const int nStatus = bench.RunReady([&] {
        bench.Select(1, true);
        bench.Select(3, true);
        bench.ApplyAndHold(FileOp::kSync);
        bench.gui.Tick();
        bench.gui.Press(kCancelButton);
        bench.files.Release();
        bench.Settle();
        EXPECT_EQ((Codes{1}), bench.AlertCodes());
        EXPECT_EQ("The bank for 96000 was cancelled. The bank for 48000 is ready.", bench.StatusText());
        EXPECT_EQ((std::vector<int>{0, 1, 0, 0, 0, 0}), bench.Boxes());
        EXPECT_EQ(0, man.GetBanksCreated()) << "the run has not gone to its end";
    });
    EXPECT_EQ(2, nStatus);
    EXPECT_TRUE(bench.HasBank(1));
    EXPECT_FALSE(bench.HasBank(3));
}

// There is nothing left to cancel then.
TEST(StgManEndTest, ACancelBehindTheLastRecordOfTheLastBankComesTooLate) {
    StgManBench bench;
    StgMan& man = bench.Open();
    const int nStatus = bench.RunReady([&] {
        bench.Select(1, true);
        bench.ApplyAndHold(FileOp::kSync);
        bench.gui.Press(kCancelButton);
        bench.files.Release();
        bench.Settle();
        EXPECT_TRUE(bench.gui.Alerts().empty());
        EXPECT_EQ("The bank for 48000 is ready.", bench.StatusText());
        EXPECT_EQ(1, man.GetBanksCreated());
        bench.Build({2});
    });
    EXPECT_EQ(0, nStatus);
    EXPECT_TRUE(bench.HasBank(1));
    EXPECT_TRUE(bench.HasBank(2)) << "the cancel is forgotten";
}

TEST(StgManEndTest, AfterACancelledRunTheNextOneRuns) {
    StgManBench bench;
    bench.Open();
    const int nStatus = bench.RunReady([&] {
        bench.BuildAndHold({1});
        bench.gui.Press(kCancelButton);
        bench.files.Release();
        bench.Settle();
        bench.Build({1});
    });
    EXPECT_EQ(0, nStatus);
    EXPECT_TRUE(bench.HasBank(1));
    EXPECT_EQ((Codes{1}), bench.AlertCodes());
}

// When the first call of a job is answered with a refusal, the engine makes no last call, and the dialog
// would wait for that for ever.
// Q122
TEST(StgManEndTest, AWishBeforeTheFirstCallOfAJobIsHeardBehindIt) {
    StgManBench bench;
    StgMan& man = bench.Open();
    const int nStatus = bench.RunReady([&] {
        bench.Select(1, true);
        bench.files.HoldAll();
        bench.Apply();
        bench.files.WaitUntilOneWaits();
        man.Cancel();
        bench.files.Release();
        bench.Settle();
        EXPECT_EQ((Codes{1}), bench.AlertCodes());
        EXPECT_TRUE(bench.Control(kTargetChooser).bEnabled);
    });
    EXPECT_EQ(2, nStatus);
    EXPECT_TRUE(fs::is_empty(bench.banks));
}

TEST(StgManEndTest, AnAnalysisCanBeCancelledBeforeItsFirstCall) {
    StgManBench bench;
    StgMan& man = bench.Open();
    bench.files.HoldAll();
    const int nStatus = bench.Run([&] {
        man.Cancel();
        bench.files.Release();
        bench.Settle();
        EXPECT_EQ(StgStatusNone, man.GetStatus());
        EXPECT_TRUE(bench.Control(kSourceChooser).bEnabled);
    });
    EXPECT_EQ(2, nStatus);
    EXPECT_TRUE(bench.gui.Alerts().empty());
}

TEST(StgManEndTest, AWishFromBeforeARunDoesNotStopIt) {
    StgManBench bench;
    bench.Open();
    bench.RunReady([&] {
        bench.gui.Press(kCancelButton);
        bench.Build({1});
    });
    EXPECT_TRUE(bench.HasBank(1));
}

// All records are written when the file is synchronised: the bank is finished, the ones behind it are not
// begun.
// Q129
TEST(StgManEndTest, AWishTooLateForABankStopsTheRunBehindIt) {
    StgManBench bench;
    StgMan& man = bench.Open();
    const int nStatus = bench.RunReady([&] {
        bench.Select(1, true);
        bench.Select(3, true);
        bench.ApplyAndHold(FileOp::kSync);
        bench.gui.Press(kCancelButton);
        bench.files.Release();
        bench.Settle();
        EXPECT_EQ((Codes{1}), bench.AlertCodes());
        EXPECT_EQ((std::vector<int>{0, 1, 0, 0, 0, 0}), bench.Boxes());
        EXPECT_EQ(0, man.GetBanksCreated());
    });
    EXPECT_EQ(2, nStatus);
    EXPECT_TRUE(bench.HasBank(1));
    EXPECT_FALSE(bench.HasBank(3));
}

TEST(StgManEndTest, WhileABankIsBuiltNothingClosesTheWindow) {
    StgManBench bench;
    bench.Open();
    bench.RunReady([&] {
        bench.BuildAndHold({1});
        bench.gui.Close();
        bench.gui.Press(kCloseButton);
        bench.gui.Press(kMainButton);
        EXPECT_FALSE(bench.gui.LoopWasQuit());
        bench.files.Release();
        bench.Settle();
        bench.gui.Close();
        EXPECT_TRUE(bench.gui.LoopWasQuit());
    });
    EXPECT_TRUE(bench.HasBank(1));
}

TEST(StgManEndTest, ASignalCancelsTheBankAndQuitsWithoutAQuestion) {
    StgManBench bench;
    bench.Open("install");
    const int nStatus = bench.RunReady([&] {
        bench.ApplyAndHold(FileOp::kRead);
        SetCancelSignal(SIGTERM);
        bench.gui.Tick();
        EXPECT_FALSE(bench.gui.LoopWasQuit());
        bench.files.Release();
        bench.Settle();
        EXPECT_TRUE(bench.gui.LoopWasQuit());
    });
    EXPECT_EQ(2, nStatus);
    EXPECT_TRUE(bench.gui.Alerts().empty());
    EXPECT_TRUE(fs::is_empty(bench.banks));
}
// Q131

// Q131
TEST(StgManEndTest, TheEndWaitsForABankThatIsBuilt) {
    for (const bool bBeforeItsFirstCall : {false, true}) {
        StgManBench bench;
        bench.Open();
        bench.RunReady([&] {
            bench.Select(1, true);
            bench.Select(3, true);
            if (bBeforeItsFirstCall)
                bench.files.HoldAll();
            else
                bench.ApplyAndHold(FileOp::kRead);
        });
        bench.gui.WhenHidden([&] { bench.files.Release(); });
        bench.pMan.reset();
        EXPECT_TRUE(bench.gui.Window().bDisposed);
        EXPECT_TRUE(bench.gui.Alerts().empty());
        EXPECT_EQ("[AdditionalBankPaths]\n" + bench.banks.string() + "\n", bench.Settings());
        ExpectNoBanks(bench);
    }
}

TEST(StgManEndTest, AManagerWithoutItsWindowWritesTheSettingsAndLeavesTheDesktopAlone) {
    StgManBench bench;
    StgMan& man = bench.Open();
    bench.RunReady([&] {
        bench.gui.TakeCalls();
        man.Abandon();
        EXPECT_EQ((CallList{}), bench.gui.TakeCalls());
        EXPECT_EQ("[AdditionalBankPaths]\n" + bench.banks.string() + "\n", bench.Settings());
    });
}

TEST(StgManEndTest, AManagerWithoutItsWindowWaitsForTheEndOfItsJob) {
    StgManBench bench;
    StgMan& man = bench.Open();
    bench.RunReady([&] {
        bench.BuildAndHold({1, 3});
        bench.gui.Press(kCancelButton);
        bench.gui.TakeCalls();
        bench.files.Release();
        man.Abandon();
        EXPECT_EQ(StgStatusReady, man.GetStatus());
        EXPECT_TRUE(fs::is_empty(bench.banks));
        EXPECT_EQ((CallList{}), bench.gui.TakeCalls());
    });
}

TEST(StgManEndTest, TheEndWaitsForAnAnalysis) {
    StgManBench bench;
    bench.Open();
    bench.files.HoldAll();
    bench.Run([&] { bench.files.WaitUntilOneWaits(); });
    bench.gui.WhenHidden([&] { bench.files.Release(); });
    bench.pMan.reset();
    EXPECT_TRUE(bench.gui.Window().bDisposed);
    ExpectNoBanks(bench);
}

TEST(StgManEndTest, TheEndInTheMiddleOfARunIsSafeWhereverItComes) {
    for (int nTick = 0; nTick < 8; ++nTick) {
        StgManBench bench;
        bench.Open();
        bench.RunReady([&] {
            for (const int nRate : {1, 2}) bench.Select(nRate, true);
            bench.Apply();
            for (int i = 0; i < nTick; ++i) bench.gui.Tick();
        });
        bench.pMan.reset();
        bench.Open();
        bench.RunReady([&] {
            for (int i = 0; i < kRateCount; ++i)
                EXPECT_EQ(bench.HasBank(i), bench.Boxes()[static_cast<size_t>(i)] != 0) << i;
        });
    }
}

}  // namespace
}  // namespace Kestrova::Test
