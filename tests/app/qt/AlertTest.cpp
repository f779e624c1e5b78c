// Alerts: what they show and what they answer.
#include <QDialogButtonBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

#include "tests/app/qt/Answer.h"
#include "tests/app/qt/TextRecorder.h"
#include "tests/app/qt/WindowFixture.h"

namespace Kestrova::Test {
namespace {

class AlertTest : public WindowTest {
protected:
    static QMessageBox& Box(QDialog& dialog) { return dynamic_cast<QMessageBox&>(dialog); }
    static std::vector<std::string> ButtonTexts(QMessageBox& box) {
        std::vector<std::string> texts;
        for (const QAbstractButton* const pButton : ButtonsFromLeft(box))
            texts.push_back(pButton->text().remove('&').toStdString());
        return texts;
    }
    static QList<QAbstractButton*> ButtonsFromLeft(QMessageBox& box) {
        QList<QAbstractButton*> buttons = box.buttons();
        std::sort(buttons.begin(), buttons.end(),
                  [](const auto* a, const auto* b) { return a->x() < b->x(); });
        return buttons;
    }
    static QLabel& TextOf(QMessageBox& box) { return *box.findChild<QLabel*>("qt_msgbox_label"); }

    static int AskAll(int nDefault = kAlertDefaultButton) {
        return AlertBox("A title", "A text", "Other", "No", "Yes", kAlertStop, nDefault);
    }
    static int AskYesOrNo() {
        return AlertBox("A title", "A text", nullptr, "No", "Yes", kAlertCaution, kAlertDefaultButton);
    }
    static int Tell() {
        return AlertBox("A title", "A text", nullptr, nullptr, "Ok", kAlertStop, kAlertDefaultButton);
    }
    static std::function<void(QDialog&)> Key(Qt::Key key) {
        return [key](QDialog& dialog) { QTest::keyClick(&dialog, key); };
    }
    static std::function<void(QDialog&)> PressButton(const char* pszText) {
        return [pszText](QDialog& dialog) {
            for (QAbstractButton* const pButton : Box(dialog).buttons())
                if (pButton->text().remove('&') == pszText) QTest::mouseClick(pButton, Qt::LeftButton);
        };
    }
};

TEST_F(AlertTest, ShowsItsTitleAndItsText) {
    Answer answer([](QDialog& dialog) {
        EXPECT_EQ(QString("Confirm exit"), dialog.windowTitle());
        EXPECT_EQ(QString("Are you sure?"), DrawnBy(TextOf(Box(dialog))).strText);
        dialog.reject();
    });
    AlertBox("Confirm exit", "Are you sure?", nullptr, "No", "Yes", kAlertCaution, kAlertDefaultButton);
}

// Beside the title a title bar has an icon and buttons.
TEST_F(AlertTest, IsAsWideAsItsTitleNeeds) {
    constexpr char kTitle[] = "A title that is a good deal longer than its text";
    constexpr int kFrame = 100;
    Answer answer([&](QDialog& dialog) {
        QFont font = QApplication::font();
        font.setBold(true);
        EXPECT_GE(dialog.width(), QFontMetrics(font).horizontalAdvance(kTitle) + kFrame);
        EXPECT_FALSE(dialog.windowFlags().testFlag(Qt::WindowMaximizeButtonHint));
        dialog.reject();
    });
    AlertBox(kTitle, "Short.", nullptr, nullptr, "Ok", kAlertStop, kAlertDefaultButton);
}

TEST_F(AlertTest, ShowsATextAsItIs) {
    Answer answer([](QDialog& dialog) {
        EXPECT_EQ(QString("<b>A</b> & &b"), DrawnBy(TextOf(Box(dialog))).strText);
        dialog.reject();
    });
    AlertBox("A title", "<b>A</b> & &b", nullptr, nullptr, "Ok", kAlertStop, kAlertDefaultButton);
}

TEST_F(AlertTest, HasAnIconForAStopAndOneForACaution) {
    Answer stop([](QDialog& dialog) {
        EXPECT_EQ(QMessageBox::Critical, Box(dialog).icon());
        dialog.reject();
    });
    AlertBox("A title", "A text", nullptr, nullptr, "Ok", kAlertStop, kAlertDefaultButton);
    Answer caution([](QDialog& dialog) {
        EXPECT_EQ(QMessageBox::Warning, Box(dialog).icon());
        dialog.reject();
    });
    AlertBox("A title", "A text", nullptr, nullptr, "Ok", kAlertCaution, kAlertDefaultButton);
}

TEST_F(AlertTest, HasTheButtonsItIsGivenTheDefaultOneFirst) {
    {
        Answer answer([](QDialog& dialog) {
            EXPECT_EQ((std::vector<std::string>{"Yes", "No"}), ButtonTexts(Box(dialog)));
            EXPECT_EQ(ButtonsFromLeft(Box(dialog)).first(), Box(dialog).defaultButton());
            dialog.reject();
        });
        AskYesOrNo();
    }
    {
        Answer answer([](QDialog& dialog) {
            EXPECT_EQ((std::vector<std::string>{"Yes", "Other", "No"}), ButtonTexts(Box(dialog)));
            dialog.reject();
        });
        AskAll();
    }
    Answer answer([](QDialog& dialog) {
        EXPECT_EQ(std::vector<std::string>{"Ok"}, ButtonTexts(Box(dialog)));
        dialog.reject();
    });
    Tell();
}

TEST_F(AlertTest, EnterPressesTheDefaultButton) {
    for (const int nDefault : {kAlertDefaultButton, kAlertCancelButton, kAlertOtherButton}) {
        Answer answer(Key(Qt::Key_Return));
        EXPECT_EQ(nDefault, AskAll(nDefault));
    }
}

TEST_F(AlertTest, EscapePressesTheCancelButton) {
    {
        Answer answer(Key(Qt::Key_Escape));
        EXPECT_EQ(kAlertCancelButton, AskYesOrNo());
    }
    Answer answer(Key(Qt::Key_Escape));
    EXPECT_EQ(kAlertCancelButton, AskAll());
}

TEST_F(AlertTest, EscapePressesTheOnlyButton) {
    Answer answer(Key(Qt::Key_Escape));
    EXPECT_EQ(kAlertDefaultButton, Tell());
}

TEST_F(AlertTest, AClickGivesTheButtonsNumber) {
    constexpr std::pair<const char*, int> kButtons[] = {
        {"Yes", kAlertDefaultButton}, {"No", kAlertCancelButton}, {"Other", kAlertOtherButton}};
    for (const auto& [pszText, nNumber] : kButtons) {
        Answer answer(PressButton(pszText));
        EXPECT_EQ(nNumber, AskAll()) << pszText;
    }
}

TEST_F(AlertTest, TheCloseBoxOfAnAlertIsItsCancelButton) {
    Answer answer([](QDialog& dialog) { dialog.close(); });
    EXPECT_EQ(kAlertCancelButton, AskYesOrNo());
}

TEST_F(AlertTest, AnAlertThatIsEndedOtherwiseIsCancelled) {
    Answer answer([](QDialog& dialog) { dialog.done(0); });
    EXPECT_EQ(kAlertCancelButton, AskYesOrNo());
}

TEST_F(AlertTest, BelongsToTheWindowThatIsShownAndBlocksIt) {
    Show();
    Answer answer([this](QDialog& dialog) {
        EXPECT_EQ(m_window, dialog.parentWidget());
        EXPECT_TRUE(dialog.isModal());
        dialog.reject();
    });
    Tell();
}

TEST_F(AlertTest, CanBeShownWithoutAWindow) {
    Answer answer([](QDialog& dialog) {
        EXPECT_EQ(nullptr, dialog.parentWidget());
        QTest::keyClick(&dialog, Qt::Key_Return);
    });
    EXPECT_EQ(kAlertDefaultButton, Tell());
}

// The user presses a button of an alert, not what stands below it.
TEST_F(AlertTest, NoKeyGoesThroughToTheWindow) {
    GuiSetKeyControls(m_window, Make(kPushButton, "Apply", 21), Make(kPushButton, "Cancel", 20));
    Show();
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Escape}) {
        Answer answer(Key(key));
        AskYesOrNo();
    }
    EXPECT_TRUE(m_owner.events.empty());
}

