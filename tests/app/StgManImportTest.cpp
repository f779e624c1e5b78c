// A source in another format, which is imported before it is used.
#include "tests/app/StgManFixture.h"
#include "tests/support/SoundFontMaker.h"

namespace Kestrova::Test {
namespace {

using Codes = std::vector<int>;

struct ImportBench : StgManBench {
    const std::string strFont = dir.File("Piano.sf2");
    const fs::path imported = banks / "Piano.kvs";

    ImportBench() { WriteFile(strFont, MakeFont(SimpleFont())); }

    // The import has no callback: its end is seen by the ticks.
    void SettleImport() {
        while (IsBusy(pMan->GetStatus())) {
            gui.Tick();
            std::this_thread::yield();
        }
        gui.Tick();
    }
    void Choose(const std::string& strPath) {
        gui.ChooseNext(strPath);
        gui.Press(kSourceChooser);
    }
    // Chooses the font; its import stands still in its first write until files.Release.
    void ImportAndHold() {
        files.Hold(FileOp::kWrite);
        Choose(strFont);
        files.WaitUntilOneWaits();
    }
    std::string SourceShown() const { return Control(kSourcePath).strText; }
};

TEST(StgManImportTest, AChosenSoundFontIsImportedAndBecomesTheSource) {
    ImportBench bench;
    StgMan& man = bench.Open();
    const Bytes font = ReadFile(bench.strFont);
    const int nStatus = bench.RunReady([&] {
        bench.Choose(bench.strFont);
        EXPECT_EQ(StgStatusAnalysing, man.GetStatus());
        bench.SettleImport();
        EXPECT_EQ(StgStatusReady, man.GetStatus());
        EXPECT_STREQ(bench.imported.c_str(), man.GetSource());
        EXPECT_EQ(bench.imported.string(), bench.SourceShown());
        EXPECT_EQ("Piano.sf2 was imported as Piano.kvs.", bench.StatusText());
        EXPECT_TRUE(bench.Control(kProgressText).bShown);
        EXPECT_FALSE(bench.gui.IsKeptAwake());
        EXPECT_EQ("Calderine Bank Manager", bench.gui.Window().strTitle);
        bench.Build({1});
        EXPECT_TRUE(fs::exists(bench.banks / "Piano_0BB80.kvn"));
    });
    EXPECT_EQ(0, nStatus);
    EXPECT_TRUE(bench.gui.Alerts().empty());
    EXPECT_EQ(font, ReadFile(bench.strFont));
}

TEST(StgManImportTest, ADroppedSoundFontIsImportedToo) {
    ImportBench bench;
    bench.Open();
    bench.RunReady([&] {
        bench.gui.Drop(false, bench.strFont);
        bench.SettleImport();
    });
    EXPECT_TRUE(fs::exists(bench.imported));
}

TEST(StgManImportTest, ASoundFontOfTheCommandLineIsImportedToo) {
    ImportBench bench;
    bench.Open("", bench.strFont, bench.banks.string());
    bench.Run([&] {
        bench.SettleImport();
        EXPECT_EQ(bench.imported.string(), bench.SourceShown());
    });
    EXPECT_TRUE(bench.gui.Alerts().empty());
    EXPECT_EQ("[AdditionalBankPaths]\n" + bench.banks.string() + "\n",
              (bench.pMan.reset(), bench.Settings()));
}

TEST(StgManImportTest, WhileItIsImportedTheWindowShowsItAndNothingElseCanBegin) {
    ImportBench bench;
    bench.Open();
    bench.RunReady([&] {
        bench.ImportAndHold();
        bench.gui.Tick();
        EXPECT_EQ("Importing Piano.sf2 ...", bench.StatusText());
        EXPECT_EQ("Importing, 0 % - Calderine Bank Manager", bench.gui.Window().strTitle);
        for (const int i : {kProgressText, kProgressBar, kProgressPercent, kCancelButton})
            EXPECT_TRUE(bench.Control(i).bShown) << i;
        EXPECT_TRUE(bench.Control(kCancelButton).bEnabled);
        for (const int i : {2, 5, 8, 21, 22}) EXPECT_FALSE(bench.Control(i).bEnabled) << i;
        EXPECT_TRUE(bench.gui.IsKeptAwake());
        EXPECT_FALSE(fs::exists(bench.imported)) << "it appears when it is whole";
        bench.files.Release();
        bench.SettleImport();
    });
    EXPECT_TRUE(fs::exists(bench.imported));
}

TEST(StgManImportTest, ACancelledImportLeavesNothingAndTheSourceStays) {
    ImportBench bench;
    StgMan& man = bench.Open();
    bench.RunReady([&] {
        bench.ImportAndHold();
        bench.gui.Press(kCancelButton);
        bench.files.Release();
        bench.SettleImport();
        EXPECT_EQ("The import of Piano.sf2 was cancelled.", bench.StatusText());
        EXPECT_EQ(StgStatusReady, man.GetStatus());
        EXPECT_EQ(bench.strSource, bench.SourceShown());
        EXPECT_TRUE(bench.Control(kSourceChooser).bEnabled);
        EXPECT_TRUE(fs::is_empty(bench.banks));
        bench.Build({1});
    });
    EXPECT_TRUE(bench.HasBank(1)) << "of the source before";
    EXPECT_TRUE(bench.gui.Alerts().empty());
}

TEST(StgManImportTest, ADamagedSoundFontIsRefusedWithItsCause) {
    ImportBench bench;
    Bytes font = ReadFile(bench.strFont);
    font.resize(60);
    WriteFile(bench.strFont, font);
    StgMan& man = bench.Open();
    const int nStatus = bench.RunReady([&] {
        bench.Choose(bench.strFont);
        bench.SettleImport();
        EXPECT_EQ((Codes{kAlertSource}), bench.AlertCodes());
        EXPECT_EQ(0u, bench.StatusText().find("Piano.sf2 was not imported: ")) << bench.StatusText();
        EXPECT_EQ(StgStatusReady, man.GetStatus());
        EXPECT_EQ(bench.strSource, bench.SourceShown());
    });
    EXPECT_EQ(9, nStatus);
    EXPECT_TRUE(fs::is_empty(bench.banks));
}

TEST(StgManImportTest, AFullDiskEndsTheImport) {
    ImportBench bench;
    bench.Open();
    const int nStatus = bench.RunReady([&] {
        bench.files.FillDiskAfter(10);
        bench.Choose(bench.strFont);
        bench.SettleImport();
        bench.files.Heal();
        EXPECT_EQ((Codes{kAlertTarget}), bench.AlertCodes());
        EXPECT_EQ("Piano.sf2 was not imported: No space left on device.", bench.StatusText());
    });
    EXPECT_EQ(10, nStatus);
    EXPECT_TRUE(fs::is_empty(bench.banks));
}

// The three answers to the question that a file of that name asks.
struct ExistingImportBench : ImportBench {
    ExistingImportBench() {
        fs::create_directories(banks);
        MakeSource(imported.string(), Spec());
        before = ReadFile(imported);
        Open();
    }
    void ChooseAndAnswer(int nButton) {
        gui.AnswerNextAlert(nButton);
        Choose(strFont);
        SettleImport();
        ASSERT_EQ(1u, gui.Alerts().size());
        EXPECT_EQ("Source bank exists.", gui.Alerts()[0].strTitle);
        EXPECT_EQ(
            "Piano.kvs is in the destination folder already. It can be used as it is, or another can be made "
            "beside it.",
            gui.Alerts()[0].strText);
        EXPECT_EQ("Use it", gui.Alerts()[0].strDefault);
        EXPECT_EQ("Cancel", gui.Alerts()[0].strCancel);
        EXPECT_EQ("Make another", gui.Alerts()[0].strOther);
        EXPECT_EQ(before, ReadFile(imported)) << "it is never written over";
    }

