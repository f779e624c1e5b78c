// The bank manager as its user works with it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/gui/ManagerOnScreen.h"
#include "tests/support/SoundFontMaker.h"

namespace Kestrova::Test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int k48000 = 1, k96000 = 3;
const std::vector<int> kAllButTheLowest = {1, 2, 3, 4, 5};

class ManagerModeTest : public testing::Test {
protected:
    UserOnScreen m_user;
};

TEST_F(ManagerModeTest, TickedRatesAreBuiltAndUntickedOnesRemoved) {
    ManagerOnScreen manager(m_user, kManager, {"manager", m_user.Source(), m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(manager.WaitUntilReady());
    EXPECT_FALSE(manager.IsButtonEnabled(kMainButton));

    manager.PressBox(k48000);
    manager.PressBox(k96000);
    ASSERT_TRUE(manager.WaitForTicks({k48000, k96000}));
    ASSERT_TRUE(manager.WaitForEnabled(kMainButton));
    manager.Press(kMainButton);
    ASSERT_TRUE(manager.WaitForEndOfRun());
    EXPECT_FALSE(manager.IsShown(kProgressBar));
    EXPECT_TRUE(manager.WaitForTicks({k48000, k96000}));
    EXPECT_THAT(m_user.FilesInBanksFolder(), ElementsAre("Demo_0BB80.kvn", "Demo_17700.kvn"));
    EXPECT_EQ(0,
              UserOnScreen::RunKvBank({"verify", "-q", m_user.BankOf(m_user.Source(), 48000),
                                       m_user.BankOf(m_user.Source(), 96000), "--source", m_user.Source()}));

    manager.PressBox(k48000);
    ASSERT_TRUE(manager.WaitForTicks({k96000}));
    ASSERT_TRUE(manager.WaitForEnabled(kMainButton));
    manager.Press(kMainButton);
    ASSERT_TRUE(manager.WaitForEndOfRun());
    EXPECT_THAT(m_user.FilesInBanksFolder(), ElementsAre("Demo_17700.kvn"));
    EXPECT_TRUE(manager.WaitForTicks({k96000}));

    manager.Press(kCloseButton);
    EXPECT_EQ(0, manager.Process().Wait());
    EXPECT_EQ("[AdditionalBankPaths]\n" + m_user.BanksFolder() + "\n", m_user.Settings());
}

TEST_F(ManagerModeTest, ABuildShowsItsProgressAndCanBeCancelled) {
    ManagerOnScreen manager(m_user, kManager, {"manager", m_user.SlowSource(), m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(manager.WaitUntilReady());
    for (const int nRate : kAllButTheLowest) manager.PressBox(nRate);
    ASSERT_TRUE(manager.WaitForTicks(kAllButTheLowest));
    ASSERT_TRUE(manager.WaitForEnabled(kMainButton));
    manager.Press(kMainButton);
    ASSERT_TRUE(manager.WaitForProgress());
    EXPECT_TRUE(manager.IsShown(kProgressText));
    EXPECT_TRUE(manager.IsShown(kProgressPercent));
    manager.Close();  // refused while a bank is being built
    manager.Press(kCancelButton);
    ASSERT_TRUE(manager.AnswerAlert("Bank(s) creation failed.", "Return"));
    ASSERT_TRUE(manager.WaitForEndOfProgress());
    ASSERT_TRUE(manager.WaitForEnabled(kCloseButton));
    EXPECT_FALSE(fs::exists(m_user.BankOf(m_user.SlowSource(), 192000)));
    EXPECT_FALSE(manager.Process().HasEnded());

    manager.Key("Escape");                   // nothing runs: it closes
    EXPECT_EQ(2, manager.Process().Wait());  // the last result: cancelled
}

TEST_F(ManagerModeTest, EscapeCancelsABuild) {
    ManagerOnScreen manager(m_user, kManager, {"manager", m_user.SlowSource(), m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(manager.WaitUntilReady());
    manager.PressBox(5);
    ASSERT_TRUE(manager.WaitForEnabled(kMainButton));
    manager.Key("Return");  // presses the main button
    ASSERT_TRUE(manager.WaitForProgress());
    manager.Key("Escape");
    ASSERT_TRUE(manager.AnswerAlert("Bank(s) creation failed.", "Escape"));
    ASSERT_TRUE(manager.WaitForEnabled(kCloseButton));
    EXPECT_THAT(m_user.FilesInBanksFolder(), IsEmpty());
    manager.Close();
    EXPECT_EQ(2, manager.Process().Wait());
}

// One file is no bank at all. The other opens as a bank, and there is nothing in it.
TEST_F(ManagerModeTest, ABrokenSourceIsRefused) {
    const std::vector<std::pair<std::string, int>> sources = {{"no bank", 9},
                                                              {"QXDB" + std::string(16, '\1'), 11}};
    for (const auto& [strContent, nCode] : sources) {
        const std::string strBroken = m_user.File("Broken.kvs");
        WriteFile(strBroken, strContent);
        ManagerOnScreen manager(m_user, kManager, {"manager", strBroken, m_user.BanksFolder()});
        ASSERT_TRUE(manager.HasWindow());
        ASSERT_TRUE(manager.AnswerAlert("Select source.", "Return"));
        ASSERT_TRUE(manager.WaitForEnabled(kCloseButton));
        EXPECT_FALSE(manager.IsButtonEnabled(kMainButton));
        manager.Press(kCloseButton);
        EXPECT_EQ(nCode, manager.Process().Wait());
    }
}

// From the main button the focus goes on to "Close".
TEST_F(ManagerModeTest, EnterOnCloseClosesAndBuildsNothing) {
    ManagerOnScreen manager(m_user, kManager, {"manager", m_user.Source(), m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(manager.WaitUntilReady());
    manager.PressBox(5);
    ASSERT_TRUE(manager.WaitForTicks({5}));
    ASSERT_TRUE(manager.WaitForEnabled(kMainButton));
    manager.Key("Tab");
    manager.Key("Tab");
    manager.Key("Return");
    EXPECT_EQ(0, manager.Process().Wait());
    EXPECT_THAT(m_user.FilesInBanksFolder(), IsEmpty());
}

TEST_F(ManagerModeTest, ASourceIsChosenInTheFileChooser) {
    const std::string strBroken = m_user.File("Broken.kvs");
    WriteFile(strBroken, std::string("no bank"));
    ManagerOnScreen manager(m_user, kManager, {"manager", m_user.Source(), m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(manager.WaitUntilReady());
    manager.Press(kSourceChooser);
    const XWindow chooser = manager.WaitForWindow("Select source bank file:");
    ASSERT_NE(0u, chooser);
    m_user.Screen().Focus(chooser);
    m_user.Screen().Type(strBroken);
    m_user.Screen().Key("Return");
    ASSERT_TRUE(manager.AnswerAlert("Select source.", "Return"));
    manager.Close();
    EXPECT_EQ(9, manager.Process().Wait());
}

TEST_F(ManagerModeTest, ASoundFontAsTheSourceIsImportedAndItsBankBuilt) {
    const std::string strFont = m_user.File("Piano.sf2");
    WriteFile(strFont, MakeFont(SimpleFont()));
    ManagerOnScreen manager(m_user, kManager, {"manager", strFont, m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(manager.WaitUntilReady());
    manager.PressBox(k48000);
    ASSERT_TRUE(manager.WaitForTicks({k48000}));
    manager.Press(kMainButton);
    ASSERT_TRUE(manager.WaitForEndOfRun());
    manager.Press(kCloseButton);
    EXPECT_EQ(0, manager.Process().Wait());
    EXPECT_THAT(m_user.FilesInBanksFolder(), ElementsAre("Piano.kvs", "Piano_0BB80.kvn"));
}

TEST_F(ManagerModeTest, AFolderIsChosenInTheFolderChooserAndRemembered) {
    const std::string strOther = m_user.File("other");
    fs::create_directory(strOther);
    ManagerOnScreen manager(m_user, kManager, {"manager", m_user.Source(), m_user.BanksFolder()});
    ASSERT_TRUE(manager.HasWindow());
    ASSERT_TRUE(manager.WaitUntilReady());
    manager.Press(kTargetChooser);
    const XWindow chooser = manager.WaitForWindow("Select banks destination folder:");
    ASSERT_NE(0u, chooser);
    m_user.Screen().Focus(chooser);
    m_user.Screen().Type(strOther);
    m_user.Screen().Key("Return");
    ASSERT_TRUE(m_user.Screen().WaitForEnd(chooser));
    manager.Close();
    EXPECT_EQ(0, manager.Process().Wait());
    EXPECT_EQ("[AdditionalBankPaths]\n" + m_user.BanksFolder() + "\n" + strOther + "\n", m_user.Settings());
}

}  // namespace
}  // namespace Kestrova::Test
