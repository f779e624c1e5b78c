// ManagerWindow.h - the window of the dialog on Qt.
#pragma once

#include <QPushButton>
#include <QTimer>
#include <QWidget>

#include "app/GuiPlatform.h"

namespace Kestrova {

// A window of fixed size, or of the screen's when that is smaller. It passes on what happens to it, and the
// tick, to its owner, and fits its texts. Its controls are its children (ManagerControls.h).
struct GuiWindow final : public QWidget {
public:
    GuiWindow(const QString& strTitle, const Rect& rect, IGuiOwner* pOwner);

    void Present(bool bDrawNow);
    void Withdraw();
    void SetOwner(IGuiOwner* pOwner) { m_pOwner = pOwner; }
    // The parent of the controls: the window itself or, on a screen that is smaller, what scrolls in it.
    QWidget* Content() { return m_pContent; }
    // Makes a control at its place in the window; null for a kind that does not exist. The caller's to
    // delete.
    GuiWidget* Add(int nKind, int nStyle, int nControl, const QString& strTitle, const QRect& place);
    void Forget(GuiWidget* pControl) { m_controls.removeOne(pControl); }
    void SetKeyButtons(QPushButton* pEnter, QPushButton* pEscape);
    void SendControlEvent(int nControl, int nValue);

    // Returns the text with "&" in front of the letter that presses its button together with Alt: the first
    // letter that no other button has.
    QString WithFreeMnemonic(const QString& strText);

protected:
    bool event(QEvent* pEvent) override;
    void closeEvent(QCloseEvent* pEvent) override;
    void keyPressEvent(QKeyEvent* pEvent) override;
    void dragEnterEvent(QDragEnterEvent* pEvent) override;
    void dropEvent(QDropEvent* pEvent) override;

private:
    void TakePlace(const QRect& wanted);
    void Tick();
    void FitFonts();
    void PressEnterButton();
    bool MayDrop(const QString& strPath) const;

    IGuiOwner* m_pOwner;
    QWidget* m_pContent = this;
    QTimer m_timer;  // single-shot: see Tick
    QList<GuiWidget*> m_controls;
    QString m_strMnemonics;
    QPushButton* m_pEnter = nullptr;
    QPushButton* m_pEscape = nullptr;
};

}  // namespace Kestrova
