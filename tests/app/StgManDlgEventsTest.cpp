// What the user does to the dialog.
#include <cstring>

#include "tests/app/DialogFixture.h"

namespace Kestrova::Test {
namespace {

constexpr int kNotHandled = -9874;

bool IsBusyStatus(int nStatus) { return nStatus == 1 || nStatus == 3; }

TEST(StgManDlgEventsTest, ControlsWithoutAnActionAreNotHandled) {
    for (const GuiType mode : kModes) {
        DialogBench bench(kModeWords[mode]);
        for (const int n : {-1, 0, 1, 3, 4, 6, 13, 14, 15, 16, 17, 18, 19, 23, 24, 1000})
            EXPECT_EQ(kNotHandled, bench.gui.Press(n, 1)) << mode << " " << n;
        EXPECT_TRUE(bench.manager.calls.empty());
        EXPECT_TRUE(bench.gui.Alerts().empty());
        EXPECT_TRUE(bench.gui.Choosers().empty());
    }
}

TEST(StgManDlgEventsTest, ControlsWithAnActionAreHandledIdleOrBusy) {
    for (const int nStatus : {0, 1, 2, 3}) {
        for (const int n : {2, 5, 7, 8, 9, 10, 11, 12, 20, 21, 22}) {
            DialogBench bench("");
            bench.manager.nStatus = nStatus;
            EXPECT_EQ(0, bench.gui.Press(n, 1)) << nStatus << " " << n;
        }
    }
}

TEST(StgManDlgEventsTest, OtherWindowEventsAreNotHandled) {
    DialogBench bench("");
    for (const int nKind : {0, 1, 71, 73, 1000, 1003}) {
        GuiEvent event;
        event.nKind = nKind;
        event.nControl = kCloseButton;
        EXPECT_EQ(kNotHandled, bench.Dialog().WndProc(event)) << nKind;
    }
    EXPECT_FALSE(bench.gui.LoopWasQuit());
}

TEST(StgManDlgEventsTest, AChosenSourceIsShownAndAnalysed) {
    DialogBench bench("", "/old.kvs");
    bench.gui.ChooseNext("/new/b.kvs");
    bench.gui.Press(kSourceChooser);
    ASSERT_EQ(1u, bench.gui.Choosers().size());
    EXPECT_FALSE(bench.gui.Choosers()[0].bFolder);
    EXPECT_EQ("Select source bank file:", bench.gui.Choosers()[0].strTitle);
    EXPECT_EQ("Bellwarden source banks", bench.gui.Choosers()[0].strLabel);
    EXPECT_EQ("/old.kvs", bench.gui.Choosers()[0].strStart) << "where the present path is";
    EXPECT_STREQ("/new/b.kvs", bench.strSource);
    EXPECT_EQ((CallList{"source"}), bench.manager.calls);
    bench.gui.Tick();
    EXPECT_EQ("/new/b.kvs", bench.Control(kSourcePath).strText);
}

TEST(StgManDlgEventsTest, AChosenTargetIsShownAndTaken) {
    for (const GuiType mode : kModes) {
        DialogBench bench(kModeWords[mode], "", "/old");
        bench.gui.ChooseNext("/new");
        bench.gui.Press(kTargetChooser);
        ASSERT_EQ(1u, bench.gui.Choosers().size());
        EXPECT_TRUE(bench.gui.Choosers()[0].bFolder);
        EXPECT_EQ("Select banks destination folder:", bench.gui.Choosers()[0].strTitle);
        EXPECT_EQ("/old", bench.gui.Choosers()[0].strStart) << "where the present path is";
        EXPECT_STREQ("/new", bench.strTarget);
        EXPECT_EQ((CallList{"target"}), bench.manager.calls);
        bench.manager.nStatus = StgStatusAnalysing;
        bench.gui.Tick();
        EXPECT_EQ("/new", bench.Control(kTargetPath).strText);
    }
}

TEST(StgManDlgEventsTest, ALongPathIsTakenWhole) {
    DialogBench bench("");
    const std::string strLong = "/" + std::string(3000, 'x') + ".kvs";
    bench.gui.ChooseNext(strLong);
    bench.gui.Press(kSourceChooser);
    EXPECT_STREQ(strLong.c_str(), bench.strSource);
}

TEST(StgManDlgEventsTest, ACancelledOrEmptyChoiceChangesNothing) {
    for (const int nChooser : {kSourceChooser, kTargetChooser}) {
        DialogBench bench("", "/src/a.kvs", "/banks");
        bench.gui.Press(nChooser);
        bench.gui.ChooseNext("");
        bench.gui.Press(nChooser);
        EXPECT_EQ(2u, bench.gui.Choosers().size());
        EXPECT_STREQ("/src/a.kvs", bench.strSource);
        EXPECT_STREQ("/banks", bench.strTarget);
        EXPECT_TRUE(bench.manager.calls.empty());
    }
}

TEST(StgManDlgEventsTest, WhileAJobRunsThereAreNoChoosers) {
    for (const int nStatus : {StgStatusAnalysing, StgStatusCreating}) {
        DialogBench bench("");
        bench.manager.nStatus = nStatus;
        bench.gui.Press(kSourceChooser);
        bench.gui.Press(kTargetChooser);
        EXPECT_TRUE(bench.gui.Choosers().empty());
    }
}

TEST(StgManDlgEventsTest, ATickedRateIsSelectedAndEnablesApply) {
    DialogBench bench("");
    bench.List({0, 1, 0, 0, 0, 0});
    EXPECT_FALSE(bench.Control(kMainButton).bEnabled);
    bench.gui.Press(kFirstRateBox + 3, 1);
    bench.gui.Tick();
    EXPECT_EQ((std::vector<int>{0, 1, 0, 1, 0, 0}), bench.Selected());
    EXPECT_EQ((std::vector<int>{0, 1, 0, 1, 0, 0}), bench.BoxValues());
    EXPECT_EQ((std::vector<int>{0, 1, 0, 0, 0, 0}), bench.Existing());
    EXPECT_TRUE(bench.Control(kMainButton).bEnabled);
    EXPECT_EQ("1000 M", bench.Control(kRequiredSpace).strText);
    bench.gui.Press(kFirstRateBox + 3, 0);
    bench.gui.Tick();
    EXPECT_FALSE(bench.Control(kMainButton).bEnabled) << "as it was";
}

TEST(StgManDlgEventsTest, EachBoxIsItsOwnRate) {
    DialogBench bench("");
    bench.List({0, 0, 0, 0, 0, 0});
    for (int i = 0; i < kRateCount; ++i) {
        bench.gui.Press(kFirstRateBox + i, 1);
        for (int n = 0; n < kRateCount; ++n) EXPECT_EQ(n <= i, bench.Dialog().IsSelected(n));
    }
}

TEST(StgManDlgEventsTest, OnlyTheValueOneIsATick) {
    DialogBench bench("");
    bench.List({0, 0, 0, 0, 0, 0});
    for (const int nValue : {2, -1, 0}) {
        bench.gui.Press(kFirstRateBox + 1, nValue);
        bench.gui.Tick();
        EXPECT_FALSE(bench.Dialog().IsSelected(1)) << nValue;
        EXPECT_EQ(0, bench.RateBox(1).nValue);
    }
}

// The box may be pressed before the tick that shows it disabled.
TEST(StgManDlgEventsTest, ARateTickedWhileAJobRunsIsPutBack) {
    DialogBench bench("");
    bench.List({0, 1, 0, 0, 0, 0});
    bench.manager.nStatus = StgStatusCreating;
    bench.gui.Press(kFirstRateBox + 2, 1);
    bench.gui.Press(kFirstRateBox + 1, 0);
    bench.gui.TakeCalls();
    bench.gui.Tick();
    EXPECT_EQ((CallList{"check 8 1", "check 9 0"}), bench.gui.TakeCalls());
    EXPECT_EQ((std::vector<int>{0, 1, 0, 0, 0, 0}), bench.Selected());
}

TEST(StgManDlgEventsTest, CancelIsPassedOn) {
    for (const int nStatus : {StgStatusReady, StgStatusCreating}) {
        DialogBench bench("");
        bench.manager.nStatus = nStatus;
        bench.gui.Press(kCancelButton);
        EXPECT_EQ((CallList{"cancel"}), bench.manager.calls);
    }
}

TEST(StgManDlgEventsTest, ApplyAndCreateDisableTheButtonAndStartTheRun) {
    for (const char* pszWord : {"", "create48000"}) {
        DialogBench bench(pszWord);
        bench.manager.nStatus = StgStatusNone;
        bench.gui.Press(kMainButton);
        bench.gui.Tick();
        EXPECT_EQ((CallList{"process"}), bench.manager.calls);
        EXPECT_FALSE(bench.Control(kMainButton).bEnabled);
        EXPECT_FALSE(bench.gui.LoopWasQuit());
    }
}

TEST(StgManDlgEventsTest, InstallWithARateSelectedStartsTheRun) {
    DialogBench bench("install");
    bench.List({0, 0, 0, 0, 0, 0});
    bench.gui.Press(kMainButton);
    bench.gui.Tick();
    EXPECT_EQ((CallList{"process"}), bench.manager.calls);
    EXPECT_FALSE(bench.Control(kMainButton).bEnabled);
    EXPECT_TRUE(bench.gui.Alerts().empty());
}

TEST(StgManDlgEventsTest, InstallWithoutARateAsksForOne) {
    DialogBench bench("install");
    bench.List({0, 0, 0, 0, 0, 0});
    bench.gui.Press(kFirstRateBox, 0);  // as only a program can: the box is hidden
    bench.gui.Press(kMainButton);
    EXPECT_TRUE(bench.manager.calls.empty());
    ASSERT_EQ(1u, bench.gui.Alerts().size());
    const FakeAlert& alert = bench.gui.Alerts()[0];
    EXPECT_EQ("Select a sample rate", alert.strTitle);
    EXPECT_EQ("Please select at least one sample rate to create a bank!", alert.strText);
    EXPECT_EQ(kAlertStop, alert.nType);
    EXPECT_EQ("Ok", alert.strDefault);
    EXPECT_EQ(std::nullopt, alert.strCancel);
    EXPECT_EQ(std::nullopt, alert.strOther);
    bench.gui.Tick();
    EXPECT_TRUE(bench.Control(kMainButton).bEnabled);
}

TEST(StgManDlgEventsTest, UninstallDeselectsAllBeforeTheRunAndQuitsAfterIt) {
    DialogBench bench("uninstall");
    bench.List({1, 0, 1, 0, 0, 1});
    bench.manager.onProcess = [&bench] {
        EXPECT_EQ((std::vector<int>{0, 0, 0, 0, 0, 0}), bench.Selected());
        EXPECT_EQ((std::vector<int>{1, 0, 1, 0, 0, 1}), bench.Existing());
        EXPECT_FALSE(bench.gui.LoopWasQuit());
    };
    bench.gui.Press(kMainButton);
    EXPECT_EQ((CallList{"process"}), bench.manager.calls);
    EXPECT_TRUE(bench.gui.LoopWasQuit());
}

TEST(StgManDlgEventsTest, WhileAJobRunsTheMainButtonDoesNothing) {
    for (const GuiType mode : kModes) {
        DialogBench bench(kModeWords[mode]);
        bench.manager.nStatus = StgStatusCreating;
        bench.gui.Press(kMainButton);
        EXPECT_TRUE(bench.manager.calls.empty());
        EXPECT_TRUE(bench.gui.Alerts().empty());
        EXPECT_FALSE(bench.gui.LoopWasQuit());
    }
}

TEST(StgManDlgEventsTest, TheCloseButtonQuitsUnlessAJobRuns) {
    for (const int nStatus : {0, 1, 2, 3}) {
        DialogBench bench("");
        bench.manager.nStatus = nStatus;
        bench.gui.Press(kCloseButton);
        EXPECT_EQ(!IsBusyStatus(nStatus), bench.gui.LoopWasQuit()) << nStatus;
        EXPECT_TRUE(bench.gui.Alerts().empty()) << "it never asks";
    }
}

TEST(StgManDlgEventsTest, ClosingTheWindowWhileAJobRunsDoesNothing) {
    for (const GuiType mode : kModes) {
        for (const int nStatus : {StgStatusAnalysing, StgStatusCreating}) {
            DialogBench bench(kModeWords[mode]);
            bench.manager.nStatus = nStatus;
            EXPECT_EQ(0, bench.gui.Close());
            EXPECT_FALSE(bench.gui.LoopWasQuit());
            EXPECT_TRUE(bench.gui.Alerts().empty());
            EXPECT_TRUE(bench.manager.calls.empty());
        }
    }
}

TEST(StgManDlgEventsTest, ManagerAndCreationCloseWithoutAQuestion) {
    for (const GuiType mode : {kManager, kCreate}) {
        DialogBench bench(kModeWords[mode]);
        EXPECT_EQ(0, bench.gui.Close());
        EXPECT_TRUE(bench.gui.LoopWasQuit());
        EXPECT_TRUE(bench.gui.Alerts().empty());
    }
}

TEST(StgManDlgEventsTest, InstallationAndUninstallationAskBeforeTheyClose) {
    for (const GuiType mode : {kInstall, kUninstall}) {
        for (const int nAnswer : {1, 2, 3}) {
            DialogBench bench(kModeWords[mode]);
            bench.gui.AnswerNextAlert(nAnswer);
            EXPECT_EQ(0, bench.gui.Close());
            EXPECT_EQ(nAnswer == 1, bench.gui.LoopWasQuit()) << "any answer but Yes keeps the window";
            ASSERT_EQ(1u, bench.gui.Alerts().size());
            const FakeAlert& alert = bench.gui.Alerts()[0];
            EXPECT_EQ("Confirm exit", alert.strTitle);
            EXPECT_EQ(mode == kInstall ? "Are you sure you want to exit Bank Manager w/o creating a bank?"
                                       : "Are you sure you want to leave installed banks on disk?",
                      alert.strText);
            EXPECT_EQ(kAlertCaution, alert.nType);
            EXPECT_EQ("Yes", alert.strDefault);
            EXPECT_EQ("No", alert.strCancel);
            EXPECT_EQ(std::nullopt, alert.strOther);
            EXPECT_EQ(kAlertDefaultButton, alert.nDefaultButton);
        }
    }
}

TEST(StgManDlgEventsTest, DroppedFilesAndFoldersAreTakenAsIfChosen) {
    DialogBench bench("", "/old.kvs", "/old");
    EXPECT_TRUE(bench.Dialog().AcceptsDrop(false));
    EXPECT_TRUE(bench.Dialog().AcceptsDrop(true));
    EXPECT_EQ(0, bench.gui.Drop(false, "/new.kvs"));
    EXPECT_EQ(0, bench.gui.Drop(true, "/new"));
    bench.gui.Tick();
    EXPECT_EQ((CallList{"source", "target"}), bench.manager.calls);
    EXPECT_STREQ("/new.kvs", bench.strSource);
    EXPECT_STREQ("/new", bench.strTarget);
    EXPECT_EQ("/new.kvs", bench.Control(kSourcePath).strText);
    EXPECT_EQ("/new", bench.Control(kTargetPath).strText);
    EXPECT_TRUE(bench.gui.Choosers().empty());
}

TEST(StgManDlgEventsTest, AnEmptyDropChangesNothing) {
    DialogBench bench("", "/src/a.kvs", "/banks");
    bench.gui.Drop(false, "");
    bench.gui.Drop(true, "");
    EXPECT_TRUE(bench.manager.calls.empty());
    EXPECT_STREQ("/src/a.kvs", bench.strSource);
    EXPECT_STREQ("/banks", bench.strTarget);
}

TEST(StgManDlgEventsTest, FilesAreTakenOnlyWhereTheSourceCanBeChosen) {
    for (const GuiType mode : {kInstall, kUninstall, kCreate}) {
        DialogBench bench(kModeWords[mode], "/src/a.kvs", "/banks");
        EXPECT_FALSE(bench.Dialog().AcceptsDrop(false)) << mode;
        EXPECT_TRUE(bench.Dialog().AcceptsDrop(true)) << mode;
        EXPECT_EQ(0, bench.gui.Drop(false, "/new.kvs"));
        EXPECT_STREQ("/src/a.kvs", bench.strSource);
        bench.gui.Drop(true, "/new");
        EXPECT_STREQ("/new", bench.strTarget);
        EXPECT_EQ((CallList{"target"}), bench.manager.calls);
    }
}

TEST(StgManDlgEventsTest, WhileAJobRunsNothingIsTaken) {
    DialogBench bench("", "/src/a.kvs", "/banks");
    for (const int nStatus : {StgStatusAnalysing, StgStatusCreating}) {
        bench.manager.nStatus = nStatus;
        EXPECT_FALSE(bench.Dialog().AcceptsDrop(false));
        EXPECT_FALSE(bench.Dialog().AcceptsDrop(true));
        EXPECT_EQ(0, bench.gui.Drop(false, "/new.kvs"));
        EXPECT_EQ(0, bench.gui.Drop(true, "/new"));
    }
    EXPECT_TRUE(bench.manager.calls.empty());
    EXPECT_STREQ("/src/a.kvs", bench.strSource);
}

TEST(StgManDlgEventsTest, UnderAQuestionNothingIsTaken) {
    DialogBench bench("");
    bench.gui.WhileNextQuestion([&bench] {
        EXPECT_FALSE(bench.Dialog().AcceptsDrop(false));
        EXPECT_FALSE(bench.Dialog().AcceptsDrop(true));
        bench.gui.Drop(false, "/new.kvs");
    });
    bench.gui.Press(kSourceChooser);
    EXPECT_TRUE(bench.manager.calls.empty());
    EXPECT_STREQ("/src/a.kvs", bench.strSource);
}

}  // namespace
}  // namespace Kestrova::Test
