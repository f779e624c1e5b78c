#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "shared/System/kvTemporaryFile.h"
#include "tests/support/FolderNames.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

using Texts = std::vector<std::string>;

class TemporaryFileTest : public ::testing::Test {
protected:
    std::string Stem() const { return m_dir.File("file.new-"); }
    std::vector<std::string> Names() const { return NamesIn(m_dir.Path()); }
    std::string Text(const std::string& strName) const {
        const Bytes bytes = ReadFile(m_dir.File(strName));
        return {bytes.begin(), bytes.end()};
    }
    // A file as a killed process leaves it.
    std::string Left(const std::string& strName) const {
        WriteFile(m_dir.File(strName), std::string("left"));
        return m_dir.File(strName);
    }
    static void PutText(const TemporaryFile& file, const std::string& strText) {
        EXPECT_EQ(static_cast<ssize_t>(strText.size()), write(file.Handle(), strText.data(), strText.size()));
    }

    TempDir m_dir;
};

// The file has been unchanged for so long.
void MakeOlder(const std::string& strPath, std::chrono::minutes age) {
    fs::last_write_time(strPath, fs::file_time_type::clock::now() - age);
}

TEST_F(TemporaryFileTest, AFileWithoutANameTakesItsPlace) {
    Left("file");
    {
        TemporaryFile file(Stem());
        ASSERT_TRUE(file.MakeUnnamed(0640));
        PutText(file, "new");
        EXPECT_EQ(Texts{"file"}, Names());
        EXPECT_EQ("left", Text("file"));
        EXPECT_TRUE(file.MoveTo(m_dir.File("file").c_str()));
    }
    EXPECT_EQ(Texts{"file"}, Names());
    EXPECT_EQ("new", Text("file"));
    EXPECT_EQ(fs::perms(0640), fs::status(m_dir.File("file")).permissions());
}

TEST_F(TemporaryFileTest, AFileWithoutANameGoesWithItsObject) {
    {
        TemporaryFile file(Stem());
        ASSERT_TRUE(file.MakeUnnamed(0600));
    }
    EXPECT_EQ(Texts{}, Names());
}

TEST_F(TemporaryFileTest, AFileWithoutANameIsOpenedOnceMoreByItsPath) {
    TemporaryFile file(Stem());
    ASSERT_TRUE(file.MakeUnnamed(0600));
    WriteFile(file.OpenPath(), std::string("new"));
    EXPECT_TRUE(file.MoveTo(m_dir.File("file").c_str()));
    EXPECT_EQ("new", Text("file"));
}

TEST_F(TemporaryFileTest, WithoutProcNoFileIsMadeThatCouldGetNoName) {
    const PosixFault fault("access", ENOENT);
    TemporaryFile file(Stem());
    EXPECT_FALSE(file.MakeUnnamed(0600));
    EXPECT_TRUE(file.MakeNamed(0600));
}

TEST_F(TemporaryFileTest, ANamedFileTakesTheFirstFreeNumberAndItsPlace) {
    Left("file.new-000000");
    TemporaryFile file(Stem());
    ASSERT_TRUE(file.MakeNamed(0640));
    EXPECT_EQ((Texts{"file.new-000000", "file.new-000001"}), Names());
    PutText(file, "new");
    EXPECT_TRUE(file.MoveTo(m_dir.File("file").c_str()));
    EXPECT_EQ((Texts{"file", "file.new-000000"}), Names());
    EXPECT_EQ("new", Text("file"));
    EXPECT_EQ(fs::perms(0640), fs::status(m_dir.File("file")).permissions());
}

TEST_F(TemporaryFileTest, ANamedFileGoesWithItsObject) {
    {
        TemporaryFile file(Stem());
        ASSERT_TRUE(file.MakeNamed(0600));
        errno = EIO;
    }
    EXPECT_EQ(EIO, errno);
    EXPECT_EQ(Texts{}, Names());
}

