// The dialog's construction and what the storage manager does to it.
#include <algorithm>
#include <set>
#include <thread>

#include "app/StgManDlg.h"
#include "tests/app/DialogFixture.h"

namespace Kestrova::Test {
namespace {

using Numbers = std::vector<int>;

size_t IndexOf(const CallList& calls, const std::string& strCall) {
    const auto pFound = std::find(calls.begin(), calls.end(), strCall);
    EXPECT_NE(calls.end(), pFound) << strCall;
    return static_cast<size_t>(pFound - calls.begin());
}

TEST(StgManDlgTest, TheWindowHasTheModesTitleAndStandsInTheMiddle) {
    const char* const titles[] = {"Calderine Bank Manager", "Calderine Bank Manager Installer",
                                  "Calderine Bank Manager Uninstaller", "Calderine Bank Manager"};
    for (const GuiType mode : kModes) {
        DialogBench bench(kModeWords[mode]);
        EXPECT_EQ(mode, bench.Dialog().GetMode());
        EXPECT_EQ(titles[mode], bench.gui.Window().strTitle);
        const Rect expected = mode == kManager ? Rect{692, 381, 1228, 698} : Rect{692, 410, 1228, 670};
        EXPECT_TRUE(expected == bench.gui.Window().rect) << mode;
        EXPECT_EQ(bench.pDialog.get(), bench.gui.Window().pOwner);
    }
}

TEST(StgManDlgTest, TheWindowIsShownWhenAllInItIsReady) {
    for (const GuiType mode : kModes) {
        DialogBench bench;
        bench.strSource = "/src/a.kvs";
        bench.pDialog =
            std::make_unique<StgManDlg>(&bench.manager, kModeWords[mode], bench.strSource, bench.strTarget);
        const CallList calls = bench.gui.TakeCalls();
        EXPECT_EQ("initialize", calls[0]);
        EXPECT_EQ("create window", calls[1]);
        size_t nLast = 1;
        for (int i = 0; i < kDialogControlCount; ++i) {
            const size_t nMade = IndexOf(calls, "create " + std::to_string(i));
            EXPECT_LT(nLast, nMade);
            nLast = nMade;
        }
        for (int i = kFirstRateBox; i <= kLastRateBox; ++i)
            EXPECT_LT(nLast, IndexOf(calls, "embed 6 " + std::to_string(i)));
        EXPECT_LT(nLast, IndexOf(calls, "text 1 /src/a.kvs"));
        EXPECT_EQ("show window 1 1", calls.back());
    }
}

TEST(StgManDlgTest, EveryControlHasItsRow) {
    for (const GuiType mode : kModes) {
        const DialogBench bench(kModeWords[mode], "", "");
        const auto places = LayOutDialog(mode);
        for (int i = 0; i < kDialogControlCount; ++i) {
            const GuiWidget& control = bench.Control(i);
            const auto nRow = static_cast<size_t>(i);
            SCOPED_TRACE(i);
            EXPECT_EQ(GuiCtrlTypes[nRow], control.nKind);
            EXPECT_EQ(GuiCtrlStyles[nRow], control.nStyle);
            EXPECT_TRUE(places[nRow] == control.rect);
            EXPECT_EQ(GuiCtrlTitles(mode, i), control.strTitle);
            EXPECT_EQ(GuiCtrlTitles(mode, i), control.strText);
            EXPECT_STREQ(control.strName.c_str(), AccessibleName(i));
        }
    }
}
// Q121

// Q121
TEST(StgManDlgTest, EachModeHidesWhatItDoesNotUse) {
    const std::set<int> hidden[] = {{7, 17, 18, 19, 20},
                                    {0, 1, 2, 7, 17, 18, 19, 20, 22},
                                    {0, 1, 2, 15, 16, 17, 18, 19, 20, 22},
                                    {0, 1, 2, 7, 17, 18, 19, 20, 22}};
    for (const GuiType mode : kModes) {
        const DialogBench bench(kModeWords[mode]);
        for (int i = 0; i < kDialogControlCount; ++i) {
            EXPECT_EQ(hidden[mode].count(i) == 0, bench.Control(i).bShown) << mode << " " << i;
        }
    }
}

TEST(StgManDlgTest, BeforeAnyBankIsListedNoRateCanBeChosenAndNothingStarted) {
    const Numbers selected[] = {
        {0, 0, 0, 0, 0, 0}, {1, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0}, {0, 0, 0, 1, 0, 0}};
    for (const GuiType mode : kModes) {
        DialogBench bench(kModeWords[mode]);
        for (int i = 0; i < kDialogControlCount; ++i) {
            const bool bDisabled = (i >= kFirstRateBox && i <= kLastRateBox) || i == kMainButton;
            EXPECT_EQ(!bDisabled, bench.Control(i).bEnabled) << mode << " " << i;
        }
        EXPECT_EQ((Numbers{0, 0, 0, 0, 0, 0}), bench.Existing());
        EXPECT_EQ(selected[mode], bench.Selected()) << mode;
        EXPECT_EQ(selected[mode], bench.BoxValues()) << mode;
    }
}

TEST(StgManDlgTest, TheRatesAreInTheGroup) {
    const DialogBench bench("");
    for (int i = 0; i < kDialogControlCount; ++i) {
        const bool bRate = i >= kFirstRateBox && i <= kLastRateBox;
        EXPECT_EQ(bRate ? &bench.Control(kRateGroup) : nullptr, bench.Control(i).parent) << i;
    }
}

TEST(StgManDlgTest, EnterPressesTheMainButtonAndEscapeCancels) {
    const DialogBench bench("");
    EXPECT_EQ(&bench.Control(kMainButton), bench.gui.Window().enter);
    EXPECT_EQ(&bench.Control(kCancelButton), bench.gui.Window().escape);
}

TEST(StgManDlgTest, PathsAreShownAndEmptyOnesAreNotSelected) {
    const DialogBench both("", "/a/b.kvs", "/c");
    EXPECT_EQ("/a/b.kvs", both.Control(kSourcePath).strText);
    EXPECT_EQ("/c", both.Control(kTargetPath).strText);
}

TEST(StgManDlgTest, WithoutPathsNoneIsSelected) {
    const DialogBench none("", "", "");
    EXPECT_EQ(" Not selected.", none.Control(kSourcePath).strText);
    EXPECT_EQ(" Not selected.", none.Control(kTargetPath).strText);
}

TEST(StgManDlgTest, WithoutAWindowThereAreNoControls) {
    DialogBench bench;
    bench.gui.FailWindows();
    {
        const StgManDlg dialog(&bench.manager, "", bench.strSource, bench.strTarget);
        EXPECT_FALSE(dialog.HasWindow());
    }
    EXPECT_EQ((CallList{"initialize", "create window", "deinitialize"}), bench.gui.Calls());
}

TEST(StgManDlgTest, TheEndHidesTheWindowBeforeItsControlsGo) {
    DialogBench bench("");
    EXPECT_TRUE(bench.Dialog().HasWindow());
    bench.pDialog.reset();
    CallList expected = {"show window 0 0"};
    for (int i = 0; i < kDialogControlCount; ++i) expected.push_back("dispose " + std::to_string(i));
    expected.insert(expected.end(), {"dispose window", "deinitialize"});
    EXPECT_EQ(expected, bench.gui.Calls());
}

TEST(StgManDlgTest, ModalDialogRunsTheLoopOfItsWindow) {
    DialogBench bench("");
    bench.gui.SetLoop([&] { bench.gui.Tick(); });
    bench.Dialog().ModalDialog();
    EXPECT_TRUE(bench.gui.LoopHasRun());
    EXPECT_EQ("run loop", bench.gui.Calls().front());
}

struct BoxesCase {
    GuiType mode;
    Numbers selected;
    Numbers enabled;
};

TEST(StgManDlgTest, ListedBanksAreSelectedAndTheModesOwnRateToo) {
    for (const BoxesCase& row : {BoxesCase{kManager, {0, 1, 0, 0, 1, 0}, {1, 1, 1, 1, 1, 1}},
                                 {kInstall, {1, 1, 0, 0, 1, 0}, {1, 1, 1, 1, 1, 1}},
                                 {kUninstall, {0, 1, 0, 0, 1, 0}, {0, 0, 0, 0, 0, 0}},
                                 {kCreate, {0, 1, 0, 1, 1, 0}, {0, 0, 0, 0, 0, 0}}}) {
        SCOPED_TRACE(row.mode);
        DialogBench bench(kModeWords[row.mode]);
        bench.manager.nStatus = StgStatusNone;
        const int existing[] = {0, 1, 0, 0, 1, 0};
        bench.Dialog().SetCheckBoxes(existing);
        bench.gui.Tick();
        EXPECT_EQ((Numbers{0, 1, 0, 0, 1, 0}), bench.Existing());
        EXPECT_EQ(row.selected, bench.Selected());
        EXPECT_EQ(row.selected, bench.BoxValues());
        EXPECT_EQ(row.enabled, bench.BoxesEnabled());
        EXPECT_FALSE(bench.Control(kMainButton).bEnabled);
    }
}

TEST(StgManDlgTest, ClearingTheBoxesFallsBackToWhatExistsAndDisablesThem) {
    for (const BoxesCase& row : {BoxesCase{kManager, {0, 1, 0, 0, 0, 0}, {}},
                                 {kInstall, {1, 1, 0, 0, 0, 0}, {}},
                                 {kUninstall, {0, 1, 0, 0, 0, 0}, {}},
                                 {kCreate, {0, 1, 0, 1, 0, 0}, {}}}) {
        SCOPED_TRACE(row.mode);
        DialogBench bench(kModeWords[row.mode]);
        const int existing[] = {0, 1, 0, 0, 0, 0};
        bench.Dialog().SetCheckBoxes(existing);
        bench.gui.Press(kLastRateBox, 1);
        bench.manager.nStatus = StgStatusAnalysing;
        bench.Dialog().SetCheckBoxes(nullptr);
        bench.gui.Tick();
        EXPECT_EQ((Numbers{0, 1, 0, 0, 0, 0}), bench.Existing()) << "what exists stays known";
        EXPECT_EQ(row.selected, bench.Selected());
        EXPECT_EQ(row.selected, bench.BoxValues());
        EXPECT_EQ((Numbers{0, 0, 0, 0, 0, 0}), bench.BoxesEnabled());
        EXPECT_FALSE(bench.Control(kMainButton).bEnabled);
    }
}

struct SpaceCase {
    GuiType mode;
    const char* pszText;
    bool bMainEnabled;
};

// The banks of 44100 (1 MiB) and 96000 (1000 MiB) exist.
TEST(StgManDlgTest, RequiredSpaceIsTheDifferenceAndForUninstallationTheSum) {
    for (const SpaceCase& row : {SpaceCase{kManager, "0 M", false},
                                 {kInstall, "0 M", true},
                                 {kUninstall, "1001 M", true},
                                 {kCreate, "0 M", true}}) {
        DialogBench bench(kModeWords[row.mode]);
        bench.manager.nStatus = StgStatusNone;
        bench.List({1, 0, 0, 1, 0, 0});
        EXPECT_EQ(row.pszText, bench.Control(kRequiredSpace).strText) << row.mode;
        EXPECT_EQ(row.bMainEnabled, bench.Control(kMainButton).bEnabled) << row.mode;
    }
}

TEST(StgManDlgTest, CreationAndInstallationRequireTheirOwnRate) {
    DialogBench creating("create88200");
    creating.manager.nStatus = StgStatusNone;
    creating.List({1, 0, 0, 1, 0, 0});
    EXPECT_EQ("100 M", creating.Control(kRequiredSpace).strText);
}

TEST(StgManDlgTest, InstallationRequiresTheFirstRate) {
    DialogBench installing("install");
    installing.List({0, 0, 0, 1, 0, 0});
    EXPECT_EQ("1 M", installing.Control(kRequiredSpace).strText);
}

TEST(StgManDlgTest, WhatIsDeselectedIsToBeFreed) {
    DialogBench bench("");
    bench.List({0, 0, 0, 1, 1, 0});
    bench.gui.Press(kFirstRateBox + 3, 0);
    bench.gui.Tick();
    EXPECT_EQ("1000 M to free", bench.Control(kRequiredSpace).strText);
    bench.gui.Press(kFirstRateBox + 4, 0);
    bench.gui.Tick();
    EXPECT_EQ("10 G to free", bench.Control(kRequiredSpace).strText);
    bench.gui.Press(kFirstRateBox + 5, 1);
    bench.gui.Tick();
    EXPECT_EQ("87 G", bench.Control(kRequiredSpace).strText);
}

TEST(StgManDlgTest, FreeSpaceIsThatOfTheTarget) {
    DialogBench bench("", "", "/banks");
    for (const auto& [nMegabytes, strText] :
         {std::pair<int, std::string>{0, "0 M"}, {1024, "1024 M"}, {1025, "1 G"}}) {
        bench.gui.SetFreeSpace(nMegabytes);
        bench.Dialog().SetFreeDiskSpace();
        bench.gui.Tick();
        EXPECT_EQ(strText, bench.Control(kFreeSpace).strText);
        EXPECT_EQ("/banks", bench.gui.LastSpacePath());
    }
}

TEST(StgManDlgTest, TheChoosersAndCloseAreEnabledTogether) {
    DialogBench bench("");
    for (const int bOn : {0, 1}) {
        bench.Dialog().EnableControls(bOn);
        bench.gui.TakeCalls();
        bench.gui.Tick();
        const std::string strOn = std::to_string(bOn);
        EXPECT_EQ((CallList{"enable 2 " + strOn, "enable 5 " + strOn, "enable 22 " + strOn}),
                  bench.gui.TakeCalls());
    }
}

TEST(StgManDlgTest, AProgressTextIsShownWithIt) {
    DialogBench bench("");
    bench.Dialog().ShowProgressText("Analysing a.kvs ...");
    bench.gui.Tick();
    EXPECT_EQ("Analysing a.kvs ...", bench.Control(kProgressText).strText);
    EXPECT_TRUE(bench.Control(kProgressText).bShown);
    EXPECT_FALSE(bench.Control(kProgressBar).bShown);
}

TEST(StgManDlgTest, AJobBeginsWithAnEmptyBar) {
    for (const bool bCancellable : {false, true}) {
        DialogBench bench("");
        bench.List({0, 0, 0, 0, 0, 0});
        bench.Dialog().InitProgressBar(40, bCancellable);
        bench.gui.Tick();
        EXPECT_EQ((Numbers{0, 0, 0, 0, 0, 0}), bench.BoxesEnabled());
        EXPECT_EQ(0, bench.Control(kProgressBar).nMinimum);
        EXPECT_EQ(40, bench.Control(kProgressBar).nMaximum);
        EXPECT_TRUE(bench.Control(kProgressBar).bShown);
        EXPECT_EQ("0.0%", bench.Control(kProgressPercent).strText);
        EXPECT_TRUE(bench.Control(kProgressPercent).bShown);
        EXPECT_EQ(bCancellable, bench.Control(kCancelButton).bEnabled);
        EXPECT_TRUE(bench.Control(kCancelButton).bShown);
        EXPECT_FALSE(bench.Control(kProgressText).bShown) << "the text is shown by itself";
    }
}

TEST(StgManDlgTest, StepsMoveTheBarAndThePercentage) {
    DialogBench bench("");
    bench.Dialog().InitProgressBar(5, 1);
    bench.Dialog().SetProgressBar(2, 5);
    bench.gui.Tick();
    EXPECT_EQ(2, bench.Control(kProgressBar).nValue);
    EXPECT_EQ("40.0%", bench.Control(kProgressPercent).strText);
    bench.Dialog().SetProgressBar(5, 5);
    bench.gui.Tick();
    EXPECT_EQ(5, bench.Control(kProgressBar).nValue);
    EXPECT_EQ("99.9%", bench.Control(kProgressPercent).strText);
}

TEST(StgManDlgTest, TheEndOfAJobHidesItsProgressAndEnablesTheChoosers) {
    for (const GuiType mode : kModes) {
        DialogBench bench(kModeWords[mode]);
        bench.manager.nStatus = StgStatusCreating;
        bench.Dialog().EnableControls(0);
        bench.Dialog().ShowProgressText("text");
        bench.Dialog().InitProgressBar(5, 1);
        bench.gui.Tick();
        bench.Dialog().EndProgress();
        bench.manager.nStatus = StgStatusNone;
        bench.gui.Tick();
        for (const int i : {17, 18, 19, 20}) EXPECT_FALSE(bench.Control(i).bShown) << mode << " " << i;
        for (const int i : {2, 5, 22}) EXPECT_TRUE(bench.Control(i).bEnabled) << mode << " " << i;
        EXPECT_FALSE(bench.gui.LoopWasQuit()) << mode;
    }
}

// The worker sets all that a job's end shows before it has left its last callback. A control that was shown
// as enabled by then would ignore a press.
TEST(StgManDlgTest, WhatActsOnlyWhileNoJobRunsIsEnabledAtTheFirstTickWhenNoneRuns) {
    DialogBench bench("");
    bench.manager.nStatus = StgStatusCreating;
    bench.Dialog().EnableControls(0);
    bench.Dialog().InitProgressBar(5, 1);
    bench.gui.Tick();
    const int existing[] = {0, 1, 0, 0, 0, 0};
    bench.Dialog().SetCheckBoxes(existing);
    bench.Dialog().SetExistingInfo(existing);
    bench.Dialog().EndProgress();
    bench.gui.Tick();
    for (const int i : {2, 5, 22}) EXPECT_FALSE(bench.Control(i).bEnabled) << i;
    EXPECT_EQ((Numbers{0, 0, 0, 0, 0, 0}), bench.BoxesEnabled());
    EXPECT_EQ((Numbers{0, 1, 0, 0, 0, 0}), bench.BoxValues()) << "all else is shown at once";

    bench.manager.nStatus = StgStatusReady;
    bench.gui.Tick();
    for (const int i : {2, 5, 22}) EXPECT_TRUE(bench.Control(i).bEnabled) << i;
    EXPECT_EQ((Numbers{1, 1, 1, 1, 1, 1}), bench.BoxesEnabled());
    bench.gui.Press(kTargetChooser);
    EXPECT_EQ(1u, bench.gui.Choosers().size());
}

TEST(StgManDlgTest, AnInputThatIsDisabledAgainBeforeTheTickStaysDisabled) {
    DialogBench bench("");
    bench.Dialog().EnableControls(1);
    bench.Dialog().EnableControls(0);
    bench.gui.Tick();
    for (const int i : {2, 5, 22}) EXPECT_FALSE(bench.Control(i).bEnabled) << i;
}

TEST(StgManDlgTest, InManagerModeAMadeBankEnablesTheChoosersToo) {
    DialogBench bench("");
    bench.manager.nBanksCreated = 1;
    bench.Dialog().EnableControls(0);
    bench.Dialog().EndProgress();
    bench.gui.Tick();
    EXPECT_TRUE(bench.Control(kTargetChooser).bEnabled);
    EXPECT_FALSE(bench.gui.LoopWasQuit());
}

TEST(StgManDlgTest, ErrorsAreShownAtOnceAndPostedOnesAtTheTick) {
    DialogBench bench("");
    bench.Dialog().ShowError(5);
    ASSERT_EQ(1u, bench.gui.Alerts().size());
    EXPECT_EQ(5, bench.gui.Alerts()[0].nCode);
    EXPECT_EQ(kAlertStop, bench.gui.Alerts()[0].nType);
    EXPECT_EQ("Ok", bench.gui.Alerts()[0].strDefault);
    EXPECT_EQ(std::nullopt, bench.gui.Alerts()[0].strCancel);
    bench.Dialog().SetErrorStatus(1);
    EXPECT_EQ(1u, bench.gui.Alerts().size());
    bench.gui.Tick();
    ASSERT_EQ(2u, bench.gui.Alerts().size());
    EXPECT_EQ(1, bench.gui.Alerts()[1].nCode);
    EXPECT_EQ(kAlertCaution, bench.gui.Alerts()[1].nType);
    bench.gui.Tick();
    EXPECT_EQ(2u, bench.gui.Alerts().size());
}

TEST(StgManDlgTest, APostedAlertComesWhenTheProgressBeforeItHasBeenShown) {
    DialogBench bench("");
    bench.Dialog().SetErrorStatus(2);
    bench.Dialog().SetProgressBar(3, 5);
    bench.gui.Tick();
    const CallList calls = bench.gui.TakeCalls();
    EXPECT_LT(IndexOf(calls, "value 19 3"), IndexOf(calls, "alert Unexpected error occurred."));
}

// Otherwise a press between the answer and the next drawing would meet a button that is disabled by then.
TEST(StgManDlgTest, APostedAlertComesWhenEveryControlIsWhatItLooksLike) {
    DialogBench bench("");
    bench.gui.Tick();
    ASSERT_TRUE(bench.Control(kCloseButton).bEnabled);
    bench.manager.nStatus = StgStatusAnalysing;
    bench.Dialog().EnableControls(0);
    bench.Dialog().SetErrorStatus(kAlertSource);
    bool bCloseEnabled = true;
    bench.gui.WhileNextQuestion([&] { bCloseEnabled = bench.Control(kCloseButton).bEnabled; });
    bench.gui.Tick();
    EXPECT_EQ(1u, bench.gui.Alerts().size());
    EXPECT_FALSE(bCloseEnabled);
}

TEST(StgManDlgTest, AJobsThreadMaySetEverythingWhileTheTimerTicks) {
    DialogBench bench("");
    bench.manager.nStatus = StgStatusCreating;
    constexpr int kSteps = 200;
    std::thread worker([&bench] {
        const int existing[] = {0, 1, 0, 0, 0, 0};
        for (int i = 1; i <= kSteps; ++i) {
            bench.Dialog().EnableControls(0);
            bench.Dialog().InitProgressBar(kSteps, 1);
            bench.Dialog().ShowProgressText("text");
            bench.Dialog().SetProgressBar(i, kSteps);
            bench.Dialog().SetFreeDiskSpace();
            bench.Dialog().SetCheckBoxes(existing);
            bench.Dialog().SetExistingInfo(existing);
            bench.Dialog().EndProgress();
        }
        bench.Dialog().SetErrorStatus(2);
    });
    for (int i = 0; i < kSteps; ++i) {
        bench.gui.Tick();
        bench.gui.Press(kFirstRateBox + 2, i % 2);
        bench.Selected();
    }
    worker.join();
    bench.gui.Tick();
    EXPECT_EQ(kSteps, bench.Control(kProgressBar).nValue);
    EXPECT_EQ("99.9%", bench.Control(kProgressPercent).strText);
    EXPECT_EQ((Numbers{0, 1, 0, 0, 0, 0}), bench.BoxValues());
    EXPECT_EQ(1u, bench.gui.Alerts().size());
}

}  // namespace
}  // namespace Kestrova::Test
