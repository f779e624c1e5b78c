#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "shared/System/kvLogFile.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

// The text with "TIME" in place of every time that it may hold, from the given one to now.
std::string WithoutTimes(std::string strText, time_t start) {
    for (time_t t = start; t <= std::time(nullptr); ++t) {
        std::string strTime = std::ctime(&t);
        strTime.pop_back();
        for (size_t n; (n = strText.find(strTime)) != std::string::npos;)
            strText.replace(n, strTime.size(), "TIME");
    }
    return strText;
}

std::string StandardOutputOf(const std::function<void()>& work) {
    testing::internal::CaptureStdout();
    work();
    return testing::internal::GetCapturedStdout();
}

constexpr int kMostOpenFiles = 1024;  // of this program, by far

// This process's descriptors that are open on a file.
std::vector<int> DescriptorsOf(const std::string& strPath) {
    std::vector<int> files;
    struct stat wanted = {}, found = {};
    if (stat(strPath.c_str(), &wanted) != 0) ADD_FAILURE() << strPath << ": no such file";
    for (int nFile = 0; nFile < kMostOpenFiles; ++nFile)
        if (fstat(nFile, &found) == 0 && found.st_dev == wanted.st_dev && found.st_ino == wanted.st_ino)
            files.push_back(nFile);
    return files;
}

class LogFileTest : public testing::Test {
protected:
    ~LogFileTest() override { IOLogClose(); }

    std::string Path() const { return m_dir.File("logfile.log"); }
    std::string LogText(const std::string& strName = "logfile.log") const {
        const Bytes bytes = ReadFile(m_dir.File(strName));
        return WithoutTimes({bytes.begin(), bytes.end()}, m_start);
    }
    void Open(const char* pszTitle, unsigned nFlags = kLogNewFile) const {
        IOLogOpen(pszTitle, 0, nFlags, Path().c_str());
    }
    // The log is open and has the title, which the line about opening does not tell.
    void OpenThenTitle(const std::string& strTitle) const {
        Open("");
        IOLogOpen(strTitle.c_str(), 0, 0, nullptr);
    }
    // What follows the line about opening.
    std::string Messages() const {
        const std::string strText = LogText();
        return strText.substr(strText.find('\n') + 1);
    }

    const TempDir m_dir;
    const time_t m_start = std::time(nullptr);
};

}  // namespace

TEST_F(LogFileTest, LoggingBeforeOpeningWritesNothing) {
    EXPECT_EQ("", StandardOutputOf([] {
                  IOLog("%s\n", "a");
                  IOLog1(true, "b\n");
                  IOPrint("%d\n", 1);
                  IOPrint1(true, "c\n");
                  IOLogClose();
              }));
    const PosixFault fault("write", EIO);
    IOLog("dropped\n");
    EXPECT_EQ(0, fault.Calls());
}

TEST_F(LogFileTest, MessagesHaveTheTitleAndPrintsHaveNone) {
    Open("Title: ");
    IOLog("%s %d\n", "one", 1);
    IOLog1(true, "%c\n", '2');
    IOPrint("%s\n", "three");
    IOPrint1(true, "%d%%\n", 4);
    EXPECT_EQ("Title: one 1\nTitle: 2\nthree\n4%\n", Messages());
}

TEST_F(LogFileTest, AFalseConditionDropsTheMessage) {
    Open("");
    IOLog1(false, "a\n");
    IOPrint1(false, "%s\n", "b");
    EXPECT_EQ("Loaded at TIME.\n", LogText());
}

TEST_F(LogFileTest, NoLineEndAndNoTerminatorIsAdded) {
    Open("T ");
    IOLog("a");
    IOPrint("b");
    IOPrint("%s", "");
    EXPECT_EQ("T ab", Messages());
}

TEST_F(LogFileTest, AMessageIsCutAt258Characters) {
    const std::string strLong(300, 'x');
    Open("Title ");
    IOLog("%s", strLong.c_str());
    EXPECT_EQ("Title " + strLong.substr(0, 252), Messages());
    Open("");
    IOPrint("%s", strLong.c_str());
    EXPECT_EQ(strLong.substr(0, 258), Messages());
    Open("");
    IOPrint("%s", strLong.substr(0, 258).c_str());
    IOPrint("|");
    EXPECT_EQ(strLong.substr(0, 258) + "|", Messages());
}
// Q37

