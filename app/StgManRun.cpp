// A run over the rates: removals and creations, and the engine's callback that carries it on.
#include <chrono>
#include <filesystem>

#include "app/StatusText.h"
#include "app/StgMan.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

constexpr int kPlainLayout = 0;
constexpr int kPlainBank = 1;  // RemoveDB and GetExisting: the plain bank of a rate, not the per-key one
constexpr int kPerKeyBank = 2;

uint64_t FileSize(const String& strFile) {
    std::error_code error;
    const uintmax_t nBytes = fs::file_size(strFile.c_str(), error);
    return error ? 0 : nBytes;
}

}  // namespace

std::atomic<int> StgMan::s_nStep{0}, StgMan::s_nSteps{0};

void StgMan::Process() {
    m_strNotice.Empty();
    m_ready.clear();
    m_nKeepGoing = 1;
    m_nRateIndex = 0;
    BeginTelling();
    const Run run = Process1();
    if (run == Run::GoesOn) return;  // the callback does the rest
    EndTelling();
    if (run == Run::Failed) m_nStatus = m_nRunResult;
    m_pDialog->SetFreeDiskSpace();
    // Deliberate (Q125): after a job that could not start, banks, free space and selection are read again.
    const bool bListed = ShowExisting();
    m_pDialog->EndProgress();
    TellNotice();
    if (run == Run::Failed)
        m_pDialog->ShowError(kAlertFailed);
    else if (!bListed)
        m_pDialog->ShowError(kAlertSourceOrTarget);
}

// Goes on from the current rate until one needs a job of the engine, or until the last has been dealt with.
StgMan::Run StgMan::Process1() {
    for (; m_nRateIndex < kRateCount; ++m_nRateIndex) {
        const int nRate = m_nRateIndex;
        if (m_pDialog->IsExisting(nRate) == m_pDialog->IsSelected(nRate)) continue;
        if (m_pDialog->IsExisting(nRate))
            RemoveBank(nRate);
        else if (const Run run = CreateBank(nRate); run != Run::Over)
            return run;
    }
    return Run::Over;
}

void StgMan::RemoveBank(int nRate) {
    const int nHertz = sSR[static_cast<size_t>(nRate)];
    m_engine.RemoveDB(static_cast<unsigned int>(nHertz), kPlainBank);
    int existing[kRateCount] = {};
    if (m_engine.GetExisting(existing, nullptr) == kBankDone && existing[nRate] != 0)
        TellBankStays(nHertz, existing[nRate]);
}

void StgMan::TellBankStays(int nHertz, int nKind) {
    if (nKind == kPerKeyBank) {
        AddNotice(
            String::NewWithFormat("The bank for %d is per key: remove it with \"kvbank remove\".", nHertz));
        return;
    }
    AddNotice(String::NewWithFormat("The bank for %d is in use or cannot be removed.", nHertz));
    // Deliberate (Q136): uninstallation removes plain banks only; it fails with 10 when it leaves one it had
    // shown.
    if (m_pDialog->GetMode() == kUninstall) m_nStatus = kBankWriteFailed;
}

// The answer is Over when there is nothing to wait for, because the bank asked for is the source itself. A
// start that is refused leaves the phase as it was: when no source has been analysed, creation mode must not
// start again by itself.
StgMan::Run StgMan::CreateBank(int nRate) {
    const int nHertz = sSR[static_cast<size_t>(nRate)];
    const StgStatus phaseBefore = Phase();
    const int nJob = ExpectJob(StgStatusCreating);  // from now on Cancel means this job
    const BankResult result = StartBank(nHertz);
    if (result == kBankDone && IsJobOnItsWay(nJob)) return Run::GoesOn;
    ExpectNoJob(phaseBefore);  // deliberate (Q126): a start that is refused leaves the phase as it was
    m_nRunResult = static_cast<int>(result);
    return result == kBankDone ? Run::Over : Run::Failed;
}

BankResult StgMan::StartBank(int nHertz) {
    BankOutcome outcome{.result = kBankCancelled};  // by a cancel that came too late for the bank before
    if (m_nKeepGoing != 0) {                        // deliberate (Q129)
        m_pDialog->ShowProgressText(String::NewWithFormat("Creating bank for %d; please wait ...", nHertz));
        const auto nRate = static_cast<unsigned int>(nHertz);
        SetBankFile(MakeBankFileName(m_strTarget.c_str(), m_engine.GetBaseName(), nRate, BankLayout::Plain));
        const BankResult result = m_engine.CreateDB(nRate, kPlainLayout, kHighestQuality);
        if (result == kBankDone) return result;
        SetBankFile("");
        outcome = m_engine.GetFault();
    }
    AddNotice(FailedBankText(nHertz, outcome));
    return outcome.result;
}

void StgMan::SetBankFile(const std::string& strFile) {
    const CriticalSectionGuard guard(m_lock);
    m_strBank = strFile.c_str();
    if (!strFile.empty()) ++m_nBanksBegun;
}

void StgMan::AddNotice(const String& strSentence) {
    if (!m_strNotice.IsEmpty() && !strSentence.IsEmpty()) m_strNotice += ' ';
    m_strNotice += strSentence;
}

void StgMan::TellBanks() {
    AddNotice(ReadyText(m_ready));
    if (m_engine.IsUnprotected()) AddNotice(kNoLocksText);
}

// Deliberate (Q127): the status line stays after a run and says what became of it, and why.
void StgMan::TellNotice() { m_pDialog->ShowNotice(m_strNotice); }

