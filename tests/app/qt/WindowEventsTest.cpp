// What the owner of the window is told of it.
#include <QCheckBox>
#include <QProgressBar>
#include <QPushButton>
#include <QWindow>
#include <limits>

#include "tests/app/qt/WindowFixture.h"

namespace Kestrova::Test {
namespace {

class WindowEventsTest : public WindowTest {
protected:
    static void Click(GuiControlRef control) {
        // A check box answers to its text and its tick alone, which are at its left.
        QTest::mouseClick(&control->Widget(), Qt::LeftButton, {}, QPoint(8, control->Widget().height() / 2));
    }
};

TEST_F(WindowEventsTest, AButtonSendsItsNumberAndNoValue) {
    const GuiControlRef first = Make(kPushButton, "One", 2), second = Make(kPushButton, "Two", 22);
    Show();
    Click(second);
    Click(first);
    EXPECT_EQ((std::vector<SeenEvent>{ControlEvent(22, 0), ControlEvent(2, 0)}), m_owner.events);
}

TEST_F(WindowEventsTest, ABoxSendsItsNumberAndItsNewValue) {
    const GuiControlRef box = Make(kCheckBox, "48000", 8);
    Show();
    Click(box);
    Click(box);
    EXPECT_EQ((std::vector<SeenEvent>{ControlEvent(8, 1), ControlEvent(8, 0)}), m_owner.events);
}

TEST_F(WindowEventsTest, AValueSetByTheProgramSendsNothing) {
    const GuiControlRef box = Make(kCheckBox, "48000", 8), bar = Make(kProgressIndicator, "", 19);
    Show();
    GuiCheckControl(box, 1);
    GuiSetControlValue(bar, 4);
    EXPECT_TRUE(As<QCheckBox>(box).isChecked());
    EXPECT_EQ(4, As<QProgressBar>(bar).value());
    GuiSetControlValue(box, 0);
    EXPECT_FALSE(As<QCheckBox>(box).isChecked());
    EXPECT_TRUE(m_owner.events.empty());
}

TEST_F(WindowEventsTest, ADisabledControlSendsNothing) {
    const GuiControlRef button = Make(kPushButton, "One", 2), box = Make(kCheckBox, "48000", 8);
    Show();
    for (const GuiControlRef control : {button, box}) {
        GuiEnableControl(control, 0);
        Click(control);
    }
    EXPECT_TRUE(m_owner.events.empty());
    for (const GuiControlRef control : {button, box}) {
        GuiEnableControl(control, 1);
        Click(control);
    }
    EXPECT_EQ((std::vector<SeenEvent>{ControlEvent(2, 0), ControlEvent(8, 1)}), m_owner.events);
}

TEST_F(WindowEventsTest, TextsAndGroupsSendNothing) {
    for (const int nKind : {kStaticText, kGroupBox, kProgressIndicator, kReadOnlyEdit}) {
        const GuiControlRef control = Make(nKind, "text");
        Show();
        Click(control);
    }
    EXPECT_TRUE(m_owner.events.empty());
}

TEST_F(WindowEventsTest, ControlsAreShownAndHidden) {
    const GuiControlRef label = Make(kStaticText, "text");
    Show();
    EXPECT_TRUE(label->Widget().isVisible());
    GuiShowControl(label, 0);
    EXPECT_FALSE(label->Widget().isVisible());
    GuiShowControl(label, 1);
    EXPECT_TRUE(label->Widget().isVisible());
}

TEST_F(WindowEventsTest, TheCloseBoxIsTheOwnersToAnswerAndTheWindowStays) {
    Show();
    m_window->windowHandle()->close();
    EXPECT_EQ(std::vector<SeenEvent>{WindowEvent(72)}, m_owner.events);
    EXPECT_TRUE(m_window->isVisible());
}

TEST_F(WindowEventsTest, TheRangeOfAProgressBarStartsItAnew) {
    const GuiControlRef bar = Make(kProgressIndicator, "");
    GuiSetControlValue(bar, 6);
    GuiSetControlRange(bar, 2, 9);
    EXPECT_EQ(2, As<QProgressBar>(bar).minimum());
    EXPECT_EQ(9, As<QProgressBar>(bar).maximum());
    EXPECT_EQ(2, As<QProgressBar>(bar).value());
}

// Qt would show a bar from 0 to 0 as one that runs to and fro.
// Q142
TEST_F(WindowEventsTest, ARangeOfNothingStaysDeterminate) {
    const GuiControlRef bar = Make(kProgressIndicator, "");
    GuiSetControlRange(bar, 0, 0);
    EXPECT_LT(As<QProgressBar>(bar).minimum(), As<QProgressBar>(bar).maximum());
}

TEST_F(WindowEventsTest, ARangeToTheLastNumberIsTaken) {
    const GuiControlRef bar = Make(kProgressIndicator, "");
    GuiSetControlRange(bar, 0, std::numeric_limits<int>::max());
    EXPECT_EQ(std::numeric_limits<int>::max(), As<QProgressBar>(bar).maximum());
}

TEST_F(WindowEventsTest, AControlOfAnUnknownKindIsNull) {
    for (const int nKind : {-1, 6, 1000})
        EXPECT_EQ(nullptr, GuiCreateControl(m_window, Rect{0, 0, 10, 10}, nKind, 0, 1, "text"));
    EXPECT_TRUE(m_window->findChildren<QWidget*>().isEmpty());
}

TEST_F(WindowEventsTest, AControlThatIsDisposedOfIsGone) {
    const GuiControlRef button = GuiCreateControl(m_window, Rect{0, 0, 50, 20}, kPushButton, 0, 1, "Gone");
    GuiDisposeControl(button);
    EXPECT_TRUE(m_window->findChildren<QWidget*>().isEmpty());
    Show();  // fits the fonts of those that are left
}

TEST_F(WindowEventsTest, AButtonMayBeHiddenByItsOwnClick) {
    const GuiControlRef button = Make(kPushButton, "One", 2);
    m_owner.onEvent = [&] { GuiShowControl(button, 0); };
    Show();
    Click(button);
    EXPECT_EQ(1u, m_owner.events.size());
    EXPECT_FALSE(button->Widget().isVisible());
}

}  // namespace
}  // namespace Kestrova::Test
