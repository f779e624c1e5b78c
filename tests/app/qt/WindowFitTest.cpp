// No text is cut, whatever the desktop's font. CTest runs these once for each scale of the screen.
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <tuple>

#include "tests/app/qt/TextRecorder.h"
#include "tests/app/qt/WindowFixture.h"

namespace Kestrova::Test {
namespace {

constexpr char kLongPath[] =
    "/home/someone/A folder of samples/Another folder inside of it/A third one, with a longer name than "
    "the others have/Grand piano, all velocities.kvs";

class FontGuard {
public:
    explicit FontGuard(int nPoints) : m_before(QApplication::font()) {
        QApplication::setFont(QFont("DejaVu Sans", nPoints));
    }
    ~FontGuard() { QApplication::setFont(m_before); }
    FontGuard(const FontGuard&) = delete;
    FontGuard& operator=(const FontGuard&) = delete;

private:
    const QFont m_before;
};

// All of the text is drawn, and inside the widget.
void ExpectWhole(QWidget& widget, const QString& strText) {
    const Drawing drawing = DrawnBy(widget);
    EXPECT_EQ(strText, drawing.strText);
    if (strText.isEmpty()) return;
    const QRectF place = widget.rect();
    EXPECT_TRUE(place.contains(drawing.box))
        << strText.toStdString() << " is drawn from " << drawing.box.left() << ',' << drawing.box.top()
        << " to " << drawing.box.right() << ',' << drawing.box.bottom() << " in " << place.width() << " x "
        << place.height();
}

class WindowFitTest : public DialogTest, public testing::WithParamInterface<std::tuple<GuiType, int>> {
protected:
    WindowFitTest() : m_font(std::get<int>(GetParam())) {}
    void OpenMode() { Open(Mode()); }
    GuiType Mode() const { return std::get<GuiType>(GetParam()); }

    void ExpectTitlesWhole() {
        for (int i = 0; i < kDialogControlCount; ++i) {
            const bool bHasTitle = i != kProgressText && i != kProgressPercent && i != kProgressBar &&
                                   i != kRequiredSpace && i != kFreeSpace;
            if (!bHasTitle || !Control(i).isVisible()) continue;
            SCOPED_TRACE(i);
            ExpectWhole(Control(i), GuiCtrlTitles(Mode(), i));
            if (*GuiCtrlTitles(Mode(), i) == '\0') continue;
            EXPECT_EQ(Window().font().pointSizeF(), DrawnBy(Control(i)).nPoints) << "one size for all";
        }
    }

