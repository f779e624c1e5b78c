// Paths and settings, the source and its analysis, the target and what lies there.
#include "app/StgMan.h"
#include "tests/app/StgManFixture.h"
#include "tests/support/PosixFaults.h"

namespace Kestrova::Test {
namespace {

using Codes = std::vector<int>;

TEST(StgManTest, WithoutPathsThoseOfAllUsersAreProposed) {
    StgManBench bench;
    const StgMan& man = bench.Open("", "", "");
    const std::string strFolder = bench.dir.File("local/Kestrova/Calderine/");
    EXPECT_EQ(strFolder + "Calde4_0AC44.kvn", man.GetSource().c_str());
    EXPECT_EQ(strFolder, man.GetTarget().c_str());
    EXPECT_TRUE(fs::is_directory(strFolder));
    EXPECT_EQ(strFolder + "Calde4_0AC44.kvn", bench.Control(kSourcePath).strText);
    EXPECT_EQ(strFolder, bench.Control(kTargetPath).strText);
}

TEST(StgManTest, GivenPathsAreTakenAndTheTargetIsMade) {
    StgManBench bench;
    const std::string strTarget = bench.dir.File("deep/down/banks");
    const StgMan& man = bench.Open("", bench.strSource, strTarget);
    EXPECT_EQ(bench.strSource, man.GetSource().c_str());
    EXPECT_EQ(strTarget, man.GetTarget().c_str());
    EXPECT_TRUE(fs::is_directory(strTarget));
    EXPECT_FALSE(fs::exists(bench.dir.File("local/Kestrova")));
}

TEST(StgManTest, TheModeWordReachesTheDialog) {
    StgManBench bench;
    bench.Open("INSTALL");
    EXPECT_EQ("Calderine Bank Manager Installer", bench.gui.Window().strTitle);
}

TEST(StgManTest, ALinkToASourceIsFollowed) {
    StgManBench bench;
    fs::create_symlink("Test.kvs", bench.dir.File("link"));
    fs::create_symlink("link", bench.dir.File("chain"));
    EXPECT_EQ(bench.strSource, bench.Open("", bench.dir.File("chain"), "").GetSource().c_str());
}

TEST(StgManTest, LinksThatLeadToNoFileStayAsTheyAre) {
    StgManBench bench;
    fs::create_symlink("nothing", bench.dir.File("broken"));
    fs::create_directory(bench.dir.File("folder"));
    fs::create_symlink("folder", bench.dir.File("toFolder"));
    for (const char* pszName : {"broken", "toFolder", "missing"})
        EXPECT_EQ(bench.dir.File(pszName), bench.Open("", bench.dir.File(pszName), "").GetSource().c_str());
}
// Q120

// Q120
TEST(StgManTest, TheLastFolderOfTheSettingsIsTheTargetWhateverWasGiven) {
    StgManBench bench;
    const std::string strLast = bench.dir.File("last");
    bench.PutSettings("[AdditionalBankPaths]\n" + bench.dir.File("first") + "\n" + strLast +
                      "\n[Other]\n/x\n");
    EXPECT_EQ(strLast, bench.Open().GetTarget().c_str());
    EXPECT_TRUE(fs::is_directory(strLast));
    EXPECT_FALSE(fs::exists(bench.banks));
}

TEST(StgManTest, SettingsWithoutAFolderLeaveTheTargetAlone) {
    for (const char* pszText : {"", "[AdditionalBankPaths]\n", "[Other]\n/x\n"}) {
        StgManBench bench;
        bench.PutSettings(pszText);
        EXPECT_EQ(bench.banks.string(), bench.Open().GetTarget().c_str()) << pszText;
    }
}

TEST(StgManTest, TheTargetIsRememberedAtTheEnd) {
    StgManBench bench;
    bench.Open();
    bench.RunReady([] {});
    bench.pMan.reset();
    EXPECT_EQ("[AdditionalBankPaths]\n" + bench.banks.string() + "\n", bench.Settings());
}

TEST(StgManTest, EachTargetIsAddedOnceAndThoseBeforeItAreKept) {
    StgManBench bench;
    bench.PutSettings("[AdditionalBankPaths]\n/gone\n" + bench.banks.string() + "\n");
    const std::string strOther = bench.dir.File("other");
    bench.Open();
    bench.RunReady([&] {
        for (int i = 0; i < 2; ++i) {
            bench.gui.ChooseNext(strOther);
            bench.gui.Press(kTargetChooser);
        }
    });
    EXPECT_EQ(strOther, bench.pMan->GetTarget().c_str());
    bench.pMan.reset();
    EXPECT_EQ("[AdditionalBankPaths]\n/gone\n" + bench.banks.string() + "\n" + strOther + "\n",
              bench.Settings());
}

TEST(StgManTest, ANamedFolderIsForgotten) {
    StgManBench bench;
    bench.PutSettings("[AdditionalBankPaths]\n/gone\n" + bench.banks.string() + "\n");
    bench.Open();
    bench.RunReady([&] { EXPECT_TRUE(bench.pMan->SetTargetPath("/gone")); });
    bench.pMan.reset();
    EXPECT_EQ("[AdditionalBankPaths]\n" + bench.banks.string() + "\n", bench.Settings());
}

// A folder written as it stands would be read back as a header, which ends the section.
TEST(StgManTest, AFolderOfAnyNameIsRememberedOnceAndProposedAgain) {
    for (const char* const pszName : {"[banks]/", "50%", "%41", "a [b] ", "line\nbreak", "] [", " %5B "}) {
        StgManBench bench;
        const std::string strFolder = bench.dir.File(pszName);
        const auto Session = [&](const char* pszTarget) {
            EXPECT_EQ(strFolder, bench.Open("", bench.strSource, pszTarget).GetTarget().c_str());
            bench.RunReady([] {});
            bench.pMan.reset();
            return bench.Settings();
        };
        const std::string strSettings = Session(strFolder.c_str());
        EXPECT_TRUE(fs::is_directory(strFolder)) << pszName;
        EXPECT_EQ(2, std::count(strSettings.begin(), strSettings.end(), '\n')) << strSettings;
        EXPECT_EQ(strSettings, Session("/another")) << pszName;
    }
}

TEST(StgManTest, SpecialCharactersOfAFolderAreWrittenAsCodes) {
    StgManBench bench;
    bench.Open("", bench.strSource, bench.dir.File("[x]%/y"));
    bench.RunReady([] {});
    bench.pMan.reset();
    EXPECT_EQ("[AdditionalBankPaths]\n" + bench.dir.File("%5Bx%5D%25/y") + "\n", bench.Settings());
}

TEST(StgManTest, AFolderOfOlderSettingsIsTakenAsItStands) {
    for (const char* const pszName : {"50%", "%41", "%5b", "a[b"}) {
        StgManBench bench;
        const std::string strFolder = bench.dir.File(pszName);
        bench.PutSettings("[AdditionalBankPaths]\n" + strFolder + "\n");
        EXPECT_EQ(strFolder, bench.Open().GetTarget().c_str());
    }
}

// Its line would be read back as two.
TEST(StgManTest, AFolderTooLongForALineIsNotRemembered) {
    StgManBench bench;
    std::string strFolder = bench.dir.Path().string();
    while (strFolder.size() < 1100) strFolder += "/" + std::string(60, 'x');
    bench.Open("", bench.strSource, strFolder);
    EXPECT_EQ(0, bench.RunReady([&] { bench.Build({1}); }));
    bench.pMan.reset();
    EXPECT_TRUE(fs::exists(strFolder + "/Test_0BB80.kvn"));
    EXPECT_EQ("[AdditionalBankPaths]\n", bench.Settings());
    EXPECT_EQ(bench.banks.string(), bench.Open().GetTarget().c_str());
}

TEST(StgManTest, ANamedFolderWithSpecialCharactersIsForgottenToo) {
    StgManBench bench;
    bench.PutSettings("[AdditionalBankPaths]\n/%5Bgone%5D\n" + bench.banks.string() + "\n");
    bench.Open();
    bench.RunReady([&] { EXPECT_TRUE(bench.pMan->SetTargetPath("/[gone]")); });
    bench.pMan.reset();
    EXPECT_EQ("[AdditionalBankPaths]\n" + bench.banks.string() + "\n", bench.Settings());
}

TEST(StgManTest, SettingsThatCannotBeOpenedAreDoneWithout) {
    StgManBench bench;
    fs::create_directories(bench.settings);
    bench.Open();
    EXPECT_EQ(0, bench.RunReady([&] { bench.Build({1}); }));
    bench.pMan.reset();
    EXPECT_TRUE(bench.HasBank(1));
    EXPECT_TRUE(bench.gui.Alerts().empty());
    EXPECT_TRUE(fs::is_directory(bench.settings));
}

TEST(StgManTest, WithoutAWindowTheStatusIsMinusOneAndNoLoopRuns) {
    StgManBench bench;
    bench.gui.FailWindows();
    EXPECT_EQ(-1, bench.Open().Routine());
    EXPECT_FALSE(bench.gui.LoopHasRun());
    EXPECT_TRUE(bench.gui.Alerts().empty());
}

TEST(StgManTest, ASourceIsAnalysedFirst) {
    StgManBench bench;
    StgMan& man = bench.Open();
    EXPECT_EQ(StgStatusNone, man.GetStatus());
    bench.files.HoldAll();
    const int nStatus = bench.Run([&] {
        bench.gui.Tick();
        EXPECT_EQ(StgStatusAnalysing, man.GetStatus());
        EXPECT_EQ("Analysing Test.kvs ...", bench.StatusText());
        EXPECT_TRUE(bench.Control(kProgressText).bShown);
        for (const int i : {2, 5, 8, 21, 22}) EXPECT_FALSE(bench.Control(i).bEnabled) << i;
        bench.gui.Close();
        bench.gui.Press(kCloseButton);
        EXPECT_FALSE(bench.gui.LoopWasQuit());
        bench.files.Release();
        bench.Settle();
        EXPECT_EQ(StgStatusReady, man.GetStatus());
        for (const int i : {kProgressText, kProgressBar, kProgressPercent, kCancelButton})
            EXPECT_FALSE(bench.Control(i).bShown) << i;
        for (const int i : {2, 5, 8, 22}) EXPECT_TRUE(bench.Control(i).bEnabled) << i;
        bench.gui.Close();
        EXPECT_TRUE(bench.gui.LoopWasQuit());
    });
    EXPECT_EQ(0, nStatus);
    EXPECT_TRUE(bench.gui.Alerts().empty());
}

// Two samples and one region: three steps.
TEST(StgManTest, AnAnalysisShowsItsStepsAndCannotBeCancelledByButton) {
    StgManBench bench;
    bench.files.Hold(FileOp::kRead);
    bench.Open();
    bench.Run([&] {
        bench.files.WaitUntilOneWaits();
        bench.gui.Tick();
        EXPECT_TRUE(bench.Control(kProgressBar).bShown);
        EXPECT_EQ(3, bench.Control(kProgressBar).nMaximum);
        EXPECT_TRUE(bench.Control(kCancelButton).bShown);
        EXPECT_FALSE(bench.Control(kCancelButton).bEnabled);
        bench.files.Release();
        bench.Settle();
        EXPECT_EQ(3, bench.Control(kProgressBar).nValue);
        EXPECT_EQ("99.9%", bench.Control(kProgressPercent).strText);
    });
}

TEST(StgManTest, ARefusedSourceGivesAnAlertAtOnceAndTheWindowStays) {
    constexpr int kNotOpened = 7, kNoSource = 6;
    const std::vector<std::pair<const char*, int>> sources = {{"bad.kvs", kNotOpened},
                                                              {"empty.kvs", kNotOpened},
                                                              {"missing.kvs", kNotOpened},
                                                              {"folder", kNoSource}};
    for (const auto& [pszName, nExpected] : sources) {
        StgManBench bench;
        WriteFile(bench.dir.File("bad.kvs"), std::string("no database at all"));
        WriteFile(bench.dir.File("empty.kvs"), std::string());
        fs::create_directory(bench.dir.File("folder"));
        StgMan& man = bench.Open("", bench.dir.File(pszName), bench.banks.string());
        const int nStatus = bench.Run([&, pszName = pszName] {
            EXPECT_EQ((Codes{5}), bench.AlertCodes()) << pszName;
            EXPECT_EQ(kAlertStop, bench.gui.Alerts()[0].nType);
            EXPECT_EQ(StgStatusNone, man.GetStatus());
            bench.gui.Tick();
            EXPECT_FALSE(bench.Control(kFirstRateBox + 1).bEnabled);
            EXPECT_FALSE(bench.Control(kMainButton).bEnabled);
            EXPECT_TRUE(bench.Control(kSourceChooser).bEnabled);
        });
        EXPECT_EQ(nExpected, nStatus) << pszName;
        EXPECT_TRUE(bench.gui.LoopHasRun());
    }
}

TEST(StgManTest, ASoundSourceChosenAfterARefusedOneIsAnalysed) {
    StgManBench bench;
    bench.Open("", bench.dir.File("missing.kvs"), bench.banks.string());
    const int nStatus = bench.Run([&] {
        bench.gui.ChooseNext(bench.strSource);
        bench.gui.Press(kSourceChooser);
        bench.Settle();
        EXPECT_EQ(StgStatusReady, bench.pMan->GetStatus());
        EXPECT_TRUE(bench.Control(kFirstRateBox + 1).bEnabled);
        bench.Build({1});
    });
    EXPECT_EQ(0, nStatus) << "the later jobs went well";
    EXPECT_TRUE(bench.HasBank(1));
    EXPECT_EQ((Codes{5}), bench.AlertCodes());
}

TEST(StgManTest, WithoutASourceTheUserIsToldWhatToDo) {
    StgManBench bench;
    bench.Open("", bench.dir.File("missing.kvs"), bench.banks.string());
    bench.Run([&] {
        bench.gui.Tick();
        EXPECT_EQ("Choose a source bank, a SoundFont or an SFZ file.", bench.StatusText());
        EXPECT_TRUE(bench.Control(kProgressText).bShown);
    });
}

TEST(StgManTest, ASourceThatIsNoneIsToldWithItsCause) {
    StgManBench bench;
    WriteFile(bench.strSource, std::string("no bank"));
    bench.Open();
    bench.Run([&] {
        bench.gui.Tick();
        EXPECT_EQ("Test.kvs cannot be used: this is no source bank.", bench.StatusText());
    });
}
// Q124

// Q124
TEST(StgManTest, AFailedAnalysisIsToldOfAndItsResultIsThatOfTheProgram) {
    StgManBench bench;
    SourceSpec empty;
    empty.samples.clear();
    empty.programs.clear();
    MakeSource(bench.strSource, empty);
    StgMan& man = bench.Open();
    bench.files.HoldAll();
    const int nStatus = bench.Run([&] {
        bench.files.Release();
        bench.Settle();
        EXPECT_EQ(StgStatusNone, man.GetStatus());
        EXPECT_EQ((Codes{5}), bench.AlertCodes());
        EXPECT_TRUE(bench.Control(kSourceChooser).bEnabled);
        EXPECT_EQ("Test.kvs cannot be used: there are no samples.", bench.StatusText());
        EXPECT_TRUE(bench.Control(kProgressText).bShown);
    });
    EXPECT_EQ(11, nStatus);
}
// Q123

// Q123
TEST(StgManTest, AnAnalysisThatFailsAtOnceDoesNotKeepTheWindowAway) {
    for (int i = 0; i < 10; ++i) {
        StgManBench bench;
        SourceSpec empty;
        empty.samples.clear();
        empty.programs.clear();
        MakeSource(bench.strSource, empty);
        bench.Open();
        EXPECT_EQ(11, bench.Run([&] { bench.WaitIdle(); }));
        EXPECT_TRUE(bench.gui.LoopHasRun());
    }
}

TEST(StgManTest, ATargetWithoutASourceCannotBeListed) {
    StgManBench bench;
    bench.Open("", bench.dir.File("missing.kvs"), bench.banks.string());
    bench.Run([&] {
        bench.gui.ChooseNext(bench.dir.File("other"));
        bench.gui.Press(kTargetChooser);
        EXPECT_EQ((Codes{5, 4}), bench.AlertCodes());
        EXPECT_EQ(kAlertStop, bench.gui.Alerts()[1].nType);
        bench.gui.Tick();
        EXPECT_FALSE(bench.Control(kMainButton).bEnabled);
    });
}

TEST(StgManTest, TheBanksOfTheTargetAreListed) {
    StgManBench bench;
    bench.PutBank(1);
    bench.PutBank(4);
    bench.gui.SetFreeSpace(77);
    bench.Open();
    bench.RunReady([&] {
        EXPECT_EQ((std::vector<int>{0, 1, 0, 0, 1, 0}), bench.Boxes());
        EXPECT_EQ("77 M", bench.Control(kFreeSpace).strText);
        EXPECT_EQ(bench.banks.string(), bench.gui.LastSpacePath());
        EXPECT_EQ("0 M", bench.Control(kRequiredSpace).strText);
        EXPECT_FALSE(bench.Control(kMainButton).bEnabled);
    });
}

TEST(StgManTest, AnotherTargetIsListedAtOnce) {
    StgManBench bench;
    bench.PutBank(1);
    const std::string strOther = bench.dir.File("other");
    fs::create_directory(strOther);
    WriteFile(strOther + "/Test_15888.kvn", std::string("a bank"));
    bench.Open();
    bench.RunReady([&] {
        bench.gui.ChooseNext(strOther);
        bench.gui.Press(kTargetChooser);
        bench.gui.Tick();
        EXPECT_EQ((std::vector<int>{0, 0, 1, 0, 0, 0}), bench.Boxes());
        EXPECT_EQ(strOther, bench.gui.LastSpacePath());
    });
}

// Where nothing catches the exception, the program itself ends with the code of the status kBankNoMemory.
void EndsOnlyForWantOfMemory(const std::function<void()>& act) {
    try {
        act();
    } catch (const std::bad_alloc&) {
    }
}

// Creation without asking shows that alert and builds nothing; its caller has only the exit code.
TEST(StgManTest, ATargetThatCannotBeListedForWantOfMemoryIsTheStatusOfTheProgram) {
    int nTold = 0;
    bool bMet = true;
    for (int nNth = 1; bMet; ++nNth) {
        SCOPED_TRACE(nNth);
        StgManBench bench;
        bench.PutBank(1);
        StgMan& man = bench.Open();
        const int nStatus = bench.RunReady([&] {
            const PosixFault fault(kAnyAllocation, ENOMEM, nNth);
            EndsOnlyForWantOfMemory([&] { man.SetTargetPath(nullptr); });
            bMet = fault.Calls() >= nNth;
        });
        const bool bTold = !bench.AlertCodes().empty();
        EXPECT_EQ(bTold ? kBankNoMemory : kBankDone, nStatus);
        nTold += bTold;
    }
    EXPECT_LT(1, nTold);
}

TEST(StgManTest, WhatInterruptedBuildsHaveLeftIsRemovedAtTheStart) {
    StgManBench bench;
    fs::create_directory(bench.banks);
    WriteFile(bench.BankPath(1), std::string());
    WriteFile(bench.BankPath(2), std::string("QXEU") + std::string(16, 'i'));
    WriteFile(bench.banks / "Other_0BB80.kvn", std::string());
    bench.PutBank(3);
    bench.Open();
    bench.RunReady([&] { EXPECT_EQ((std::vector<int>{0, 0, 0, 1, 0, 0}), bench.Boxes()); });
    EXPECT_FALSE(bench.HasBank(1));
    EXPECT_FALSE(bench.HasBank(2));
    EXPECT_TRUE(bench.HasBank(3));
    EXPECT_TRUE(fs::exists(bench.banks / "Other_0BB80.kvn"));
}

TEST(StgManTest, SpaceIsTheSumOfTheSelectedRates) {
    StgManBench bench;
    StgMan& man = bench.Open();
    int all[] = {1, 1, 1, 1, 1, 1}, some[] = {0, 1, 0, 0, 0, 2}, none[kRateCount] = {};
    EXPECT_EQ(0, man.EstimateBaseSize(all)) << "a rate whose prediction fails adds nothing";
    bench.RunReady([&] {
        EXPECT_EQ(6, man.EstimateBaseSize(all)) << "each less than a megabyte";
        EXPECT_EQ(2, man.EstimateBaseSize(some));
        EXPECT_EQ(0, man.EstimateBaseSize(none));
    });
}

TEST(StgManTest, TheRatesAreInTheirOrder) {
    const std::array<int, 6> expected = {44100, 48000, 88200, 96000, 176400, 192000};
    EXPECT_EQ(expected, StgMan::sSR);
}

}  // namespace
}  // namespace Kestrova::Test
