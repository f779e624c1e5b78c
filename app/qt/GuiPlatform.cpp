// The desktop's functions on Qt: windows and controls.
#include "app/GuiPlatform.h"

#include <QApplication>
#include <QScreen>
#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

#include "app/qt/DesktopServices.h"
#include "app/qt/ManagerControls.h"
#include "app/qt/ManagerWindow.h"
#include "shared/System/kvPath.h"

namespace Kestrova {

void GuiInitialize() {}
void GuiDeinitialize() {}

GuiWindowRef GuiCreateWindow(const char* pszTitle, const Rect& rect, IGuiOwner* pOwner) {
    return new GuiWindow(QString::fromLocal8Bit(pszTitle), rect, pOwner);
}

void GuiDisposeWindow(GuiWindowRef window) { delete window; }

void GuiSetWindowTitle(GuiWindowRef window, const char* pszTitle) {
    if (window != nullptr) window->setWindowTitle(QString::fromLocal8Bit(pszTitle));
}

void GuiShowWindow(GuiWindowRef window, int bShow, int bUpdate) {
    if (window == nullptr) return;
    if (bShow != 0)
        window->Present(bUpdate != 0);
    else
        window->Withdraw();
}

void GuiRunLoop(GuiWindowRef window, IGuiOwner* pOwner) {
    if (window == nullptr) return;
    window->SetOwner(pOwner);
    QApplication::exec();
}

// exit and not quit, which would first ask the window to close.
void GuiQuitLoop() { QCoreApplication::exit(); }

void GuiSetKeyControls(GuiWindowRef window, GuiControlRef enter, GuiControlRef escape) {
    if (window == nullptr) return;
    const auto ButtonOf = [](GuiControlRef control) {
        return control == nullptr ? nullptr : dynamic_cast<QPushButton*>(&control->Widget());
    };
    window->SetKeyButtons(ButtonOf(enter), ButtonOf(escape));
}

GuiControlRef GuiCreateControl(GuiWindowRef window, const Rect& rect, int nKind, int nStyle, int nControl,
                               const char* pszTitle) {
    if (window == nullptr) return nullptr;
    return window->Add(nKind, nStyle, nControl, QString::fromLocal8Bit(pszTitle),
                       QRect(rect.left, rect.top, rect.Width(), rect.Height()));
}

void GuiDisposeControl(GuiControlRef control) { delete control; }

void GuiEmbedControl(GuiControlRef parent, GuiControlRef child) {
    if (parent == nullptr || child == nullptr) return;
    QWidget& widget = child->Widget();
    const QPoint place = parent->Widget().mapFromGlobal(widget.mapToGlobal(QPoint(0, 0)));
    widget.setParent(&parent->Widget());
    widget.move(place);
    widget.show();  // setting a parent hides a widget
}

// When the control with the keyboard focus is hidden or disabled, no other gets it; Qt would give it to the
// next control and select the text there.
static void LeaveFocus(QWidget& widget) {
    if (widget.hasFocus()) widget.window()->setFocus();
}

void GuiShowControl(GuiControlRef control, int bOn) {
    if (control == nullptr) return;
    if (bOn == 0) LeaveFocus(control->Widget());
    control->Widget().setVisible(bOn != 0);
}

void GuiEnableControl(GuiControlRef control, int bOn) {
    if (control == nullptr) return;
    if (bOn == 0) LeaveFocus(control->Widget());
    control->Widget().setEnabled(bOn != 0);
}

void GuiSetControlText(GuiControlRef control, const char* pszText) {
    if (control == nullptr) return;
    control->SetText(QString::fromLocal8Bit(pszText));
    control->Widget().update();
}

void GuiSetControlValue(GuiControlRef control, int nValue) {
    if (control != nullptr) control->SetValue(nValue);
}

void GuiCheckControl(GuiControlRef control, int bOn) { GuiSetControlValue(control, bOn); }

void GuiSetControlRange(GuiControlRef control, int nMinimum, int nMaximum) {
    if (control != nullptr) control->SetRange(nMinimum, nMaximum);
}

void GuiSetControlName(GuiControlRef control, const char* pszName) {
    if (control != nullptr && *pszName != '\0') control->SetName(QString::fromLocal8Bit(pszName));
}

void GuiNotifyUser(GuiWindowRef window, const char* pszTitle, const char* pszText) {
    if (window == nullptr || QApplication::activeWindow() != nullptr) return;
    ShowNotification(QString::fromLocal8Bit(pszTitle), QString::fromLocal8Bit(pszText));
}

void GuiKeepAwake(int bOn, const char* pszReason) {
    static std::unique_ptr<SleepInhibitor> s_pInhibitor;
    s_pInhibitor.reset();
    if (bOn != 0) s_pInhibitor = std::make_unique<SleepInhibitor>(QString::fromLocal8Bit(pszReason));
}

void GuiGetWindowRect(GuiType mode, Rect* pRect) {
    int nWidth = 0, nHeight = 0;
    GuiGetWindowSize(mode, nWidth, nHeight);
    const QRect display = QGuiApplication::primaryScreen()->geometry();
    pRect->left = display.left() + (display.width() - nWidth) / 2;
    pRect->top = display.top() + (display.height() - nHeight) / 2;
    pRect->right = pRect->left + nWidth;
    pRect->bottom = pRect->top + nHeight;
}

int UtilGetFreeDiskSpace(const char* pszPath) {
    uint64_t nBytes = 0;
    if (pszPath == nullptr || !GetFreeSpace(pszPath, nBytes)) return 0;
    return static_cast<int>(std::min<uint64_t>((nBytes + 0xFFFFF) >> 20, std::numeric_limits<int>::max()));
}

}  // namespace Kestrova