// Q37
TEST_F(LogFileTest, TitleAndFormatTogetherAreCutBeforeTheArgumentsArePutIn) {
    const std::string strTitle(254, 't');
    OpenThenTitle(strTitle);
    IOLog("%s%s%s", "", "b", "c");
    EXPECT_EQ(strTitle + "b", Messages());
    OpenThenTitle(strTitle);
    IOLog("%sab%s", "", "c");
    EXPECT_EQ(strTitle + "ab", Messages());
}

TEST_F(LogFileTest, AConversionThatTheCutBreaksIsLeftOut) {
    const std::string strTitle(255, 't');
    OpenThenTitle(strTitle);
    IOLog("a%5d", 1);
    IOLog("%-7d", 2);
    IOLog("%lld", 3LL);
    IOLog("ab%%");
    EXPECT_EQ(strTitle + "a" + strTitle + strTitle + strTitle + "ab", Messages());
}

TEST_F(LogFileTest, ATitleOfMoreThan258CharactersIsTheWholeMessage) {
    const std::string strTitle(300, 't');
    OpenThenTitle(strTitle);
    IOLog("%s", "a");
    EXPECT_EQ(strTitle.substr(0, 258), Messages());
}
// Q38

// Q38
TEST_F(LogFileTest, ATitleIsAPartOfTheFormat) {
    Open("100%% ");
    IOLog("%s\n", "one");
    IOPrint("%s\n", "two");
    EXPECT_EQ("100%% ; loaded at TIME.\n100% one\ntwo\n", LogText());
}

TEST_F(LogFileTest, ATextThatCannotBeMadeIsEmpty) {
    OpenThenTitle("T");
    IOLog("%ls", L"\x2603");  // no character of the C locale
    IOPrint("%ls", L"\x2603");
    IOLog("\n");
    EXPECT_EQ("T\n", Messages());
}

TEST_F(LogFileTest, EachMessageIsOneWrite) {
    Open("T ");
    const PosixFault fault("write", 0, -1);
    IOLog("%s %s\n", "a", "b");
    EXPECT_EQ(1, fault.Calls());
    IOPrint("c\n");
    EXPECT_EQ(2, fault.Calls());
}

TEST_F(LogFileTest, AnInterruptedWriteIsRepeatedAndAFailedOneIsNot) {
    Open("");
    {
        const PosixFault fault("write", EINTR);
        IOLog("a\n");
        EXPECT_EQ(2, fault.Calls());
    }
    const PosixFault fault("write", ENOSPC);
    IOLog("b\n");
    EXPECT_EQ(1, fault.Calls());
    EXPECT_EQ("a\n", Messages());
}

TEST_F(LogFileTest, MessagesOfManyThreadsStayWhole) {
    Open("T ", kLogAppend);
    const auto logOften = [](char ch) {
        for (int i = 0; i < 200; ++i) IOLog("%s\n", std::string(200, ch).c_str());
    };
    std::vector<std::thread> threads;
    for (const char ch : {'a', 'b', 'c', 'd'}) threads.emplace_back(logOften, ch);
    for (std::thread& thread : threads) thread.join();
    std::istringstream lines(Messages());
    std::set<std::string> different;
    size_t nLines = 0;
    for (std::string strLine; std::getline(lines, strLine); ++nLines) different.insert(strLine);
    EXPECT_EQ(800u, nLines);
    EXPECT_THAT(different, testing::ElementsAre("T " + std::string(200, 'a'), "T " + std::string(200, 'b'),
                                                "T " + std::string(200, 'c'), "T " + std::string(200, 'd')));
}

TEST_F(LogFileTest, OpeningAndClosingTellTheTime) {
    Open("Bank");
    EXPECT_EQ("Bank; loaded at TIME.\n", LogText());
    IOLogClose();
    EXPECT_EQ("Bank; loaded at TIME.\nUnloaded at TIME.\n", LogText());
    for (const char* pszTitle : {"", static_cast<const char*>(nullptr)}) {
        Open(pszTitle);
        IOLogClose();
        EXPECT_EQ("Loaded at TIME.\nUnloaded at TIME.\n", LogText());
    }
}

TEST_F(LogFileTest, ClosingForgetsTheTitleAndDropsMessages) {
    Open("Bank");
    IOLogClose();
    IOLogClose();
    IOLog("late\n");
    EXPECT_EQ("Bank; loaded at TIME.\nUnloaded at TIME.\n", LogText());
    EXPECT_TRUE(DescriptorsOf(Path()).empty());
    Open(nullptr);
    IOLog("a\n");
    EXPECT_EQ("a\n", Messages());
}

