// Writing back: when, onto what, and what a failure leaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>

#include "shared/System/kvIniFile.h"
#include "tests/shared/System/IniFileTestSupport.h"
#include "tests/support/PosixFaults.h"

namespace Kestrova::Test {
namespace {

struct stat StatusOf(const std::string& strPath) {
    struct stat status {};
    EXPECT_EQ(0, stat(strPath.c_str(), &status));
    return status;
}

// While it lives, no file of this process grows beyond the limit: a write is cut short there, the next fails.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t nBytes) : m_pfnBefore(signal(SIGXFSZ, SIG_IGN)) {
        EXPECT_EQ(0, getrlimit(RLIMIT_FSIZE, &m_before));
        const rlimit limit{nBytes, m_before.rlim_max};
        EXPECT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        signal(SIGXFSZ, m_pfnBefore);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_before{};
    void (*const m_pfnBefore)(int);
};

class IniFileWriteTest : public IniFileFixture {
protected:
    void SetUp() override { OpenWith("[s]\na\n"); }

    // Whether the folder holds the settings file and nothing else.
    void ExpectNothingBeside() const {
        for (const fs::directory_entry& entry : fs::directory_iterator(m_dir.Path()))
            EXPECT_EQ(Path(), entry.path());
    }
};

}  // namespace

TEST_F(IniFileWriteTest, ChangesAreWrittenOnClose) {
    m_ini.SetItem("s", "b");
    EXPECT_EQ("[s]\na\n", IniText()) << "not before";
    EXPECT_EQ("[s]\na\nb\n", ClosedText());
    ExpectNothingBeside();
}

TEST_F(IniFileWriteTest, EveryChangeMarksTheFile) {
    m_ini.SetItem("t", nullptr);
    EXPECT_EQ("[s]\na\n[t]\n", ClosedText());
    Open();
    m_ini.RemoveItem("s", "a");
    EXPECT_EQ("[s]\n[t]\n", ClosedText());
    Open();
    m_ini.RemoveItem("u", nullptr);
    EXPECT_EQ("[s]\n[t]\n[u]\n", ClosedText());
    Open();
    m_ini.SetKeyValue("s", "k", "1");
    EXPECT_EQ("[s]\nk=1\n[t]\n[u]\n", ClosedText());
    Open();
    m_ini.SetKeyValue("s", "k", "2");
    EXPECT_EQ("[s]\nk=2\n[t]\n[u]\n", ClosedText());
}

TEST_F(IniFileWriteTest, AnUnchangedFileIsNotRewritten) {
    WriteIni("[s]\r\na");
    Open();
    const struct stat before = StatusOf(Path());
    m_ini.SetItem("s", "a");
    m_ini.SetItem("s", nullptr);
    m_ini.RemoveItem("s", "b");
    Items("s");
    EXPECT_EQ("[s]\r\na", ClosedText());
    const struct stat after = StatusOf(Path());
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(before.st_mtim.tv_sec, after.st_mtim.tv_sec);
    EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
}

TEST_F(IniFileWriteTest, ClosingTwiceWritesOnce) {
    m_ini.SetItem("s", "b");
    m_ini.Close();
    WriteIni("other\n");
    EXPECT_EQ("other\n", ClosedText());
    EXPECT_EQ((Texts{}), Sections());
}

TEST_F(IniFileWriteTest, AClosedObjectWritesNothing) {
    m_ini.Close();
    m_ini.SetItem("s", "b");
    EXPECT_EQ("[s]\na\n", ClosedText());
}
// Q35

// Q35
TEST_F(IniFileWriteTest, TheDestructorWritesNothing) {
    {
        IniFile ini;
        ASSERT_EQ(1, ini.Open(Path().c_str(), "a+"));
        ini.SetItem("s", "b");
    }
    EXPECT_EQ("[s]\na\n", IniText());
}
// Q34

