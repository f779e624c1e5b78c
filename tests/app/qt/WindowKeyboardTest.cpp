// The dialog by keyboard alone.
#include <QCheckBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>

#include "tests/app/qt/WindowFixture.h"

namespace Kestrova::Test {
namespace {

class WindowKeyboardTest : public DialogTest {
protected:
    void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(QApplication::focusWidget(), key, modifiers);
    }
    // From the window once around.
    std::vector<int> StepsOf(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        std::vector<int> steps;
        Window().setFocus();
        for (Press(key, modifiers); FocusedControl() != -1; Press(key, modifiers)) {
            if (!steps.empty() && FocusedControl() == steps.front()) break;
            if (steps.size() > 2 * kDialogControlCount) break;
            steps.push_back(FocusedControl());
        }
        return steps;
    }
    // Presses a key in every control that can have the keyboard, and in the window itself.
    template <class TExpect>
    void PressEverywhere(Qt::Key key, TExpect expect) {
        std::vector<int> places = StepsOf(Qt::Key_Tab);
        places.push_back(-1);
        PressIn(places, key, expect);
    }
    // The same but for the buttons beside the main one, which Enter presses themselves.
    template <class TExpect>
    void PressBesideOtherButtons(Qt::Key key, TExpect expect) {
        std::vector<int> places = {-1};
        for (const int i : StepsOf(Qt::Key_Tab))
            if (i == kMainButton || GuiCtrlTypes[static_cast<size_t>(i)] != kPushButton) places.push_back(i);
        PressIn(places, key, expect);
    }
    template <class TExpect>
    void PressIn(const std::vector<int>& places, Qt::Key key, TExpect expect) {
        for (const int i : places) {
            (i < 0 ? Window() : Control(i)).setFocus();
            ASSERT_EQ(i, FocusedControl());
            Press(key);
            expect(i);
        }
    }
    void Tick96000() {
        As<QCheckBox>(kFirstRateBox + 3).click();
        DialogTest::Tick();
        ASSERT_TRUE(Control(kMainButton).isEnabled());
    }
    // What a running job leaves: neither choosers nor "Close".
    void StartJob(bool bCancellable) {
        Dialog().EnableControls(0);
        Dialog().InitProgressBar(5, bCancellable);
        Tick();
    }
};

TEST_F(WindowKeyboardTest, NoControlHasTheKeyboardAtFirst) {
    Open(kManager);
    EXPECT_EQ(-1, FocusedControl());
}

TEST_F(WindowKeyboardTest, TabGoesThroughTheControlsInOrder) {
    Open(kManager);
    ListNoBanks();
    EXPECT_EQ((std::vector<int>{1, 2, 4, 5, 8, 9, 10, 11, 12, 22}), StepsOf(Qt::Key_Tab));
    Tick96000();
    EXPECT_EQ((std::vector<int>{1, 2, 4, 5, 8, 9, 10, 11, 12, 21, 22}), StepsOf(Qt::Key_Tab));
}

TEST_F(WindowKeyboardTest, ShiftAndTabGoBack) {
    Open(kManager);
    ListNoBanks();
    Tick96000();
    EXPECT_EQ((std::vector<int>{22, 21, 12, 11, 10, 9, 8, 5, 4, 2, 1}),
              StepsOf(Qt::Key_Backtab, Qt::ShiftModifier));
}

TEST_F(WindowKeyboardTest, TabSkipsWhatAJobHasDisabledAndReachesCancel) {
    Open(kManager);
    ListNoBanks();
    StartJob(true);
    EXPECT_EQ((std::vector<int>{1, 4, 20}), StepsOf(Qt::Key_Tab));
}

TEST_F(WindowKeyboardTest, TabInTheOtherModes) {
    Open(kInstall);
    ListNoBanks();
    EXPECT_EQ((std::vector<int>{4, 5, 8, 9, 10, 11, 12, 21}), StepsOf(Qt::Key_Tab));
    Close();
    Open(kUninstall);
    ListNoBanks();
    EXPECT_EQ((std::vector<int>{4, 5, 21}), StepsOf(Qt::Key_Tab));
    Close();
    Open(kCreate);
    ListNoBanks();
    EXPECT_EQ((std::vector<int>{4, 5, 21}), StepsOf(Qt::Key_Tab));
}

TEST_F(WindowKeyboardTest, SpaceTicksABox) {
    Open(kManager);
    ListNoBanks();
    Control(kLastRateBox).setFocus();
    Press(Qt::Key_Space);
    EXPECT_TRUE(Dialog().IsSelected(5));
    Tick();
    EXPECT_TRUE(As<QCheckBox>(kLastRateBox).isChecked());
}

// A button that its letter has pressed is shown pressed for a moment; so the call comes later.
TEST_F(WindowKeyboardTest, LettersWithAltPressTheButtons) {
    Open(kManager);
    ListNoBanks();
    Tick96000();
    Press(Qt::Key_A, Qt::AltModifier);
    EXPECT_TRUE(SpinUntil([this] { return !m_manager.calls.empty(); }));
    StartJob(true);
    Press(Qt::Key_C, Qt::AltModifier);
    EXPECT_TRUE(SpinUntil([this] { return m_manager.calls.size() > 1; }));
    EXPECT_EQ((std::vector<std::string>{"process", "cancel"}), m_manager.calls);
}

TEST_F(WindowKeyboardTest, AltAndLPressCloseWhichEndsTheLoop) {
    Open(kManager);
    ListNoBanks();
    QTimer::singleShot(0, qApp, [this] { Press(Qt::Key_L, Qt::AltModifier); });
    Dialog().ModalDialog();
    EXPECT_TRUE(m_manager.calls.empty());
}

TEST_F(WindowKeyboardTest, TheMainButtonOfEveryModeHasALetter) {
    constexpr const char* kMarked[] = {"&Apply", "&Install", "&Uninstall", "C&reate"};
    for (const GuiType mode : kModes) {
        Open(mode);
        EXPECT_EQ(QString(kMarked[mode]), As<QPushButton>(kMainButton).text());
        EXPECT_EQ(QString("&Cancel"), As<QPushButton>(kCancelButton).text());
        EXPECT_EQ(QString("..."), As<QPushButton>(kTargetChooser).text());
        Close();
    }
}

TEST_F(WindowKeyboardTest, EnterPressesTheMainButtonUnlessAnotherButtonHasTheKeyboard) {
    Open(kManager);
    ListNoBanks();
    Tick96000();
    size_t nCalls = 0;
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
        PressBesideOtherButtons(
            key, [&](int i) { EXPECT_EQ(++nCalls, m_manager.calls.size()) << "in control " << i; });
    }
    EXPECT_EQ(std::vector<std::string>(nCalls, "process"), m_manager.calls);
}