TEST_F(LogFileTest, FlagsChooseBetweenEmptyingAndAppending) {
    WriteFile(Path(), "old\n");
    Open("", kLogAppend);
    EXPECT_EQ("old\nLoaded at TIME.\n", LogText());
    Open("", kLogNewFile | kLogAppend);
    EXPECT_EQ("Loaded at TIME.\n", LogText());
    Open("", kLogNewFile);
    EXPECT_EQ("Loaded at TIME.\n", LogText());
}

TEST_F(LogFileTest, FlagValuesAreThose) {
    EXPECT_EQ(0x0002u, kLogNewFile);
    EXPECT_EQ(0x0004u, kLogAppend);
    EXPECT_EQ(0x4000u, kLogInTmp);
    EXPECT_EQ(0x8000u, kLogLeaveAsIs);
}
// Q39

// Q39
TEST_F(LogFileTest, WithoutAFileFlagOnlyTheTitleIsTaken) {
    Open("first ", 1 | 8 | kLogInTmp);
    EXPECT_FALSE(fs::exists(Path()));
    EXPECT_EQ("", StandardOutputOf([] { IOLog("a\n"); }));
    Open("second ");
    Open("third ", 0);
    IOLog("a\n");
    EXPECT_EQ("second ; loaded at TIME.\nthird a\n", LogText());
}

TEST_F(LogFileTest, TheLeaveFlagDoesNothingAtAll) {
    Open("first ");
    IOLogOpen("second ", 0, kLogLeaveAsIs | kLogNewFile, m_dir.File("other").c_str());
    IOLog("a\n");
    EXPECT_EQ("first ; loaded at TIME.\nfirst a\n", LogText());
    EXPECT_FALSE(fs::exists(m_dir.File("other")));
}

TEST_F(LogFileTest, TheTmpFlagPutsTheFileBelowTmp) {
    const TempDir dir;
    ASSERT_EQ("/tmp", dir.Path().parent_path());
    const std::string strName = dir.Path().filename().string() + "/logfile.log";
    IOLogOpen("T", 0, kLogInTmp | kLogAppend, strName.c_str());
    IOLogClose();
    EXPECT_TRUE(fs::exists(dir.File("logfile.log")));
}

TEST_F(LogFileTest, TheDefaultNameIsTaken) {
    EXPECT_STREQ("logfile.log", kDefLogFileName);
    const fs::path before = fs::current_path();
    fs::current_path(m_dir.Path());
    IOLogOpen("T", 0, kLogNewFile);
    fs::current_path(before);
    EXPECT_EQ("T; loaded at TIME.\n", LogText());
}

TEST_F(LogFileTest, OpeningAnotherFileClosesTheFirst) {
    Open("T");
    IOLogOpen("U", 0, kLogNewFile, m_dir.File("other").c_str());
    EXPECT_EQ("T; loaded at TIME.\nUnloaded at TIME.\n", LogText());
    EXPECT_EQ("U; loaded at TIME.\n", LogText("other"));
    EXPECT_TRUE(DescriptorsOf(Path()).empty());
}
// Q36

// Q36
TEST_F(LogFileTest, AFailedOpeningSendsMessagesToStandardOutput) {
    EXPECT_EQ("T a\nb\n", StandardOutputOf([this] {
                  IOLogOpen("T ", 0, kLogNewFile, m_dir.File("no/such/folder").c_str());
                  IOLog("a\n");
                  IOPrint("b\n");
                  IOLogClose();
                  IOLog("c\n");
              }));
    EXPECT_NE(-1, fcntl(STDOUT_FILENO, F_GETFD)) << "standard output is not closed with the log";
}

TEST_F(LogFileTest, InTheSharedFolderWhatIsNoFileOfOursIsNotOpened) {
    WriteFile(m_dir.File("target"), "old\n");
    fs::create_symlink("target", m_dir.File("link"));
    ASSERT_EQ(0, mkfifo(m_dir.File("pipe").c_str(), 0666));
    for (const std::string& strName : {m_dir.File("link"), m_dir.File("pipe"), m_dir.Path().string()})
        EXPECT_EQ("a\n", StandardOutputOf([&] {
                      IOLogOpen("", 0, kLogNewFile | kLogInTmp, ("../" + strName).c_str());
                      IOLog("a\n");
                  }))
            << strName;
    EXPECT_EQ("old\n", LogText("target"));
}

TEST_F(LogFileTest, ElsewhereALinkIsFollowed) {
    WriteFile(Path(), "old\n");
    fs::create_symlink("logfile.log", m_dir.File("link"));
    IOLogOpen("", 0, kLogAppend, m_dir.File("link").c_str());
    IOLog("a\n");
    EXPECT_EQ("old\nLoaded at TIME.\na\n", LogText());
}