// Q34
TEST_F(IniFileWriteTest, ChangesAreWrittenInReadModeToo) {
    for (const char* pszMode : {"r", "a", "w"}) {
        Open(pszMode);
        m_ini.SetItem(pszMode, "x");
        m_ini.Close();
    }
    EXPECT_EQ("[w]\nx\n", IniText());
    Open("r");
    m_ini.SetItem("w", "y");
    EXPECT_EQ("[w]\nx\ny\n", ClosedText());
}

TEST_F(IniFileWriteTest, TheFileKeepsItsPermissionsAndOwner) {
    // Only root may give files away; for others the owner is their own anyway.
    [[maybe_unused]] const int nIgnored = chown(Path().c_str(), 1234, 4321);
    ASSERT_EQ(0, chmod(Path().c_str(), 0604));
    const struct stat before = StatusOf(Path());
    m_ini.SetItem("s", "b");
    EXPECT_EQ("[s]\na\nb\n", ClosedText());
    const struct stat after = StatusOf(Path());
    EXPECT_EQ(before.st_mode, after.st_mode);
    EXPECT_EQ(before.st_uid, after.st_uid);
    EXPECT_EQ(before.st_gid, after.st_gid);
    EXPECT_NE(before.st_ino, after.st_ino) << "a new file in the old one's place";
}

TEST_F(IniFileWriteTest, AnOwnerThatCannotBeKeptIsNoFailure) {
    m_ini.SetItem("s", "b");
    const PosixFault fault("fchown", EPERM);
    EXPECT_EQ("[s]\na\nb\n", ClosedText());
    EXPECT_EQ(2, fault.Calls()) << "the group is tried alone";
}

TEST_F(IniFileWriteTest, ALinkStaysALinkAndItsTargetIsWritten) {
    ASSERT_TRUE(fs::create_directory(m_dir.File("real")));
    WriteFile(m_dir.File("real/target"), "[s]\na\n");
    fs::create_symlink("real/target", m_dir.File("second"));
    fs::create_symlink("second", m_dir.File("first"));
    ASSERT_EQ(1, m_ini.Open(m_dir.File("first").c_str(), "a+"));
    m_ini.SetItem("s", "b");
    m_ini.Close();
    EXPECT_EQ("second", fs::read_symlink(m_dir.File("first")));
    EXPECT_EQ("real/target", fs::read_symlink(m_dir.File("second")));
    fs::rename(m_dir.File("real/target"), Path());
    EXPECT_EQ("[s]\na\nb\n", IniText());
    EXPECT_TRUE(fs::is_empty(m_dir.File("real")));
}

TEST_F(IniFileWriteTest, ALinkToAMissingFileMakesIt) {
    fs::create_symlink("target", m_dir.File("link"));
    ASSERT_EQ(1, m_ini.Open(m_dir.File("link").c_str(), "a+"));
    m_ini.SetItem("s", "b");
    m_ini.Close();
    EXPECT_TRUE(fs::is_symlink(m_dir.File("link")));
    fs::rename(m_dir.File("target"), Path());
    EXPECT_EQ("[s]\nb\n", IniText());
}

TEST_F(IniFileWriteTest, AFileThatBecameALinkOrAFolderStaysSo) {
    WriteFile(m_dir.File("other"), "other");
    fs::remove(Path());
    fs::create_symlink("other", Path());
    m_ini.SetItem("s", "b");
    EXPECT_EQ("other", ClosedText());
    EXPECT_TRUE(fs::is_symlink(Path()));
    fs::remove(Path());
    Open();
    m_ini.SetItem("s", "b");
    fs::remove(Path());
    fs::create_directory(Path());
    m_ini.Close();
    EXPECT_TRUE(fs::is_empty(Path()));
}

TEST_F(IniFileWriteTest, ARelativePathMeansTheFileThatWasOpened) {
    const fs::path before = fs::current_path();
    fs::current_path(m_dir.Path());
    EXPECT_EQ(1, m_ini.Open("kvsmple.ini", "a+"));
    fs::current_path(before);
    m_ini.SetItem("s", "b");
    EXPECT_EQ("[s]\na\nb\n", ClosedText());
    EXPECT_FALSE(fs::exists("kvsmple.ini"));
}

