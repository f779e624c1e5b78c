// The end of the program from outside.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/gui/ManagerOnScreen.h"

namespace Kestrova::Test {
namespace {

using testing::IsEmpty;

class SignalTest : public testing::TestWithParam<int> {
protected:
    UserOnScreen m_user;
};

TEST_P(SignalTest, ABuildIsCancelledAndTheSettingsAreWritten) {
    ManagerOnScreen manager(m_user, kManager, {"manager", m_user.SlowSource(), m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(manager.WaitUntilReady());
    manager.PressBox(5);
    ASSERT_TRUE(manager.WaitForEnabled(kMainButton));
    manager.Press(kMainButton);
    ASSERT_TRUE(manager.WaitForProgress());
    manager.Process().Signal(GetParam());
    EXPECT_EQ(2, manager.Process().Wait());
    EXPECT_THAT(m_user.FilesInBanksFolder(), IsEmpty());
    EXPECT_EQ("[AdditionalBankPaths]\n" + m_user.BanksFolder() + "\n", m_user.Settings());
}

TEST_P(SignalTest, AnIdleManagerEndsAtOnce) {
    ManagerOnScreen manager(m_user, kManager, {"manager", m_user.Source(), m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(manager.WaitUntilReady());
    manager.Process().Signal(GetParam());
    EXPECT_EQ(0, manager.Process().Wait());
}

TEST_P(SignalTest, AnOpenAlertDoesNotHoldTheEndUp) {
    ManagerOnScreen manager(m_user, kManager, {"manager", m_user.File("none.kvs"), m_user.BanksFolder()});
    ASSERT_NE(0u, manager.WaitForWindow("Select source."));
    manager.Process().Signal(GetParam());
    EXPECT_EQ(9, manager.Process().Wait());  // the source cannot be read
}

INSTANTIATE_TEST_SUITE_P(Signals, SignalTest, testing::Values(SIGINT, SIGTERM, SIGHUP));

}  // namespace
}  // namespace Kestrova::Test
