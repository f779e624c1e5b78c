// What the timer does in each mode, and what a signal does in all of them.
#include <csignal>

#include "tests/app/DialogFixture.h"

namespace Kestrova::Test {
namespace {

TEST(StgManDlgModesTest, TheManagerNeverEndsByItself) {
    DialogBench bench("");
    bench.manager.nBanksCreated = 1;
    bench.List({0, 0, 0, 0, 0, 0});
    bench.gui.Tick();
    EXPECT_FALSE(bench.gui.LoopWasQuit());
    EXPECT_TRUE(bench.manager.calls.empty());
}

TEST(StgManDlgModesTest, InstallationEndsWhenARunHasCreatedBanks) {
    DialogBench bench("install");
    bench.List({0, 0, 0, 0, 0, 0});
    bench.gui.Tick();
    EXPECT_FALSE(bench.gui.LoopWasQuit());
    bench.manager.nBanksCreated = 1;
    bench.gui.Tick();
    EXPECT_TRUE(bench.gui.LoopWasQuit());
    EXPECT_TRUE(bench.gui.Alerts().empty()) << "no question";
}

TEST(StgManDlgModesTest, UninstallationEndsWhenNoBankIsLeft) {
    DialogBench bench("uninstall");
    bench.List({0, 0, 0, 0, 0, 1});
    EXPECT_FALSE(bench.gui.LoopWasQuit());
    bench.List({0, 0, 0, 0, 0, 0});
    EXPECT_TRUE(bench.gui.LoopWasQuit());
}

TEST(StgManDlgModesTest, UninstallationWaitsForTheAnalysis) {
    for (const int nStatus : {StgStatusNone, StgStatusAnalysing, StgStatusCreating}) {
        DialogBench bench("uninstall");
        bench.manager.nStatus = nStatus;
        bench.List({0, 0, 0, 0, 0, 0});
        EXPECT_FALSE(bench.gui.LoopWasQuit()) << nStatus;
    }
}

TEST(StgManDlgModesTest, NoModeGoesOnUnderAQuestion) {
    for (const GuiType mode : {kInstall, kUninstall}) {
        DialogBench bench(kModeWords[mode]);
        bench.gui.WhileNextQuestion([&bench] {
            bench.manager.nBanksCreated = 1;
            bench.gui.Tick();
            EXPECT_FALSE(bench.gui.LoopWasQuit());
        });
        bench.gui.AnswerNextAlert(kAlertCancelButton);
        bench.gui.Close();
        EXPECT_FALSE(bench.gui.LoopWasQuit());
        bench.gui.Tick();
        EXPECT_TRUE(bench.gui.LoopWasQuit());
    }
}

TEST(StgManDlgModesTest, ControlsAreUpdatedUnderAQuestion) {
    DialogBench bench("");
    bench.gui.WhileNextQuestion([&bench] {
        bench.Dialog().SetProgressBar(1, 2);
        bench.gui.Tick();
        EXPECT_EQ(1, bench.Control(kProgressBar).nValue);
    });
    bench.Dialog().ShowError(4);
    EXPECT_EQ(1u, bench.gui.Alerts().size());
}

TEST(StgManDlgModesTest, CreationStartsOnceAndByItselfWhenTheSourceIsReady) {
    ExpectPassesInAFreshProcess([] {
        DialogBench bench("create96000");
        bench.manager.nStatus = StgStatusAnalysing;
        bench.List({0, 0, 0, 0, 0, 0});
        EXPECT_TRUE(bench.manager.calls.empty());
        bench.manager.nStatus = StgStatusReady;
        bench.gui.Tick();
        EXPECT_EQ((CallList{"process"}), bench.manager.calls);
        EXPECT_TRUE(bench.Control(kMainButton).bEnabled);
        bench.gui.Tick();
        EXPECT_FALSE(bench.Control(kMainButton).bEnabled);
        EXPECT_EQ(1u, bench.manager.calls.size());
    });
}
// Q119

// Q119
TEST(StgManDlgModesTest, CreationStartsOnceInAProcess) {
    ExpectPassesInAFreshProcess([] {
        {
            DialogBench first("create96000");
            first.List({0, 0, 0, 0, 0, 0});
            EXPECT_EQ(1u, first.manager.calls.size());
        }
        DialogBench second("create96000");
        second.List({0, 0, 0, 0, 0, 0});
        EXPECT_TRUE(second.manager.calls.empty());
    });
}

TEST(StgManDlgModesTest, CreationOfABankThatIsThereStartsNothing) {
    ExpectPassesInAFreshProcess([] {
        DialogBench bench("create96000");
        bench.List({0, 0, 0, 1, 0, 0});
        EXPECT_TRUE(bench.manager.calls.empty());
        bench.Dialog().SetCheckBoxes(std::array<int, kRateCount>{}.data());
        bench.gui.Tick();
        EXPECT_TRUE(bench.manager.calls.empty()) << "the one chance has passed";
        EXPECT_FALSE(bench.gui.LoopWasQuit());
    });
}

TEST(StgManDlgModesTest, CreationWaitsForTheAnswerToAQuestion) {
    ExpectPassesInAFreshProcess([] {
        DialogBench bench("create96000");
        bench.manager.nStatus = StgStatusAnalysing;
        bench.List({0, 0, 0, 0, 0, 0});
        bench.manager.nStatus = StgStatusReady;
        bench.gui.WhileNextQuestion([&bench] {
            bench.gui.Tick();
            EXPECT_TRUE(bench.manager.calls.empty());
        });
        bench.Dialog().ShowError(4);
        bench.gui.Tick();
        EXPECT_EQ((CallList{"process"}), bench.manager.calls);
    });
}

TEST(StgManDlgModesTest, OtherModesDoNotUseUpTheOneStartOfCreation) {
    ExpectPassesInAFreshProcess([] {
        {
            DialogBench manager("");
            manager.List({0, 0, 0, 0, 0, 0});
        }
        DialogBench bench("create96000");
        bench.List({0, 0, 0, 0, 0, 0});
        EXPECT_EQ((CallList{"process"}), bench.manager.calls);
    });
}
// Q132

// Q132
TEST(StgManDlgModesTest, CreationClosesWhenItsBankIsBuiltAndNoJobRuns) {
    DialogBench bench("create96000");
    bench.manager.nStatus = StgStatusCreating;
    bench.Dialog().EnableControls(0);
    bench.gui.Tick();
    bench.manager.nBanksCreated = 1;
    bench.Dialog().EndProgress();
    bench.gui.Tick();
    EXPECT_FALSE(bench.gui.LoopWasQuit()) << "the job has not come to its end";
    EXPECT_FALSE(bench.Control(kTargetChooser).bEnabled) << "nothing is to be chosen any more";
    bench.manager.nStatus = StgStatusReady;
    bench.gui.Tick();
    EXPECT_TRUE(bench.gui.LoopWasQuit());
    EXPECT_TRUE(bench.gui.Alerts().empty());
}

TEST(StgManDlgModesTest, ASignalCancelsOnceAndQuitsWhenIdle) {
    for (const GuiType mode : kModes) {
        DialogBench bench(kModeWords[mode]);
        bench.manager.nStatus = StgStatusCreating;
        SetCancelSignal(SIGTERM);
        bench.gui.Tick();
        bench.gui.Tick();
        EXPECT_EQ((CallList{"cancel"}), bench.manager.calls);
        EXPECT_FALSE(bench.gui.LoopWasQuit());
        bench.manager.nStatus = StgStatusReady;
        bench.gui.Tick();
        EXPECT_TRUE(bench.gui.LoopWasQuit());
        EXPECT_TRUE(bench.gui.Alerts().empty()) << "no question";
    }
}

TEST(StgManDlgModesTest, AfterASignalNoAlertIsShownAnyMore) {
    DialogBench bench("");
    bench.manager.nStatus = StgStatusCreating;
    SetCancelSignal(SIGINT);
    bench.gui.Tick();
    bench.Dialog().SetErrorStatus(1);
    bench.manager.nStatus = StgStatusReady;
    bench.gui.Tick();
    bench.gui.Tick();
    EXPECT_TRUE(bench.gui.Alerts().empty());
    EXPECT_TRUE(bench.gui.LoopWasQuit());
}

TEST(StgManDlgModesTest, ASignalUnderAQuestionEndsItWithoutItsConsequences) {
    DialogBench bench("install");
    bench.gui.AnswerNextAlert(kAlertDefaultButton);
    bench.gui.WhileNextQuestion([&bench] {
        SetCancelSignal(SIGHUP);
        bench.gui.Tick();
    });
    bench.gui.Close();
    EXPECT_EQ((CallList{"cancel"}), bench.manager.calls);
    EXPECT_TRUE(bench.gui.LoopWasQuit());
    EXPECT_EQ(1u, bench.gui.Alerts().size());
}

TEST(StgManDlgModesTest, ASignalUnderAChooserTakesNoPath) {
    DialogBench bench("", "/src/a.kvs");
    bench.gui.ChooseNext("/new.kvs");
    bench.gui.WhileNextQuestion([&bench] {
        SetCancelSignal(SIGTERM);
        bench.gui.Tick();
    });
    bench.gui.Press(kSourceChooser);
    EXPECT_STREQ("/src/a.kvs", bench.strSource);
    EXPECT_EQ((CallList{"cancel"}), bench.manager.calls);
}

TEST(StgManDlgModesTest, ASignalStartsNoCreation) {
    ExpectPassesInAFreshProcess([] {
        DialogBench bench("create96000");
        SetCancelSignal(SIGTERM);
        bench.List({0, 0, 0, 0, 0, 0});
        EXPECT_EQ((CallList{"cancel"}), bench.manager.calls);
        EXPECT_TRUE(bench.gui.LoopWasQuit());
    });
}

}  // namespace
}  // namespace Kestrova::Test
