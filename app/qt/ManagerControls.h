// ManagerControls.h - the controls of the window on Qt: one class for each kind of widget.
#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>

#include "app/GuiPlatform.h"

namespace Kestrova {

// Owner: this object owns the widget; otherwise the window would delete it with itself.
struct GuiWidget {
public:
    // The control of a kind, or null for one that does not exist.
    static GuiWidget* Create(GuiWindow& window, int nKind, int nStyle, int nControl, const QString& strTitle);
    virtual ~GuiWidget();
    GuiWidget(const GuiWidget&) = delete;
    GuiWidget& operator=(const GuiWidget&) = delete;

    virtual void SetText(const QString& strText) = 0;
    virtual void SetValue(int) {}
    virtual void SetRange(int, int) {}
    virtual void SetName(const QString& strName) { m_pWidget->setAccessibleName(strName); }
    // Whether the text that the control was made with can be read whole in this font.
    virtual bool FitsTitle(const QFont& font) const = 0;

    QWidget& Widget() const { return *m_pWidget; }

protected:
    GuiWidget(GuiWindow& window, QWidget* pWidget) : m_window(window), m_pWidget(pWidget) {}

private:
    GuiWindow& m_window;
    QPointer<QWidget> m_pWidget;
};

}  // namespace Kestrova
