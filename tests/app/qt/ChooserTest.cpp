// The choosers, which here are Qt's own.
#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <filesystem>

#include "tests/app/qt/Answer.h"
#include "tests/app/qt/WindowFixture.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

class ChooserTest : public WindowTest {
protected:
    ChooserTest() {
        WriteFile(m_strFile, "x");
        std::filesystem::create_directory(m_strFolder);
        Show();
    }
    static QFileDialog& Chooser(QDialog& dialog) { return dynamic_cast<QFileDialog&>(dialog); }
    // Types a path and confirms it.
    static std::function<void(QDialog&)> Type(const std::string& strPath) {
        return [strPath](QDialog& dialog) {
            auto& edit = *dialog.findChild<QLineEdit*>("fileNameEdit");
            edit.setText(QString::fromStdString(strPath));
            QTest::keyClick(&edit, Qt::Key_Return);
        };
    }
    static void Refuse(QDialog& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); }

    int ChooseFile() { return GuiSelectFileDialog(m_window, "Select a file:", m_strPath, "Test banks"); }
    int ChooseFolder() { return GuiSelectFolderDialog(m_window, "Select a folder:", m_strPath); }

    const TempDir m_dir;
    const std::string m_strFile = m_dir.File(
        "Gr\xc3\xb6\xc3\x9f"
        "e, with  spaces & \xe2\x82\xac.kvs");
    const std::string m_strFolder = m_dir.File("Ordner \xc3\x84 %41");
    String m_strPath;
};

TEST_F(ChooserTest, AConfirmedFileIsThePath) {
    Answer answer(Type(m_strFile));
    EXPECT_EQ(1, ChooseFile());
    EXPECT_EQ(m_strFile, m_strPath.c_str());
}

TEST_F(ChooserTest, AConfirmedFolderIsThePath) {
    Answer answer(Type(m_strFolder));
    EXPECT_EQ(1, ChooseFolder());
    EXPECT_EQ(m_strFolder, m_strPath.c_str());
}

TEST_F(ChooserTest, APathIsWholeWhateverItsLength) {
    std::string strDeep = m_dir.Path();
    for (int i = 0; i < 8; ++i) strDeep += "/" + std::string(60, static_cast<char>('a' + i));
    std::filesystem::create_directories(strDeep);
    WriteFile(strDeep + "/deep.kvs", "x");
    Answer answer(Type(strDeep + "/deep.kvs"));
    EXPECT_EQ(1, ChooseFile());
    EXPECT_GT(m_strPath.GetLength(), 480);
    EXPECT_EQ(strDeep + "/deep.kvs", m_strPath.c_str());
}

TEST_F(ChooserTest, AFileWithAnotherSuffixCanBeChosen) {
    WriteFile(m_dir.File("a.other"), "x");
    Answer answer(Type(m_dir.File("a.other")));
    EXPECT_EQ(1, ChooseFile());
    EXPECT_EQ(m_dir.File("a.other"), m_strPath.c_str());
}

TEST_F(ChooserTest, ACancelledChooserLeavesThePathAlone) {
    for (const char* const pszBefore : {"", "/before \xc3\xa4"}) {
        m_strPath = pszBefore;
        {
            Answer answer(Refuse);
            EXPECT_EQ(0, ChooseFile());
        }
        EXPECT_STREQ(pszBefore, m_strPath.c_str());
        Answer answer(Refuse);
        EXPECT_EQ(0, ChooseFolder());
        EXPECT_STREQ(pszBefore, m_strPath.c_str());
    }
}

TEST_F(ChooserTest, AllFilesAreShownAndTheKindsOfSourcesCanBeChosen) {
    Answer answer([](QDialog& dialog) {
        QFileDialog& chooser = Chooser(dialog);
        EXPECT_EQ(QString("Select a file:"), chooser.windowTitle());
        EXPECT_EQ(QFileDialog::ExistingFile, chooser.fileMode());
        EXPECT_EQ((QStringList{"All files (*)", "Test banks (*.kvs)", "SoundFonts (*.sf2 *.sf3)",
                               "SFZ instruments (*.sfz)"}),
                  chooser.nameFilters());
        EXPECT_EQ(QString("All files (*)"), chooser.selectedNameFilter());
        Refuse(dialog);
    });
    ChooseFile();
}

TEST_F(ChooserTest, AFolderChooserChoosesFolders) {
    Answer answer([](QDialog& dialog) {
        EXPECT_EQ(QString("Select a folder:"), dialog.windowTitle());
        EXPECT_EQ(QFileDialog::Directory, Chooser(dialog).fileMode());
        Refuse(dialog);
    });
    ChooseFolder();
}

TEST_F(ChooserTest, ItStartsWhereThePathIs) {
    m_strPath = m_strFile.c_str();
    {
        Answer answer([this](QDialog& dialog) {
            EXPECT_EQ(QDir(QString::fromStdString(m_dir.Path().string())), Chooser(dialog).directory());
            Refuse(dialog);
        });
        ChooseFile();
    }
    m_strPath = m_strFolder.c_str();
    Answer answer([this](QDialog& dialog) {
        EXPECT_EQ(QDir(QString::fromStdString(m_strFolder)), Chooser(dialog).directory());
        Refuse(dialog);
    });
    ChooseFolder();
}

TEST_F(ChooserTest, ItBelongsToTheWindowAndBlocksIt) {
    Answer answer([this](QDialog& dialog) {
        EXPECT_EQ(m_window, dialog.parentWidget());
        EXPECT_TRUE(dialog.isModal());
        EXPECT_TRUE(GuiIsAsking());
        Refuse(dialog);
    });
    ChooseFile();
    EXPECT_FALSE(GuiIsAsking());
}

class DialogChooserTest : public DialogTest {};

TEST_F(DialogChooserTest, TheChoosersOfTheDialogSetTheTwoPaths) {
    const TempDir dir;
    WriteFile(dir.File("\xc3\xa4.kvs"), "x");
    Open(kManager);
    const auto Choose = [this](int nControl, const char* pszTitle, const std::string& strPath) {
        Answer answer([&](QDialog& dialog) {
            EXPECT_EQ(QString(pszTitle), dialog.windowTitle());
            auto& edit = *dialog.findChild<QLineEdit*>("fileNameEdit");
            edit.setText(QString::fromStdString(strPath));
            QTest::keyClick(&edit, Qt::Key_Return);
        });
        QTest::mouseClick(&Control(nControl), Qt::LeftButton);
    };
    Choose(kSourceChooser, "Select source bank file:", dir.File("\xc3\xa4.kvs"));
    Choose(kTargetChooser, "Select banks destination folder:", dir.Path().string());
    Tick();
    EXPECT_EQ(dir.File("\xc3\xa4.kvs"), m_strSource.c_str());
    EXPECT_EQ(dir.Path().string(), m_strTarget.c_str());
    EXPECT_EQ(QString::fromUtf8(m_strSource.c_str()), As<QLineEdit>(kSourcePath).text());
    EXPECT_EQ(QString::fromUtf8(m_strTarget.c_str()), As<QLineEdit>(kTargetPath).text());
    EXPECT_EQ((std::vector<std::string>{"source", "target"}), m_manager.calls);
}

}  // namespace
}  // namespace Kestrova::Test
