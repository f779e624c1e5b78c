// What the user and the timer do to the dialog.
#include <algorithm>

#include "app/StgManDlg.h"
#include "shared/System/kvCancelSignal.h"

namespace Kestrova {
namespace {

constexpr char kConfirmTitle[] = "Confirm exit";
constexpr char kLeaveWithoutBank[] = "Are you sure you want to exit Bank Manager w/o creating a bank?";
constexpr char kLeaveBanks[] = "Are you sure you want to leave installed banks on disk?";
constexpr char kReminderTitle[] = "Select a sample rate";
constexpr char kReminder[] = "Please select at least one sample rate to create a bank!";

constexpr char kSourceChooserTitle[] = "Select source bank file:";
constexpr char kTargetChooserTitle[] = "Select banks destination folder:";
constexpr char kSourceBanksLabel[] = "Bellwarden source banks";

// Create mode starts its one run by itself; deliberately (Q119) once in the life of the process.
bool s_bAutoStart = true;

}  // namespace

void StgManDlg::OnTimer() {
    if (CancelSignal() != 0 && !m_bQuitting) {
        m_bQuitting = true;
        m_pManager->Cancel();
    }
    m_pManager->OnTick();
    if (m_bQuitting) return QuitWhenIdle();
    EnableWaitingInputs();
    ApplyChanges();
    if (GuiIsAsking()) return;  // what a mode does by itself waits until the question has been answered
    switch (m_mode.type) {
        case kManager: break;
        case kInstall:
            if (m_pManager->GetBanksCreated() != 0) GuiQuitLoop();
            break;
        case kUninstall:
            if (m_pManager->GetStatus() == StgStatusReady &&
                std::none_of(m_existing.begin(), m_existing.end(), [](const auto& n) { return n != 0; }))
                GuiQuitLoop();
            break;
        case kCreate:
            if (m_bCloseWhenIdle != 0) return QuitWhenIdle();
            if (m_pManager->GetStatus() != StgStatusReady || !s_bAutoStart) break;
            s_bAutoStart = false;
            if (IsSelectionNew()) StartProcess();
            break;
    }
}

void StgManDlg::QuitWhenIdle() {
    if (!IsBusyNow()) GuiQuitLoop();
}

int StgManDlg::WndProc(const GuiEvent& event) {
    if (event.nClass == kGuiControlEvent) return OnControl(event.nControl, event.nValue);
    if (event.nClass != kGuiWindowEvent) return kGuiNotHandled;
    switch (event.nKind) {
        case kGuiWindowClose: return OnClose();
        case kGuiFileDropped:
            if (AcceptsDrop(false)) TakeSource(event.pszPath);
            return kGuiHandled;
        case kGuiFolderDropped:
            if (AcceptsDrop(true)) TakeTarget(event.pszPath);
            return kGuiHandled;
        default: return kGuiNotHandled;
    }
}

// A dropped file or folder counts as if it had been chosen. It is accepted in the modes that show the chooser
// for it, and while nothing else goes on.
bool StgManDlg::AcceptsDrop(bool bFolder) {
    const int nChooser = bFolder ? kTargetChooser : kSourceChooser;
    return !GuiCtrlLayout(m_mode.type, nChooser).IsHidden() && !IsBusyNow() && !GuiIsAsking();
}

int StgManDlg::OnClose() {
    if (!IsBusyNow() && MayLeave()) GuiQuitLoop();
    return kGuiHandled;
}

bool StgManDlg::MayLeave() const {
    const char* pszQuestion = nullptr;
    if (m_mode.type == kInstall) pszQuestion = kLeaveWithoutBank;
    if (m_mode.type == kUninstall) pszQuestion = kLeaveBanks;
    return pszQuestion == nullptr || AlertBox(kConfirmTitle, pszQuestion, nullptr, "No", "Yes", kAlertCaution,
                                              kAlertDefaultButton) == kAlertDefaultButton;
}

// A control that is to be disabled while a job runs may still be pressed before the next tick, which disables
// it. Such a press is ignored.
int StgManDlg::OnControl(int nControl, int nValue) {
    if (nControl >= kFirstRateBox && nControl <= kLastRateBox) {
        OnRateBox(nControl - kFirstRateBox, nValue == 1);
        return kGuiHandled;
    }
    switch (nControl) {
        case kSourceChooser:
            if (!IsBusyNow()) OnSourceChooser();
            return kGuiHandled;
        case kTargetChooser:
            if (!IsBusyNow()) OnTargetChooser();
            return kGuiHandled;
        case kCancelButton: m_pManager->Cancel(); return kGuiHandled;
        case kMainButton:
            if (!IsBusyNow()) OnMainButton();
            return kGuiHandled;
        case kCloseButton:
            if (!IsBusyNow()) GuiQuitLoop();
            return kGuiHandled;
        default: return kGuiNotHandled;
    }
}

// Both choosers open where the present path is.
void StgManDlg::OnSourceChooser() {
    String strPath = m_strSource;
    if (GuiSelectFileDialog(m_window, kSourceChooserTitle, strPath, kSourceBanksLabel) != 0)
        TakeSource(strPath);
}

void StgManDlg::OnTargetChooser() {
    String strPath = m_strTarget;
    if (GuiSelectFolderDialog(m_window, kTargetChooserTitle, strPath) != 0) TakeTarget(strPath);
}

void StgManDlg::TakeSource(const char* pszPath) {
    if (*pszPath == '\0') return;
    m_strSource = pszPath;
    Control(kSourcePath).SetText(m_strSource);
    m_pManager->SetSourceBase();
}

void StgManDlg::TakeTarget(const char* pszPath) {
    if (*pszPath == '\0') return;
    m_strTarget = pszPath;
    Control(kTargetPath).SetText(m_strTarget);
    m_pManager->SetTargetPath(nullptr);
}

void StgManDlg::OnRateBox(int nRate, bool bTicked) {
    std::atomic<int>& nSelected = m_selected[static_cast<size_t>(nRate)];
    if (!IsBusyNow()) nSelected = bTicked ? 1 : 0;
    RateBox(nRate).SetValue(nSelected);
    if (IsBusyNow()) return;
    int existing[kRateCount];
    std::copy(m_existing.begin(), m_existing.end(), existing);
    SetExistingInfo(existing);
}

void StgManDlg::OnMainButton() {
    if (m_mode.type == kUninstall) {
        for (std::atomic<int>& nSelected : m_selected) nSelected = 0;
        m_pManager->Process();
        GuiQuitLoop();
        return;
    }
    const bool bAny = std::any_of(m_selected.begin(), m_selected.end(), [](const auto& n) { return n != 0; });
    if (m_mode.type == kInstall && !bAny) {
        AlertBox(kReminderTitle, kReminder, nullptr, nullptr, "Ok", kAlertStop, kAlertDefaultButton);
        return;
    }
    StartProcess();
}

void StgManDlg::StartProcess() {
    EnableInput(kMainButton, 0);
    m_pManager->Process();
}

}  // namespace Kestrova
