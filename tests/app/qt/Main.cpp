// The tests of the window run on Qt's own invisible platform, with one display that holds every window at
// every scale, in one style, with a bus of their own, and in a home of their own, for the file dialogs keep
// settings there.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <cstdlib>

#include "app/GuiPlatform.h"
#include "tests/app/qt/PrivateBus.h"
#include "tests/support/TempDir.h"

namespace {

constexpr char kDisplays[] =
    R"({"screens": [{"name": "display", "x": 0, "y": 0, "width": 2400, "height": 1920,
                     "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]})";

}  // namespace

int main(int argc, char** argv) {
    using namespace Kestrova;
    testing::InitGoogleTest(&argc, argv);
    const Test::TempDir home;
    const Test::PrivateBus bus;
    setenv("HOME", home.File("").c_str(), 1);
    for (const char* const pszFolder : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        setenv(pszFolder, home.File(pszFolder).c_str(), 1);
    Test::WriteFile(home.File("displays.json"), kDisplays);
    setenv("QT_QPA_PLATFORM", ("offscreen:configfile=" + home.File("displays.json")).c_str(), 1);
    setenv("QT_STYLE_OVERRIDE", "Fusion", 1);
    QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    GuiStart();
    const int nStatus = RUN_ALL_TESTS();
    GuiStop();
    return nStatus;
}
