// The desktop's functions on Qt: the connection to the desktop.
#include <QApplication>
#include <QSessionManager>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <utility>

#include "app/GuiPlatform.h"
#include "shared/System/kvCancelSignal.h"

namespace Kestrova {
namespace {

constexpr int kNoDisplayStatus = 255;  // -1, as a parent process sees it

// The application object refers to these for its whole life.
int s_nArguments = 1;
char s_szProgram[] = "kvbankmgr";
char* s_arguments[] = {s_szProgram, nullptr};

std::unique_ptr<QApplication> s_pApplication;
std::function<void()> s_displayGone;
QtMessageHandler s_usualMessages = nullptr;

// When Qt finds no display it sends a fatal message and aborts the program. Its other messages at that moment
// say the same at length, so they are dropped.
void EndWithoutDisplay(QtMsgType type, const QMessageLogContext&, const QString&) {
    if (type != QtFatalMsg) return;
    std::fputs("kvbankmgr: no display can be reached, so no window can be shown.\n", stderr);
    std::_Exit(kNoDisplayStatus);
}

// The application object must not be destroyed any more: its destructor would use the display, which is gone.
// Deliberate (Q138): when the display goes away the program cancels, cleans up and ends with 255; nothing of
// the toolkit is destroyed.
void EndAfterDisplay() {
    if (!s_pApplication) return;  // GuiStop was called: an ordinary end
    std::fputs("kvbankmgr: the display has gone away, so the program ends.\n", stderr);
    if (s_displayGone) s_displayGone();
    std::_Exit(kNoDisplayStatus);
}

// On X and on Wayland, Qt sends a message that the connection broke and then calls exit, deep within the
// event loop. The worker must have ended before that, because exit destroys what it uses. So the program ends
// when the message comes. Should exit be called without it, EndAfterDisplay runs as an exit handler.
void EndAtLostConnection(QtMsgType type, const QMessageLogContext& context, const QString& strText) {
    if (strText.contains("connection broke")) EndAfterDisplay();
    s_usualMessages(type, context, strText);
}

}  // namespace

// Qt gets no arguments of the command line, only its settings in the environment.
void GuiStart() {
    s_usualMessages = qInstallMessageHandler(EndWithoutDisplay);
    s_pApplication = std::make_unique<QApplication>(s_nArguments, s_arguments);
    qInstallMessageHandler(EndAtLostConnection);
    std::atexit(EndAfterDisplay);
    // Qt has set the user's locale. This program writes numbers with a point, and compares letters without
    // their case in the same way for everybody.
    std::setlocale(LC_ALL, "C");
    std::setlocale(LC_CTYPE, "C.UTF-8");
    QGuiApplication::setDesktopFileName("com.kestrova.kvbankmgr");
    QApplication::setQuitOnLastWindowClosed(false);
    // The end of the session asks the program to stop, as a signal does.
    QObject::connect(s_pApplication.get(), &QGuiApplication::commitDataRequest, s_pApplication.get(),
                     [](QSessionManager&) { SetCancelSignal(SIGTERM); });
}

void GuiStop() {
    s_pApplication.reset();
    qInstallMessageHandler(s_usualMessages);
}

void GuiSetDisplayGone(std::function<void()> action) { s_displayGone = std::move(action); }

}  // namespace Kestrova
