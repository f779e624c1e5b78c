// FakeGui.h - the desktop for tests: the Gui* functions on records in memory, with the answers set
// beforehand.
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "app/GuiPlatform.h"
#include "shared/System/kvMutex.h"

namespace Kestrova {

// The platform's objects, as the functions have left them. They stay readable when they are disposed of.
struct GuiWindow {
    std::string strTitle;
    Rect rect;
    IGuiOwner* pOwner = nullptr;
    bool bShown = false;
    bool bDisposed = false;
    GuiControlRef enter = nullptr, escape = nullptr;
    std::vector<std::string> notifications;
};

struct GuiWidget {
    GuiWindowRef window = nullptr;
    Rect rect;
    int nKind = 0, nStyle = 0, nControl = 0;
    std::string strTitle;  // as created
    std::string strText;   // now
    std::string strName;
    bool bShown = true, bEnabled = true;
    int nValue = 0, nMinimum = 0, nMaximum = 10;
    GuiControlRef parent = nullptr;
    bool bDisposed = false;
};

namespace Test {

using CallList = std::vector<std::string>;

struct FakeAlert {
    int nCode = 0;  // of an alert of ErrTbl; 0: another
    std::string strTitle, strText;
    std::optional<std::string> strOther, strCancel, strDefault;  // none: no such button
    int nType = kAlertStop;
    int nDefaultButton = kAlertDefaultButton;
};

struct FakeChooser {
    bool bFolder = false;
    std::string strTitle;
    std::string strLabel;
    std::string strStart;  // the path it was opened with
};

// The desktop while it lives; one at a time. Every function of app/GuiPlatform.h that needs the interface
// thread, which is the one that made this object, asserts that it is called there.
class FakeGui {
public:
    FakeGui();
    ~FakeGui();
    FakeGui(const FakeGui&) = delete;
    FakeGui& operator=(const FakeGui&) = delete;

    // What is to come.
    void FailWindows() { m_bFailWindows = true; }
    void AnswerNextAlert(int nButton) { m_answers.push_back(nButton); }  // without: the default button
    void ChooseNext(const std::string& strPath) { m_choices.push_back(strPath); }  // without: cancelled
    // Runs once, while the next alert or chooser is open.
    void WhileNextQuestion(std::function<void()> action) { m_whileAsking = std::move(action); }
    // Runs once, when the window is hidden.
    void WhenHidden(std::function<void()> action) { m_whenHidden = std::move(action); }
    void SetFreeSpace(int nMegabytes) { m_nFreeSpace = nMegabytes; }
    // Runs whenever free space is asked for, on the thread that asks. Set while no job runs.
    void WhenSpaceIsAsked(std::function<void()> action) { m_whenSpaceIsAsked = std::move(action); }
    // What GuiRunLoop runs; without it, ticks until the loop is quit, with the other action between them.
    void SetLoop(std::function<void()> loop) { m_loop = std::move(loop); }
    void SetBetweenTicks(std::function<void()> action) { m_betweenTicks = std::move(action); }

    // What the user and the timer do.
    void Tick();
    int Press(int nControl, int nValue = 0);
    int Close();
    int Drop(bool bFolder, const std::string& strPath);

    // What was done so far.
    bool HasWindow() const { return !m_windows.empty(); }
    const GuiWindow& Window() const { return *m_windows.back(); }
    const GuiWidget& Control(int nControl) const;  // of the last window
    const std::vector<FakeAlert>& Alerts() const { return m_alerts; }
    const std::vector<FakeChooser>& Choosers() const { return m_choosers; }
    bool IsKeptAwake() const { return m_bKeptAwake; }
    void KeepAwake(bool bOn) { m_bKeptAwake = bOn; }
    bool LoopWasQuit() const { return m_nQuits > 0; }  // since the loop began
    bool LoopHasRun() const { return m_bLoopHasRun; }
    std::string LastSpacePath() const;  // that free space was asked for
    // Calls in order, such as "show 17 1"; Take forgets them.
    const CallList& Calls() const { return m_calls; }
    CallList TakeCalls() { return std::exchange(m_calls, {}); }

    // The functions' side.
    static FakeGui& OnInterfaceThread();  // the one in force
    static FakeGui& OnAnyThread();
    void Note(const std::string& strCall) { m_calls.push_back(strCall); }
    GuiWindowRef MakeWindow(const char* pszTitle, const Rect& rect, IGuiOwner* pOwner);
    GuiControlRef MakeControl(const GuiWidget& control);
    void Show(GuiWindowRef window, int bShow, int bUpdate);
    void RunLoop(GuiWindowRef window, IGuiOwner* pOwner);
    void QuitLoop();
    bool IsAsking() const { return m_nQuestions > 0; }
    int Ask(const FakeAlert& alert);
    int Choose(const FakeChooser& chooser, String& strPath);
    int FreeSpace(const char* pszPath);

private:
    bool RunQuestion();

    const std::thread::id m_thread = std::this_thread::get_id();
    std::vector<std::unique_ptr<GuiWindow>> m_windows;
    std::vector<std::unique_ptr<GuiWidget>> m_controls;
    CallList m_calls;
    std::vector<FakeAlert> m_alerts;
    std::vector<FakeChooser> m_choosers;
    std::deque<int> m_answers;
    std::deque<std::string> m_choices;
    std::function<void()> m_whileAsking, m_whenHidden, m_whenSpaceIsAsked, m_loop, m_betweenTicks;
    bool m_bFailWindows = false;
    bool m_bKeptAwake = false;
    bool m_bLoopHasRun = false;
    int m_nQuits = 0;
    int m_nQuestions = 0;
    std::atomic<int> m_nFreeSpace{0};
    mutable Mutex m_lock;
    std::string m_strSpacePath KV_GUARDED_BY(m_lock);
};

}  // namespace Test
}  // namespace Kestrova
