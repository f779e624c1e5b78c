// The tick, and the event loop it comes from.
#include <QFileDialog>
#include <QMessageBox>
#include <QTimer>

#include "tests/app/qt/Answer.h"
#include "tests/app/qt/WindowFixture.h"

namespace Kestrova::Test {
namespace {

class TimerTest : public WindowTest {
protected:
    // Long enough for many ticks, if there were any; another timer measures the time.
    static void PassTheTimeOfTicks(int nTicks) {
        bool bOver = false;
        QTimer::singleShot(nTicks * kTimerMilliseconds, Qt::PreciseTimer, qApp, [&] { bOver = true; });
        EXPECT_TRUE(SpinUntil([&] { return bOver; }));
    }
    bool WaitForTicks(int nMore) {
        const int nFirst = m_owner.nTicks;
        return SpinUntil([&] { return m_owner.nTicks >= nFirst + nMore; });
    }
    static int Ask() {
        return AlertBox("Title", "Text", nullptr, "No", "Yes", kAlertStop, kAlertDefaultButton);
    }
    // Does it in the next tick, and in that one only.
    void InATick(std::function<void()> act) {
        m_owner.onTick = [this, act] {
            m_owner.onTick = nullptr;
            act();
        };
    }
};

TEST_F(TimerTest, TicksComeWhileTheWindowIsShown) {
    Show();
    EXPECT_TRUE(WaitForTicks(4));
}

TEST_F(TimerTest, NoTickComesBeforeTheWindowIsShown) {
    PassTheTimeOfTicks(4);
    EXPECT_EQ(0, m_owner.nTicks);
}

TEST_F(TimerTest, TheFirstTickComesWithTheEventLoopNotFromShowing) {
    GuiShowWindow(m_window, 1, 1);
    EXPECT_EQ(0, m_owner.nTicks);
    EXPECT_TRUE(WaitForTicks(1));
}

TEST_F(TimerTest, NoTickComesOnceTheWindowIsHidden) {
    Show();
    ASSERT_TRUE(WaitForTicks(2));
    GuiShowWindow(m_window, 0, 0);
    EXPECT_FALSE(m_window->isVisible());
    const int nTicks = m_owner.nTicks;
    PassTheTimeOfTicks(4);
    EXPECT_EQ(nTicks, m_owner.nTicks);
}

TEST_F(TimerTest, AWindowHiddenByItsOwnTickGetsNoFurtherOne) {
    InATick([this] { GuiShowWindow(m_window, 0, 0); });
    GuiShowWindow(m_window, 1, 0);
    ASSERT_TRUE(WaitForTicks(1));
    PassTheTimeOfTicks(4);
    EXPECT_EQ(1, m_owner.nTicks);
}

TEST_F(TimerTest, TicksComeAgainWhenTheWindowIsShownAgain) {
    Show();
    GuiShowWindow(m_window, 0, 0);
    Show();
    EXPECT_TRUE(WaitForTicks(2));
}

TEST_F(TimerTest, TicksGoOnUnderAnAlertOpenedByATick) {
    Show();
    int nAnswer = 0;
    std::vector<bool> asking;
    Answer answer([&](QDialog& dialog) {
        EXPECT_TRUE(WaitForTicks(4));
        asking.push_back(GuiIsAsking());
        QTest::keyClick(&dialog, Qt::Key_Return);
    });
    InATick([&] {
        asking.push_back(GuiIsAsking());
        nAnswer = Ask();
        asking.push_back(GuiIsAsking());
    });
    EXPECT_TRUE(SpinUntil([&] { return nAnswer != 0; }));
    EXPECT_EQ(kAlertDefaultButton, nAnswer);
    EXPECT_EQ((std::vector<bool>{false, true, false}), asking);
    EXPECT_TRUE(WaitForTicks(2)) << "and after it";
}

TEST_F(TimerTest, TicksGoOnUnderAChooserOpenedByATick) {
    Show();
    std::vector<bool> asking;
    Answer answer([&](QDialog& dialog) {
        EXPECT_TRUE(WaitForTicks(4));
        asking.push_back(GuiIsAsking());
        dialog.reject();
    });
    InATick([&] {
        String strPath;
        asking.push_back(GuiIsAsking());
        GuiSelectFolderDialog(m_window, "Title", strPath);
        asking.push_back(GuiIsAsking());
    });
    EXPECT_TRUE(SpinUntil([&] { return asking.size() == 3; }));
    EXPECT_EQ((std::vector<bool>{false, true, false}), asking);
}

TEST_F(TimerTest, AnAlertUnderAnAlertLeavesTheProgramAsking) {
    Show();
    bool bAskingBetween = false;
    Answer outer([&](QDialog& dialog) {
        Answer inner([](QDialog& second) { QTest::keyClick(&second, Qt::Key_Return); });
        EXPECT_EQ(kAlertDefaultButton, Ask());
        bAskingBetween = GuiIsAsking();
        dialog.reject();
    });
    EXPECT_EQ(kAlertCancelButton, Ask());
    EXPECT_TRUE(bAskingBetween);
    EXPECT_FALSE(GuiIsAsking());
}

TEST_F(TimerTest, TheLoopRunsUntilItIsQuit) {
    int nAtQuit = 0;
    m_owner.onTick = [&] {
        if (m_owner.nTicks < 3) return;
        nAtQuit = m_owner.nTicks;
        GuiQuitLoop();
    };
    Show();
    GuiRunLoop(m_window, &m_owner);
    EXPECT_GE(nAtQuit, 3);
    EXPECT_EQ(nAtQuit, m_owner.nTicks);
    EXPECT_TRUE(m_window->isVisible());
    EXPECT_TRUE(m_owner.events.empty()) << "quitting asks nobody to close";
}

TEST_F(TimerTest, TheLoopHasItsOwnOwner) {
    RecordingOwner second;
    second.onTick = [] { GuiQuitLoop(); };
    Show();
    const int nTicks = m_owner.nTicks;
    GuiRunLoop(m_window, &second);
    EXPECT_EQ(1, second.nTicks);
    EXPECT_EQ(nTicks, m_owner.nTicks);
    GuiShowWindow(m_window, 0, 0);
}

TEST_F(TimerTest, TheLoopRunsASecondTime) {
    m_owner.onTick = [] { GuiQuitLoop(); };
    Show();
    GuiRunLoop(m_window, &m_owner);
    const int nTicks = m_owner.nTicks;
    GuiRunLoop(m_window, &m_owner);
    EXPECT_EQ(nTicks + 1, m_owner.nTicks);
}

TEST_F(TimerTest, QuittingEndsAnOpenAlertAsCancelled) {
    Show();
    int nAnswer = 0;
    Answer answer([](QDialog&) { GuiQuitLoop(); });
    InATick([&] { nAnswer = Ask(); });
    GuiRunLoop(m_window, &m_owner);
    EXPECT_EQ(kAlertCancelButton, nAnswer);
    EXPECT_FALSE(GuiIsAsking());
}

TEST_F(TimerTest, QuittingFromATickUnderAnAlertEndsBoth) {
    Show();
    int nAnswer = 0;
    Answer answer([this](QDialog&) { m_owner.onTick = [] { GuiQuitLoop(); }; });
    InATick([&] { nAnswer = Ask(); });
    GuiRunLoop(m_window, &m_owner);
    EXPECT_EQ(kAlertCancelButton, nAnswer);
}

TEST_F(TimerTest, QuittingEndsAnOpenChooserAsCancelled) {
    Show();
    String strPath = "/before";
    int nAnswer = -1;
    Answer answer([](QDialog&) { GuiQuitLoop(); });
    InATick([&] { nAnswer = GuiSelectFileDialog(m_window, "Title", strPath, "Banks"); });
    GuiRunLoop(m_window, &m_owner);
    EXPECT_EQ(0, nAnswer);
    EXPECT_STREQ("/before", strPath.c_str());
}

TEST_F(TimerTest, AnAlertAfterTheQuitIsCancelledAtOnce) {
    Show();
    int nAnswer = 0;
    InATick([&] {
        GuiQuitLoop();
        nAnswer = Ask();
    });
    GuiRunLoop(m_window, &m_owner);
    EXPECT_EQ(kAlertCancelButton, nAnswer);
}

TEST_F(TimerTest, HidingTheWindowDoesNotEndTheLoop) {
    bool bStillRuns = false;
    InATick([&] {
        GuiShowWindow(m_window, 0, 0);
        QTimer::singleShot(2 * kTimerMilliseconds, qApp, [&] {
            bStillRuns = true;
            GuiQuitLoop();
        });
    });
    Show();
    GuiRunLoop(m_window, &m_owner);
    EXPECT_TRUE(bStillRuns);
}

}  // namespace
}  // namespace Kestrova::Test
