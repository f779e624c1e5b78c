#include "tests/app/qt/WindowFixture.h"

#include <QHelpEvent>
#include <ostream>

namespace Kestrova::Test {

const char* ModeWord(GuiType mode) {
    static constexpr const char* kWords[] = {"", "install", "uninstall", "create96000"};
    return kWords[mode];
}

const char* ModeName(GuiType mode) {
    static constexpr const char* kNames[] = {"Manager", "Install", "Uninstall", "Create"};
    return kNames[mode];
}

QString ToolTipOf(QWidget& widget) {
    const QPoint place = widget.rect().center();
    QHelpEvent rest(QEvent::ToolTip, place, widget.mapToGlobal(place));
    QCoreApplication::sendEvent(&widget, &rest);
    return widget.toolTip();
}

Patience::Patience() {
    m_timer.setSingleShot(true);
    QObject::connect(&m_timer, &QTimer::timeout, [] {
        ADD_FAILURE() << "an event loop was not ended";
        QCoreApplication::exit();
    });
    m_timer.start(kPatienceMilliseconds);
}

void PrintTo(const SeenEvent& event, std::ostream* pOut) {
    *pOut << "class " << event.nClass << ", kind " << event.nKind << ", control " << event.nControl
          << ", value " << event.nValue << ", path \"" << event.strPath << '"';
}

SeenEvent ControlEvent(int nControl, int nValue) {
    return {kGuiControlEvent, GuiEvent().nKind, nControl, nValue, ""};
}

SeenEvent WindowEvent(int nKind, const std::string& strPath) {
    return {kGuiWindowEvent, nKind, GuiEvent().nControl, GuiEvent().nValue, strPath};
}

void RecordingOwner::OnTimer() {
    ++nTicks;
    if (const std::function<void()> act = onTick) act();  // which may put another in its place
}

int RecordingOwner::WndProc(const GuiEvent& event) {
    events.push_back({event.nClass, event.nKind, event.nControl, event.nValue,
                      event.pszPath == nullptr ? "" : event.pszPath});
    if (const std::function<void()> act = onEvent) act();
    return kGuiHandled;
}

bool RecordingOwner::AcceptsDrop(bool bFolder) {
    questions.push_back(bFolder);
    return bFolder ? bAcceptsFolder : bAcceptsFile;
}

WindowTest::WindowTest() : m_window(GuiCreateWindow("A title", Rect{20, 30, 420, 230}, &m_owner)) {}

WindowTest::~WindowTest() {
    GuiShowWindow(m_window, 0, 0);
    for (const GuiControlRef control : m_controls) GuiDisposeControl(control);
    GuiDisposeWindow(m_window);
}

void WindowTest::Show() {
    GuiShowWindow(m_window, 1, 1);
    ASSERT_TRUE(QTest::qWaitForWindowActive(m_window));
}

// One below the other.
GuiControlRef WindowTest::Make(int nKind, const char* pszTitle, int nControl, int nStyle) {
    const int nTop = 10 + 30 * static_cast<int>(m_controls.size());
    const GuiControlRef control =
        GuiCreateControl(m_window, Rect{10, nTop, 210, nTop + 24}, nKind, nStyle, nControl, pszTitle);
    m_controls.push_back(control);
    return control;
}

DialogTest::~DialogTest() { Close(); }

void DialogTest::Open(GuiType mode) {
    m_pDialog = std::make_unique<StgManDlg>(&m_manager, ModeWord(mode), m_strSource, m_strTarget);
    ASSERT_TRUE(m_pDialog->HasWindow());
    ASSERT_TRUE(QTest::qWaitForWindowActive(&Window()));
}

void DialogTest::Close() { m_pDialog.reset(); }

QWidget& DialogTest::Window() {
    for (QWidget* const pWidget : QApplication::topLevelWidgets())
        if (auto* const pWindow = dynamic_cast<GuiWindow*>(pWidget)) return *pWindow;
    throw std::logic_error("no dialog is open");
}

// Controls are made in the order of their numbers; the rates are in the group.
QWidget& DialogTest::Control(int nControl) {
    const auto Children = [](QWidget& parent) {
        return parent.findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
    };
    if (nControl >= kFirstRateBox && nControl <= kLastRateBox)
        return *Children(Control(kRateGroup)).at(nControl - kFirstRateBox);
    return *Children(Window()).at(nControl < kFirstRateBox ? nControl : nControl - kRateCount);
}

void DialogTest::ListNoBanks() {
    constexpr int kNone[kRateCount] = {};
    Dialog().SetCheckBoxes(kNone);
    Dialog().SetExistingInfo(kNone);
    Tick();
}

void DialogTest::ShowJob(const char* pszText) {
    Dialog().InitProgressBar(5, 1);
    Dialog().ShowProgressText(pszText);
    Dialog().SetProgressBar(5, 5);
    Tick();
}

int DialogTest::FocusedControl() {
    const QWidget* const pFocus = QApplication::focusWidget();
    if (pFocus == &Window()) return -1;
    for (int i = 0; i < kDialogControlCount; ++i)
        if (pFocus == &Control(i)) return i;
    return -2;
}

}  // namespace Kestrova::Test
