// screenshots FOLDER HOME - the program's window in every mode, idle and busy, light and dark, as pictures.
// The home is that of the user whose paths they show; it is made, and removed at the end.
#include <QImage>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "tests/gui/ManagerOnScreen.h"

namespace Kestrova::Test {
namespace {

namespace fs = std::filesystem;

// The desktop's settings file that the toolkit takes its colours from.
constexpr char kDarkDesktop[] =
    "[Colors:Window]\nBackgroundNormal=42,46,50\nForegroundNormal=252,252,252\n"
    "[Colors:View]\nBackgroundNormal=27,30,32\nForegroundNormal=252,252,252\n"
    "[Colors:Button]\nBackgroundNormal=49,54,59\nForegroundNormal=252,252,252\n"
    "[Colors:Selection]\nBackgroundNormal=61,174,233\nForegroundNormal=252,252,252\n"
    "[Colors:Tooltip]\nBackgroundNormal=49,54,59\nForegroundNormal=252,252,252\n";

struct Mode {
    GuiType type;
    const char* pszWord;
    const char* pszName;
};
constexpr Mode kModes[] = {{kManager, "manager", "manager"},
                           {kInstall, "install", "install"},
                           {kUninstall, "uninstall", "uninstall"},
                           {kCreate, "create192000", "create"}};

class Photographer {
public:
    Photographer(fs::path folder, const fs::path& home, bool bDark)
        : m_folder(std::move(folder)), m_bDark(bDark), m_user(1280, 900, home) {
        if (!bDark) return;
        fs::create_directories(m_user.File("config"));
        std::ofstream(m_user.File("config") + "/kdeglobals") << kDarkDesktop;
    }

    // The window as a mode starts with it, and while a job runs.
    bool TakeAll() {
        if (!BuildABank()) return false;
        for (const Mode& mode : kModes)
            if (!TakeMode(mode)) return false;
        return TakeAlert();
    }

private:
    bool BuildABank() {
        return UserOnScreen::RunKvBank(
                   {"build", "-q", m_user.FontSource(), "-d", m_user.BanksFolder(), "-r", "48000"}) == 0;
    }

    std::vector<std::string> Desktop() const {
        if (!m_bDark) return {};
        return {"XDG_CURRENT_DESKTOP=KDE", "KDE_SESSION_VERSION=5", "KDE_FULL_SESSION=true"};
    }

    bool TakeMode(const Mode& mode) {
        ManagerOnScreen manager(m_user, mode.type, {mode.pszWord, m_user.FontSource(), m_user.BanksFolder()},
                                Desktop());
        if (!manager.HasWindow()) return false;
        if (mode.type == kCreate) return TakeBusy(manager, mode) && Cancel(manager, mode);
        if (mode.type == kManager ? !manager.WaitUntilReady() : !manager.WaitForEnabled(kMainButton))
            return false;
        if (mode.type == kManager) {
            manager.PressBox(3);
            manager.PressBox(5);
            manager.WaitForEnabled(kMainButton);
        }
        if (!Take(manager.Window(), mode.pszName, "idle")) return false;
        if (mode.type == kUninstall) return true;  // it removes at once
        manager.Press(kMainButton);
        return TakeBusy(manager, mode);
    }

    // The analysis shows its progress too, but cannot be cancelled.
    bool TakeBusy(ManagerOnScreen& manager, const Mode& mode) {
        return manager.WaitForProgress() && manager.WaitForEnabled(kCancelButton) &&
               Take(manager.Window(), mode.pszName, "busy");
    }

    bool Cancel(ManagerOnScreen& manager, const Mode& mode) {
        manager.Press(kCancelButton);
        return manager.AnswerAlert("Bank(s) creation failed.", "Return") && manager.WaitForEndOfProgress() &&
               Take(manager.Window(), mode.pszName, "idle");
    }

    bool TakeAlert() {
        std::ofstream(m_user.File("Broken.kvs")) << "no bank";
        ManagerOnScreen manager(m_user, kManager,
                                {"manager", m_user.File("Broken.kvs"), m_user.BanksFolder()}, Desktop());
        const XWindow alert = manager.WaitForWindow("Select source.");
        return alert != 0 && manager.WaitForEnabled(kCloseButton) && Take(alert, "alert", "source");
    }

    bool Take(XWindow window, const std::string& strName, const std::string& strState) {
        const fs::path file = m_folder / (strName + "-" + strState + (m_bDark ? "-dark.png" : "-light.png"));
        PauseBetweenLooks();
        const std::vector<uint32_t> points = m_user.Screen().Picture(window);
        const int nWidth = m_user.Screen().WidthOf(window);
        if (nWidth == 0 || points.empty()) return false;
        const QImage picture(reinterpret_cast<const uchar*>(points.data()), nWidth,
                             static_cast<int>(points.size()) / nWidth, QImage::Format_RGB32);
        std::printf("%s\n", file.c_str());
        return picture.save(QString::fromStdString(file.string()));
    }

    const fs::path m_folder;
    const bool m_bDark;
    UserOnScreen m_user;
};

}  // namespace
}  // namespace Kestrova::Test

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: screenshots FOLDER HOME\n", stderr);
        return 2;
    }
    for (const bool bDark : {false, true})
        if (!Kestrova::Test::Photographer(argv[1], argv[2], bDark).TakeAll()) {
            std::fputs("screenshots: a window did not come to the state wanted\n", stderr);
            return 1;
        }
    return 0;
}