TEST_F(AlertTest, TheNumberedAlertsAreStopsAndCautionsWithOneButton) {
    struct Shown {
        std::string strTitle, strText;
        QMessageBox::Icon icon;
        std::vector<std::string> buttons;
        bool operator==(const Shown&) const = default;
    };
    const auto ShownBy = [this](void (*pAlert)(GuiWindowRef, int), int nAlert) {
        Shown shown;
        Answer answer([&](QDialog& dialog) {
            QMessageBox& box = Box(dialog);
            shown = {box.windowTitle().toStdString(), box.text().toStdString(), box.icon(), ButtonTexts(box)};
            dialog.reject();
        });
        pAlert(m_window, nAlert);
        return shown;
    };
    for (int i = kAlertCancelled; i <= kAlertCount; ++i) {
        const AlertText& alert = ErrTbl(i);
        EXPECT_EQ((Shown{alert.pszTitle, alert.pszText, QMessageBox::Critical, {"Ok"}}),
                  ShownBy(GuiErrorBox, i));
        EXPECT_EQ((Shown{alert.pszTitle, alert.pszText, QMessageBox::Warning, {"Ok"}}),
                  ShownBy(GuiNotifyBox, i));
    }
}

class DialogAlertTest : public DialogTest {};

// By the dialog's own tick, under which further ticks come: they must not show it again.
TEST_F(DialogAlertTest, APostedAlertIsShownOnceByATick) {
    Open(kManager);
    bool bAnswered = false;
    Answer answer([&](QDialog& dialog) {
        EXPECT_EQ(QString("Unexpected error occurred."), dynamic_cast<QMessageBox&>(dialog).text());
        Tick();
        Tick();
        QTest::keyClick(&dialog, Qt::Key_Return);
        bAnswered = true;
    });
    Dialog().SetErrorStatus(kAlertFailed);
    EXPECT_TRUE(SpinUntil([&] { return bAnswered && !GuiIsAsking(); }));
    Tick();
    EXPECT_EQ(nullptr, QApplication::activeModalWidget());
}

TEST_F(DialogAlertTest, ProgressGoesOnUnderAnAlert) {
    Open(kManager);
    Answer answer([&](QDialog& dialog) {
        ShowJob("Analysing Calde4_0AC44.kvn ...");
        EXPECT_EQ(QString("99.9%"), As<QLabel>(kProgressPercent).text());
        EXPECT_TRUE(Control(kProgressBar).isVisible());
        dialog.reject();
    });
    Dialog().ShowError(kAlertTarget);
}

}  // namespace
}  // namespace Kestrova::Test
