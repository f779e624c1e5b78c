#include "app/StgManDlg.h"

#include <algorithm>

#include "app/SpaceText.h"
#include "app/StatusText.h"

namespace Kestrova {
namespace {

constexpr int kAlertCarrier = kCancelButton;  // any control could carry the alerts

}  // namespace

StgManDlg::StgManDlg(IStgMan* pManager, const char* pszModeWord, String& strSource, String& strTarget)
    : m_pManager(pManager),
      m_strSource(strSource),
      m_strTarget(strTarget),
      m_mode(ParseModeWord(pszModeWord)) {
    GuiInitialize();
    Rect rect;
    GuiGetWindowRect(m_mode.type, &rect);
    m_window = GuiCreateWindow(WindowTitle(m_mode.type), rect, this);
    if (!HasWindow()) return;
    MakeControls();
    if (!m_strSource.IsEmpty()) Control(kSourcePath).SetText(m_strSource);
    if (!m_strTarget.IsEmpty()) Control(kTargetPath).SetText(m_strTarget);
    SetCheckBoxes(nullptr);  // no bank is known yet
    ApplyChanges();          // otherwise the window would show for a moment what the first tick hides
    GuiShowWindow(m_window, 1, 1);
}

StgManDlg::~StgManDlg() {
    if (HasWindow()) {
        Hide();
        for (std::unique_ptr<GuiControl>& pControl : m_controls) pControl.reset();
        GuiDisposeWindow(m_window);
    }
    GuiDeinitialize();
}

void StgManDlg::MakeControls() {
    const std::array<Rect, kDialogControlCount> places = LayOutDialog(m_mode.type);
    for (int i = 0; i < kDialogControlCount; ++i) {
        m_controls[static_cast<size_t>(i)] = MakeControl(i, places[static_cast<size_t>(i)]);
        GuiSetControlName(Control(i).GetControl(), AccessibleName(i));
        if (GuiCtrlLayout(m_mode.type, i).IsHidden()) Control(i).SetShow(0);
    }
    // 44100 is never chosen by hand: an installation always has it, elsewhere it stays as it is. Deliberate
    // (Q121).
    if (m_mode.type == kUninstall)
        RateBox(0).SetEnable(0);
    else
        RateBox(0).SetShow(0);
    for (int i = kFirstRateBox; i <= kLastRateBox; ++i)
        GuiEmbedControl(Control(kRateGroup).GetControl(), Control(i).GetControl());
    for (const int i : {kProgressText, kProgressPercent, kProgressBar, kCancelButton}) Control(i).SetShow(0);
    GuiSetKeyControls(m_window, Control(kMainButton).GetControl(), Control(kCancelButton).GetControl());
}

std::unique_ptr<GuiControl> StgManDlg::MakeControl(int nControl, const Rect& place) const {
    const int nKind = GuiCtrlTypes[static_cast<size_t>(nControl)];
    const int nStyle = GuiCtrlStyles[static_cast<size_t>(nControl)];
    const char* const pszTitle = GuiCtrlTitles(m_mode.type, nControl);
    switch (nKind) {
        case kCheckBox:
            return std::make_unique<GuiValueBox>(m_window, place, nKind, nStyle, nControl, pszTitle);
        case kProgressIndicator:
            return std::make_unique<GuiRangeBox>(m_window, place, nKind, nStyle, nControl, pszTitle);
        default: return std::make_unique<GuiStaticBox>(m_window, place, nKind, nStyle, nControl, pszTitle);
    }
}

// The control that carries the alerts comes last. An alert waits for its answer, and by then the controls
// must be what they look like: a button that is still drawn as enabled would be disabled only after the
// answer.
void StgManDlg::ApplyChanges() {
    for (int i = 0; i < kDialogControlCount; ++i)
        if (i != kAlertCarrier) Control(i).UpdateData();
    Control(kAlertCarrier).UpdateData();
}

void StgManDlg::Hide() { GuiShowWindow(m_window, 0, 0); }

void StgManDlg::ModalDialog() { GuiRunLoop(m_window, this); }

void StgManDlg::ShowError(int nAlert) { GuiErrorBox(m_window, nAlert); }

void StgManDlg::EnableControls(int bOn) {
    for (const int i : {kSourceChooser, kTargetChooser, kCloseButton}) EnableInput(i, bOn);
}

// For the controls that act only while no job runs. The worker wants them enabled before it has left its last
// callback, and a press that came in between would do nothing; so the enabling waits until then.
void StgManDlg::EnableInput(int nControl, int bOn) {
    const uint32_t nBit = uint32_t{1} << nControl;
    if (bOn != 0) {
        m_nInputsWaiting |= nBit;
        return;
    }
    m_nInputsWaiting &= ~nBit;
    Control(nControl).SetEnable(0);
}

// While no job runs only the interface thread, which calls this, starts one or disables an input.
void StgManDlg::EnableWaitingInputs() {
    if (m_nInputsWaiting == 0 || IsBusyNow()) return;
    const uint32_t nWaiting = m_nInputsWaiting.exchange(0);
    for (int i = 0; i < kDialogControlCount; ++i)
        if ((nWaiting >> i & 1) != 0) Control(i).SetEnable(1);
}

void StgManDlg::ShowNotice(const char* pszText) {
    if (*pszText == '\0') {
        TellLack();
        return;
    }
    m_bLackTold = 0;
    ShowProgressText(pszText);
}

// Before the main button is pressed, not only when the disk is full. False when there is enough.
bool StgManDlg::TellLack() {
    if (m_mode.type == kUninstall || m_nNeeded <= m_nFree) return false;
    m_bLackTold = 1;
    ShowProgressText(LackOfSpaceText(m_nNeeded, m_nFree));
    return true;
}

void StgManDlg::ShowShare(double fraction) {
    SetProgressBar(static_cast<int>(fraction * kShareSteps), kShareSteps);
}

void StgManDlg::ShowSource(const char* pszPath) {
    m_strSource = pszPath;
    Control(kSourcePath).SetText(pszPath);
}

int StgManDlg::AskForImported(const char* pszName) {
    return AlertBox(
        "Source bank exists.",
        String::NewWithFormat("%s is in the destination folder already. It can be used as it is, or "
                              "another can be made beside it.",
                              pszName),
        "Make another", "Cancel", "Use it", kAlertCaution, kAlertDefaultButton);
}

void StgManDlg::BeginWork(const char* pszReason) { GuiKeepAwake(1, pszReason); }

void StgManDlg::EndWork(const char* pszOutcome) {
    GuiKeepAwake(0, "");
    GuiSetWindowTitle(m_window, WindowTitle(m_mode.type));
    if (*pszOutcome != '\0') GuiNotifyUser(m_window, WindowTitle(m_mode.type), pszOutcome);
}

void StgManDlg::SetTitleText(const char* pszText) {
    GuiSetWindowTitle(m_window, String::NewWithFormat("%s - %s", pszText, WindowTitle(m_mode.type)));
}

void StgManDlg::ShowProgressText(const char* pszText) {
    Control(kProgressText).SetText(pszText);
    Control(kProgressText).SetShow(1);
}

void StgManDlg::InitProgressBar(int nSteps, int bCancellable) {
    for (int i = 0; i < kRateCount; ++i) EnableInput(kFirstRateBox + i, 0);
    Control(kProgressBar).SetRange(0, nSteps);
    Control(kProgressBar).SetShow(1);
    Control(kProgressPercent).SetText("0.0%");
    Control(kProgressPercent).SetShow(1);
    Control(kCancelButton).SetEnable(bCancellable);
    Control(kCancelButton).SetShow(1);
}

void StgManDlg::SetProgressBar(int nStep, int nSteps) {
    Control(kProgressBar).SetValue(nStep);
    Control(kProgressPercent).SetText(ProgressPercentText(nStep, nSteps));
}

void StgManDlg::EndProgress() {
    for (const int i : {kProgressText, kProgressBar, kProgressPercent, kCancelButton}) Control(i).SetShow(0);
    if (m_mode.type == kCreate && m_pManager->GetBanksCreated() != 0)
        m_bCloseWhenIdle = 1;  // deliberate (Q132): create mode closes by a flag, at a tick when no job runs
    else
        EnableControls(1);
}

void StgManDlg::SetErrorStatus(int nAlert) { Control(kAlertCarrier).SetStatus(nAlert); }

void StgManDlg::SetCheckBoxes(const int* flags) {
    const bool bChoosable = flags != nullptr && (m_mode.type == kManager || m_mode.type == kInstall);
    for (int i = 0; i < kRateCount; ++i) {
        const auto nRate = static_cast<size_t>(i);
        if (flags != nullptr) m_existing[nRate] = flags[i];
        const bool bWanted =
            (m_mode.type == kCreate && i == m_mode.nCreateRate) || (m_mode.type == kInstall && i == 0);
        m_selected[nRate] = bWanted ? 1 : m_existing[nRate].load();
        EnableInput(kFirstRateBox + i, bChoosable);
        RateBox(i).SetValue(m_selected[nRate]);
    }
    EnableInput(kMainButton, 0);
}

void StgManDlg::SetExistingInfo(const int* existing) {
    int selected[kRateCount], present[kRateCount];
    std::copy(m_selected.begin(), m_selected.end(), selected);
    std::copy_n(existing, kRateCount, present);
    int nMegabytes = m_pManager->EstimateBaseSize(selected);
    if (m_mode.type != kUninstall) nMegabytes -= m_pManager->EstimateBaseSize(present);
    Control(kRequiredSpace).SetText(RequiredSpaceText(nMegabytes));
    m_nNeeded = nMegabytes;
    if (!TellLack() && m_bLackTold.exchange(0) != 0) Control(kProgressText).SetShow(0);
    EnableInput(kMainButton, m_mode.type != kManager || IsSelectionNew());
}

bool StgManDlg::IsSelectionNew() const {
    return !std::equal(m_selected.begin(), m_selected.end(), m_existing.begin(),
                       [](int nSelected, int nExisting) { return (nSelected != 0) == (nExisting != 0); });
}

void StgManDlg::SetFreeDiskSpace() {
    m_nFree = UtilGetFreeDiskSpace(m_strTarget);
    Control(kFreeSpace).SetText(FreeSpaceText(m_nFree));
}

}  // namespace Kestrova
