// FittingText.h - widgets of fixed width that draw a text which is too long smaller, or shortened in the
// middle. The tool tip then shows it whole.
#pragma once

#include <QLabel>
#include <QLineEdit>

namespace Kestrova {

// Draws smaller, down to four fifths of its font, then shortens.
class FittingLabel final : public QLabel {
public:
    using QLabel::QLabel;

protected:
    // Settles the tool tip when it is asked for: the text, if it is shown shortened.
    bool event(QEvent* pEvent) override;
    void paintEvent(QPaintEvent* pEvent) override;

private:
    struct Shown {
        QFont font;
        QString strText;
    };
    Shown Fitted() const;
};

// A read-only path. Shortened in the middle until the user moves in it: then it scrolls, as any line edit.
class PathEdit final : public QLineEdit {
public:
    explicit PathEdit(QWidget* pParent);

protected:
    void paintEvent(QPaintEvent* pEvent) override;

private:
    QRect TextPlace() const;
};

}  // namespace Kestrova
