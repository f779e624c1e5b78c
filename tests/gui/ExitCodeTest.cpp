// What an installer learns from the exit code when something was refused at once.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include "codec/ReadBudget.h"
#include "tests/gui/ManagerOnScreen.h"
#include "tests/support/SoundFileMaker.h"

namespace Kestrova::Test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kSourceUnreadable = 9, kBankUnwritable = 10;

class ExitCodeTest : public testing::Test {
protected:
    ExitCodeTest() {
        WriteFile(m_user.File("Empty.kvs"), std::string());
        WriteFile(m_user.File("Random.kvs"), std::string("\x9d\x03\xf1\x5c\x77", 5));
        WriteFile(m_user.File("file"), std::string("no folder"));
    }
    // Reads the alert, closes the window; the exit code.
    static int LeaveAfter(ManagerOnScreen& manager, const char* pszAlert) {
        EXPECT_TRUE(manager.AnswerAlert(pszAlert, "Return"));
        manager.Close();
        return manager.Process().Wait();
    }

    UserOnScreen m_user;
};

TEST_F(ExitCodeTest, ASourceThatCannotBeReadGives9) {
    for (const char* const pszName : {"Missing.kvs", "Empty.kvs", "Random.kvs", "NoSuffix"}) {
        ManagerOnScreen manager(m_user, kCreate, {"create44100", m_user.File(pszName), m_user.BanksFolder()});
        ASSERT_TRUE(manager.HasWindow());
        EXPECT_EQ(kSourceUnreadable, LeaveAfter(manager, "Select source.")) << pszName;
    }
}

// A few thousand bytes of the file expand to 64 MiB and one frame.
TEST_F(ExitCodeTest, AWaveThatExpandsBeyondTheReadBudgetGives9) {
    std::filesystem::create_directory(m_user.File("Silence"));
    WriteFile(m_user.File("Silence/C4.wav"), MakeWav({.data = Bytes(kReadBudgetFloor + 2)}));
    const std::string strSource = m_user.File("Silence.kvs");
    ASSERT_EQ(0, UserOnScreen::RunKvBank({"import", "-q", m_user.File("Silence"), "-o", strSource}));
    ManagerOnScreen manager(m_user, kCreate, {"create44100", strSource, m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    EXPECT_EQ(kSourceUnreadable, LeaveAfter(manager, "Bank(s) creation failed."));
    EXPECT_THAT(m_user.FilesInBanksFolder(), IsEmpty());
}

TEST_F(ExitCodeTest, AFolderThatCannotBeMadeGives10) {
    ManagerOnScreen manager(m_user, kCreate, {"create44100", m_user.Source(), m_user.File("file/banks")});
    ASSERT_TRUE(manager.HasWindow());
    EXPECT_EQ(kBankUnwritable, LeaveAfter(manager, "Bank(s) creation failed."));
}

TEST_F(ExitCodeTest, UninstallationThatLeavesABankGives10) {
    ASSERT_EQ(0, UserOnScreen::RunKvBank(
                     {"build", "-q", m_user.Source(), "-d", m_user.BanksFolder(), "-r", "44100,48000"}));
    const int nHeld = open(m_user.BankOf(m_user.Source(), 44100).c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(0, flock(nHeld, LOCK_EX)) << "as a program that builds this bank";
    ManagerOnScreen manager(m_user, kUninstall, {"uninstall", m_user.Source(), m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(manager.WaitForEnabled(kMainButton));
    manager.Press(kMainButton);
    EXPECT_EQ(kBankUnwritable, manager.Process().Wait());
    EXPECT_THAT(m_user.FilesInBanksFolder(), ElementsAre("Demo_0AC44.kvn"));
    close(nHeld);
}

}  // namespace
}  // namespace Kestrova::Test