    const FontGuard m_font;
};

INSTANTIATE_TEST_SUITE_P(ModesAndPoints, WindowFitTest,
                         testing::Combine(testing::ValuesIn(kModes), testing::Values(9, 10, 11, 12)),
                         [](const auto& param) {
                             return ModeName(std::get<GuiType>(param.param)) +
                                    std::to_string(std::get<int>(param.param));
                         });

TEST_P(WindowFitTest, TitlesAreWhole) {
    OpenMode();
    ExpectTitlesWhole();
}

TEST_P(WindowFitTest, TitlesAreWholeWhileAJobRuns) {
    OpenMode();
    ListNoBanks();
    ShowJob("Creating bank for 192000; please wait ...");
    ExpectTitlesWhole();
}

TEST_P(WindowFitTest, TitlesAreWholeWhenTheFontChangesWhileTheWindowIsShown) {
    OpenMode();
    const FontGuard larger(std::get<int>(GetParam()) + 3);
    QCoreApplication::processEvents();
    ExpectTitlesWhole();
}

TEST_P(WindowFitTest, TheWindowFollowsTheDesktopsFontWhileItIsShown) {
    OpenMode();
    ASSERT_GT(Window().font().pointSizeF(), 6.5);
    const FontGuard smaller(6);
    QCoreApplication::processEvents();
    EXPECT_EQ(6, Window().font().pointSizeF());
    EXPECT_EQ(6, DrawnBy(Control(kMainButton)).nPoints);
}

TEST_P(WindowFitTest, TextsThatChangeAreWhole) {
    struct Text {
        int nControl;
        const char* pszText;
    };
    constexpr Text kTexts[] = {{kRequiredSpace, "1023 M to free"},
                               {kRequiredSpace, "999 G to free"},
                               {kRequiredSpace, "1024 M"},
                               {kFreeSpace, "1024 M"},
                               {kFreeSpace, "999 G"},
                               {kProgressPercent, "99.9%"},
                               {kProgressText, "Creating bank for 192000; please wait ..."},
                               {kProgressText, "Analysing Calde4_0AC44.kvn ..."}};
    OpenMode();
    ShowJob("");
    for (const Text& text : kTexts) {
        auto& label = As<QLabel>(text.nControl);
        if (!label.isVisible()) continue;  // free space, in an uninstallation
        label.setText(text.pszText);
        ExpectWhole(label, text.pszText);
        EXPECT_EQ("", ToolTipOf(label)) << text.pszText;
    }
}

TEST_P(WindowFitTest, APathThatIsTooLongIsShortenedInTheMiddleAndWholeInItsToolTip) {
    m_strSource = m_strTarget = kLongPath;
    OpenMode();
    for (const int i : {kSourcePath, kTargetPath}) {
        if (!Control(i).isVisible()) continue;
        const Drawing drawing = DrawnBy(Control(i));
        const QStringList ends = drawing.strText.split(QChar(0x2026));
        ASSERT_EQ(2, ends.size()) << drawing.strText.toStdString();
        EXPECT_GE(ends[0].size(), 10);
        EXPECT_GE(ends[1].size(), 10);
        EXPECT_TRUE(QString(kLongPath).startsWith(ends[0]));
        EXPECT_TRUE(QString(kLongPath).endsWith(ends[1]));
        EXPECT_TRUE(QRectF(Control(i).rect()).contains(drawing.box));
        EXPECT_EQ(kLongPath, ToolTipOf(Control(i)));
        EXPECT_EQ(kLongPath, As<QLineEdit>(i).text());
    }
}

TEST_P(WindowFitTest, TheWindowsFontIsNoLargerThanTheDesktops) {
    OpenMode();
    for (int i = 0; i < kDialogControlCount; ++i) {
        EXPECT_LE(Control(i).font().pointSizeF(), std::get<int>(GetParam()));
        EXPECT_EQ(Window().font().pointSizeF(), Control(i).font().pointSizeF()) << "control " << i;
        EXPECT_EQ("DejaVu Sans", Control(i).font().family());
    }
}

// Without this the tests above would prove nothing.
TEST(TextRecorderTest, ATextThatIsCutIsSeenToLeaveItsWidget) {
    QLabel label("A text that is wider than its label");
    label.setFixedSize(40, 20);
    const Drawing drawing = DrawnBy(label);
    EXPECT_EQ(label.text(), drawing.strText);
    EXPECT_FALSE(QRectF(label.rect()).contains(drawing.box));
    label.setFixedSize(400, 40);
    EXPECT_TRUE(QRectF(label.rect()).contains(DrawnBy(label).box));
}

// The recorder's measure is that of the pixels: as wide, within the side bearings of the letters.
TEST(TextRecorderTest, TheRecordedPlaceIsWhereThePixelsAre) {
    QLabel label("Creating bank for 192000");
    label.setFixedSize(400, 40);
    label.setStyleSheet("background: white; color: black");
    const Drawing drawing = DrawnBy(label);
    const QImage image = label.grab().toImage();
    QRect ink;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixelColor(x, y).lightness() < 128) ink |= QRect(x, y, 1, 1);
    const qreal nRatio = label.devicePixelRatioF();
    const QRectF inked(ink.x() / nRatio, ink.y() / nRatio, ink.width() / nRatio, ink.height() / nRatio);
    EXPECT_NEAR(inked.left(), drawing.box.left(), 3);
    EXPECT_NEAR(inked.right(), drawing.box.right(), 3);
    EXPECT_GE(inked.top(), drawing.box.top());
    EXPECT_LE(inked.bottom(), drawing.box.bottom() + 1);
}

}  // namespace
}  // namespace Kestrova::Test
