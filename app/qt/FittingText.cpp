#include "app/qt/FittingText.h"

#include <QEvent>
#include <QPainter>
#include <QStyleOptionFrame>

namespace Kestrova {
namespace {

constexpr qreal kSmallestPart = 0.8, kPointStep = 0.25;
constexpr int kLineEditMargin = 2;  // Qt's own, on both sides of a line edit's text

}  // namespace

FittingLabel::Shown FittingLabel::Fitted() const {
    const int nWidth = contentsRect().width();
    QFont shown = font();
    const qreal nSmallest = shown.pointSizeF() * kSmallestPart;
    while (QFontMetrics(shown).horizontalAdvance(text()) > nWidth && shown.pointSizeF() > nSmallest)
        shown.setPointSizeF(shown.pointSizeF() - kPointStep);
    return {shown, QFontMetrics(shown).elidedText(text(), Qt::ElideMiddle, nWidth)};
}

bool FittingLabel::event(QEvent* pEvent) {
    if (pEvent->type() == QEvent::ToolTip) setToolTip(Fitted().strText == text() ? QString() : text());
    return QLabel::event(pEvent);
}

void FittingLabel::paintEvent(QPaintEvent*) {
    const Shown shown = Fitted();
    QPainter painter(this);
    painter.setFont(shown.font);
    style()->drawItemText(&painter, contentsRect(), static_cast<int>(alignment()), palette(), isEnabled(),
                          shown.strText, foregroundRole());
}

PathEdit::PathEdit(QWidget* pParent) : QLineEdit(pParent) { setReadOnly(true); }

QRect PathEdit::TextPlace() const {
    QStyleOptionFrame option;
    initStyleOption(&option);
    return style()
        ->subElementRect(QStyle::SE_LineEditContents, &option, this)
        .adjusted(kLineEditMargin, 0, -kLineEditMargin, 0);
}

void PathEdit::paintEvent(QPaintEvent* pEvent) {
    const QRect place = TextPlace();
    const QString strShown = fontMetrics().elidedText(text(), Qt::ElideMiddle, place.width());
    if (strShown == text() || cursorPosition() != 0 || hasSelectedText())
        return QLineEdit::paintEvent(pEvent);
    QPainter painter(this);
    QStyleOptionFrame option;
    initStyleOption(&option);
    style()->drawPrimitive(QStyle::PE_PanelLineEdit, &option, &painter, this);
    style()->drawItemText(&painter, place, static_cast<int>(Qt::AlignLeft | Qt::AlignVCenter), palette(),
                          isEnabled(), strShown, QPalette::Text);
}

}  // namespace Kestrova
