// How texts are drawn: as they are, shortened when they must be.
#include <QLabel>
#include <QLineEdit>

#include "tests/app/qt/TextRecorder.h"
#include "tests/app/qt/WindowFixture.h"

namespace Kestrova::Test {
namespace {

constexpr char kOdd[] = "A & B && <b>c</b> &d";

class WindowTextTest : public WindowTest {
protected:
    static std::string DrawnText(GuiControlRef control) {
        return DrawnBy(control->Widget()).strText.toStdString();
    }
};

TEST_F(WindowTextTest, ControlsAreMadeWithTheirTextAsItIs) {
    for (const int nKind : {kStaticText, kPushButton, kCheckBox, kGroupBox, kReadOnlyEdit})
        EXPECT_EQ(kOdd, DrawnText(Make(nKind, kOdd))) << "kind " << nKind;
}

TEST_F(WindowTextTest, ControlsShowTheTextTheyAreGivenAsItIs) {
    for (const int nKind : {kStaticText, kPushButton, kCheckBox, kGroupBox, kReadOnlyEdit}) {
        const GuiControlRef control = Make(nKind, "first");
        GuiSetControlText(control, kOdd);
        EXPECT_EQ(kOdd, DrawnText(control)) << "kind " << nKind;
    }
}

TEST_F(WindowTextTest, AnEmptyTextShowsNothing) {
    for (const int nKind : {kStaticText, kPushButton, kCheckBox, kGroupBox, kReadOnlyEdit}) {
        const GuiControlRef control = Make(nKind, "first");
        GuiSetControlText(control, "");
        EXPECT_EQ("", DrawnText(control)) << "kind " << nKind;
    }
}

TEST_F(WindowTextTest, LettersBeyondTheFirst127AreShown) {
    const GuiControlRef label = Make(kStaticText, "");
    GuiSetControlText(label,
                      "Gr\xc3\xb6\xc3\x9f"
                      "e \xe2\x82\xac");
    EXPECT_EQ(
        "Gr\xc3\xb6\xc3\x9f"
        "e \xe2\x82\xac",
        DrawnText(label));
}

TEST_F(WindowTextTest, TheWindowsTitleIsTheOneItWasMadeWith) {
    EXPECT_EQ(QString("A title"), m_window->windowTitle());
}

TEST_F(WindowTextTest, AProgressBarHasNoText) {
    const GuiControlRef bar = Make(kProgressIndicator, "no");
    GuiSetControlText(bar, "text");
    GuiSetControlValue(bar, 5);
    EXPECT_EQ("", DrawnText(bar));
}

TEST_F(WindowTextTest, ALabelsTextIsDrawnSmallerBeforeItIsShortened) {
    const GuiControlRef label = Make(kStaticText, "");
    QString strText;
    const auto DrawnPoints = [&] {
        As<QLabel>(label).setText(strText += " m");
        return DrawnBy(label->Widget()).nPoints;
    };
    const qreal nFull = DrawnPoints();
    while (DrawnPoints() >= nFull) ASSERT_LT(strText.size(), 1000);
    EXPECT_EQ(strText.toStdString(), DrawnText(label));
    EXPECT_TRUE(QRectF(label->Widget().rect()).contains(DrawnBy(label->Widget()).box));
}

TEST_F(WindowTextTest, ALabelsTextThatIsFarTooLongIsShortenedInTheMiddleAndWholeInTheToolTip) {
    const std::string strLong = "The beginning " + std::string(200, 'm') + " the end";
    const GuiControlRef label = Make(kStaticText, "");
    GuiSetControlText(label, strLong.c_str());
    const std::string strDrawn = DrawnText(label);
    EXPECT_EQ(0u, strDrawn.find("The beginn")) << strDrawn;
    EXPECT_NE(std::string::npos, strDrawn.find("\xe2\x80\xa6")) << strDrawn;
    EXPECT_EQ(strDrawn.size() - 4, strDrawn.rfind(" end")) << strDrawn;
    EXPECT_TRUE(QRectF(label->Widget().rect()).contains(DrawnBy(label->Widget()).box));
    EXPECT_EQ(QString::fromStdString(strLong), ToolTipOf(label->Widget()));

    GuiSetControlText(label, "short");
    EXPECT_EQ("short", DrawnText(label));
    EXPECT_EQ(QString(), ToolTipOf(label->Widget()));
}

class PathFieldTest : public WindowTest {
protected:
    const std::string m_strLong = "/home/" + std::string(200, 'm') + "/the end.kvs";
    const GuiControlRef m_field = Make(kReadOnlyEdit, " Not selected.");

    std::string Drawn() { return DrawnBy(m_field->Widget()).strText.toStdString(); }
};

TEST_F(PathFieldTest, AShortPathIsWhole) {
    GuiSetControlText(m_field, "/banks");
    EXPECT_EQ("/banks", Drawn());
    EXPECT_EQ(QString("/banks"), ToolTipOf(m_field->Widget()));
}

TEST_F(PathFieldTest, AReaderWhoMovesInItSeesTheRest) {
    GuiSetControlText(m_field, m_strLong.c_str());
    Show();
    EXPECT_NE(m_strLong, Drawn());
    m_field->Widget().setFocus();
    QTest::keyClick(&m_field->Widget(), Qt::Key_End);
    EXPECT_EQ(m_strLong, Drawn());
    const Drawing drawing = DrawnBy(m_field->Widget());
    EXPECT_LE(drawing.box.right(), m_field->Widget().width()) << "the end is not in sight";
    EXPECT_LT(drawing.box.left(), 0);
}

TEST_F(PathFieldTest, ANewPathIsShownFromItsBeginning) {
    GuiSetControlText(m_field, m_strLong.c_str());
    Show();
    m_field->Widget().setFocus();
    QTest::keyClick(&m_field->Widget(), Qt::Key_End);
    GuiSetControlText(m_field, ("/other" + m_strLong).c_str());
    EXPECT_EQ(0u, Drawn().find("/other/home/"));
    EXPECT_GE(DrawnBy(m_field->Widget()).box.left(), 0);
}

TEST_F(PathFieldTest, TypingChangesNothing) {
    GuiSetControlText(m_field, "/banks");
    Show();
    m_field->Widget().setFocus();
    QTest::keyClicks(&m_field->Widget(), "x");
    QTest::keyClick(&m_field->Widget(), Qt::Key_Backspace);
    EXPECT_EQ(QString("/banks"), As<QLineEdit>(m_field).text());
}

}  // namespace
}  // namespace Kestrova::Test
