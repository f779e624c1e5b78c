// Where the window's controls stand, and what they are.
#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>

#include "tests/app/qt/WindowFixture.h"

namespace Kestrova::Test {
namespace {

Rect PlaceInWindow(QWidget& window, QWidget& widget) {
    const QPoint corner = widget.mapTo(&window, QPoint(0, 0));
    return {corner.x(), corner.y(), corner.x() + widget.width(), corner.y() + widget.height()};
}

class WindowGeometryTest : public DialogTest, public testing::WithParamInterface<GuiType> {
protected:
    WindowGeometryTest() { Open(GetParam()); }

    void ExpectThePlacesOfTheTable() {
        const std::array<Rect, kDialogControlCount> places = LayOutDialog(GetParam());
        for (int i = 0; i < kDialogControlCount; ++i)
            EXPECT_EQ(places[static_cast<size_t>(i)], PlaceInWindow(Window(), Control(i))) << "control " << i;
    }
};

INSTANTIATE_TEST_SUITE_P(Modes, WindowGeometryTest, testing::ValuesIn(kModes),
                         [](const auto& param) { return std::string(ModeName(param.param)); });

TEST_P(WindowGeometryTest, EveryControlStandsWhereTheTableSays) { ExpectThePlacesOfTheTable(); }

// Of a job that runs, nothing may move: progress is shown in places kept free for it.
TEST_P(WindowGeometryTest, NothingMovesWhenProgressIsShown) {
    ListNoBanks();
    ShowJob("Creating bank for 192000; please wait ...");
    ExpectThePlacesOfTheTable();
}

TEST_P(WindowGeometryTest, TheWindowHasTheModesSizeAndKeepsIt) {
    int nWidth = 0, nHeight = 0;
    GuiGetWindowSize(GetParam(), nWidth, nHeight);
    const QSize size(nWidth, nHeight);
    EXPECT_EQ(size, Window().size());
    EXPECT_EQ(size, Window().minimumSize());
    EXPECT_EQ(size, Window().maximumSize());
}

TEST_P(WindowGeometryTest, TheWindowIsInTheMiddleOfTheDisplay) {
    const QRect display = QGuiApplication::primaryScreen()->geometry();
    EXPECT_EQ(display.left() + (display.width() - Window().width()) / 2, Window().geometry().left());
    EXPECT_EQ(display.top() + (display.height() - Window().height()) / 2, Window().geometry().top());
}

TEST_P(WindowGeometryTest, RowsTheModeDoesNotHaveAreHidden) {
    for (int i = 0; i < kDialogControlCount; ++i) {
        const bool bProgress = i >= kProgressText && i <= kCancelButton;
        const bool bFirstRate = i == kFirstRateBox && GetParam() != kUninstall;
        EXPECT_EQ(!GuiCtrlLayout(GetParam(), i).IsHidden() && !bProgress && !bFirstRate,
                  Control(i).isVisible())
            << "control " << i;
    }
}

TEST_P(WindowGeometryTest, EveryKindIsItsWidget) {
    for (int i = 0; i < kDialogControlCount; ++i) {
        QWidget* const pWidget = &Control(i);
        const bool bIsKind[] = {
            dynamic_cast<QLabel*>(pWidget) != nullptr,       dynamic_cast<QPushButton*>(pWidget) != nullptr,
            dynamic_cast<QCheckBox*>(pWidget) != nullptr,    dynamic_cast<QGroupBox*>(pWidget) != nullptr,
            dynamic_cast<QProgressBar*>(pWidget) != nullptr, dynamic_cast<QLineEdit*>(pWidget) != nullptr};
        EXPECT_TRUE(bIsKind[GuiCtrlTypes[static_cast<size_t>(i)]]) << "control " << i;
    }
}

TEST_P(WindowGeometryTest, PathsAreReadOnlyAndThePercentageIsRightAligned) {
    for (const int i : {kSourcePath, kTargetPath}) EXPECT_TRUE(As<QLineEdit>(i).isReadOnly());
    for (int i = 0; i < kDialogControlCount; ++i) {
        const auto* const pLabel = dynamic_cast<QLabel*>(&Control(i));
        if (pLabel == nullptr) continue;
        EXPECT_EQ(i == kProgressPercent, pLabel->alignment().testFlag(Qt::AlignRight)) << "control " << i;
        EXPECT_TRUE(pLabel->alignment().testFlag(Qt::AlignVCenter)) << "control " << i;
    }
}

TEST_P(WindowGeometryTest, TheProgressBarCountsAsItIsToldAndWritesNoPercentage) {
    auto& bar = As<QProgressBar>(kProgressBar);
    EXPECT_EQ(0, bar.minimum());
    EXPECT_EQ(10, bar.maximum());
    EXPECT_EQ(0, bar.value());
    EXPECT_FALSE(bar.isTextVisible());
    Dialog().InitProgressBar(7, 1);
    Dialog().SetProgressBar(3, 7);
    Tick();
    EXPECT_EQ(0, bar.minimum());
    EXPECT_EQ(7, bar.maximum());
    EXPECT_EQ(3, bar.value());
}

TEST_P(WindowGeometryTest, TheWindowHasTheModesTitleAndAnIcon) {
    EXPECT_EQ(QString(WindowTitle(GetParam())), Window().windowTitle());
    EXPECT_FALSE(Window().windowIcon().isNull());
}

TEST_P(WindowGeometryTest, TheWindowCanBeClosedAndMinimisedButNotMaximised) {
    const Qt::WindowFlags flags = Window().windowFlags();
    EXPECT_TRUE(flags.testFlag(Qt::WindowCloseButtonHint));
    EXPECT_TRUE(flags.testFlag(Qt::WindowMinimizeButtonHint));
    EXPECT_FALSE(flags.testFlag(Qt::WindowMaximizeButtonHint));
}

struct PlacedRow {
    int nControl;
    Rect place;
};

class KnownPlacesTest : public DialogTest {
protected:
    void ExpectPlaces(GuiType mode, QSize size, const std::vector<PlacedRow>& rows) {
        Open(mode);
        EXPECT_EQ(size, Window().size());
        for (const PlacedRow& row : rows)
            EXPECT_EQ(row.place, PlaceInWindow(Window(), Control(row.nControl)))
                << "control " << row.nControl;
    }
};

TEST_F(KnownPlacesTest, InTheManager) {
    ExpectPlaces(kManager, QSize(536, 317),
                 {{kSourceLabel, {9, 9, 249, 28}},
                  {kSourcePath, {9, 28, 484, 52}},
                  {kSourceChooser, {488, 28, 526, 52}},
                  {kTargetLabel, {9, 66, 249, 85}},
                  {kTargetChooser, {488, 85, 526, 109}},
                  {kRateGroup, {9, 123, 527, 180}},
                  {kFirstRateBox, {23, 147, 97, 166}},
                  {kFirstRateBox + 1, {106, 147, 180, 166}},
                  {kLastRateBox, {438, 147, 512, 166}},
                  {kRequiredLabel, {9, 195, 133, 214}},
                  {kRequiredSpace, {137, 195, 221, 214}},
                  {kFreeLabel, {225, 195, 397, 214}},
                  {kFreeSpace, {401, 195, 485, 214}},
                  {kProgressText, {18, 223, 378, 242}},
                  {kProgressPercent, {387, 223, 437, 242}},
                  {kProgressBar, {9, 242, 441, 266}},
                  {kCancelButton, {450, 242, 522, 266}},
                  {kMainButton, {311, 280, 407, 308}},
                  {kCloseButton, {426, 280, 522, 308}}});
}

TEST_F(KnownPlacesTest, InAnInstallation) {
    ExpectPlaces(kInstall, QSize(536, 260),
                 {{kTargetLabel, {9, 9, 249, 28}},
                  {kTargetPath, {9, 28, 484, 52}},
                  {kRateGroup, {9, 66, 527, 123}},
                  {kLastRateBox, {438, 90, 512, 109}},
                  {kFreeSpace, {401, 138, 485, 157}},
                  {kMainButton, {426, 223, 522, 251}}});
}

TEST_F(KnownPlacesTest, InAnUninstallation) {
    ExpectPlaces(kUninstall, QSize(536, 260),
                 {{kFirstRateBox, {23, 90, 97, 109}},
                  {kRequiredSpace, {137, 138, 221, 157}},
                  {kProgressText, {18, 166, 378, 185}}});
}

TEST_F(KnownPlacesTest, InTheCreationOfOneBank) {
    ExpectPlaces(kCreate, QSize(536, 260),
                 {{kRateGroup, {9, 66, 527, 123}}, {kCancelButton, {450, 185, 522, 209}}});
}

class EmbeddingTest : public WindowTest {};

TEST_F(EmbeddingTest, AnEmbeddedControlKeepsItsPlaceInTheWindow) {
    const GuiControlRef group = Make(kGroupBox, "Group"), box = Make(kCheckBox, "Box");
    const Rect before = PlaceInWindow(*m_window, box->Widget());
    GuiEmbedControl(group, box);
    EXPECT_EQ(&group->Widget(), box->Widget().parentWidget());
    EXPECT_EQ(before, PlaceInWindow(*m_window, box->Widget()));
    Show();
    EXPECT_EQ(before, PlaceInWindow(*m_window, box->Widget()));
    EXPECT_TRUE(box->Widget().isVisible());
}

// The group is deleted first: the widgets of its controls must not be deleted twice.
TEST_F(EmbeddingTest, AGroupMayGoBeforeItsControls) {
    const GuiControlRef group = GuiCreateControl(m_window, Rect{0, 0, 100, 90}, kGroupBox, 0, 1, "Group");
    const GuiControlRef box = GuiCreateControl(m_window, Rect{10, 20, 90, 40}, kCheckBox, 0, 2, "Box");
    GuiEmbedControl(group, box);
    GuiDisposeControl(group);
    EXPECT_TRUE(m_window->findChildren<QWidget*>().isEmpty());
    GuiDisposeControl(box);
}

}  // namespace
}  // namespace Kestrova::Test
