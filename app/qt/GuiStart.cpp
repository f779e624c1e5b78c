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

// Qt ends a program that finds no display by a fatal message and an abort. Its other messages of that moment
// say the same at length.
void EndWithoutDisplay(QtMsgType type, const QMessageLogContext&, const QString&) {
    if (type != QtFatalMsg) return;
    std::fputs("kvbankmgr: no display can be reached, so no window can be shown.\n", stderr);
    std::_Exit(kNoDisplayStatus);
}

// The application object must not be destroyed any more: it would speak to a display that is not there.
void EndAfterDisplay() {
    if (!s_pApplication) return;  // GuiStop was called: an ordinary end
    std::fputs("kvbankmgr: the display has gone away, so the program ends.\n", stderr);
    if (s_displayGone) s_displayGone();
    std::_Exit(kNoDisplayStatus);
}

// Qt says that the connection broke, on X as on Wayland, and then calls exit, deep within the event loop. By
// then the worker may not run any more, for exit destroys what it uses; so the end comes with the message.
// Whatever else calls exit meets EndAfterDisplay there.
void EndAtLostConnection(QtMsgType type, const QMessageLogContext& context, const QString& strText) {
    if (strText.contains("connection broke")) EndAfterDisplay();
    s_usualMessages(type, context, strText);
}

}  // namespace

// The command line is the program's alone: Qt takes its settings from the environment.
void GuiStart() {
    s_usualMessages = qInstallMessageHandler(EndWithoutDisplay);
    s_pApplication = std::make_unique<QApplication>(s_nArguments, s_arguments);
    qInstallMessageHandler(EndAtLostConnection);
    std::atexit(EndAfterDisplay);
    // Qt has set the user's. Here numbers have a point, and which letters are equal but for their case is the
    // same for everybody.
    std::setlocale(LC_ALL, "C");
    std::setlocale(LC_CTYPE, "C.UTF-8");
    QGuiApplication::setDesktopFileName(s_szProgram);
    QApplication::setQuitOnLastWindowClosed(false);
    // The end of the session is a wish to stop like a signal.
    QObject::connect(s_pApplication.get(), &QGuiApplication::commitDataRequest, s_pApplication.get(),
                     [](QSessionManager&) { SetCancelSignal(SIGTERM); });
}

void GuiStop() {
    s_pApplication.reset();
    qInstallMessageHandler(s_usualMessages);
}

void GuiSetDisplayGone(std::function<void()> action) { s_displayGone = std::move(action); }

}  // namespace Kestrova