    Bytes before;
};

TEST(StgManImportTest, AFileOfThatNameCanBeUsed) {
    ExistingImportBench bench;
    bench.RunReady([&] {
        bench.ChooseAndAnswer(kAlertDefaultButton);
        EXPECT_EQ(bench.imported.string(), bench.SourceShown());
        EXPECT_EQ(StgStatusReady, bench.pMan->GetStatus());
    });
}

TEST(StgManImportTest, AnotherCanBeMadeBesideIt) {
    ExistingImportBench bench;
    WriteFile(bench.banks / "Piano 2.kvs", std::string("also taken"));
    bench.RunReady([&] {
        bench.ChooseAndAnswer(kAlertOtherButton);
        EXPECT_EQ((bench.banks / "Piano 3.kvs").string(), bench.SourceShown());
        EXPECT_EQ("Piano.sf2 was imported as Piano 3.kvs.", bench.StatusText());
    });
}

TEST(StgManImportTest, TheQuestionCanBeCancelled) {
    ExistingImportBench bench;
    const int nStatus = bench.RunReady([&] {
        bench.ChooseAndAnswer(kAlertCancelButton);
        EXPECT_EQ(bench.strSource, bench.SourceShown());
        EXPECT_EQ(StgStatusReady, bench.pMan->GetStatus());
    });
    EXPECT_EQ(2, nStatus);
}

// Somebody else makes a file of that name while the import runs.
TEST(StgManImportTest, ANameThatIsTakenMeanwhileIsLeftAlone) {
    ImportBench bench;
    bench.Open();
    bench.RunReady([&] {
        bench.ImportAndHold();
        WriteFile(bench.imported, std::string("somebody's"));
        bench.files.Release();
        bench.SettleImport();
        EXPECT_EQ("Piano.sf2 was not imported: File exists.", bench.StatusText());
    });
    EXPECT_EQ(10u, fs::file_size(bench.imported));
}

TEST(StgManImportTest, TheEndOfTheProgramStopsAnImport) {
    ImportBench bench;
    bench.Open();
    bench.RunReady([&] { bench.ImportAndHold(); });
    bench.gui.WhenHidden([&] { bench.files.Release(); });
    bench.pMan.reset();
    EXPECT_TRUE(fs::is_empty(bench.banks));
}

TEST(StgManImportTest, ALostDisplayStopsAnImport) {
    ImportBench bench;
    StgMan& man = bench.Open();
    bench.RunReady([&] {
        bench.ImportAndHold();
        std::thread releasing([&] { bench.files.Release(); });
        man.Abandon();
        releasing.join();
        EXPECT_FALSE(IsBusy(man.GetStatus()));
    });
}

}  // namespace
}  // namespace Kestrova::Test