TEST_F(IniFileWriteTest, AFileThatWentAwayIsMadeAgain) {
    const mode_t nMask = umask(022);
    fs::remove(Path());
    m_ini.SetItem("s", "b");
    EXPECT_EQ("[s]\na\nb\n", ClosedText());
    umask(nMask);
    EXPECT_EQ(0644u, StatusOf(Path()).st_mode & 07777);
}

TEST_F(IniFileWriteTest, WithoutItsFolderChangesAreLost) {
    ASSERT_TRUE(fs::create_directory(m_dir.File("folder")));
    ASSERT_EQ(1, m_ini.Open(m_dir.File("folder/ini").c_str(), "a+"));
    fs::remove_all(m_dir.File("folder"));
    m_ini.SetItem("s", "b");
    m_ini.Close();
    EXPECT_FALSE(fs::exists(m_dir.File("folder")));
    ExpectNothingBeside();
}

TEST_F(IniFileWriteTest, EveryFailingCallLeavesTheOldFileWhole) {
    const struct {
        const char* pszCall;
        int nError;
        const char* pszWhy;
    } kRows[] = {
        {"open", EACCES, "no right to write to the file"},
        {"fstat", EIO, "the file is unknown"},
        {"write", ENOSPC, "the disk is full"},
        {"write", 0, "nothing is written"},
        {"fchmod", EPERM, "the permissions cannot be kept"},
        {"fsync", EIO, "the bytes do not reach the disk"},
        {"linkat", EIO, "the new file gets no name"},
        {"rename", EIO, "the place cannot be taken"},
    };
    for (const auto& row : kRows) {
        m_ini.SetItem("s", "b");
        int nCalls = 0;
        {
            const PosixFault fault(row.pszCall, row.nError);
            m_ini.Close();
            nCalls = fault.Calls();
        }
        EXPECT_EQ(1, nCalls) << row.pszWhy;
        EXPECT_EQ("[s]\na\n", IniText()) << row.pszWhy;
        ExpectNothingBeside();
        EXPECT_EQ(1, Open());
        EXPECT_EQ((Texts{"a"}), Items("s"));
    }
}

TEST_F(IniFileWriteTest, NoRoomForAnotherFileLeavesTheOldOneWhole) {
    m_ini.SetItem("s", "b");
    const PosixFault unnamed("open", ENOSPC, 2), named("open", ENOSPC, 2);  // the second call and the third
    EXPECT_EQ("[s]\na\n", ClosedText());
    EXPECT_EQ(3, unnamed.Calls());
    ExpectNothingBeside();
}

TEST_F(IniFileWriteTest, WhereNoFileMayBeMadeTheOldOneIsWrittenOver) {
    m_ini.SetItem("s", "b");
    const PosixFault unnamed("open", EACCES, 2), named("open", EACCES, 2);
    EXPECT_EQ("[s]\na\nb\n", ClosedText());
    EXPECT_EQ(4, unnamed.Calls());
    ExpectNothingBeside();
}

TEST_F(IniFileWriteTest, WhereNoFileMayTakeThePlaceTheOldOneIsWrittenOver) {
    for (const int nError : {EACCES, EBUSY, EXDEV}) {
        WriteIni("[s]\na\n");
        Open();
        m_ini.SetItem("s", "b");
        const PosixFault fault("rename", nError);
        EXPECT_EQ("[s]\na\nb\n", ClosedText()) << nError;
        EXPECT_EQ(1, fault.Calls());
        ExpectNothingBeside();
    }
}

TEST_F(IniFileWriteTest, WhatAKilledWriteLeftGoesWithTheNext) {
    WriteFile(m_dir.File("kvsmple.ini.new-aB3xYz"), "[s]\n");
    m_ini.SetItem("s", "b");
    EXPECT_EQ("[s]\na\nb\n", ClosedText());
    ExpectNothingBeside();
}