// Everything that a run shows in the title and the status line beside the described texts comes from here, at
// the ticks: the worker only leaves the name of the file that it writes.
void StgMan::BeginTelling() {
    std::vector<uint64_t> sizes;
    for (int i = 0; i < kRateCount; ++i) {
        if (m_pDialog->IsExisting(i) || !m_pDialog->IsSelected(i)) continue;
        int selected[kRateCount] = {};
        selected[i] = 1;
        sizes.push_back(static_cast<uint64_t>(EstimateBaseSize(selected)) << 20);
    }
    if (sizes.empty()) return;
    m_progress.emplace(std::move(sizes), RunProgress::Clock::now());
    m_pDialog->BeginWork("Banks are being built.");
    const CriticalSectionGuard guard(m_lock);
    m_nBanksBegun = 0;
}

void StgMan::ShowRun() {
    if (!IsBusy(GetStatus())) {
        m_pDialog->EndWork(m_strNotice);
        return m_progress.reset();
    }
    String strBank;
    size_t nBank = 0;
    {
        const CriticalSectionGuard guard(m_lock);
        strBank = m_strBank;
        nBank = m_nBanksBegun;
    }
    if (strBank.IsEmpty()) return;
    m_progress->Reached(nBank - 1, FileSize(strBank));
    const auto left = m_progress->GetTimeLeft(RunProgress::Clock::now());
    const String strText = RunText(static_cast<int>(nBank), static_cast<int>(m_progress->GetBanks()),
                                   m_progress->GetFraction(), left);
    m_pDialog->SetTitleText(strText);
    const CriticalSectionGuard guard(m_lock);
    // The described text is the first to be seen; and when the run has ended meanwhile, its outcome stays.
    if (left && !m_strBank.IsEmpty()) m_pDialog->ShowProgressText(strText);
}

void StgMan::EndTelling() {
    if (!m_progress) return;
    m_progress.reset();
    m_pDialog->EndWork("");  // the user has just pressed the button: no notification
}

int StgMan::Callback(int nEvent, unsigned int nValue, unsigned long nUser) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the engine hands back the integer it was given
    return reinterpret_cast<StgMan*>(nUser)->AsyncProc(nEvent, nValue);
}

int StgMan::AsyncProc(int nEvent, unsigned int nValue) {
    switch (nEvent) {
        case CallbackStart: {
            const int nAnswer = m_nKeepGoing;
            OnStart(static_cast<int>(nValue));
            return nAnswer;
        }
        case CallbackStep: OnStep(); return m_nKeepGoing;
        case CallbackDone: OnDone(static_cast<int>(nValue)); return m_nKeepGoing;
        default: return 0;
    }
}

void StgMan::OnStart(int nSteps) {
    s_nStep = 0;
    s_nSteps = nSteps;
    m_pDialog->EnableControls(0);
    m_pDialog->InitProgressBar(nSteps, m_nPhase == StgStatusCreating);
    const CriticalSectionGuard guard(m_lock);
    // Deliberate (Q122): a wish to cancel before a job's first callback is passed on behind it.
    if (m_bCancelAtStart) m_nKeepGoing = 0;
    m_bAwaitsStart = m_bCancelAtStart = false;
}

void StgMan::OnStep() { m_pDialog->SetProgressBar(++s_nStep, s_nSteps); }

void StgMan::OnDone(int nResult) {
    m_bEnding = 1;
    m_nStatus = nResult;
    SetBankFile("");
    const bool bCreated = m_nPhase == StgStatusCreating;
    ExpectNoJob(bCreated || nResult == 0 ? StgStatusReady : StgStatusNone);
    if (bCreated) {
        m_pDialog->SetFreeDiskSpace();
        if (GoesOnAfter(nResult)) {
            m_bEnding = 0;
            return;
        }
    } else if (nResult != 0 && nResult != kBankCancelled) {
        // For the user a source that cannot be analysed is the same as one that cannot be opened. Deliberate
        // (Q124).
        TellBadSource();
        m_pDialog->SetErrorStatus(kAlertSource);
    }
    if (!RefreshTarget(nullptr) && !m_strTarget.IsEmpty()) {
        m_pDialog->SetErrorStatus(kAlertTarget);
        m_pDialog->SetCheckBoxes(nullptr);
    }
    m_pDialog->EndProgress();
    if (bCreated) TellBanks();
    TellNotice();
    m_bEnding = 0;
}

// Goes on with the run after a bank. True when another bank is being created.
bool StgMan::GoesOnAfter(int nResult) {
    const int nHertz = sSR[static_cast<size_t>(m_nRateIndex.load())];
    if (nResult == 0) {
        m_ready.push_back(nHertz);
        // Deliberate (Q116, Q117, Q118): a run whose last bank is that of the highest rate is not counted, so
        // that installation and creation do not end by themselves after it.
        if (++m_nRateIndex == kRateCount) return false;
        const Run run = Process1();
        if (run == Run::GoesOn) return true;
        m_nBanksCreated += run == Run::Over;
        nResult = run == Run::Failed ? m_nRunResult : 0;
        m_nStatus = nResult;
    } else {
        AddNotice(FailedBankText(nHertz, m_engine.GetFault()));
    }
    if (nResult != 0) m_pDialog->SetErrorStatus(nResult == kBankCancelled ? kAlertCancelled : kAlertFailed);
    return false;
}

}  // namespace Kestrova