TEST_F(LogFileTest, APipeTakesMessagesAndHoldsNothingUp) {
    ASSERT_EQ(0, mkfifo(m_dir.File("pipe").c_str(), 0600));
    IOLogOpen("", 0, kLogNewFile, m_dir.File("pipe").c_str());
    const int nReader = open(m_dir.File("pipe").c_str(), O_RDONLY | O_NONBLOCK);
    IOLog("a\n");
    char achText[100] = {};
    EXPECT_LT(0, read(nReader, achText, sizeof achText - 1));
    close(nReader);
    EXPECT_EQ("Loaded at TIME.\na\n", WithoutTimes(achText, m_start));
    EXPECT_EQ(fs::perms(0600), fs::status(m_dir.File("pipe")).permissions());
}

TEST_F(LogFileTest, AFolderOrNoNameIsNoLog) {
    const std::string strFolder = m_dir.Path().string();
    for (const char* pszName : {strFolder.c_str(), static_cast<const char*>(nullptr)})
        EXPECT_EQ("a\n", StandardOutputOf([&] {
                      IOLogOpen("", 0, kLogNewFile, pszName);
                      IOLog("a\n");
                  }));
}

TEST_F(LogFileTest, EveryFailingCallOfOpeningLeadsToStandardOutput) {
    for (const char* pszCall : {"open", "fstat", "flock", "ftruncate"}) {
        WriteFile(Path(), "old\n");
        EXPECT_EQ("a\n", StandardOutputOf([&] {
                      const PosixFault fault(pszCall, EIO);
                      Open("");
                      IOLog("a\n");
                  }))
            << pszCall;
        EXPECT_EQ("old\n", LogText());
        EXPECT_TRUE(DescriptorsOf(Path()).empty()) << pszCall;
    }
}

TEST_F(LogFileTest, PermissionsAre0666WhateverTheUmask) {
    const mode_t nMask = umask(077);
    Open("");
    umask(nMask);
    struct stat status {};
    ASSERT_EQ(0, stat(Path().c_str(), &status));
    EXPECT_EQ(0666u, status.st_mode & 07777);
}

TEST_F(LogFileTest, PermissionsThatCannotBeSetAreNoFailure) {
    const PosixFault fault("fchmod", EPERM);
    Open("");
    IOLog("a\n");
    EXPECT_EQ("Loaded at TIME.\na\n", LogText());
}

TEST_F(LogFileTest, TheFileIsUnderASharedLockAndClosedOnExec) {
    Open("");
    const std::vector<int> files = DescriptorsOf(Path());
    ASSERT_EQ(1u, files.size());
    EXPECT_EQ(FD_CLOEXEC, fcntl(files[0], F_GETFD));
    const int nOther = open(Path().c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(0, flock(nOther, LOCK_SH | LOCK_NB));
    EXPECT_EQ(-1, flock(nOther, LOCK_EX | LOCK_NB));
    EXPECT_EQ(EWOULDBLOCK, errno);
    close(nOther);
}

TEST_F(LogFileTest, AFileThatAnotherHoldsAloneIsNeitherEmptiedNorWaitedFor) {
    WriteFile(Path(), "old\n");
    const int nOther = open(Path().c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(0, flock(nOther, LOCK_EX | LOCK_NB));
    EXPECT_EQ("a\n", StandardOutputOf([this] {
                  Open("");
                  IOLog("a\n");
              }));
    close(nOther);
    EXPECT_EQ("old\n", LogText());
}

TEST_F(LogFileTest, ATitleThatCannotBeCopiedIsTheDefaultOne) {
    const PosixFault fault("strdup", ENOMEM);
    Open("T");
    EXPECT_EQ("Loaded at TIME.\n", LogText());
}

TEST_F(LogFileTest, ALogOfItsOwnIsClosedWithTheObject) {
    {
        LogFile log;
        log.openLog("mine", kLogNewFile, Path().c_str());
        IOLog("dropped\n");
    }
    EXPECT_EQ("mine; loaded at TIME.\nUnloaded at TIME.\n", LogText());
    EXPECT_STREQ("", LogFile::szDefTitle);
}

TEST_F(LogFileTest, TheEndOfTheProcessClosesTheLog) {
    EXPECT_EXIT(
        {
            Open("child");
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EQ("child; loaded at TIME.\nUnloaded at TIME.\n", LogText());
}

}  // namespace Kestrova::Test