TEST_F(TemporaryFileTest, AStemWithoutAFolderIsInTheWorkingFolder) {
    const fs::path before = fs::current_path();
    fs::current_path(m_dir.Path());
    for (const bool bUnnamed : {true, false}) {
        TemporaryFile file("file.new-");
        EXPECT_TRUE(bUnnamed ? file.MakeUnnamed(0600) : file.MakeNamed(0600));
        EXPECT_TRUE(file.MoveTo("file"));
    }
    Left("file.new-000000");
    EXPECT_EQ(Texts{"file.new-000000"}, FindTemporaryFiles("file.new-"));
    fs::current_path(before);
    EXPECT_EQ((Texts{"file", "file.new-000000"}), Names());
}

TEST_F(TemporaryFileTest, AFolderThatIsNotThereIsSaid) {
    TemporaryFile file(m_dir.File("none/file.new-"));
    EXPECT_FALSE(file.MakeUnnamed(0600));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_FALSE(file.MakeNamed(0600));
    EXPECT_EQ(ENOENT, errno);
    int nError = 0;
    EXPECT_EQ(Texts{}, FindTemporaryFiles(m_dir.File("none/file.new-"), IsTemporaryEnd, &nError));
    EXPECT_EQ(ENOENT, nError);
}

TEST_F(TemporaryFileTest, AFolderThatCannotBeReadToItsEndIsSaid) {
    Left("file.new-000000");
    int nError = 0;
    {
        const PosixFault fault("readdir", EIO);
        EXPECT_EQ(Texts{}, FindTemporaryFiles(Stem(), IsTemporaryEnd, &nError));
        EXPECT_EQ(EIO, nError);
    }
    EXPECT_EQ(1u, FindTemporaryFiles(Stem(), IsTemporaryEnd, &nError).size());
    EXPECT_EQ(0, nError);
}

// One that has gone meanwhile is no error.
TEST_F(TemporaryFileTest, AFileThatCannotBeLookedAtIsSaid) {
    Left("file.new-000000");
    for (const auto& [nFault, nTold] : {std::pair{EIO, EIO}, {ENOENT, 0}}) {
        const PosixFault fault("lstat", nFault);
        int nError = 0;
        EXPECT_EQ(Texts{}, FindTemporaryFiles(Stem(), IsTemporaryEnd, &nError));
        EXPECT_EQ(nTold, nError);
    }
}

TEST_F(TemporaryFileTest, WhenAllNumbersAreTakenNoFileIsMade) {
    for (int n = 0; n < 1000; ++n) {
        const std::string strNumber = std::to_string(n);
        Left("file.new-" + std::string(6 - strNumber.size(), '0') + strNumber);
    }
    TemporaryFile named(Stem()), unnamed(Stem());
    EXPECT_FALSE(named.MakeNamed(0600));
    EXPECT_EQ(EEXIST, errno);
    EXPECT_TRUE(unnamed.MakeUnnamed(0600));
    EXPECT_FALSE(unnamed.MoveTo(m_dir.File("file").c_str()));
    EXPECT_EQ(EEXIST, errno);
    EXPECT_EQ(1000u, Names().size());
}

TEST_F(TemporaryFileTest, APlaceThatCannotBeTakenStaysAndTheNameGoes) {
    fs::create_directory(m_dir.File("file"));
    for (const bool bUnnamed : {true, false}) {
        TemporaryFile file(Stem());
        ASSERT_TRUE(bUnnamed ? file.MakeUnnamed(0600) : file.MakeNamed(0600));
        EXPECT_FALSE(file.MoveTo(m_dir.File("file").c_str()));
        EXPECT_EQ(EISDIR, errno);
    }
    EXPECT_EQ(Texts{"file"}, Names());
}

TEST_F(TemporaryFileTest, AFileTakenAwayBeforeItWasLockedIsMadeUnderAnotherName) {
    const PosixFault fault("fstat", EIO);  // of asking whether its name still leads to it
    TemporaryFile file(Stem());
    ASSERT_TRUE(file.MakeNamed(0600));
    EXPECT_TRUE(IsTemporaryFileHeld(m_dir.File("file.new-000001")));
    EXPECT_FALSE(IsTemporaryFileHeld(m_dir.File("file.new-000000")));
}

