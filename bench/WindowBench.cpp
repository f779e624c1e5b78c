// WindowBench - how late the window's event loop ever is while a bank is being built behind it.
// window_bench SOURCE FOLDER builds the bank at 176400 Hz in FOLDER, in create mode, and prints the longest
// pause between two turns of a timer that should come every 5 ms. The dialog's own tick, every 100 ms, is
// late by no more.
#include <QElapsedTimer>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "app/GuiPlatform.h"
#include "app/StgMan.h"
#include "shared/System/kvModule.h"

int main(int argc, char** argv) {
    using namespace Kestrova;
    if (argc != 3) {
        std::fputs("usage: window_bench SOURCE FOLDER\n", stderr);
        return 2;
    }
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    setenv("XDG_DATA_HOME", (std::string(argv[2]) + "/settings").c_str(), 1);
    GuiStart();
    Module::Init(argv[0], "StgMan", "1.0");

    QElapsedTimer sinceLast, sinceStart;
    qint64 nLongest = 0;
    int nTurns = 0;
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        if (nTurns++ > 0) nLongest = std::max(nLongest, sinceLast.nsecsElapsed());
        sinceLast.start();
    });
    int nStatus = 0;
    {
        StgMan manager("create176400", argv[1], argv[2]);
        sinceStart.start();
        timer.start(5);
        nStatus = manager.Routine();
    }
    timer.stop();
    std::printf("status %d, %.1f s, %d turns, longest pause %.1f ms\n", nStatus,
                static_cast<double>(sinceStart.elapsed()) / 1e3, nTurns, static_cast<double>(nLongest) / 1e6);
    GuiStop();
    return nStatus;
}
