// What an instrument's installer and uninstaller start.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/gui/ManagerOnScreen.h"

namespace Kestrova::Test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class InstallModesTest : public testing::Test {
protected:
    UserOnScreen m_user;
};

TEST_F(InstallModesTest, InstallationBuildsTheLowestRateAndEndsByItself) {
    ManagerOnScreen manager(m_user, kInstall, {"install", m_user.Source(), m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(manager.WaitForEnabled(kMainButton));
    manager.Press(kMainButton);
    EXPECT_EQ(0, manager.Process().Wait());
    EXPECT_THAT(m_user.FilesInBanksFolder(), ElementsAre("Demo_0AC44.kvn"));
    EXPECT_EQ(0, UserOnScreen::RunKvBank(
                     {"verify", "-q", m_user.BankOf(m_user.Source(), 44100), "--source", m_user.Source()}));
}

TEST_F(InstallModesTest, LeavingTheInstallationIsConfirmed) {
    ManagerOnScreen manager(m_user, kInstall, {"Install", m_user.Source(), m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(manager.WaitForEnabled(kMainButton));
    manager.Close();
    ASSERT_TRUE(manager.AnswerAlert("Confirm exit", "Escape"));  // No
    EXPECT_FALSE(manager.Process().HasEnded());
    manager.Close();
    ASSERT_TRUE(manager.AnswerAlert("Confirm exit", "Return"));  // Yes
    EXPECT_EQ(0, manager.Process().Wait());
    EXPECT_THAT(m_user.FilesInBanksFolder(), IsEmpty());
}

TEST_F(InstallModesTest, UninstallationRemovesEveryBankAndEnds) {
    ASSERT_EQ(0, UserOnScreen::RunKvBank({"build", "-q", m_user.Source(), "-d", m_user.BanksFolder(), "-r",
                                          "44100,48000,192000"}));
    ManagerOnScreen manager(m_user, kUninstall, {"uninstall", m_user.Source(), m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(manager.WaitForEnabled(kMainButton));
    EXPECT_TRUE(manager.WaitForTicks({1, 5}));
    EXPECT_TRUE(manager.IsTicked(0));
    manager.Close();
    ASSERT_TRUE(manager.AnswerAlert("Confirm exit", "Escape"));
    manager.Press(kMainButton);
    EXPECT_EQ(0, manager.Process().Wait());
    EXPECT_THAT(m_user.FilesInBanksFolder(), IsEmpty());
}

TEST_F(InstallModesTest, UninstallationWithoutBanksEndsByItself) {
    ManagerOnScreen manager(m_user, kUninstall, {"uninstall", m_user.Source(), m_user.BanksFolder()});
    EXPECT_EQ(0, manager.Process().Wait());
}

}  // namespace
}  // namespace Kestrova::Test