TEST_F(TemporaryFileTest, AHeldFileStaysAndALeftOneGoes) {
    TemporaryFile file(Stem());
    ASSERT_TRUE(file.MakeNamed(0600));
    const std::string strHeld = m_dir.File("file.new-000000"), strLeft = Left("file.new-aB3xYz");
    EXPECT_TRUE(IsTemporaryFileHeld(strHeld));
    EXPECT_FALSE(IsTemporaryFileHeld(strLeft));
    EXPECT_EQ(EBUSY, RemoveTemporaryFile(strHeld));
    EXPECT_EQ(0, RemoveTemporaryFile(strLeft));
    EXPECT_EQ(Texts{"file.new-000000"}, Names());
}

// Between its naming and its move a file that had no name is held, too.
TEST_F(TemporaryFileTest, AFileThatIsBeingMovedIsHeld) {
    TemporaryFile file(Stem());
    ASSERT_TRUE(file.MakeUnnamed(0600));
    {
        const PosixFault fault("rename", EIO);
        EXPECT_FALSE(file.MoveTo(m_dir.File("file").c_str()));
    }
    EXPECT_EQ(EBUSY, RemoveTemporaryFile(m_dir.File("file.new-000000")));
    EXPECT_TRUE(file.MoveTo(m_dir.File("file").c_str()));
    EXPECT_EQ(Texts{"file"}, Names());
}

TEST_F(TemporaryFileTest, AFileThatHasGoneIsNoFailureAndOthersAreSaid) {
    EXPECT_EQ(0, RemoveTemporaryFile(m_dir.File("file.new-000000")));
    const std::string strLeft = Left("file.new-000000");
    {
        const PosixFault fault("open", EACCES);
        EXPECT_EQ(EACCES, RemoveTemporaryFile(strLeft));
    }
    {
        const PosixFault fault("unlink", EROFS);
        EXPECT_EQ(EROFS, RemoveTemporaryFile(strLeft));
    }
    {
        const PosixFault fault("unlink", ENOENT);
        EXPECT_EQ(0, RemoveTemporaryFile(strLeft));
    }
}

TEST_F(TemporaryFileTest, WithoutLocksAFileIsMadeAllTheSame) {
    for (const int nError : {ENOLCK, EOPNOTSUPP}) {
        const PosixFault fault("flock", nError);
        TemporaryFile file(Stem());
        EXPECT_TRUE(file.MakeNamed(0600));
        EXPECT_TRUE(file.MoveTo(m_dir.File("file").c_str()));
        EXPECT_EQ(1, fault.Calls());
    }
}

TEST_F(TemporaryFileTest, WithoutLocksOnlyAnOldFileCountsAsLeft) {
    const std::string strLeft = Left("file.new-000000");
    for (const int nError : {ENOLCK, EOPNOTSUPP, ENOSYS}) {
        MakeOlder(strLeft, std::chrono::minutes(59));
        const PosixFault looking("flock", nError), removing("flock", nError);
        EXPECT_TRUE(IsTemporaryFileHeld(strLeft));
        EXPECT_EQ(EBUSY, RemoveTemporaryFile(strLeft));
    }
    MakeOlder(strLeft, std::chrono::minutes(61));
    const PosixFault looking("flock", ENOLCK), removing("flock", ENOLCK);
    EXPECT_FALSE(IsTemporaryFileHeld(strLeft));
    EXPECT_EQ(0, RemoveTemporaryFile(strLeft));
    EXPECT_EQ(Texts{}, Names());
}

TEST_F(TemporaryFileTest, OnlyFilesWithSixLettersOrDigitsBehindTheStemAreFound) {
    for (const char* pszName :
         {"file.new-000000", "file.new-aZ09zA", "file.new-00000", "file.new-0000000", "file.new-00-000",
          "file.new-copies.txt", "file.new-", "file", "other.new-000000"})
        Left(pszName);
    fs::create_directory(m_dir.File("file.new-folder"));
    fs::create_symlink("file", m_dir.File("file.new-symlnk"));
    Texts found = FindTemporaryFiles(Stem());
    std::sort(found.begin(), found.end());
    EXPECT_EQ((Texts{m_dir.File("file.new-000000"), m_dir.File("file.new-aZ09zA")}), found);
}

}  // namespace
}  // namespace Kestrova::Test
