// Runs over the rates: banks built and removed until those that exist are the ones selected.
#include "tests/app/StgManFixture.h"

namespace Kestrova::Test {
namespace {

using Codes = std::vector<int>;

TEST(StgManRunTest, ASelectedRateIsBuilt) {
    StgManBench bench;
    StgMan& man = bench.Open();
    const int nStatus = bench.RunReady([&] {
        bench.Build({1});
        EXPECT_TRUE(bench.HasBank(1));
        EXPECT_EQ(1, man.GetBanksCreated());
        EXPECT_EQ(StgStatusReady, man.GetStatus());
        EXPECT_EQ((std::vector<int>{0, 1, 0, 0, 0, 0}), bench.Boxes());
        EXPECT_EQ("The bank for 48000 is ready.", bench.StatusText());
        EXPECT_TRUE(bench.Control(kProgressText).bShown);
        for (const int i : {kProgressBar, kProgressPercent, kCancelButton})
            EXPECT_FALSE(bench.Control(i).bShown) << i;
        EXPECT_EQ("99.9%", bench.Control(kProgressPercent).strText);
        EXPECT_FALSE(bench.Control(kMainButton).bEnabled) << "nothing is left to apply";
        EXPECT_TRUE(bench.Control(kTargetChooser).bEnabled);
    });
    EXPECT_EQ(0, nStatus);
    EXPECT_TRUE(bench.gui.Alerts().empty());
}

TEST(StgManRunTest, WhileABankIsBuiltItsProgressIsShown) {
    StgManBench bench;
    StgMan& man = bench.Open();
    bench.RunReady([&] {
        bench.BuildAndHold({1});
        EXPECT_EQ(StgStatusCreating, man.GetStatus());
        EXPECT_EQ(0, man.GetBanksCreated());
        bench.gui.Tick();
        EXPECT_EQ("Creating bank for 48000; please wait ...", bench.StatusText());
        for (const int i : {kProgressText, kProgressBar, kProgressPercent, kCancelButton})
            EXPECT_TRUE(bench.Control(i).bShown) << i;
        EXPECT_TRUE(bench.Control(kCancelButton).bEnabled);
        EXPECT_EQ(static_cast<int>(RecordCount(StgManBench::Spec())), bench.Control(kProgressBar).nMaximum);
        for (const int i : {2, 5, 8, 21, 22}) EXPECT_FALSE(bench.Control(i).bEnabled) << i;
        bench.files.Release();
        bench.Settle();
    });
    EXPECT_TRUE(bench.HasBank(1));
}

// Free space is read within the last callback, when the phase is that of a job that has ended.
// Q130
TEST(StgManRunTest, TheStatusIsBusyUntilTheLastCallbackHasBeenLeft) {
    StgManBench bench;
    StgMan& man = bench.Open();
    std::atomic<int> nStatus{StgStatusNone};
    bench.RunReady([&] {
        bench.gui.WhenSpaceIsAsked([&] { nStatus = man.GetStatus(); });
        bench.Build({1});
        EXPECT_TRUE(IsBusy(nStatus)) << nStatus;
        EXPECT_EQ(StgStatusReady, man.GetStatus());
    });
}

TEST(StgManRunTest, SeveralRatesAreBuiltOneAfterTheOtherAndCountAsOneRun) {
    StgManBench bench;
    StgMan& man = bench.Open();
    bench.RunReady([&] {
        bench.Select(0, true);
        bench.Select(3, true);
        bench.ApplyAndHold(FileOp::kSync);
        bench.gui.Tick();
        EXPECT_EQ("Creating bank for 44100; please wait ...", bench.StatusText());
        EXPECT_EQ(0, man.GetBanksCreated());
        bench.files.Release();
        bench.Settle();
        EXPECT_EQ("Banks for 44100 and 96000 are ready.", bench.StatusText());
        EXPECT_EQ(1, man.GetBanksCreated());
        EXPECT_EQ((std::vector<int>{1, 0, 0, 1, 0, 0}), bench.Boxes());
    });
    EXPECT_TRUE(bench.HasBank(0));
    EXPECT_TRUE(bench.HasBank(3));
}

TEST(StgManRunTest, EveryRunCounts) {
    StgManBench bench;
    StgMan& man = bench.Open();
    bench.RunReady([&] {
        bench.Build({1});
        bench.Build({2});
        EXPECT_EQ(2, man.GetBanksCreated());
    });
}
// Q116

// Q116
TEST(StgManRunTest, ARunThatEndsWith192000IsNotCounted) {
    for (const std::vector<int>& rates : {std::vector<int>{5}, {1, 5}}) {
        StgManBench bench;
        StgMan& man = bench.Open();
        const int nStatus = bench.RunReady([&] {
            bench.Build(rates);
            EXPECT_EQ(0, man.GetBanksCreated());
            EXPECT_EQ(StgStatusReady, man.GetStatus());
            EXPECT_EQ(1, bench.Boxes()[5]);
            EXPECT_TRUE(bench.Control(kTargetChooser).bEnabled);
        });
        EXPECT_EQ(0, nStatus);
        EXPECT_TRUE(bench.HasBank(5));
        EXPECT_TRUE(bench.gui.Alerts().empty());
    }
}

TEST(StgManRunTest, ADeselectedBankIsRemovedAtOnceAndWithoutProgress) {
    StgManBench bench;
    bench.PutBank(1);
    bench.PutBank(2);
    StgMan& man = bench.Open();
    const int nStatus = bench.RunReady([&] {
        bench.gui.TakeCalls();
        bench.gui.SetFreeSpace(55);
        bench.Select(1, false);
        bench.Apply();
        EXPECT_FALSE(bench.HasBank(1));
        EXPECT_TRUE(bench.HasBank(2));
        EXPECT_EQ(StgStatusReady, man.GetStatus());
        bench.gui.Tick();
        EXPECT_EQ((std::vector<int>{0, 0, 1, 0, 0, 0}), bench.Boxes());
        EXPECT_EQ("55 M", bench.Control(kFreeSpace).strText);
        EXPECT_EQ("0 M", bench.Control(kRequiredSpace).strText);
        EXPECT_FALSE(bench.Control(kMainButton).bEnabled);
        for (const int i : {17, 18, 19, 20})
            EXPECT_FALSE(bench.WasCalled("show " + std::to_string(i) + " 1"));
        EXPECT_EQ(0, man.GetBanksCreated());
    });
    EXPECT_EQ(0, nStatus);
    EXPECT_TRUE(bench.gui.Alerts().empty());
}

TEST(StgManRunTest, OneRunRemovesAndBuilds) {
    StgManBench bench;
    bench.PutBank(0);
    bench.PutBank(2);
    bench.PutBank(5);
    StgMan& man = bench.Open();
    bench.RunReady([&] {
        bench.Select(0, false);
        bench.Select(5, false);
        bench.Build({3});
        EXPECT_EQ((std::vector<int>{0, 0, 1, 1, 0, 0}), bench.Boxes());
        EXPECT_EQ(1, man.GetBanksCreated());
    });
    EXPECT_FALSE(bench.HasBank(0));
    EXPECT_TRUE(bench.HasBank(2));
    EXPECT_TRUE(bench.HasBank(3));
    EXPECT_FALSE(bench.HasBank(5)) << "behind the bank that was built";
}

TEST(StgManRunTest, ARunWithNothingToDoListsTheBanksAgain) {
    StgManBench bench;
    StgMan& man = bench.Open();
    bench.RunReady([&] {
        bench.PutBank(4);
        bench.Apply();
        bench.gui.Tick();
        EXPECT_EQ((std::vector<int>{0, 0, 0, 0, 1, 0}), bench.Boxes());
        EXPECT_EQ(0, man.GetBanksCreated());
    });
    EXPECT_TRUE(bench.gui.Alerts().empty());
}
// Q125

// Q125
TEST(StgManRunTest, ABankThatCannotBeStartedGivesAnAlertAtOnce) {
    StgManBench bench;
    WriteFile(bench.dir.File("file"), std::string("no folder"));
    StgMan& man = bench.Open("", bench.strSource, bench.dir.File("file"));
    const int nStatus = bench.RunReady([&] {
        bench.Select(1, true);
        bench.Apply();
        EXPECT_EQ((Codes{2}), bench.AlertCodes());
        EXPECT_EQ(kAlertStop, bench.gui.Alerts()[0].nType);
        EXPECT_EQ(StgStatusReady, man.GetStatus());
        bench.gui.Tick();
        EXPECT_EQ("The bank for 48000 could not be written: Not a directory.", bench.StatusText());
        EXPECT_TRUE(bench.Control(kTargetChooser).bEnabled);
        EXPECT_EQ((std::vector<int>{0, 0, 0, 0, 0, 0}), bench.Boxes());
    });
    EXPECT_EQ(8, nStatus);
}

TEST(StgManRunTest, ABankBuiltAfterARefusedOneMakesTheStatusGood) {
    StgManBench bench;
    bench.Open();
    fs::create_directories(bench.BankPath(1) / "inside");
    const int nStatus = bench.RunReady([&] {
        bench.Build({1});
        EXPECT_EQ((Codes{2}), bench.AlertCodes());
        bench.Build({2});
    });
    EXPECT_EQ(0, nStatus);
    EXPECT_TRUE(bench.HasBank(2));
}

// A folder with something in it lies where the second bank is to go.
TEST(StgManRunTest, ALaterBankThatCannotBeStartedEndsTheRunWithAPostedAlert) {
    StgManBench bench;
    StgMan& man = bench.Open();
    fs::create_directories(bench.BankPath(3) / "inside");
    const int nStatus = bench.RunReady([&] {
        bench.Select(1, true);
        bench.Select(3, true);
        bench.Select(4, true);
        bench.Apply();
        bench.WaitIdle();
        EXPECT_TRUE(bench.gui.Alerts().empty());
        bench.gui.Tick();
        EXPECT_EQ((Codes{2}), bench.AlertCodes());
        EXPECT_EQ(0, man.GetBanksCreated());
        EXPECT_EQ((std::vector<int>{0, 1, 0, 0, 0, 0}), bench.Boxes());
        EXPECT_TRUE(bench.Control(kTargetChooser).bEnabled);
    });
    EXPECT_EQ(8, nStatus);
    EXPECT_TRUE(bench.HasBank(1));
    EXPECT_FALSE(bench.HasBank(4));
}

TEST(StgManRunTest, AFullDiskEndsTheRunAndLeavesNoFile) {
    StgManBench bench;
    bench.Open();
    const int nStatus = bench.RunReady([&] {
        bench.Select(1, true);
        bench.Select(2, true);
        bench.files.FillDiskAfter(100);
        bench.Apply();
        bench.Settle();
        EXPECT_EQ((Codes{2}), bench.AlertCodes());
        EXPECT_EQ(kAlertStop, bench.gui.Alerts()[0].nType);
        EXPECT_EQ((std::vector<int>{0, 0, 0, 0, 0, 0}), bench.Boxes());
        EXPECT_FALSE(bench.Control(kProgressBar).bShown);
        EXPECT_EQ("The bank for 48000 could not be written: No space left on device.", bench.StatusText());
        EXPECT_TRUE(bench.Control(kProgressText).bShown);
        bench.files.Heal();
    });
    EXPECT_EQ(10, nStatus);
    EXPECT_TRUE(fs::is_empty(bench.banks));
}

TEST(StgManRunTest, ABankThatIsBuiltBeforeAFailureIsToldOfToo) {
    StgManBench bench;
    bench.Open();
    fs::create_directories(bench.BankPath(3) / "inside");
    bench.RunReady([&] {
        bench.Build({1, 3});
        EXPECT_EQ("The bank for 96000 could not be written: Is a directory. The bank for 48000 is ready.",
                  bench.StatusText());
    });
}

// What fails in the source is told as such.
TEST(StgManRunTest, ASourceThatCannotBeReadAnyMoreIsTheCause) {
    StgManBench bench;
    bench.Open();
    bench.RunReady([&] {
        bench.files.FailCallOf(FileOp::kRead, 1, FaultyFileEnv::Lasting::kForGood);
        bench.Build({1});
        bench.files.Heal();
        EXPECT_EQ("The bank for 48000 could not be made: Input/output error.", bench.StatusText());
    });
}

TEST(StgManRunTest, AFolderWithoutLocksIsToldOf) {
    StgManBench bench;
    bench.Open();
    bench.RunReady([&] {
        bench.files.FailCallOf(FileOp::kLock, 1, FaultyFileEnv::Lasting::kForGood, ENOLCK);
        bench.Build({1});
        bench.files.Heal();
        EXPECT_EQ(
            "The bank for 48000 is ready. The folder cannot lock files: let no other program build banks in "
            "it "
            "now.",
            bench.StatusText());
    });
}

TEST(StgManRunTest, ALackOfSpaceIsToldBeforeTheRun) {
    StgManBench bench;
    bench.Open();
    bench.gui.SetFreeSpace(0);
    bench.RunReady([&] {
        EXPECT_FALSE(bench.Control(kProgressText).bShown) << "nothing is selected";
        bench.Select(1, true);
        bench.gui.Tick();
        EXPECT_EQ("1 M are needed, 0 M are free.", bench.StatusText());
        EXPECT_TRUE(bench.Control(kProgressText).bShown);
        bench.Select(1, false);
        bench.gui.Tick();
        EXPECT_FALSE(bench.Control(kProgressText).bShown);
    });
}

// The first bank stands still, half written; then the second.
TEST(StgManRunTest, TheTitleTellsHowFarTheRunIsAndTheComputerStaysAwake) {
    StgManBench bench;
    bench.Open();
    bench.gui.SetFreeSpace(100);
    bench.RunReady([&] {
        EXPECT_FALSE(bench.gui.IsKeptAwake());
        bench.BuildAndHold({1, 3});
        bench.gui.Tick();
        EXPECT_EQ("Bank 1 of 2, 0 % - Calderine Bank Manager", bench.gui.Window().strTitle);
        EXPECT_TRUE(bench.gui.IsKeptAwake());
        EXPECT_TRUE(bench.gui.Window().notifications.empty());
        bench.files.Release();
        bench.Settle();
        EXPECT_EQ("Calderine Bank Manager", bench.gui.Window().strTitle);
        EXPECT_FALSE(bench.gui.IsKeptAwake());
        EXPECT_EQ((std::vector<std::string>{"Calderine Bank Manager: Banks for 48000 and 96000 are ready."}),
                  bench.gui.Window().notifications);
    });
}

TEST(StgManRunTest, ARunThatCannotStartKeepsNothingAwake) {
    StgManBench bench;
    bench.Open();
    fs::create_directories(bench.BankPath(1) / "inside");
    bench.RunReady([&] {
        bench.Build({1});
        EXPECT_FALSE(bench.gui.IsKeptAwake());
        EXPECT_TRUE(bench.gui.Window().notifications.empty()) << "the user has just pressed the button";
    });
}

TEST(StgManRunTest, AfterAFailureTheNextRunMaySucceed) {
    StgManBench bench;
    bench.Open();
    const int nStatus = bench.RunReady([&] {
        bench.files.FillDiskAfter(100);
        bench.Build({1});
        bench.files.Heal();
        bench.Build({1});
        EXPECT_EQ(1, bench.pMan->GetBanksCreated());
    });
    EXPECT_EQ(0, nStatus);
    EXPECT_TRUE(bench.HasBank(1));
}

// A link to the source comes to lie where its bank is to go.
TEST(StgManRunTest, ARateWhoseBankIsTheSourceIsPassedOver) {
    StgManBench bench;
    StgMan& man = bench.Open();
    const Bytes before = ReadFile(bench.strSource);
    bench.RunReady([&] {
        fs::create_hard_link(bench.strSource, bench.BankPath(1));
        bench.Build({1, 3});
        EXPECT_EQ(StgStatusReady, man.GetStatus());
        EXPECT_EQ(1, man.GetBanksCreated());
        EXPECT_TRUE(bench.HasBank(3)) << "the run goes on";
    });
    EXPECT_EQ(before, ReadFile(bench.strSource));
    EXPECT_TRUE(bench.gui.Alerts().empty());
}

TEST(StgManRunTest, ARunOfTheSourceAloneIsOverAtOnce) {
    StgManBench bench;
    StgMan& man = bench.Open();
    bench.RunReady([&] {
        fs::create_hard_link(bench.strSource, bench.BankPath(1));
        bench.Select(1, true);
        bench.Apply();
        EXPECT_EQ(StgStatusReady, man.GetStatus());
        bench.gui.Tick();
        EXPECT_TRUE(bench.Control(kTargetChooser).bEnabled);
        EXPECT_EQ((std::vector<int>{0, 1, 0, 0, 0, 0}), bench.Boxes());
    });
    EXPECT_EQ(0, man.GetBanksCreated());
    EXPECT_TRUE(bench.gui.Alerts().empty());
}

TEST(StgManRunTest, TheSourceItselfIsNeverRemoved) {
    StgManBench bench;
    SourceSpec enriched = StgManBench::Spec();
    enriched.bEnriched = true;
    fs::create_directory(bench.banks);
    MakeSource(bench.BankPath(1).string(), enriched);
    const Bytes before = ReadFile(bench.BankPath(1));
    bench.Open("", bench.BankPath(1).string(), bench.banks.string());
    bench.RunReady([&] {
        EXPECT_EQ((std::vector<int>{0, 1, 0, 0, 0, 0}), bench.Boxes());
        bench.Select(1, false);
        bench.Apply();
        bench.gui.Tick();
        EXPECT_EQ((std::vector<int>{0, 1, 0, 0, 0, 0}), bench.Boxes());
        EXPECT_EQ("The bank for 48000 is in use or cannot be removed.", bench.StatusText());
    });
    EXPECT_EQ(before, ReadFile(bench.BankPath(1)));
}
// Q127

// Q127
TEST(StgManRunTest, ABankAnotherProgramBuildsIsToldOfAndLeftAlone) {
    StgManBench bench;
    StgMan& man = bench.Open();
    CSDB other;
    bench.RunReady([&] {
        ASSERT_TRUE(other.Create(bench.BankPath(1).c_str(), kSdbFormatEnriched));
        bench.Select(1, true);
        bench.Apply();
        EXPECT_EQ((Codes{2}), bench.AlertCodes());
        EXPECT_EQ(StgStatusReady, man.GetStatus());
        bench.gui.Tick();
        EXPECT_EQ("The bank for 48000 is being built by another program.", bench.StatusText());
        EXPECT_TRUE(bench.Control(kProgressText).bShown);
    });
    EXPECT_TRUE(bench.HasBank(1));
}

TEST(StgManRunTest, ALaterBankAnotherProgramBuildsIsToldOfToo) {
    StgManBench bench;
    bench.Open();
    CSDB other;
    const int nStatus = bench.RunReady([&] {
        ASSERT_TRUE(other.Create(bench.BankPath(2).c_str(), kSdbFormatEnriched));
        bench.Build({1, 2});
        EXPECT_EQ((Codes{2}), bench.AlertCodes());
        EXPECT_EQ("The bank for 88200 is being built by another program. The bank for 48000 is ready.",
                  bench.StatusText());
        EXPECT_TRUE(bench.Control(kProgressText).bShown);
        EXPECT_FALSE(bench.Control(kProgressBar).bShown);
    });
    EXPECT_EQ(3, nStatus);
    EXPECT_TRUE(bench.HasBank(1));
}
// Q128

// Q128
TEST(StgManRunTest, ABankThatIsHeldIsNotRemovedAndTheNextRunForgetsTheNotice) {
    StgManBench bench;
    bench.Open();
    fs::create_directories(bench.banks);
    CSDB other;
    ASSERT_TRUE(other.Create(bench.BankPath(1).c_str(), kSdbFormatEnriched));
    bench.RunReady([&] {
        EXPECT_EQ((std::vector<int>{0, 1, 0, 0, 0, 0}), bench.Boxes());
        bench.Select(1, false);
        bench.Apply();
        bench.gui.Tick();
        EXPECT_TRUE(bench.HasBank(1));
        EXPECT_EQ((std::vector<int>{0, 1, 0, 0, 0, 0}), bench.Boxes());
        EXPECT_EQ("The bank for 48000 is in use or cannot be removed.", bench.StatusText());
        EXPECT_TRUE(bench.Control(kProgressText).bShown);
        EXPECT_TRUE(bench.gui.Alerts().empty());
        bench.Build({2});
        EXPECT_EQ("The bank for 88200 is ready.", bench.StatusText());
    });
    EXPECT_TRUE(bench.HasBank(2));
}
// Q127

// Q127
TEST(StgManRunTest, APerKeyBankStaysAndItIsToldWhatRemovesIt) {
    for (const bool bPlainToo : {false, true}) {
        StgManBench bench;
        bench.PutPerKeyBank(1);
        if (bPlainToo) bench.PutBank(1);
        bench.Open();
        const int nStatus = bench.RunReady([&] {
            EXPECT_EQ(1, bench.Boxes()[1] != 0);
            bench.Select(1, false);
            bench.Apply();
            bench.gui.Tick();
            EXPECT_EQ("The bank for 48000 is per key: remove it with \"kvbank remove\".", bench.StatusText());
            EXPECT_TRUE(bench.Control(kProgressText).bShown);
            EXPECT_TRUE(bench.gui.Alerts().empty());
        });
        EXPECT_EQ(0, nStatus);
        EXPECT_FALSE(bench.HasBank(1));
        EXPECT_TRUE(fs::exists(bench.PerKeyBankPath(1)));
    }
}

}  // namespace
}  // namespace Kestrova::Test
