// The desktop's functions on Qt: alerts and choosers, which ask and wait.
#include <QApplication>
#include <QFile>
#include <QFileDialog>
#include <QFontMetrics>
#include <QGridLayout>
#include <QMessageBox>
#include <QPushButton>

#include "app/GuiPlatform.h"
#include "app/qt/ManagerWindow.h"

namespace Kestrova {
namespace {

int s_nQuestions = 0;

// Counts a question while it is open.
class Asking {
public:
    Asking() { ++s_nQuestions; }
    ~Asking() { --s_nQuestions; }
    Asking(const Asking&) = delete;
    Asking& operator=(const Asking&) = delete;
};

// The window of the program that is on the screen, for alerts that are not told theirs.
QWidget* ShownWindow() {
    for (QWidget* const pWidget : QApplication::topLevelWidgets())
        if (dynamic_cast<GuiWindow*>(pWidget) != nullptr && pWidget->isVisible()) return pWidget;
    return nullptr;
}

// A title bar has a bold font and, beside the title, an icon and buttons. Window managers cut a title that
// has not enough room.
void WidenForTitle(QMessageBox& box) {
    constexpr int kBesideTitle = 120;
    auto* const pLayout = dynamic_cast<QGridLayout*>(box.layout());
    if (pLayout == nullptr) return;
    QFont font = QApplication::font();
    font.setBold(true);
    const int nWidth = QFontMetrics(font).horizontalAdvance(box.windowTitle()) + kBesideTitle;
    pLayout->addItem(new QSpacerItem(nWidth, 0), pLayout->rowCount(), 0, 1, pLayout->columnCount());
}

int TakeChosen(const QString& strChosen, String& strPath) {
    if (strChosen.isEmpty()) return 0;
    strPath = QFile::encodeName(strChosen).constData();
    return 1;
}

}  // namespace

bool GuiIsAsking() { return s_nQuestions > 0; }

int AlertBox(const char* pszTitle, const char* pszText, const char* pszOther, const char* pszCancel,
             const char* pszDefault, int nType, int nDefaultButton) {
    QMessageBox box(ShownWindow());
    box.setIcon(nType == kAlertStop ? QMessageBox::Critical : QMessageBox::Warning);
    box.setWindowTitle(QString::fromLocal8Bit(pszTitle));
    box.setTextFormat(Qt::PlainText);
    box.setText(QString::fromLocal8Bit(pszText));

    struct Button {
        int nNumber;
        const char* pszText;
        QMessageBox::ButtonRole role;
        QPushButton* pButton = nullptr;
    };
    Button buttons[] = {{kAlertDefaultButton, pszDefault, QMessageBox::AcceptRole},
                        {kAlertCancelButton, pszCancel, QMessageBox::RejectRole},
                        {kAlertOtherButton, pszOther, QMessageBox::ActionRole}};
    for (Button& button : buttons) {
        if (button.pszText == nullptr) continue;
        button.pButton = box.addButton(QString::fromLocal8Bit(button.pszText), button.role);
        if (button.nNumber == nDefaultButton) box.setDefaultButton(button.pButton);
    }
    WidenForTitle(box);
    const Asking asking;
    box.exec();
    for (const Button& button : buttons)
        if (button.pButton != nullptr && box.clickedButton() == button.pButton) return button.nNumber;
    return kAlertCancelButton;
}

void GuiErrorBox(GuiWindowRef, int nAlert) {
    const AlertText& alert = ErrTbl(nAlert);
    AlertBox(alert.pszTitle, alert.pszText, nullptr, nullptr, "Ok", kAlertStop, kAlertDefaultButton);
}

void GuiNotifyBox(GuiWindowRef, int nAlert) {
    const AlertText& alert = ErrTbl(nAlert);
    AlertBox(alert.pszTitle, alert.pszText, nullptr, nullptr, "Ok", kAlertCaution, kAlertDefaultButton);
}

int GuiSelectFileDialog(GuiWindowRef window, const char* pszTitle, String& strPath, const char* pszLabel) {
    const Asking asking;
    const QString strFilters = "All files (*);;" + QString::fromLocal8Bit(pszLabel) + " (*.kvs)" +
                               ";;SoundFonts (*.sf2 *.sf3);;SFZ instruments (*.sfz)";
    return TakeChosen(QFileDialog::getOpenFileName(window, QString::fromLocal8Bit(pszTitle),
                                                   QFile::decodeName(strPath.c_str()), strFilters),
                      strPath);
}

int GuiSelectFolderDialog(GuiWindowRef window, const char* pszTitle, String& strPath) {
    const Asking asking;
    return TakeChosen(QFileDialog::getExistingDirectory(window, QString::fromLocal8Bit(pszTitle),
                                                        QFile::decodeName(strPath.c_str())),
                      strPath);
}

}  // namespace Kestrova
