// GuiControl.h - the wanted state of one control of a window, which any thread may change.
#pragma once

#include "app/GuiPlatform.h"
#include "shared/System/kvString.h"
#include "shared/Tasks/kvCriticalSection.h"

namespace Kestrova {

// A change waits here until UpdateData, which the dialog's timer calls, applies it to the platform's control.
// Of several changes of one kind between two ticks only the last is seen.
//
// Threads: setters and GetText on any thread, where they never wait for the platform; construction,
//          destruction and UpdateData on the interface thread.
// Owner:   owns the platform's control.
class GuiControl {
public:
    virtual ~GuiControl();
    GuiControl(const GuiControl&) = delete;
    GuiControl& operator=(const GuiControl&) = delete;

    virtual void SetText(const char* pszText) = 0;
    virtual String GetText() const = 0;
    virtual void SetRange(int nMinimum, int nMaximum) = 0;
    virtual void SetValue(int nValue) = 0;
    // Applies what has changed since the last call.
    virtual void UpdateData() = 0;

    void SetShow(int bShow);
    void SetEnable(int bEnable);
    // Posts an alert (DialogAlert) for the next tick: kAlertCancelled as a caution, any other as a stop
    // alert. While another question is open the alert waits until that has been answered.
    void SetStatus(int nAlert);

    GuiControlRef GetControl() const { return m_control; }

protected:
    enum Pending : unsigned int {
        kPendingShow = 1,
        kPendingEnable = 2,
        kPendingText = 4,
        kPendingValue = 8,
        kPendingRange = 16,
        kPendingStatus = 128
    };

    GuiControl(GuiWindowRef window, const Rect& rect, int nKind, int nStyle, int nControl,
               const char* pszTitle);

    // Returns those of the bits that are pending, and clears them.
    unsigned int TakePending(unsigned int nBits) KV_REQUIRES(m_lock);
    // Steps of UpdateData: each applies what is pending of its kind.
    void UpdateState();   // visibility and enabled state
    void UpdateStatus();  // a posted alert

    const GuiWindowRef m_window;
    const GuiControlRef m_control;
    mutable CriticalSection m_lock;  // never held across a call of the platform or while taking another
    unsigned int m_nPending KV_GUARDED_BY(m_lock) = 0;

private:
    int m_bShown KV_GUARDED_BY(m_lock) = 1;
    int m_bEnabled KV_GUARDED_BY(m_lock) = 1;
    int m_nStatus KV_GUARDED_BY(m_lock) = 0;
};

// A control with a text: static text, push button, group box, read-only edit field.
class GuiStaticBox : public GuiControl {
public:
    GuiStaticBox(GuiWindowRef window, const Rect& rect, int nKind, int nStyle, int nControl,
                 const char* pszTitle);

    void SetText(const char* pszText) override;
    String GetText() const override;
    void SetRange(int, int) override {}
    void SetValue(int) override {}
    void UpdateData() override;

private:
    String m_strText KV_GUARDED_BY(m_lock);
};

// A control with a value as well: check box.
class GuiValueBox : public GuiStaticBox {
public:
    using GuiStaticBox::GuiStaticBox;

    void SetValue(int nValue) override;
    void UpdateData() override;

protected:
    // Returns whether a value is pending, and the value; afterwards none is pending.
    bool TakeValue(int& nValue);

private:
    int m_nValue KV_GUARDED_BY(m_lock) = 0;
};

// A control with a value in a range: progress bar.
class GuiRangeBox : public GuiValueBox {
public:
    using GuiValueBox::GuiValueBox;

    void SetRange(int nMinimum, int nMaximum) override;
    void UpdateData() override;

private:
    int m_nMinimum KV_GUARDED_BY(m_lock) = 0;
    int m_nMaximum KV_GUARDED_BY(m_lock) = 10;
};

}  // namespace Kestrova