TEST_F(IniFileWriteTest, ADiskThatFillsUpHalfWayLeavesTheOldFileWhole) {
    m_ini.SetItem("s", std::string(100, 'b').c_str());
    {
        const FileSizeLimit limit(50);
        m_ini.Close();
    }
    EXPECT_EQ("[s]\na\n", IniText());
    ExpectNothingBeside();
}

TEST_F(IniFileWriteTest, AShortWriteIsContinued) {
    m_ini.SetItem("s", "b");
    const PosixFault fault("write", -3);
    EXPECT_EQ("[s]\na\nb\n", ClosedText());
    EXPECT_EQ(2, fault.Calls());
}

TEST_F(IniFileWriteTest, AnInterruptedWriteIsRepeated) {
    m_ini.SetItem("s", "b");
    const PosixFault fault("write", EINTR);
    EXPECT_EQ("[s]\na\nb\n", ClosedText());
    EXPECT_EQ(2, fault.Calls());
}

TEST_F(IniFileWriteTest, AFolderThatCannotBeSyncedHasTheNewFile) {
    // Calls in a write: open old file, new file, folder; fsync new file, folder.
    for (const auto& [pszCall, nNth] : {std::pair{"open", 3}, {"fsync", 2}}) {
        WriteIni("[s]\na\n");
        Open();
        m_ini.SetItem("s", "b");
        const PosixFault fault(pszCall, EIO, nNth);
        EXPECT_EQ("[s]\na\nb\n", ClosedText());
        EXPECT_EQ(nNth, fault.Calls()) << pszCall;
        ExpectNothingBeside();
    }
}

TEST_F(IniFileWriteTest, MoreThanOpenWouldReadIsNotWritten) {
    OpenWith(LargestContent());
    m_ini.SetItem("s", "b");
    EXPECT_EQ(LargestContent(), ClosedText());
}

TEST_F(IniFileWriteTest, OfTwoThatWriteTheLastWins) {
    IniFile other;
    ASSERT_EQ(1, other.Open(Path().c_str(), "a+"));
    m_ini.SetItem("s", "mine");
    other.SetItem("s", "theirs");
    EXPECT_EQ("[s]\na\nmine\n", ClosedText());
    other.Close();
    EXPECT_EQ("[s]\na\ntheirs\n", IniText());
}

TEST_F(IniFileWriteTest, WhoeverReadsSeesAWholeFileWhileOthersWrite) {
    const std::string strOne = "[s]\n" + std::string(1000, '1') + "\n";
    const std::string strTwo = "[s]\n" + std::string(500, '2') + "\n";
    WriteIni(strOne);
    const auto writeOften = [this](const std::string& strText) {
        for (int i = 0; i < 50; ++i) {
            IniFile ini;
            EXPECT_EQ(1, ini.Open(Path().c_str(), "r"));
            for (const char ch : {'1', '2'})
                ini.RemoveItem("s", std::string(ch == '1' ? 1000 : 500, ch).c_str());
            ini.SetItem("s", strText.substr(4, strText.size() - 5).c_str());
            ini.Close();
        }
    };
    {
        const std::jthread first(writeOften, strOne), second(writeOften, strTwo);
        for (int i = 0; i < 200; ++i) EXPECT_THAT(IniText(), testing::AnyOf(strOne, strTwo));
    }
    EXPECT_THAT(IniText(), testing::AnyOf(strOne, strTwo));
    ExpectNothingBeside();
}

TEST_F(IniFileWriteTest, AnEmptyListIsNotWritten) {
    ASSERT_EQ(1, Open("w"));
    const struct stat before = StatusOf(Path());
    EXPECT_EQ("", ClosedText());
    EXPECT_EQ(before.st_ino, StatusOf(Path()).st_ino);
}

}  // namespace Kestrova::Test
