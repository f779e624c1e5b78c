// StgManDlg.h - the bank manager dialog: the program's one window, the same table of controls in four modes.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "app/DialogTables.h"
#include "app/GuiControl.h"
#include "app/GuiPlatform.h"
#include "app/IStgMan.h"

namespace Kestrova {

// Threads: construction, destruction, the event handler, the timer and the alerts on the interface thread.
//          The operations from InitProgressBar to SetFreeDiskSpace may come from any thread: they set wanted
//          values, which the timer shows.
// Owner:   the window and the controls are the dialog's; the storage manager and the two paths outlive it.
class StgManDlg final : public IGuiOwner {
public:
    // Makes the window, with its controls, and shows it. The choosers write into the two paths.
    StgManDlg(IStgMan* pManager, const char* pszModeWord, String& strSource, String& strTarget);
    ~StgManDlg() override;
    StgManDlg(const StgManDlg&) = delete;
    StgManDlg& operator=(const StgManDlg&) = delete;

    bool HasWindow() const { return m_window != nullptr; }
    GuiType GetMode() const { return m_mode.type; }

    // Runs the event loop until it is quit.
    void ModalDialog();
    // Takes the window from the screen and stops the timer.
    void Hide();
    // Show an alert of ErrTbl at once, and return when it has been answered.
    void ShowError(int nAlert);

    void InitProgressBar(int nSteps, int bCancellable);
    void SetProgressBar(int nStep, int nSteps);
    // Hides what shows progress. In create mode, when a bank has been created, the window then closes at the
    // first tick at which no job runs; otherwise the choosers and "Close" are enabled.
    void EndProgress();
    // The choosers and "Close". Like the boxes and the main button, they are shown as enabled at the first
    // tick at which no job runs.
    void EnableControls(int bOn);
    void ShowProgressText(const char* pszText);
    void SetErrorStatus(int nAlert);  // posts an alert for the next tick
    // Six flags: the banks that exist, which are then also the ones selected. Null: the banks that were known
    // to exist stay known and become the selected ones, and the boxes are disabled.
    void SetCheckBoxes(const int* flags);
    void SetExistingInfo(const int* existing);
    void SetFreeDiskSpace();

    // What stays in the status line when nothing runs; empty: a lack of space, if there is one.
    void ShowNotice(const char* pszText);

    // Of an import, 0 to 1.
    static constexpr int kShareSteps = 1000;
    void ShowShare(double fraction);

    // For the interface thread.
    void ShowSource(const char* pszPath);  // which becomes the source
    // Whether a source bank that is there already is to be used (the default button) or another made (the other).
    int AskForImported(const char* pszName);
    // From the first call to the second the computer stays awake. Then the desktop tells the outcome, if there is
    // one and the window is not in front.
    void BeginWork(const char* pszReason);
    void EndWork(const char* pszOutcome);
    void SetTitleText(const char* pszText);  // is shown in front of the window's title

    // By index in the rate table.
    bool IsSelected(int nRate) const { return m_selected[static_cast<size_t>(nRate)] != 0; }
    bool IsExisting(int nRate) const { return m_existing[static_cast<size_t>(nRate)] != 0; }

    // IGuiOwner
    void OnTimer() override;
    int WndProc(const GuiEvent& event) override;
    bool AcceptsDrop(bool bFolder) override;

private:
    // One flag a rate; the interface thread and the engine's worker both read and write them.
    using Flags = std::array<std::atomic<int>, kRateCount>;

    // StgManDlg.cpp
    void MakeControls();
    std::unique_ptr<GuiControl> MakeControl(int nControl, const Rect& place) const;
    void ApplyChanges();
    GuiControl& Control(int nControl) { return *m_controls[static_cast<size_t>(nControl)]; }
    GuiControl& RateBox(int nRate) { return Control(kFirstRateBox + nRate); }
    bool IsSelectionNew() const;
    bool TellLack();
    void EnableInput(int nControl, int bOn);
    void EnableWaitingInputs();

    // StgManDlgEvents.cpp
    bool IsBusyNow() const { return IsBusy(m_pManager->GetStatus()); }
    int OnClose();
    bool MayLeave() const;
    int OnControl(int nControl, int nValue);
    void OnSourceChooser();
    void OnTargetChooser();
    void TakeSource(const char* pszPath);
    void TakeTarget(const char* pszPath);
    void OnRateBox(int nRate, bool bTicked);
    void OnMainButton();
    void StartProcess();
    void QuitWhenIdle();

    IStgMan* const m_pManager;
    String& m_strSource;
    String& m_strTarget;
    const RunMode m_mode;
    GuiWindowRef m_window = nullptr;
    std::array<std::unique_ptr<GuiControl>, kDialogControlCount> m_controls;
    Flags m_selected{};
    Flags m_existing{};
    std::atomic<int> m_nNeeded{0}, m_nFree{0};  // MiB
    std::atomic<int> m_bLackTold{0};
    std::atomic<uint32_t> m_nInputsWaiting{0};  // see EnableInput; a bit for each control
    std::atomic<int> m_bCloseWhenIdle{0};       // create mode has built its bank
    bool m_bQuitting = false;                   // a signal came: no more questions
};

}  // namespace Kestrova
