#include <gtest/gtest.h>
#include <sys/stat.h>

#include "import/sfz/FileFinder.h"
#include "tests/import/sfz/SfzFixture.h"

namespace Kestrova::Test {
namespace {

class FileFinderTest : public ::testing::Test {
protected:
    FileFinderTest() {
        fs::create_directories(m_dir.File("Instrument/Samples"));
        for (const char* const pszName : {"Instrument/Samples/C4.wav", "Instrument/Samples/c4.WAV",
                                          "Instrument/Samples/D4.wav", "beside.wav"})
            WriteFile(m_dir.File(pszName), std::string("x"));
    }
    // The path from the instrument's folder, or the cause.
    std::string Find(const std::string& strName) {
        std::string strPath;
        const ImportOutcome outcome = m_finder.Find(strName, strPath);
        return outcome.IsDone() ? strPath.substr(m_finder.GetFolder().size()) : outcome.strCause;
    }

    TempDir m_dir;
    ImportReport m_report;
    FileFinder m_finder{m_dir.File("Instrument/"), m_report};
};

TEST_F(FileFinderTest, AFileIsFoundByItsName) {
    EXPECT_EQ("Samples/C4.wav", Find("Samples/C4.wav"));
    EXPECT_EQ("Samples/c4.WAV", Find("Samples/c4.WAV"));
    EXPECT_EQ("../beside.wav", Find("../beside.wav"));
    EXPECT_EQ(Strings(), NotesOf(m_report, ImportEvent::Accepted));
}

TEST_F(FileFinderTest, BackslashesSeparateFolders) {
    EXPECT_EQ("Samples/C4.wav", Find("Samples\\C4.wav"));
    EXPECT_EQ("Samples/../Samples/D4.wav", Find("Samples\\..\\Samples/D4.wav"));
    EXPECT_EQ((Strings{"2 x names of files: backslashes taken as slashes"}),
              NotesOf(m_report, ImportEvent::Accepted));
}

TEST_F(FileFinderTest, TheCaseOfLettersIsTakenFromTheFiles) {
    EXPECT_EQ("Samples/D4.wav", Find("samples/d4.WAV"));
    EXPECT_EQ("./Samples/D4.wav", Find("./SAMPLES//D4.wav"));
    EXPECT_EQ("../Instrument/Samples/D4.wav", Find("../iNSTRUMENT/samples/d4.wav"));
    EXPECT_EQ((Strings{"3 x names of files: the case of letters taken from the files"}),
              NotesOf(m_report, ImportEvent::Accepted));
}

TEST_F(FileFinderTest, OfSeveralCasesTheFirstInByteOrderIsTaken) {
    EXPECT_EQ("Samples/C4.wav", Find("Samples/c4.wav"));
}

TEST_F(FileFinderTest, WhatIsNoFileIsTold) {
    EXPECT_EQ("No such file or directory", Find("Samples/E4.wav"));
    EXPECT_EQ("No such file or directory", Find("None/C4.wav"));
    EXPECT_EQ("No such file or directory", Find("Samples/C4.wav/D4.wav"));
    EXPECT_EQ("it is no file", Find("Samples"));
    EXPECT_EQ("it is no file", Find("samples/"));
    EXPECT_EQ("File name too long", Find(std::string(300, 'x')));
    ASSERT_EQ(0, mkfifo(m_dir.File("Instrument/pipe").c_str(), 0600));
    EXPECT_EQ("it is no file", Find("pipe"));
    EXPECT_EQ(Strings(), NotesOf(m_report, ImportEvent::Accepted));
}

TEST_F(FileFinderTest, AbsoluteNamesAreNotLookedFor) {
    for (const std::string& strName :
         {m_dir.File("beside.wav"), std::string("\\beside.wav"), std::string("C:\\beside.wav")})
        EXPECT_EQ("it is an absolute path", Find(strName)) << strName;
}

TEST(FileFinderNamesTest, APathHasAFolderAndAStem) {
    EXPECT_EQ("a/b/", FolderOf("a/b/c.sfz"));
    EXPECT_EQ("./", FolderOf("c.sfz"));
    EXPECT_EQ("c v1.2", StemOf("a/b/c v1.2.sfz"));
}

}  // namespace
}  // namespace Kestrova::Test
