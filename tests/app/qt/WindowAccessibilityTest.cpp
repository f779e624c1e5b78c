// What assistive programs are told, and whether the window can be read in light and dark.
#include <QAccessible>
#include <QPixmap>
#include <cmath>

#include "tests/app/qt/TextRecorder.h"
#include "tests/app/qt/WindowFixture.h"

namespace Kestrova::Test {
namespace {

class AccessibilityTest : public DialogTest {
protected:
    QAccessibleInterface& Spoken(int nControl) {
        return *QAccessible::queryAccessibleInterface(&Control(nControl));
    }
    std::string NameOf(int nControl) { return Spoken(nControl).text(QAccessible::Name).toStdString(); }
};

TEST_F(AccessibilityTest, TheWindowIsADialogWithItsTitleForAName) {
    Open(kUninstall);
    QAccessibleInterface& window = *QAccessible::queryAccessibleInterface(&Window());
    EXPECT_EQ(QAccessible::Dialog, window.role());
    EXPECT_EQ(QString("Calderine Bank Manager Uninstaller"), window.text(QAccessible::Name));
}

// A label without a text is no content.
TEST_F(AccessibilityTest, EveryControlThatIsShownHasAName) {
    for (const GuiType mode : kModes) {
        Open(mode);
        ListNoBanks();
        ShowJob("Analysing Calde4_0AC44.kvn ...");
        for (int i = 0; i < kDialogControlCount; ++i) {
            if (!Control(i).isVisible() || (mode == kCreate && i == kTargetLabel)) continue;
            EXPECT_NE("", NameOf(i)) << ModeName(mode) << ", control " << i;
        }
        Close();
    }
}

TEST_F(AccessibilityTest, TheNamesSayWhatTheControlsAreFor) {
    Open(kManager);
    EXPECT_EQ("Source bank file:", NameOf(kSourceLabel));
    EXPECT_EQ("Source bank file", NameOf(kSourcePath));
    EXPECT_EQ("Choose source bank file", NameOf(kSourceChooser));
    EXPECT_EQ("Banks folder", NameOf(kTargetPath));
    EXPECT_EQ("Choose banks folder", NameOf(kTargetChooser));
    EXPECT_EQ("Choose target sample rates:", NameOf(kRateGroup));
    EXPECT_EQ("Bank at 44100 Hz", NameOf(kFirstRateBox));
    EXPECT_EQ("Bank at 48000 Hz", NameOf(kFirstRateBox + 1));
    EXPECT_EQ("Bank at 192000 Hz", NameOf(kLastRateBox));
    EXPECT_EQ("Progress", NameOf(kProgressBar));
    EXPECT_EQ("Cancel", NameOf(kCancelButton));
    EXPECT_EQ("Apply", NameOf(kMainButton));
    EXPECT_EQ("Close", NameOf(kCloseButton));
}

TEST_F(AccessibilityTest, LabelsSayTheirValueBehindTheirName) {
    Open(kManager);
    ListNoBanks();
    ShowJob("Analysing Calde4_0AC44.kvn ...");
    EXPECT_EQ("Disk space required or to free: 0 M", NameOf(kRequiredSpace));
    EXPECT_EQ("Status: Analysing Calde4_0AC44.kvn ...", NameOf(kProgressText));
    EXPECT_EQ("Progress: 99.9%", NameOf(kProgressPercent));
}

TEST_F(AccessibilityTest, PathsAndTicksAreReadAsValues) {
    m_strTarget = "/banks";
    Open(kManager);
    EXPECT_EQ(QString("/banks"), Spoken(kTargetPath).text(QAccessible::Value));
    EXPECT_TRUE(Spoken(kTargetPath).state().readOnly);
    constexpr int kOnly48000[kRateCount] = {0, 1, 0, 0, 0, 0};
    Dialog().SetCheckBoxes(kOnly48000);
    Tick();
    EXPECT_TRUE(Spoken(kFirstRateBox + 1).state().checked);
    EXPECT_FALSE(Spoken(kFirstRateBox + 2).state().checked);
}

class ControlNameTest : public WindowTest {
protected:
    static std::string NameOf(GuiControlRef control) {
        return QAccessible::queryAccessibleInterface(&control->Widget())
            ->text(QAccessible::Name)
            .toStdString();
    }
};

TEST_F(ControlNameTest, FreeSpaceIsReadWithItsName) {
    const GuiControlRef label = Make(kStaticText, "");
    GuiSetControlName(label, AccessibleName(kFreeSpace));
    GuiSetControlText(label, "77 G");
    EXPECT_EQ("Free disk space: 77 G", NameOf(label));
}

TEST_F(ControlNameTest, ALabelWithoutANameIsItsText) {
    const GuiControlRef label = Make(kStaticText, "first");
    EXPECT_EQ("first", NameOf(label));
    GuiSetControlText(label, "second & third");
    EXPECT_EQ("second & third", NameOf(label));
}

TEST_F(ControlNameTest, AnEmptyNameChangesNothing) {
    const GuiControlRef button = Make(kPushButton, "Apply");
    GuiSetControlName(button, "");
    EXPECT_EQ("Apply", NameOf(button));
    GuiSetControlName(button, "Other");
    EXPECT_EQ("Other", NameOf(button));
}

// Of 1 (the same) to 21 (black on white), from the relative luminances.
double Contrast(QColor a, QColor b) {
    const auto Luminance = [](const QColor& colour) {
        const auto Linear = [](double c) {
            return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * Linear(colour.redF()) + 0.7152 * Linear(colour.greenF()) +
               0.0722 * Linear(colour.blueF());
    };
    const double nA = Luminance(a) + 0.05, nB = Luminance(b) + 0.05;
    return std::max(nA, nB) / std::min(nA, nB);
}

constexpr double kReadable = 4.5, kDisabledReadable = 1.5;

class ColourTest : public DialogTest {
protected:
    ~ColourTest() override {
        Close();
        QApplication::setPalette(m_before);
    }
    // In a window of this colour every text can be told from what is behind it.
    void ExpectReadable(QColor back) {
        const QImage image = Window().grab().toImage();
        EXPECT_EQ(back.name().toStdString(), image.pixelColor(2, 2).name().toStdString());
        for (int i = 0; i < kDialogControlCount; ++i) {
            if (!Control(i).isVisible()) continue;
            const Drawing drawing = DrawnBy(Control(i));
            if (drawing.strText.isEmpty()) continue;
            const QPoint corner = Control(i).mapTo(&Window(), QPoint(4, Control(i).height() - 4));
            const QColor behind = image.pixelColor(corner * image.devicePixelRatio());
            EXPECT_GE(Contrast(drawing.colour, behind),
                      Control(i).isEnabled() ? kReadable : kDisabledReadable)
                << "control " << i << ": " << drawing.colour.name().toStdString() << " on "
                << behind.name().toStdString();
        }
    }
    static QPalette Dark() { return QPalette(QColor(0x35, 0x35, 0x35), QColor(0x2d, 0x2d, 0x2d)); }
    static QPalette Light() { return QPalette(QColor(0xef, 0xef, 0xef), QColor(0xf0, 0xf0, 0xf0)); }

    const QPalette m_before = QApplication::palette();
};

TEST_F(ColourTest, ALightDesktopGivesALightWindow) {
    QApplication::setPalette(Light());
    Open(kManager);
    ListNoBanks();
    ShowJob("Analysing Calde4_0AC44.kvn ...");
    ExpectReadable(QColor(0xf0, 0xf0, 0xf0));
}

TEST_F(ColourTest, ADarkDesktopGivesADarkWindow) {
    QApplication::setPalette(Dark());
    Open(kManager);
    ListNoBanks();
    ShowJob("Analysing Calde4_0AC44.kvn ...");
    ExpectReadable(QColor(0x2d, 0x2d, 0x2d));
}

TEST_F(ColourTest, TheWindowFollowsWhileItIsShown) {
    QApplication::setPalette(Light());
    m_strSource = m_strTarget =
        ("/a" + std::string(300, 'm')).c_str();  // shortened paths are our own drawing
    Open(kManager);
    ListNoBanks();
    QApplication::setPalette(Dark());
    QCoreApplication::processEvents();
    ExpectReadable(QColor(0x2d, 0x2d, 0x2d));
}

}  // namespace
}  // namespace Kestrova::Test
