// first_paint ours|toolkit START FOLDER - how long it takes from the start of the process to the first paint
// of a window: of ours, the bank manager, or of an empty window of the toolkit, which no program of it can
// beat.
//   START   CLOCK_MONOTONIC in nanoseconds just before the process was started
//   FOLDER  where the settings are looked for
// Prints milliseconds and ends.
#include <QApplication>
#include <QWidget>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

#include "app/GuiPlatform.h"
#include "app/StgMan.h"
#include "shared/System/kvModule.h"

namespace {

// Sees every event of the program, and ends it when the first window has been painted with all that is in it.
class PaintWatch : public QObject {
public:
    explicit PaintWatch(long long nStart) : m_nStart(nStart) {}

    // The first paint is the window's own. Those of its children follow before any other event is delivered.
    bool eventFilter(QObject*, QEvent* pEvent) override {
        if (pEvent->type() == QEvent::Paint && !std::exchange(m_bSeen, true))
            QCoreApplication::postEvent(this, new QEvent(QEvent::User), Qt::HighEventPriority);
        return false;
    }

    bool event(QEvent* pEvent) override {
        if (pEvent->type() != QEvent::User) return QObject::event(pEvent);
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        const long long nNow = now.tv_sec * 1000000000LL + now.tv_nsec;
        std::printf("%.3f\n", static_cast<double>(nNow - m_nStart) / 1e6);
        std::fflush(stdout);
        std::_Exit(0);
    }

private:
    const long long m_nStart;
    bool m_bSeen = false;
};

void ShowOurs(char* pszProgram, PaintWatch& watch) {
    using namespace Kestrova;
    GuiStart();
    qApp->installEventFilter(&watch);
    Module::Init(pszProgram, "StgMan", "1.0");
    StgMan manager("manager", "", "");
    manager.Routine();
}

void ShowToolkit(int argc, char** argv, PaintWatch& watch) {
    const QApplication application(argc, argv);
    qApp->installEventFilter(&watch);
    QWidget window;
    window.show();
    QApplication::exec();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("usage: first_paint ours|toolkit START FOLDER\n", stderr);
        return 2;
    }
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    setenv("XDG_DATA_HOME", argv[3], 1);
    PaintWatch watch(std::strtoll(argv[2], nullptr, 10));
    if (std::strcmp(argv[1], "ours") == 0)
        ShowOurs(argv[0], watch);
    else
        ShowToolkit(argc, argv, watch);
    std::fputs("first_paint: nothing was painted\n", stderr);
    return 1;
}
