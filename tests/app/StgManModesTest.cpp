// The four modes from their start to their end.
#include "tests/app/StgManFixture.h"

namespace Kestrova::Test {
namespace {

TEST(StgManModesTest, TheManagerBuildsRemovesAndCloses) {
    StgManBench bench;
    bench.Open();
    const int nStatus = bench.RunReady([&] {
        bench.Build({1, 2});
        EXPECT_FALSE(bench.gui.LoopWasQuit()) << "it never ends by itself";
        bench.Select(2, false);
        bench.Build({4});
        bench.gui.Press(kCloseButton);
        EXPECT_TRUE(bench.gui.LoopWasQuit());
    });
    EXPECT_EQ(0, nStatus);
    EXPECT_TRUE(bench.HasBank(1));
    EXPECT_FALSE(bench.HasBank(2));
    EXPECT_TRUE(bench.HasBank(4));
    EXPECT_TRUE(bench.gui.Alerts().empty());
}

TEST(StgManModesTest, InstallationBuildsTheFirstRateAndEndsByItself) {
    StgManBench bench;
    bench.Open("install");
    const int nStatus = bench.RunReady([&] {
        EXPECT_TRUE(bench.Control(kMainButton).bEnabled);
        EXPECT_EQ((std::vector<int>{1, 0, 0, 0, 0, 0}), bench.Boxes());
        EXPECT_EQ("1 M", bench.Control(kRequiredSpace).strText);
        EXPECT_FALSE(bench.gui.LoopWasQuit());
        bench.Apply();
        bench.Settle();
        EXPECT_TRUE(bench.gui.LoopWasQuit());
    });
    EXPECT_EQ(0, nStatus);
    EXPECT_TRUE(bench.HasBank(0));
    EXPECT_TRUE(bench.gui.Alerts().empty());
}
// Q117

// Q117
TEST(StgManModesTest, InstallationWith192000DeliberatelyDoesNotEndByItself) {
    StgManBench bench;
    bench.Open("install");
    bench.RunReady([&] {
        bench.Build({5});
        bench.gui.Tick();
        EXPECT_FALSE(bench.gui.LoopWasQuit());
    });
    EXPECT_TRUE(bench.HasBank(0));
    EXPECT_TRUE(bench.HasBank(5));
}

TEST(StgManModesTest, InstallationOverAFinishedOneHasNothingToBuild) {
    StgManBench bench;
    bench.PutBank(0);
    bench.Open("install");
    bench.RunReady([&] {
        bench.Apply();
        bench.gui.Tick();
        EXPECT_EQ(StgStatusReady, bench.pMan->GetStatus());
        EXPECT_FALSE(bench.gui.LoopWasQuit());
    });
    EXPECT_TRUE(bench.gui.Alerts().empty());
}

TEST(StgManModesTest, UninstallationRemovesEveryBankAndEnds) {
    StgManBench bench;
    for (const int nRate : {0, 2, 5}) bench.PutBank(nRate);
    WriteFile(bench.banks / "Other_0AC44.kvn", std::string("another source's"));
    bench.Open("uninstall");
    const int nStatus = bench.RunReady([&] {
        EXPECT_EQ((std::vector<int>{1, 0, 1, 0, 0, 1}), bench.Boxes());
        EXPECT_EQ("3 M", bench.Control(kRequiredSpace).strText);
        EXPECT_FALSE(bench.gui.LoopWasQuit());
        bench.Apply();
        EXPECT_TRUE(bench.gui.LoopWasQuit());
    });
    EXPECT_EQ(0, nStatus);
    for (int i = 0; i < kRateCount; ++i) EXPECT_FALSE(bench.HasBank(i));
    EXPECT_TRUE(fs::exists(bench.banks / "Other_0AC44.kvn"));
    EXPECT_TRUE(fs::exists(bench.strSource));
    EXPECT_TRUE(bench.gui.Alerts().empty());
}
// Q136

// Q136
TEST(StgManModesTest, UninstallationThatLeavesAPlainBankItShowedFails) {
    StgManBench bench;
    bench.PutBank(2);
    CSDB other;
    ASSERT_TRUE(other.Create(bench.BankPath(0).c_str(), kSdbFormatEnriched));
    bench.Open("uninstall");
    const int nStatus = bench.RunReady([&] {
        bench.Apply();
        EXPECT_TRUE(bench.gui.LoopWasQuit());
    });
    EXPECT_EQ(10, nStatus);
    EXPECT_TRUE(bench.HasBank(0)) << "another program builds it";
    EXPECT_FALSE(bench.HasBank(2));
}
// Q136

// Q136
TEST(StgManModesTest, UninstallationRemovesPlainBanksOnlyWhichIsNoFailure) {
    StgManBench bench;
    bench.PutPerKeyBank(1);
    bench.PutBank(2);
    bench.Open("uninstall");
    EXPECT_EQ(0, bench.RunReady([&] { bench.Apply(); }));
    EXPECT_TRUE(fs::exists(bench.PerKeyBankPath(1)));
    EXPECT_FALSE(bench.HasBank(2));
}

TEST(StgManModesTest, UninstallationWithoutBanksEndsByItself) {
    StgManBench bench;
    bench.Open("uninstall");
    bench.gui.SetBetweenTicks([&] { bench.WaitIdle(); });
    EXPECT_EQ(0, bench.pMan->Routine());
    EXPECT_TRUE(bench.gui.LoopWasQuit());
    EXPECT_TRUE(bench.gui.Alerts().empty());
}

TEST(StgManModesTest, CreationBuildsItsRateAndClosesByItself) {
    ExpectPassesInAFreshProcess([] {
        StgManBench bench;
        bench.PutBank(2);
        bench.Open("create48000");
        bench.gui.SetBetweenTicks([&] { bench.WaitIdle(); });
        EXPECT_EQ(0, bench.pMan->Routine());
        EXPECT_TRUE(bench.gui.LoopWasQuit());
        EXPECT_TRUE(bench.HasBank(1));
        EXPECT_TRUE(bench.HasBank(2)) << "the others stay";
        EXPECT_FALSE(bench.HasBank(0));
        EXPECT_TRUE(bench.gui.Alerts().empty());
        EXPECT_EQ("The bank for 48000 is ready.", bench.StatusText());
    });
}
// Q118

// Q118
TEST(StgManModesTest, CreationOf192000DeliberatelyStaysOpen) {
    ExpectPassesInAFreshProcess([] {
        StgManBench bench;
        bench.Open("create192000");
        bench.RunReady([&] {
            bench.Settle();
            bench.gui.Tick();
            EXPECT_TRUE(bench.HasBank(5));
            EXPECT_FALSE(bench.gui.LoopWasQuit());
            EXPECT_TRUE(bench.Control(kTargetChooser).bEnabled);
        });
    });
}

// The start that is refused is the one of the user. The automatic start comes only when the source has been
// analysed.
// Q126
TEST(StgManModesTest, CreationOfASourceThatCannotBeAnalysedIsRefusedOncePerPress) {
    ExpectPassesInAFreshProcess([] {
        StgManBench bench;
        SourceSpec empty;
        empty.samples.clear();
        empty.programs.clear();
        MakeSource(bench.strSource, empty);
        StgMan& man = bench.Open("create48000");
        const int nStatus = bench.RunReady([&] {
            EXPECT_EQ((std::vector<int>{5}), bench.AlertCodes());
            bench.Apply();
            EXPECT_EQ((std::vector<int>{5, 2}), bench.AlertCodes());
            EXPECT_EQ(StgStatusNone, man.GetStatus());
            for (int i = 0; i < 3; ++i) bench.Settle();
            EXPECT_EQ((std::vector<int>{5, 2}), bench.AlertCodes());
        });
        EXPECT_EQ(11, nStatus);
    });
}

TEST(StgManModesTest, ACancelledCreationStaysOpenAndCanBeStartedByHand) {
    ExpectPassesInAFreshProcess([] {
        StgManBench bench;
        bench.Open("create48000");
        const int nStatus = bench.Run([&] {
            bench.WaitIdle();
            bench.files.Hold(FileOp::kRead);
            bench.gui.Tick();  // starts the run
            bench.files.WaitUntilOneWaits();
            bench.gui.Press(kCancelButton);
            bench.files.Release();
            bench.Settle();
            EXPECT_EQ((std::vector<int>{1}), bench.AlertCodes());
            EXPECT_FALSE(bench.gui.LoopWasQuit());
            EXPECT_FALSE(bench.HasBank(1));
            EXPECT_TRUE(bench.Control(kMainButton).bEnabled);
            bench.Apply();
            bench.Settle();
            EXPECT_TRUE(bench.gui.LoopWasQuit());
        });
        EXPECT_EQ(0, nStatus);
        EXPECT_TRUE(bench.HasBank(1));
    });
}

}  // namespace
}  // namespace Kestrova::Test
