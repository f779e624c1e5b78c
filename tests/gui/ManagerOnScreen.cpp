#include "tests/gui/ManagerOnScreen.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "tests/support/SoundFileMaker.h"

namespace Kestrova::Test {
namespace {

namespace fs = std::filesystem;

constexpr int kIndicatorWidth = 17;  // of a check box, from its left edge
constexpr int kIndicatorFrame = 3;
constexpr int kButtonFrame = 8;
constexpr int kInkPointsOfAText = 12;
constexpr int kInkPointsOfDots = 2;  // of "...", the text of the choosers

bool IsChooser(int nControl) { return nControl == kSourceChooser || nControl == kTargetChooser; }

std::vector<std::string> Joined(std::vector<std::string> first, const std::vector<std::string>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// The source that `import` makes.
std::string Imported(const std::string& strInput, const std::string& strOutput) {
    if (UserOnScreen::RunKvBank({"import", "-q", strInput, "-o", strOutput}) != 0)
        throw std::runtime_error("kvbank import");
    return strOutput;
}

}  // namespace

HomeFolder::HomeFolder(const fs::path& named) : m_path(named) {
    if (named.empty()) {
        m_pTemporary = std::make_unique<TempDir>();
        m_path = m_pTemporary->Path();
    } else if (!fs::create_directory(named)) {
        throw std::runtime_error(named.string() + " is there already");
    }
}

HomeFolder::~HomeFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

UserOnScreen::UserOnScreen(int nScreenWidth, int nScreenHeight, const fs::path& home)
    : m_screen(nScreenWidth, nScreenHeight), m_home(home), m_strSource(m_home.File("Music/Demo.kvs")) {
    fs::create_directories(BanksFolder());
    fs::create_directories(m_home.File("local"));
    if (RunKvBank({"demo", "-q", "-o", m_strSource}) != 0) throw std::runtime_error("kvbank demo");
}

int UserOnScreen::RunKvBank(const std::vector<std::string>& arguments) {
    return ChildProcess(Joined({KV_KVBANK}, arguments)).Wait();
}

const std::string& UserOnScreen::FontSource() {
    if (m_strFontSource.empty())
        m_strFontSource = Imported("/usr/share/sounds/sf2/FluidR3_GS.sf2", m_home.File("Music/Fluid.kvs"));
    return m_strFontSource;
}

const std::string& UserOnScreen::SlowSource() {
    constexpr int kWaves = 16, kFrames = 1250000;
    if (m_strSlowSource.empty()) {
        const std::string strFolder = m_home.File("Silence");
        fs::create_directory(strFolder);
        const Bytes wav = MakeWav({.data = Bytes(size_t{2} * kFrames)});
        for (int nKey = 0; nKey < kWaves; ++nKey)
            WriteFile(strFolder + "/" + std::to_string(nKey) + ".wav", wav);
        m_strSlowSource = Imported(strFolder, m_home.File("Music/Slow.kvs"));
    }
    return m_strSlowSource;
}

fs::path UserOnScreen::BankOf(const std::string& strSource, int nRate) const {
    char szEnd[16];
    std::snprintf(szEnd, sizeof szEnd, "_%05X.kvn", static_cast<unsigned int>(nRate));
    return fs::path(BanksFolder()) / (fs::path(strSource).stem().string() + szEnd);
}

std::string UserOnScreen::Settings() const {
    const fs::path file = m_home.Path() / "data/Kestrova/Calderine/kvsmple.ini";
    if (!fs::exists(file)) return "";
    const Bytes bytes = ReadFile(file);
    return std::string(bytes.begin(), bytes.end());
}

std::vector<std::string> UserOnScreen::FilesInBanksFolder() const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(BanksFolder()))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> UserOnScreen::Environment() const {
    return {"DISPLAY=" + m_screen.Name(),
            "HOME=" + m_home.Path().string(),
            "XDG_DATA_HOME=" + m_home.File("data"),
            "XDG_DATA_DIRS=" + m_home.File("local") + ":/usr/share",
            "XDG_CONFIG_HOME=" + m_home.File("config"),
            "QT_QPA_PLATFORM=xcb",
            "QT_STYLE_OVERRIDE=Fusion",
            "WAYLAND_DISPLAY=",
            "KV_KERNELS=scalar"};
}

ManagerOnScreen::ManagerOnScreen(UserOnScreen& user, GuiType mode, const std::vector<std::string>& arguments,
                                 const std::vector<std::string>& variables)
    : m_screen(user.Screen()),
      m_places(LayOutDialog(mode)),
      m_process(Joined({KV_KVBANKMGR}, arguments), Joined(user.Environment(), variables)),
      m_window(WaitForWindow(WindowTitle(mode))) {
    if (HasWindow()) WaitWhileRunning([this] { return m_screen.IsDrawn(m_window); });
}

XWindow ManagerOnScreen::WaitForWindow(const std::string& strTitle) {
    XWindow window = 0;
    WaitWhileRunning([&] { return (window = m_screen.Find(strTitle)) != 0; });
    return window;
}

void ManagerOnScreen::Press(int nControl) {
    if (GuiCtrlTypes[static_cast<size_t>(nControl)] == kPushButton && !WaitForEnabled(nControl)) return;
    const Rect place = Place(nControl);
    const int x = nControl >= kFirstRateBox && nControl <= kLastRateBox ? place.left + kIndicatorWidth / 2
                                                                        : (place.left + place.right) / 2;
    m_screen.Click(m_window, x, (place.top + place.bottom) / 2);
}

void ManagerOnScreen::Key(const char* pszKey) {
    m_screen.Focus(m_window);
    m_screen.Key(pszKey);
}

// The inside of an empty box is of one colour.
bool ManagerOnScreen::IsTicked(int nRate) {
    Rect inside = Place(kFirstRateBox + nRate);
    const int nMiddle = (inside.top + inside.bottom) / 2;
    inside.left += kIndicatorFrame;
    inside.right = inside.left + kIndicatorWidth - 2 * kIndicatorFrame - 2;
    inside.top = nMiddle - 3;
    inside.bottom = nMiddle + 3;
    return !m_screen.IsBlank(m_window, inside);
}

bool ManagerOnScreen::IsShown(int nControl) { return !m_screen.IsBlank(m_window, Place(nControl)); }

bool ManagerOnScreen::IsButtonEnabled(int nControl) {
    Rect text = Place(nControl);
    text.left += kButtonFrame;
    text.right -= kButtonFrame;
    text.top += kButtonFrame;
    text.bottom -= kButtonFrame;
    return m_screen.InkPoints(m_window, text) > (IsChooser(nControl) ? kInkPointsOfDots : kInkPointsOfAText);
}

// The 44100 box is hidden, but for uninstallation.
bool ManagerOnScreen::WaitForTicks(const std::vector<int>& rates) {
    return WaitWhileRunning([&] {
        for (int i = 1; i < kRateCount; ++i)
            if (IsTicked(i) != (std::find(rates.begin(), rates.end(), i) != rates.end())) return false;
        return true;
    });
}

bool ManagerOnScreen::WaitForProgress() {
    return WaitWhileRunning([this] { return m_screen.ColouredPoints(m_window, Place(kProgressBar)) > 0; });
}

bool ManagerOnScreen::WaitForEndOfProgress() {
    return WaitWhileRunning([this] { return !IsShown(kProgressBar) && !IsShown(kCancelButton); });
}

bool ManagerOnScreen::WaitForEndOfRun() {
    return WaitWhileRunning([this] { return !IsButtonEnabled(kMainButton); }) && WaitUntilReady();
}

bool ManagerOnScreen::WaitForEnabled(int nControl) {
    return WaitWhileRunning([&] { return IsButtonEnabled(nControl); });
}

// The boxes are disabled until the banks are known.
bool ManagerOnScreen::WaitUntilReady() {
    Rect text = Place(kLastRateBox);
    text.left += kIndicatorWidth;
    return WaitWhileRunning([&] {
        return m_screen.InkPoints(m_window, text) > kInkPointsOfAText && IsButtonEnabled(kCloseButton);
    });
}

// Without a window manager the window below may take the keyboard while the alert comes up; so the key is
// pressed again while the alert stays.
bool ManagerOnScreen::AnswerAlert(const std::string& strTitle, const char* pszKey) {
    const XWindow alert = WaitForWindow(strTitle);
    if (alert == 0) return false;
    return WaitWhileRunning([&] {
        m_screen.Focus(alert);
        m_screen.Key(pszKey);
        for (int i = 0; i < 30; ++i, PauseBetweenLooks())
            if (!m_screen.IsShown(alert)) return true;
        return false;
    });
}

}  // namespace Kestrova::Test
