// ManagerOnScreen.h - the program in a window, used by its controls' names.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/gui/XScreen.h"
#include "tests/support/TempDir.h"
#include "tests/support/WaitUntil.h"

namespace Kestrova::Test {

// A folder of a test's own or, when a path is given, a folder of that path; gone with the object.
class HomeFolder {
public:
    // An exception when a folder of that path is there already.
    explicit HomeFolder(const std::filesystem::path& named);
    ~HomeFolder();
    HomeFolder(const HomeFolder&) = delete;
    HomeFolder& operator=(const HomeFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }
    std::string File(const std::string& strName) const { return (m_path / strName).string(); }

private:
    std::unique_ptr<TempDir> m_pTemporary;
    std::filesystem::path m_path;
};

// A user with a home folder, a source bank and a folder for banks; nothing outside the home is touched.
class UserOnScreen {
public:
    // The screen is large enough for every window, unless a test wants one of another size.
    explicit UserOnScreen(int nScreenWidth = 1280, int nScreenHeight = 900,
                          const std::filesystem::path& home = {});

    const std::string& Source() const { return m_strSource; }
    const std::string& FontSource();  // imported from a soundfont when first asked for
    // Takes seconds a bank, on any processor of today: long waves, which the environment below has resampled
    // by the plain kernels. Made when first asked for.
    const std::string& SlowSource();
    std::string BanksFolder() const { return m_home.File("Music/Banks"); }
    std::filesystem::path BankOf(const std::string& strSource, int nRate) const;
    std::string Settings() const;  // the text of the settings file
    // Names in the banks folder, in order.
    std::vector<std::string> FilesInBanksFolder() const;
    std::string File(const std::string& strName) const { return m_home.File(strName); }

    // Runs kvbank to its end; its exit code.
    static int RunKvBank(const std::vector<std::string>& arguments);
    std::vector<std::string> Environment() const;
    XScreen& Screen() { return m_screen; }

private:
    XScreen m_screen;
    HomeFolder m_home;
    std::string m_strSource;
    std::string m_strFontSource, m_strSlowSource;
};

// The running program with its window. When the program has ended, what a test waits for cannot come any
// more; so every wait then ends at once.
class ManagerOnScreen {
public:
    // Starts it with these arguments, and variables ("NAME=value") beside the user's, and waits for the
    // window of the mode.
    ManagerOnScreen(UserOnScreen& user, GuiType mode, const std::vector<std::string>& arguments,
                    const std::vector<std::string>& variables = {});

    bool HasWindow() const { return m_window != 0; }
    ChildProcess& Process() { return m_process; }
    XWindow Window() const { return m_window; }

    // A further window of the program, a chooser or an alert, by its title; 0 when it does not come.
    XWindow WaitForWindow(const std::string& strTitle);

    // A button is pressed as soon as it is shown as enabled, and not at all when that does not come.
    void Press(int nControl);
    void PressBox(int nRate) { Press(kFirstRateBox + nRate); }
    void Key(const char* pszKey);
    void Close() { m_screen.Close(m_window); }

    bool IsTicked(int nRate);
    bool IsShown(int nControl);
    bool IsButtonEnabled(int nControl);

    // Until the source has been analysed and rates can be chosen.
    bool WaitUntilReady();
    bool WaitForTicks(const std::vector<int>& rates);  // exactly these, by index
    bool WaitForProgress();
    bool WaitForEndOfProgress();
    // After the main button has been pressed: until rates can be chosen again, and nothing is left to do.
    bool WaitForEndOfRun();
    bool WaitForEnabled(int nControl);

    // Waits for the alert with this title; presses a key in it and waits until it has gone.
    bool AnswerAlert(const std::string& strTitle, const char* pszKey);

private:
    // False when the program ends before, or when the time limit is reached.
    template <class TCondition>
    bool WaitWhileRunning(TCondition condition) {
        bool bTrue = false;
        return WaitUntil([&] { return (bTrue = condition()) || m_process.HasEnded(); }) && bTrue;
    }
    Rect Place(int nControl) const { return m_places[static_cast<size_t>(nControl)]; }

    XScreen& m_screen;
    std::array<Rect, kDialogControlCount> m_places;
    ChildProcess m_process;
    XWindow m_window;
};

}  // namespace Kestrova::Test
