// The display goes away: its server ends while the program shows its window.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/gui/ManagerOnScreen.h"

namespace Kestrova::Test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DisplayEndTest : public testing::Test {
protected:
    // Also: the settings are written, and one line says what has happened.
    void ExpectToldFailure(ManagerOnScreen& manager) {
        EXPECT_EQ(255, manager.Process().Wait());
        EXPECT_EQ("kvbankmgr: the display has gone away, so the program ends.\n", manager.Process().Errors());
        EXPECT_EQ("", manager.Process().Output());
        EXPECT_EQ("[AdditionalBankPaths]\n" + m_user.BanksFolder() + "\n", m_user.Settings());
    }

    UserOnScreen m_user;
};

TEST_F(DisplayEndTest, AnIdleManagerSaysSoAndFails) {
    ManagerOnScreen manager(m_user, kManager, {"manager", m_user.Source(), m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(manager.WaitUntilReady());
    m_user.Screen().End();
    ExpectToldFailure(manager);
}

TEST_F(DisplayEndTest, AnOpenAlertMakesNoDifference) {
    ManagerOnScreen manager(m_user, kManager, {"manager", m_user.File("none.kvs"), m_user.BanksFolder()});
    const XWindow alert = manager.WaitForWindow("Select source.");
    ASSERT_NE(0u, alert);
    // Before it is drawn the toolkit would say that it could not draw it.
    ASSERT_TRUE(WaitUntil([&] { return m_user.Screen().IsDrawn(alert); }));
    m_user.Screen().End();
    EXPECT_EQ(255, manager.Process().Wait());
    EXPECT_EQ("kvbankmgr: the display has gone away, so the program ends.\n", manager.Process().Errors());
}

// The first bank is finished, the second is not, the third has not begun.
// Q138
TEST_F(DisplayEndTest, ABuildIsCancelledAndWhatIsFinishedStays) {
    const std::string& strSource = m_user.SlowSource();
    ManagerOnScreen manager(m_user, kManager, {"manager", strSource, m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(manager.WaitUntilReady());
    for (const int nRate : {1, 2, 5}) manager.PressBox(nRate);
    ASSERT_TRUE(manager.WaitForTicks({1, 2, 5}));
    ASSERT_TRUE(manager.WaitForEnabled(kMainButton));
    manager.Press(kMainButton);
    ASSERT_TRUE(WaitUntil([&] { return m_user.FilesInBanksFolder().size() == 2; }));
    m_user.Screen().End();
    ExpectToldFailure(manager);
    EXPECT_THAT(m_user.FilesInBanksFolder(), ElementsAre("Slow_0BB80.kvn"));
    EXPECT_EQ(0, UserOnScreen::RunKvBank({"verify", "-q", m_user.BankOf(strSource, 48000)}));
}

TEST_F(DisplayEndTest, ACreationThatHasJustBegunLeavesNothing) {
    ManagerOnScreen manager(m_user, kCreate, {"create192000", m_user.SlowSource(), m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(WaitUntil([&] { return !m_user.FilesInBanksFolder().empty(); }));
    m_user.Screen().End();
    ExpectToldFailure(manager);
    EXPECT_THAT(m_user.FilesInBanksFolder(), IsEmpty());
}

}  // namespace
}  // namespace Kestrova::Test