TEST_F(WindowKeyboardTest, EnterOnCloseEndsTheLoopAndStartsNothing) {
    Open(kManager);
    ListNoBanks();
    Tick96000();
    Control(kCloseButton).setFocus();
    QTimer::singleShot(0, qApp, [this] { Press(Qt::Key_Return); });
    Dialog().ModalDialog();
    EXPECT_TRUE(m_manager.calls.empty());
}

TEST_F(WindowKeyboardTest, AnEnterKeyHeldDownPressesOnce) {
    Open(kManager);
    ListNoBanks();
    Tick96000();
    for (const bool bRepeated : {false, true, true}) {
        QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, "\r", bRepeated);
        QCoreApplication::sendEvent(&Window(), &press);
    }
    EXPECT_EQ(std::vector<std::string>{"process"}, m_manager.calls);
}

TEST_F(WindowKeyboardTest, EnterDoesNothingWhileTheMainButtonIsDisabled) {
    Open(kManager);
    ListNoBanks();
    PressBesideOtherButtons(Qt::Key_Return, [](int) {});
    EXPECT_TRUE(m_manager.calls.empty());
    EXPECT_TRUE(Window().isVisible());
}

TEST_F(WindowKeyboardTest, EscapePressesCancelWhereverTheKeyboardIs) {
    Open(kManager);
    ListNoBanks();
    StartJob(true);
    m_manager.nStatus = StgStatusCreating;
    size_t nCalls = 0;
    PressEverywhere(Qt::Key_Escape,
                    [&](int i) { EXPECT_EQ(++nCalls, m_manager.calls.size()) << "in control " << i; });
    EXPECT_EQ(std::vector<std::string>(nCalls, "cancel"), m_manager.calls);
    EXPECT_EQ(4u, nCalls);
}

TEST_F(WindowKeyboardTest, AControlDisabledWithTheKeyboardGivesItToTheWindow) {
    Open(kManager);
    ListNoBanks();
    Control(kSourceChooser).setFocus();
    Dialog().EnableControls(0);
    Tick();
    EXPECT_EQ(-1, FocusedControl());
    for (const int i : {kSourcePath, kTargetPath}) EXPECT_FALSE(As<QLineEdit>(i).hasSelectedText());
}

TEST_F(WindowKeyboardTest, AControlHiddenWithTheKeyboardGivesItToTheWindow) {
    Open(kManager);
    ListNoBanks();
    StartJob(true);
    Control(kCancelButton).setFocus();
    ASSERT_EQ(kCancelButton, FocusedControl());
    Dialog().EndProgress();
    Tick();
    EXPECT_EQ(-1, FocusedControl());
    for (const int i : {kSourcePath, kTargetPath}) EXPECT_FALSE(As<QLineEdit>(i).hasSelectedText());
}

