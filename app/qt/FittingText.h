// FittingText.h - widgets of fixed width. A text that is too long for one is drawn smaller, or shortened in
// the middle, and the tool tip then shows it whole.
#pragma once

#include <QLabel>
#include <QLineEdit>

namespace Kestrova {

// Draws smaller, down to four fifths of its font, then shortens.
class FittingLabel final : public QLabel {
public:
    using QLabel::QLabel;

protected:
    // Sets the tool tip when one is asked for: the whole text, if it is shown shortened.
    bool event(QEvent* pEvent) override;
    void paintEvent(QPaintEvent* pEvent) override;

private:
    struct Shown {
        QFont font;
        QString strText;
    };
    Shown Fitted() const;
};

// A read-only path. It is shortened in the middle until the user moves in it; then it scrolls like any line
// edit.
class PathEdit final : public QLineEdit {
public:
    explicit PathEdit(QWidget* pParent);

protected:
    void paintEvent(QPaintEvent* pEvent) override;

private:
    QRect TextPlace() const;
};

}  // namespace Kestrova
