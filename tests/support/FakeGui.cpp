#include "tests/support/FakeGui.h"

#include <gtest/gtest.h>

#include <utility>

#include "shared/System/kvAssert.h"

namespace Kestrova {
namespace Test {
namespace {

constexpr char kSourceUnit[] = "tests/support/FakeGui";

constexpr int kMostTicks = 1000;  // of a loop that nobody quits

FakeGui* s_pGui = nullptr;

std::string Joined(const char* pszCall, int n, int m) {
    return std::string(pszCall) + " " + std::to_string(n) + " " + std::to_string(m);
}

std::optional<std::string> ButtonText(const char* psz) {
    return psz == nullptr ? std::nullopt : std::optional<std::string>(psz);
}

}  // namespace

FakeGui::FakeGui() {
    KV_ASSERT(s_pGui == nullptr);
    s_pGui = this;
}

FakeGui::~FakeGui() { s_pGui = nullptr; }

FakeGui& FakeGui::OnAnyThread() {
    KV_ASSERT(s_pGui != nullptr);
    return *s_pGui;
}

FakeGui& FakeGui::OnInterfaceThread() {
    FakeGui& gui = OnAnyThread();
    const bool bOnInterfaceThread = std::this_thread::get_id() == gui.m_thread;
    KV_ASSERT(bOnInterfaceThread);
    return gui;
}

void FakeGui::Tick() {
    KV_ASSERT(HasWindow() && Window().bShown);
    Window().pOwner->OnTimer();
}

int FakeGui::Press(int nControl, int nValue) {
    GuiEvent event;
    event.nClass = kGuiControlEvent;
    event.nControl = nControl;
    event.nValue = nValue;
    return Window().pOwner->WndProc(event);
}

int FakeGui::Close() { return Window().pOwner->WndProc(GuiEvent()); }

int FakeGui::Drop(bool bFolder, const std::string& strPath) {
    GuiEvent event;
    event.nKind = bFolder ? kGuiFolderDropped : kGuiFileDropped;
    event.pszPath = strPath.c_str();
    return Window().pOwner->WndProc(event);
}

const GuiWidget& FakeGui::Control(int nControl) const {
    const GuiWidget* pFound = nullptr;
    for (const std::unique_ptr<GuiWidget>& pControl : m_controls)
        if (pControl->window == m_windows.back().get() && pControl->nControl == nControl)
            pFound = pControl.get();
    KV_ASSERT(pFound != nullptr);
    return *pFound;
}

std::string FakeGui::LastSpacePath() const {
    const MutexGuard guard(m_lock);
    return m_strSpacePath;
}

GuiWindowRef FakeGui::MakeWindow(const char* pszTitle, const Rect& rect, IGuiOwner* pOwner) {
    Note("create window");
    if (m_bFailWindows) return nullptr;
    m_windows.push_back(std::make_unique<GuiWindow>());
    GuiWindow& window = *m_windows.back();
    window.strTitle = pszTitle;
    window.rect = rect;
    window.pOwner = pOwner;
    return &window;
}

GuiControlRef FakeGui::MakeControl(const GuiWidget& control) {
    m_controls.push_back(std::make_unique<GuiWidget>(control));
    return m_controls.back().get();
}

void FakeGui::Show(GuiWindowRef window, int bShow, int bUpdate) {
    Note(Joined("show window", bShow, bUpdate));
    window->bShown = bShow != 0;
    if (bShow == 0 && m_whenHidden) std::exchange(m_whenHidden, nullptr)();
}

// A call before the loop has begun has no effect.
void FakeGui::RunLoop(GuiWindowRef window, IGuiOwner* pOwner) {
    Note("run loop");
    window->pOwner = pOwner;
    m_bLoopHasRun = true;
    m_nQuits = 0;
    if (m_loop) return m_loop();
    for (int nTick = 0; nTick < kMostTicks; ++nTick) {
        Tick();
        if (LoopWasQuit()) return;
        if (m_betweenTicks) m_betweenTicks();
    }
    ADD_FAILURE() << "nobody has quit the loop";
}

void FakeGui::QuitLoop() {
    Note("quit loop");
    ++m_nQuits;
}

// Whether it was answered: quitting the loop ends a question too.
bool FakeGui::RunQuestion() {
    const int nQuits = m_nQuits;
    ++m_nQuestions;
    if (m_whileAsking) std::exchange(m_whileAsking, nullptr)();
    --m_nQuestions;
    return m_nQuits == nQuits;
}

int FakeGui::Ask(const FakeAlert& alert) {
    Note("alert " + alert.strText);
    m_alerts.push_back(alert);
    int nAnswer = kAlertDefaultButton;
    if (!m_answers.empty()) {
        nAnswer = m_answers.front();
        m_answers.pop_front();
    }
    return RunQuestion() ? nAnswer : kAlertCancelButton;
}

int FakeGui::Choose(const FakeChooser& chooser, String& strPath) {
    Note("choose " + chooser.strTitle);
    m_choosers.push_back(chooser);
    const std::optional<std::string> strChosen =
        m_choices.empty() ? std::nullopt : std::optional<std::string>(m_choices.front());
    if (strChosen) m_choices.pop_front();
    if (!RunQuestion() || !strChosen) return 0;
    strPath = strChosen->c_str();
    return 1;
}

int FakeGui::FreeSpace(const char* pszPath) {
    if (m_whenSpaceIsAsked) m_whenSpaceIsAsked();
    const MutexGuard guard(m_lock);
    m_strSpacePath = pszPath;
    return m_nFreeSpace;
}

}  // namespace Test

using Test::FakeAlert;
using Test::FakeChooser;
using Test::FakeGui;
using Test::Joined;

namespace {

FakeAlert AlertOf(int nAlert, int nType) {
    const AlertText& alert = ErrTbl(nAlert);
    FakeAlert shown;
    shown.nCode = nAlert;
    shown.strTitle = alert.pszTitle;
    shown.strText = alert.pszText;
    shown.strDefault = "Ok";
    shown.nType = nType;
    return shown;
}

}  // namespace

void GuiStart() { FakeGui::OnInterfaceThread().Note("start"); }
void GuiStop() { FakeGui::OnInterfaceThread().Note("stop"); }
void GuiInitialize() { FakeGui::OnInterfaceThread().Note("initialize"); }
void GuiDeinitialize() { FakeGui::OnInterfaceThread().Note("deinitialize"); }

GuiWindowRef GuiCreateWindow(const char* pszTitle, const Rect& rect, IGuiOwner* pOwner) {
    return FakeGui::OnInterfaceThread().MakeWindow(pszTitle, rect, pOwner);
}

void GuiDisposeWindow(GuiWindowRef window) {
    FakeGui& gui = FakeGui::OnInterfaceThread();
    if (window == nullptr) return;
    gui.Note("dispose window");
    window->bDisposed = true;
}

void GuiSetWindowTitle(GuiWindowRef window, const char* pszTitle) {
    FakeGui::OnInterfaceThread();
    if (window != nullptr) window->strTitle = pszTitle;
}

void GuiNotifyUser(GuiWindowRef window, const char* pszTitle, const char* pszText) {
    FakeGui::OnInterfaceThread();
    if (window != nullptr) window->notifications.push_back(std::string(pszTitle) + ": " + pszText);
}

void GuiKeepAwake(int bOn, const char*) { FakeGui::OnInterfaceThread().KeepAwake(bOn != 0); }

void GuiShowWindow(GuiWindowRef window, int bShow, int bUpdate) {
    FakeGui& gui = FakeGui::OnInterfaceThread();
    if (window != nullptr) gui.Show(window, bShow, bUpdate);
}

void GuiRunLoop(GuiWindowRef window, IGuiOwner* pOwner) {
    FakeGui& gui = FakeGui::OnInterfaceThread();
    if (window != nullptr) gui.RunLoop(window, pOwner);
}

void GuiQuitLoop() { FakeGui::OnInterfaceThread().QuitLoop(); }

void GuiSetKeyControls(GuiWindowRef window, GuiControlRef enter, GuiControlRef escape) {
    FakeGui& gui = FakeGui::OnInterfaceThread();
    if (window == nullptr) return;
    gui.Note("keys");
    window->enter = enter;
    window->escape = escape;
}

GuiControlRef GuiCreateControl(GuiWindowRef window, const Rect& rect, int nKind, int nStyle, int nControl,
                               const char* pszTitle) {
    FakeGui& gui = FakeGui::OnInterfaceThread();
    if (window == nullptr || nKind < kStaticText || nKind > kReadOnlyEdit) return nullptr;
    gui.Note("create " + std::to_string(nControl));
    GuiWidget control;
    control.window = window;
    control.rect = rect;
    control.nKind = nKind;
    control.nStyle = nStyle;
    control.nControl = nControl;
    control.strTitle = control.strText = pszTitle;
    return gui.MakeControl(control);
}

void GuiDisposeControl(GuiControlRef control) {
    FakeGui& gui = FakeGui::OnInterfaceThread();
    if (control == nullptr) return;
    gui.Note("dispose " + std::to_string(control->nControl));
    control->bDisposed = true;
}

void GuiEmbedControl(GuiControlRef parent, GuiControlRef child) {
    FakeGui& gui = FakeGui::OnInterfaceThread();
    if (parent == nullptr || child == nullptr) return;
    gui.Note(Joined("embed", parent->nControl, child->nControl));
    child->parent = parent;
}

void GuiShowControl(GuiControlRef control, int bOn) {
    FakeGui& gui = FakeGui::OnInterfaceThread();
    if (control == nullptr) return;
    gui.Note(Joined("show", control->nControl, bOn));
    control->bShown = bOn != 0;
}

void GuiEnableControl(GuiControlRef control, int bOn) {
    FakeGui& gui = FakeGui::OnInterfaceThread();
    if (control == nullptr) return;
    gui.Note(Joined("enable", control->nControl, bOn));
    control->bEnabled = bOn != 0;
}

void GuiSetControlText(GuiControlRef control, const char* pszText) {
    FakeGui& gui = FakeGui::OnInterfaceThread();
    if (control == nullptr) return;
    gui.Note("text " + std::to_string(control->nControl) + " " + pszText);
    control->strText = pszText;
}

void GuiSetControlValue(GuiControlRef control, int nValue) {
    FakeGui& gui = FakeGui::OnInterfaceThread();
    if (control == nullptr) return;
    gui.Note(Joined("value", control->nControl, nValue));
    control->nValue = nValue;
}

void GuiCheckControl(GuiControlRef control, int bOn) {
    FakeGui& gui = FakeGui::OnInterfaceThread();
    if (control == nullptr) return;
    gui.Note(Joined("check", control->nControl, bOn));
    control->nValue = bOn;
}

void GuiSetControlRange(GuiControlRef control, int nMinimum, int nMaximum) {
    FakeGui& gui = FakeGui::OnInterfaceThread();
    if (control == nullptr) return;
    gui.Note(Joined("range", control->nControl, nMinimum) + " " + std::to_string(nMaximum));
    control->nMinimum = nMinimum;
    control->nMaximum = nMaximum;
}

void GuiSetControlName(GuiControlRef control, const char* pszName) {
    FakeGui::OnInterfaceThread();
    if (control != nullptr) control->strName = pszName;
}

int GuiSelectFileDialog(GuiWindowRef, const char* pszTitle, String& strPath, const char* pszLabel) {
    return FakeGui::OnInterfaceThread().Choose({false, pszTitle, pszLabel, strPath.c_str()}, strPath);
}

int GuiSelectFolderDialog(GuiWindowRef, const char* pszTitle, String& strPath) {
    return FakeGui::OnInterfaceThread().Choose({true, pszTitle, "", strPath.c_str()}, strPath);
}

int AlertBox(const char* pszTitle, const char* pszText, const char* pszOther, const char* pszCancel,
             const char* pszDefault, int nType, int nDefaultButton) {
    using Test::ButtonText;
    return FakeGui::OnInterfaceThread().Ask({0, pszTitle, pszText, ButtonText(pszOther),
                                             ButtonText(pszCancel), ButtonText(pszDefault), nType,
                                             nDefaultButton});
}

bool GuiIsAsking() { return FakeGui::OnInterfaceThread().IsAsking(); }

void GuiErrorBox(GuiWindowRef, int nAlert) { FakeGui::OnInterfaceThread().Ask(AlertOf(nAlert, kAlertStop)); }

void GuiNotifyBox(GuiWindowRef, int nAlert) {
    FakeGui::OnInterfaceThread().Ask(AlertOf(nAlert, kAlertCaution));
}

// The fake's display has 1920 by 1080 pixels.
void GuiGetWindowRect(GuiType mode, Rect* pRect) {
    FakeGui::OnInterfaceThread();
    int nWidth = 0, nHeight = 0;
    GuiGetWindowSize(mode, nWidth, nHeight);
    pRect->left = (1920 - nWidth) / 2;
    pRect->top = (1080 - nHeight) / 2;
    pRect->right = pRect->left + nWidth;
    pRect->bottom = pRect->top + nHeight;
}

int UtilGetFreeDiskSpace(const char* pszPath) { return FakeGui::OnAnyThread().FreeSpace(pszPath); }

}  // namespace Kestrova