TEST_F(WindowKeyboardTest, AControlThatIsDisabledWithoutTheKeyboardLeavesItWhereItIs) {
    Open(kManager);
    ListNoBanks();
    Control(kTargetPath).setFocus();
    Dialog().EnableControls(0);
    Tick();
    EXPECT_EQ(kTargetPath, FocusedControl());
}

// With an owner that only listens, to see what the keys press and that the window asks to close.
class KeyButtonsTest : public WindowTest {
protected:
    KeyButtonsTest() {
        GuiSetKeyControls(m_window, m_enter, m_escape);
        Show();
    }
    std::vector<SeenEvent> EventsOf(Qt::Key key, GuiControlRef focused = nullptr) {
        m_owner.events.clear();
        QWidget& receiver = focused == nullptr ? *m_window : focused->Widget();
        receiver.setFocus();
        QTest::keyClick(&receiver, key);
        return m_owner.events;
    }
    const GuiControlRef m_enter = Make(kPushButton, "Apply", 21), m_escape = Make(kPushButton, "Cancel", 20);
};

class EnterTest : public KeyButtonsTest {
protected:
    GuiControlRef MakeShown(int nKind, const char* pszTitle, int nControl) {
        const GuiControlRef control = Make(nKind, pszTitle, nControl);
        GuiShowControl(control, 1);
        return control;
    }
};
// Q137

// Q137
TEST_F(EnterTest, PressesTheButtonThatHasTheKeyboard) {
    const GuiControlRef chooser = MakeShown(kPushButton, "...", 2);
    const GuiControlRef close = MakeShown(kPushButton, "Close", 22);
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
        EXPECT_EQ(std::vector<SeenEvent>{ControlEvent(2, 0)}, EventsOf(key, chooser));
        EXPECT_EQ(std::vector<SeenEvent>{ControlEvent(22, 0)}, EventsOf(key, close));
        EXPECT_EQ(std::vector<SeenEvent>{ControlEvent(20, 0)}, EventsOf(key, m_escape));
        EXPECT_EQ(std::vector<SeenEvent>{ControlEvent(21, 0)}, EventsOf(key, m_enter));
    }
}
// Q137

// Q137
TEST_F(EnterTest, PressesTheMainButtonWhereNoButtonHasTheKeyboard) {
    const GuiControlRef box = MakeShown(kCheckBox, "48000", 8);
    const GuiControlRef path = MakeShown(kReadOnlyEdit, "/banks", 4);
    for (const GuiControlRef focused : {GuiControlRef{}, box, path})
        EXPECT_EQ(std::vector<SeenEvent>{ControlEvent(21, 0)}, EventsOf(Qt::Key_Return, focused));
}

TEST_F(EnterTest, DoesNotPressAHiddenButton) {
    GuiShowControl(m_enter, 0);
    EXPECT_TRUE(EventsOf(Qt::Key_Return).empty());
}

class EscapeTest : public KeyButtonsTest {
protected:
    std::vector<SeenEvent> EventsOfEscape() { return EventsOf(Qt::Key_Escape); }
};

TEST_F(EscapeTest, PressesCancelWhileItIsShownAndEnabled) {
    EXPECT_EQ(std::vector<SeenEvent>{ControlEvent(20, 0)}, EventsOfEscape());
}

TEST_F(EscapeTest, AsksToCloseWhileCancelIsHidden) {
    GuiShowControl(m_escape, 0);
    EXPECT_EQ(std::vector<SeenEvent>{WindowEvent(kGuiWindowClose)}, EventsOfEscape());
    EXPECT_TRUE(m_window->isVisible());
}

TEST_F(EscapeTest, AsksToCloseWhileCancelIsDisabled) {
    GuiEnableControl(m_escape, 0);
    EXPECT_EQ(std::vector<SeenEvent>{WindowEvent(kGuiWindowClose)}, EventsOfEscape());
}

TEST_F(EscapeTest, AsksToCloseWithoutKeyControls) {
    GuiSetKeyControls(m_window, nullptr, nullptr);
    EXPECT_EQ(std::vector<SeenEvent>{WindowEvent(kGuiWindowClose)}, EventsOfEscape());
    EXPECT_TRUE(EventsOf(Qt::Key_Return).empty());
}

TEST_F(EscapeTest, ControlsThatAreNoButtonsArePressedByNoKey) {
    GuiSetKeyControls(m_window, Make(kStaticText, "text"), Make(kCheckBox, "box", 8));
    EXPECT_EQ(std::vector<SeenEvent>{WindowEvent(kGuiWindowClose)}, EventsOfEscape());
}

}  // namespace
}  // namespace Kestrova::Test
