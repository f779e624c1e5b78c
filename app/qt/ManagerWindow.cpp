#include "app/qt/ManagerWindow.h"

#include <QAccessibleWidget>
#include <QApplication>
#include <QCloseEvent>
#include <QDropEvent>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QMimeData>
#include <QScreen>
#include <QScrollArea>
#include <QStyle>
#include <algorithm>

#include "app/qt/ManagerControls.h"
#include "app/qt/ManagerIcon.h"

namespace Kestrova {
namespace {

constexpr Qt::WindowFlags kWindowFlags = Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                                         Qt::WindowCloseButtonHint | Qt::WindowMinimizeButtonHint;
constexpr qreal kSmallestPoints = 6, kPointStep = 0.25;

// The one local file or folder that is dragged; empty for anything else, such as several files.
QString DraggedPath(const QMimeData* pData) {
    const QList<QUrl> urls = pData->urls();
    return urls.size() == 1 ? urls.first().toLocalFile() : QString();
}

// Tells assistive programs that the window is a dialog; Qt would describe a plain widget as a pane.
QAccessibleInterface* DescribeWindow(const QString&, QObject* pObject) {
    auto* const pWindow = dynamic_cast<GuiWindow*>(pObject);
    return pWindow == nullptr ? nullptr : new QAccessibleWidget(pWindow, QAccessible::Dialog);
}

}  // namespace

GuiWindow::GuiWindow(const QString& strTitle, const Rect& rect, IGuiOwner* pOwner)
    : QWidget(nullptr, kWindowFlags), m_pOwner(pOwner) {
    QAccessible::installFactory(DescribeWindow);  // a second call changes nothing
    setWindowTitle(strTitle);
    setWindowIcon(ManagerIcon());
    TakePlace(QRect(rect.left, rect.top, rect.Width(), rect.Height()));
    setAcceptDrops(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setSingleShot(true);
    QObject::connect(&m_timer, &QTimer::timeout, this, [this] { Tick(); });
}

// The size is that of the inside, without the frame that the desktop puts around it. Where the screen has not
// enough room for both, the window gets what there is, and its content scrolls.
void GuiWindow::TakePlace(const QRect& wanted) {
    QRect room = QGuiApplication::primaryScreen()->availableGeometry();
    room.setHeight(room.height() - style()->pixelMetric(QStyle::PM_TitleBarHeight));
    QSize size = wanted.size();
    if (size != size.boundedTo(room.size())) {
        auto* const pScroller = new QScrollArea(this);
        pScroller->setFrameShape(QFrame::NoFrame);
        pScroller->setFocusPolicy(Qt::NoFocus);
        m_pContent = new QWidget;
        m_pContent->setFixedSize(size);
        pScroller->setWidget(m_pContent);
        // Room for one bar, so that it does not make the other one necessary.
        const int nBar = style()->pixelMetric(QStyle::PM_ScrollBarExtent);
        size =
            (size + QSize(size.height() > room.height() ? nBar : 0, size.width() > room.width() ? nBar : 0))
                .boundedTo(room.size());
        pScroller->resize(size);
    }
    setFixedSize(size);
    setGeometry(QRect(m_pContent == this ? wanted.topLeft() : room.topLeft(), size));
}

// A timer does not fire again before the function that it called has returned, and with an open alert that
// may take long. So each tick starts the timer again before it calls anything.
void GuiWindow::Tick() {
    m_timer.start(kTimerMilliseconds);
    m_pOwner->OnTimer();
}

void GuiWindow::Present(bool bDrawNow) {
    FitFonts();
    m_timer.start(0);
    show();
    raise();
    activateWindow();
    setFocus();  // no control has it before the user asks for one
    if (bDrawNow) repaint();
}

void GuiWindow::Withdraw() {
    m_timer.stop();
    hide();
}

// The controls have fixed sizes, so a large font is made smaller. The whole window has one size: the largest
// one, up to the desktop's, at which no control cuts its text.
void GuiWindow::FitFonts() {
    QFont font = QApplication::font();
    qreal nPoints = QFontInfo(font).pointSizeF();
    font.setPointSizeF(nPoints);
    const auto FitsAll = [&] {
        return std::all_of(m_controls.cbegin(), m_controls.cend(), [&](GuiWidget* pControl) {
            return pControl->Widget().isHidden() || pControl->FitsTitle(font);
        });
    };
    while (nPoints > kSmallestPoints && !FitsAll()) font.setPointSizeF(nPoints -= kPointStep);
    setFont(font);
}

// A change of the desktop's font does not reach changeEvent.
bool GuiWindow::event(QEvent* pEvent) {
    const bool bHandled = QWidget::event(pEvent);
    if (pEvent->type() == QEvent::ApplicationFontChange || pEvent->type() == QEvent::StyleChange) FitFonts();
    return bHandled;
}

void GuiWindow::closeEvent(QCloseEvent* pEvent) {
    pEvent->ignore();  // the owner ends the event loop when it agrees
    m_pOwner->WndProc(GuiEvent{kGuiWindowEvent, kGuiWindowClose});
}

GuiWidget* GuiWindow::Add(int nKind, int nStyle, int nControl, const QString& strTitle, const QRect& place) {
    GuiWidget* const pControl = GuiWidget::Create(*this, nKind, nStyle, nControl, strTitle);
    if (pControl == nullptr) return nullptr;
    pControl->Widget().setGeometry(place);
    m_controls.append(pControl);
    return pControl;
}

void GuiWindow::SetKeyButtons(QPushButton* pEnter, QPushButton* pEscape) {
    m_pEnter = pEnter;
    m_pEscape = pEscape;
    if (m_pEnter != nullptr) m_pEnter->setDefault(true);
}

void GuiWindow::keyPressEvent(QKeyEvent* pEvent) {
    switch (pEvent->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            if (!pEvent->isAutoRepeat()) PressEnterButton();
            break;
        case Qt::Key_Escape:
            if (m_pEscape != nullptr && m_pEscape->isVisible() && m_pEscape->isEnabled())
                m_pEscape->click();
            else
                close();
            break;
        default: QWidget::keyPressEvent(pEvent);
    }
}

// Deliberate (Q137): enter presses the button that has the keyboard, and the main button elsewhere.
void GuiWindow::PressEnterButton() {
    auto* const pFocused = dynamic_cast<QPushButton*>(focusWidget());
    QPushButton* const pButton = pFocused != nullptr ? pFocused : m_pEnter;
    if (pButton != nullptr && pButton->isVisible()) pButton->click();
}

void GuiWindow::SendControlEvent(int nControl, int nValue) {
    GuiEvent event;
    event.nClass = kGuiControlEvent;
    event.nControl = nControl;
    event.nValue = nValue;
    m_pOwner->WndProc(event);
}

QString GuiWindow::WithFreeMnemonic(const QString& strText) {
    QString strMarked = strText;
    strMarked.replace('&', "&&");
    const auto pFree = std::find_if(strMarked.cbegin(), strMarked.cend(), [this](QChar ch) {
        return ch.isLetter() && !m_strMnemonics.contains(ch, Qt::CaseInsensitive);
    });
    if (pFree == strMarked.cend()) return strMarked;
    m_strMnemonics += *pFree;
    return strMarked.insert(pFree - strMarked.cbegin(), '&');
}

bool GuiWindow::MayDrop(const QString& strPath) const {
    return !strPath.isEmpty() && m_pOwner->AcceptsDrop(QFileInfo(strPath).isDir());
}

void GuiWindow::dragEnterEvent(QDragEnterEvent* pEvent) {
    if (MayDrop(DraggedPath(pEvent->mimeData()))) pEvent->acceptProposedAction();
}

// The drag ends before the owner is told of the drop: the owner may ask the user something, and meanwhile the
// program that the drag came from would wait too.
void GuiWindow::dropEvent(QDropEvent* pEvent) {
    const QString strPath = DraggedPath(pEvent->mimeData());
    if (!MayDrop(strPath)) return;
    pEvent->acceptProposedAction();
    QTimer::singleShot(0, this, [this, strPath] {
        const QByteArray path = QFile::encodeName(strPath);
        GuiEvent event;
        event.nKind = QFileInfo(strPath).isDir() ? kGuiFolderDropped : kGuiFileDropped;
        event.pszPath = path.constData();
        m_pOwner->WndProc(event);
    });
}

}  // namespace Kestrova
