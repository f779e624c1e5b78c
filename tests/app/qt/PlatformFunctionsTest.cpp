// The functions that need no window, and all of them without one.
#include <sys/statvfs.h>

#include <QScreen>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "shared/System/kvString.h"
#include "tests/app/qt/WindowFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/OwnExecutable.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

class NullReferenceTest : public WindowTest {};

TEST_F(NullReferenceTest, NoWindowIsLeftAlone) {
    GuiDisposeWindow(nullptr);
    GuiShowWindow(nullptr, 1, 1);
    GuiShowWindow(nullptr, 0, 0);
    GuiRunLoop(nullptr, &m_owner);  // comes back
    GuiSetKeyControls(nullptr, nullptr, nullptr);
    GuiSetKeyControls(nullptr, Make(kPushButton, "One"), nullptr);
    EXPECT_EQ(nullptr, GuiCreateControl(nullptr, Rect{0, 0, 10, 10}, kPushButton, 0, 1, "text"));
    EXPECT_EQ(0, m_owner.nTicks);
}

TEST_F(NullReferenceTest, NoControlIsLeftAlone) {
    const GuiControlRef box = Make(kCheckBox, "Box");
    GuiDisposeControl(nullptr);
    GuiEmbedControl(nullptr, nullptr);
    GuiEmbedControl(box, nullptr);
    GuiEmbedControl(nullptr, box);
    GuiShowControl(nullptr, 1);
    GuiShowControl(nullptr, 0);
    GuiEnableControl(nullptr, 1);
    GuiEnableControl(nullptr, 0);
    GuiSetControlText(nullptr, "text");
    GuiSetControlValue(nullptr, 1);
    GuiCheckControl(nullptr, 1);
    GuiSetControlRange(nullptr, 0, 1);
    GuiSetControlName(nullptr, "name");
    EXPECT_EQ(m_window, box->Widget().parentWidget());
}

TEST(WindowRectTest, TheWindowIsCentredOnTheMainDisplay) {
    const QRect display = QGuiApplication::primaryScreen()->geometry();
    for (const GuiType mode : kModes) {
        int nWidth = 0, nHeight = 0;
        GuiGetWindowSize(mode, nWidth, nHeight);
        Rect rect;
        GuiGetWindowRect(mode, &rect);
        EXPECT_EQ(display.left() + (display.width() - nWidth) / 2, rect.left);
        EXPECT_EQ(display.top() + (display.height() - nHeight) / 2, rect.top);
        EXPECT_EQ(nWidth, rect.Width());
        EXPECT_EQ(nHeight, rect.Height());
    }
}

TEST(WindowRectTest, OnADisplayOf2400By1920) {
    if (QGuiApplication::primaryScreen()->geometry() != QRect(0, 0, 2400, 1920)) GTEST_SKIP() << "scaled";
    Rect rect;
    GuiGetWindowRect(kManager, &rect);
    EXPECT_EQ((Rect{932, 801, 1468, 1118}), rect);
    GuiGetWindowRect(kInstall, &rect);
    EXPECT_EQ((Rect{932, 830, 1468, 1090}), rect);
}

int FreeMegabytesBySystem(const char* pszPath) {
    struct statvfs volume {};
    EXPECT_EQ(0, statvfs(pszPath, &volume));
    const auto nBytes = static_cast<unsigned long long>(volume.f_bavail) * volume.f_frsize;
    return static_cast<int>(nBytes / 1048576 + (nBytes % 1048576 != 0 ? 1 : 0));
}

// Other programs write to the disk too. So it is asked again until the system says the same before and after.
void ExpectFreeSpaceOf(const char* pszPath) {
    for (int i = 0; i < 1000; ++i) {
        const int nBefore = FreeMegabytesBySystem(pszPath);
        const int nFree = UtilGetFreeDiskSpace(pszPath);
        if (nBefore != FreeMegabytesBySystem(pszPath)) continue;
        EXPECT_EQ(nBefore, nFree) << pszPath;
        return;
    }
    FAIL() << "the disk is never quiet";
}

TEST(FreeDiskSpaceTest, ItIsTheVolumesInMegabytesRoundedUp) {
    const TempDir dir;
    WriteFile(dir.File("file"), "x");
    ExpectFreeSpaceOf("/");
    ExpectFreeSpaceOf(dir.Path().c_str());
    ExpectFreeSpaceOf(dir.File("file").c_str());
    ExpectFreeSpaceOf("/dev/shm");
    ExpectFreeSpaceOf("/proc");
}

TEST(FreeDiskSpaceTest, AnyFailureIsZero) {
    const TempDir dir;
    EXPECT_EQ(0, UtilGetFreeDiskSpace(dir.File("missing").c_str()));
    EXPECT_EQ(0, UtilGetFreeDiskSpace(""));
    EXPECT_EQ(0, UtilGetFreeDiskSpace(nullptr));
}

std::string Tenths(double n) {
    char szText[16];
    std::snprintf(szText, sizeof szText, "%.1f", n);
    return szText;
}

// Run again below in other languages.
TEST(LocaleTest, TheLanguageIsThePlainOne) {
    EXPECT_EQ("99.9", Tenths(99.9));
    EXPECT_EQ(0, String("INSTALL").CompareNoCase("install"));
    EXPECT_NE(0, String("\xC9").CompareNoCase("\xE9"));
    EXPECT_STREQ("No such file or directory", std::strerror(ENOENT));
}

// German writes commas, Turkish has another small letter for "I", the third has one byte for a letter with an
// accent.
TEST(LocaleTest, TheUsersLanguageChangesNothing) {
    const TempDir dir;
    for (const std::string strLanguage : {"de_DE.UTF-8", "tr_TR.UTF-8", "fr_FR.ISO-8859-1"}) {
        const size_t nPoint = strLanguage.find('.');
        // Without it, and without an installed one, the language is the plain one.
        RunProgram({"localedef", "-i", strLanguage.substr(0, nPoint), "-f", strLanguage.substr(nPoint + 1),
                    dir.File(strLanguage)});
        const ProgramRun run =
            RunProgram({OwnExecutable(), "--gtest_filter=LocaleTest.TheLanguageIsThePlainOne"},
                       {"LOCPATH=" + dir.Path().string(), "LC_ALL=" + strLanguage});
        EXPECT_EQ(0, run.nStatus) << run.strOut << run.strErr;
        EXPECT_NE(std::string::npos, run.strOut.find("[  PASSED  ] 1 test.")) << run.strOut;
    }
}

}  // namespace
}  // namespace Kestrova::Test
