// WindowFixture.h - windows on Qt for the tests: one with an owner that keeps notes, and the whole dialog.
#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QTest>
#include <QTimer>
#include <QWidget>
#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/StgManDlg.h"
#include "app/qt/ManagerControls.h"
#include "app/qt/ManagerWindow.h"

namespace Kestrova::Test {

inline constexpr GuiType kModes[] = {kManager, kInstall, kUninstall, kCreate};
const char* ModeWord(GuiType mode);
const char* ModeName(GuiType mode);  // of a test's name

// Lets events happen until the condition holds. The deadline is for failing tests alone.
inline constexpr int kPatienceMilliseconds = 60000;
template <class TCondition>
bool SpinUntil(TCondition condition) {
    return QTest::qWaitFor(condition, kPatienceMilliseconds);
}

// The tool tip of a widget over which the mouse rests; empty when it has none.
QString ToolTipOf(QWidget& widget);

// Ends every event loop, that of an open alert too, and fails the test, when this takes too long.
class Patience {
public:
    Patience();

private:
    QTimer m_timer;
};

struct SeenEvent {
    int nClass = 0, nKind = 0, nControl = 0, nValue = 0;
    std::string strPath;
    bool operator==(const SeenEvent&) const = default;
};
void PrintTo(const SeenEvent& event, std::ostream* pOut);
SeenEvent ControlEvent(int nControl, int nValue);
SeenEvent WindowEvent(int nKind, const std::string& strPath = "");

class RecordingOwner final : public IGuiOwner {
public:
    int nTicks = 0;
    std::vector<SeenEvent> events;
    std::vector<bool> questions;  // of AcceptsDrop: each bFolder
    bool bAcceptsFile = false, bAcceptsFolder = false;
    std::function<void()> onTick, onEvent;

    void OnTimer() override;
    int WndProc(const GuiEvent& event) override;
    bool AcceptsDrop(bool bFolder) override;
};

// A window of 400 by 200, not shown yet.
class WindowTest : public testing::Test {
protected:
    WindowTest();
    ~WindowTest() override;

    void Show();  // and waits until it has the keyboard
    GuiControlRef Make(int nKind, const char* pszTitle, int nControl = 7, int nStyle = 0);
    template <class TWidget>
    static TWidget& As(GuiControlRef control) {
        return dynamic_cast<TWidget&>(control->Widget());
    }

    RecordingOwner m_owner;
    GuiWindowRef m_window = nullptr;

private:
    const Patience m_patience;
    std::vector<GuiControlRef> m_controls;
};

// Does nothing but keep notes.
class QuietStgMan final : public IStgMan {
public:
    int nStatus = StgStatusNone;
    std::vector<std::string> calls;

    bool SetSourceBase() override { return Note("source"); }
    bool SetTargetPath(const char*) override { return Note("target"); }
    int EstimateBaseSize(int*) override { return 0; }
    void Process() override { Note("process"); }
    void Cancel() override { Note("cancel"); }
    int GetStatus() override { return nStatus; }
    int GetBanksCreated() override { return 0; }

private:
    bool Note(const char* pszCall) {
        calls.push_back(pszCall);
        return true;
    }
};

class DialogTest : public testing::Test {
protected:
    ~DialogTest() override;

    // Opens it, and waits until it has the keyboard.
    void Open(GuiType mode);
    void Close();
    StgManDlg& Dialog() { return *m_pDialog; }
    QWidget& Window();
    QWidget& Control(int nControl);
    template <class TWidget>
    TWidget& As(int nControl) {
        return dynamic_cast<TWidget&>(Control(nControl));
    }
    void Tick() { Dialog().OnTimer(); }
    // As the storage manager does when it has read the target folder: no bank exists.
    void ListNoBanks();
    // As it does when a job has come to its last step.
    void ShowJob(const char* pszText);
    // Of the control with the keyboard; -1 for the window, -2 for none.
    int FocusedControl();

    QuietStgMan m_manager;
    String m_strSource, m_strTarget;

private:
    const Patience m_patience;
    std::unique_ptr<StgManDlg> m_pDialog;
};

}  // namespace Kestrova::Test
