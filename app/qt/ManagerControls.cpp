#include "app/qt/ManagerControls.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QProgressBar>
#include <QPushButton>
#include <QStyleOptionButton>
#include <algorithm>

#include "app/qt/FittingText.h"
#include "app/qt/ManagerWindow.h"

namespace Kestrova {
namespace {

constexpr int kFirstProgressMaximum = 10;
constexpr int kGroupTitleMargin = 16;  // what styles leave free beside a group's title, in pixels
constexpr int kLineEditPadding = 6;    // above and below a line edit's text together
constexpr int kGroupTitleHeight = 22;  // of the group, before the row of boxes begins

bool Holds(QSize place, const QFont& font, const QString& strText) {
    const QFontMetrics metrics(font);
    return metrics.horizontalAdvance(strText) <= place.width() && metrics.height() <= place.height();
}

class StaticText final : public GuiWidget {
public:
    StaticText(GuiWindow& window, int nStyle, const QString& strTitle)
        : GuiWidget(window, new FittingLabel(window.Content())), m_strTitle(strTitle) {
        Label().setTextFormat(Qt::PlainText);
        Label().setAlignment((nStyle == kStyleRightAligned ? Qt::AlignRight : Qt::AlignLeft) |
                             Qt::AlignVCenter);
        SetText(strTitle);
    }
    void SetText(const QString& strText) override {
        Label().setText(strText);
        Label().setAccessibleName(m_strName.isEmpty() ? strText : m_strName + ": " + strText);
    }
    void SetName(const QString& strName) override {
        m_strName = strName;
        SetText(Label().text());
    }
    bool FitsTitle(const QFont& font) const override { return Holds(Widget().size(), font, m_strTitle); }

private:
    FittingLabel& Label() const { return static_cast<FittingLabel&>(Widget()); }

    const QString m_strTitle;
    QString m_strName;
};

class PathField final : public GuiWidget {
public:
    PathField(GuiWindow& window, const QString& strTitle)
        : GuiWidget(window, new PathEdit(window.Content())) {
        Edit().setText(strTitle);
        Edit().setCursorPosition(0);
    }
    void SetText(const QString& strText) override {
        Edit().setText(strText);
        Edit().setCursorPosition(0);
        Edit().setToolTip(strText);
    }
    // A path that is too long is shortened; only the height must be enough.
    bool FitsTitle(const QFont& font) const override {
        return QFontMetrics(font).height() + kLineEditPadding <= Widget().height();
    }

private:
    PathEdit& Edit() const { return static_cast<PathEdit&>(Widget()); }
};

class PushButton final : public GuiWidget {
public:
    PushButton(GuiWindow& window, int nControl, const QString& strTitle)
        : GuiWidget(window, new QPushButton(window.Content())), m_strTitle(strTitle) {
        Button().setText(window.WithFreeMnemonic(strTitle));
        Button().setAutoDefault(false);
        QObject::connect(&Button(), &QPushButton::clicked, &window,
                         [&window, nControl] { window.SendControlEvent(nControl, 0); });
    }
    void SetText(const QString& strText) override { Button().setText(QString(strText).replace('&', "&&")); }
    bool FitsTitle(const QFont& font) const override {
        QStyleOptionButton option;
        option.initFrom(&Button());
        return Holds(
            Button().style()->subElementRect(QStyle::SE_PushButtonContents, &option, &Button()).size(), font,
            m_strTitle);
    }

private:
    QPushButton& Button() const { return static_cast<QPushButton&>(Widget()); }

    const QString m_strTitle;
};

class TickBox final : public GuiWidget {
public:
    TickBox(GuiWindow& window, int nControl, const QString& strTitle)
        : GuiWidget(window, new QCheckBox(window.Content())), m_strTitle(strTitle) {
        SetText(strTitle);
        QObject::connect(&Box(), &QCheckBox::clicked, &window,
                         [&window, nControl](bool bTicked) { window.SendControlEvent(nControl, bTicked); });
    }
    void SetText(const QString& strText) override { Box().setText(QString(strText).replace('&', "&&")); }
    void SetValue(int nValue) override { Box().setChecked(nValue != 0); }
    bool FitsTitle(const QFont& font) const override {
        QStyleOptionButton option;
        option.initFrom(&Box());
        return Holds(Box().style()->subElementRect(QStyle::SE_CheckBoxContents, &option, &Box()).size(), font,
                     m_strTitle);
    }

private:
    QCheckBox& Box() const { return static_cast<QCheckBox&>(Widget()); }

    const QString m_strTitle;
};

class Group final : public GuiWidget {
public:
    Group(GuiWindow& window, const QString& strTitle) : GuiWidget(window, new QGroupBox(window.Content())) {
        SetText(strTitle);
    }
    void SetText(const QString& strText) override { Box().setTitle(QString(strText).replace('&', "&&")); }
    bool FitsTitle(const QFont& font) const override {
        return Holds({Box().width() - kGroupTitleMargin, kGroupTitleHeight}, font, Box().title());
    }

private:
    QGroupBox& Box() const { return static_cast<QGroupBox&>(Widget()); }
};

class Progress final : public GuiWidget {
public:
    explicit Progress(GuiWindow& window) : GuiWidget(window, new QProgressBar(window.Content())) {
        Bar().setRange(0, kFirstProgressMaximum);
        Bar().setValue(0);
        Bar().setTextVisible(false);  // the percentage has a place of its own
    }
    void SetText(const QString&) override {}
    void SetValue(int nValue) override { Bar().setValue(nValue); }
    // A job without steps ends at once. Qt would show a range from 0 to 0 as a job of unknown length.
    void SetRange(int nMinimum, int nMaximum) override {
        // Deliberate (Q142): a job of no steps has a bar of one step, or the toolkit would show it as
        // endless.
        Bar().setRange(nMinimum, std::max(nMaximum, nMinimum + 1));
        Bar().setValue(nMinimum);
    }
    bool FitsTitle(const QFont&) const override { return true; }

private:
    QProgressBar& Bar() const { return static_cast<QProgressBar&>(Widget()); }
};

}  // namespace

GuiWidget::~GuiWidget() {
    m_window.Forget(this);
    delete m_pWidget;
}

GuiWidget* GuiWidget::Create(GuiWindow& window, int nKind, int nStyle, int nControl,
                             const QString& strTitle) {
    switch (nKind) {
        case kStaticText: return new StaticText(window, nStyle, strTitle);
        case kPushButton: return new PushButton(window, nControl, strTitle);
        case kCheckBox: return new TickBox(window, nControl, strTitle);
        case kGroupBox: return new Group(window, strTitle);
        case kProgressIndicator: return new Progress(window);
        case kReadOnlyEdit: return new PathField(window, strTitle);
        default: return nullptr;
    }
}

}  // namespace Kestrova
