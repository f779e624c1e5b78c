#include "app/GuiControl.h"

#include <utility>

namespace Kestrova {

GuiControl::GuiControl(GuiWindowRef window, const Rect& rect, int nKind, int nStyle, int nControl,
                       const char* pszTitle)
    : m_window(window), m_control(GuiCreateControl(window, rect, nKind, nStyle, nControl, pszTitle)) {}

GuiControl::~GuiControl() { GuiDisposeControl(m_control); }

void GuiControl::SetShow(int bShow) {
    const CriticalSectionGuard guard(m_lock);
    m_bShown = bShow;
    m_nPending |= kPendingShow;
}

void GuiControl::SetEnable(int bEnable) {
    const CriticalSectionGuard guard(m_lock);
    m_bEnabled = bEnable;
    m_nPending |= kPendingEnable;
}

void GuiControl::SetStatus(int nAlert) {
    const CriticalSectionGuard guard(m_lock);
    m_nStatus = nAlert;
    m_nPending |= kPendingStatus;
}

unsigned int GuiControl::TakePending(unsigned int nBits) {
    return std::exchange(m_nPending, m_nPending & ~nBits) & nBits;
}

void GuiControl::UpdateState() {
    unsigned int nTaken = 0;
    int bShown = 0, bEnabled = 0;
    {
        const CriticalSectionGuard guard(m_lock);
        nTaken = TakePending(kPendingShow | kPendingEnable);
        bShown = m_bShown;
        bEnabled = m_bEnabled;
    }
    if ((nTaken & kPendingShow) != 0) GuiShowControl(m_control, bShown);
    if ((nTaken & kPendingEnable) != 0) GuiEnableControl(m_control, bEnabled);
}

// Deliberate (Q133): a posted alert waits while another question is open.
void GuiControl::UpdateStatus() {
    if (GuiIsAsking())
        return;  // one question at a time: this alert waits for the end of the one that is open
    int nAlert = 0;
    {
        const CriticalSectionGuard guard(m_lock);
        if (TakePending(kPendingStatus) == 0) return;
        nAlert = m_nStatus;
    }
    if (nAlert == kAlertCancelled)
        GuiNotifyBox(m_window, nAlert);
    else
        GuiErrorBox(m_window, nAlert);
}

GuiStaticBox::GuiStaticBox(GuiWindowRef window, const Rect& rect, int nKind, int nStyle, int nControl,
                           const char* pszTitle)
    : GuiControl(window, rect, nKind, nStyle, nControl, pszTitle), m_strText(pszTitle) {}

void GuiStaticBox::SetText(const char* pszText) {
    const CriticalSectionGuard guard(m_lock);
    m_strText = pszText;
    m_nPending |= kPendingText;
}

String GuiStaticBox::GetText() const {
    const CriticalSectionGuard guard(m_lock);
    return m_strText;
}

void GuiStaticBox::UpdateData() {
    UpdateState();
    bool bText = false;
    String strText;
    {
        const CriticalSectionGuard guard(m_lock);
        bText = TakePending(kPendingText) != 0;
        strText = m_strText;
    }
    if (bText) GuiSetControlText(m_control, strText);
    UpdateStatus();
}

void GuiValueBox::SetValue(int nValue) {
    const CriticalSectionGuard guard(m_lock);
    m_nValue = nValue;
    m_nPending |= kPendingValue;
}

bool GuiValueBox::TakeValue(int& nValue) {
    const CriticalSectionGuard guard(m_lock);
    nValue = m_nValue;
    return TakePending(kPendingValue) != 0;
}

void GuiValueBox::UpdateData() {
    int nValue = 0;
    if (TakeValue(nValue)) GuiCheckControl(m_control, nValue);
    GuiStaticBox::UpdateData();
}

void GuiRangeBox::SetRange(int nMinimum, int nMaximum) {
    const CriticalSectionGuard guard(m_lock);
    m_nMinimum = nMinimum;
    m_nMaximum = nMaximum;
    m_nPending |= kPendingRange;
}

void GuiRangeBox::UpdateData() {
    bool bRange = false;
    int nMinimum = 0, nMaximum = 0;
    {
        const CriticalSectionGuard guard(m_lock);
        bRange = TakePending(kPendingRange) != 0;
        nMinimum = m_nMinimum;
        nMaximum = m_nMaximum;
    }
    if (bRange) GuiSetControlRange(m_control, nMinimum, nMaximum);
    int nValue = 0;
    if (TakeValue(nValue)) GuiSetControlValue(m_control, nValue);
    GuiStaticBox::UpdateData();  // NOLINT(bugprone-parent-virtual-call): the value has been applied otherwise
}

}  // namespace Kestrova
