// A run over the rates: removals and creations, and the engine's callback that carries it on.
#include "app/StgMan.h"

namespace Kestrova {
namespace {

constexpr int kPlainLayout = 0;
constexpr int kPlainBank = 1;  // RemoveDB: the plain bank of a rate, not the per-key one

}  // namespace

std::atomic<int> StgMan::s_nStep{0}, StgMan::s_nSteps{0};

void StgMan::Process() {
    int nResult = 0;
    bool bListed = true;
    {
        const CriticalSectionGuard guard(m_lock);
        m_strNotice.Empty();
        m_nKeepGoing = 1;
        m_nRateIndex = 0;
        nResult = Process1();
        if (nResult == 0 && m_nRateIndex < kRateCount)
            return;  // a bank is being created; the callback goes on
        m_pDialog->SetFreeDiskSpace();
        bListed = ShowExisting();
        TellNotice();
    }
    if (nResult != 0)
        m_pDialog->ShowError(kAlertFailed);
    else if (!bListed)
        m_pDialog->ShowError(kAlertSourceOrTarget);
}

// From the current rate up to the first that takes a job, or beyond the last; 0, or why a job could not
// start.
int StgMan::Process1() {
    for (; m_nRateIndex < kRateCount; ++m_nRateIndex) {
        const int nRate = m_nRateIndex;
        if (m_pDialog->IsExisting(nRate) == m_pDialog->IsSelected(nRate)) continue;
        if (m_pDialog->IsExisting(nRate)) {
            RemoveBank(nRate);
            continue;
        }
        if (const int nResult = CreateBank(nRate); nResult != 0) return nResult;
        if (m_nPhase == StgStatusCreating) return 0;
    }
    return 0;
}

void StgMan::RemoveBank(int nRate) {
    const int nHertz = sSR[static_cast<size_t>(nRate)];
    m_engine.RemoveDB(static_cast<unsigned int>(nHertz), kPlainBank);
    int existing[kRateCount] = {};
    if (m_engine.GetExisting(existing, nullptr) == kBankDone && existing[nRate] != 0)
        m_strNotice.Format("The bank for %d is in use or cannot be removed.", nHertz);
}

// The phase tells whether a job runs: there is none, and nothing to wait for, when the bank is the source
// itself.
int StgMan::CreateBank(int nRate) {
    if (m_nKeepGoing == 0) return kBankCancelled;  // the wish came too late for the bank before this one
    const int nHertz = sSR[static_cast<size_t>(nRate)];
    const int nResult = m_engine.CreateDB(static_cast<unsigned int>(nHertz), kPlainLayout, kHighestQuality);
    if (nResult == kBankBusy)
        m_strNotice.Format("The bank for %d is being built by another program.", nHertz);
    if (nResult != 0 || m_engine.GetState() == 0) return nResult;
    ExpectJob(StgStatusCreating);
    m_pDialog->ShowProgressText(String::NewWithFormat("Creating bank for %d; please wait ...", nHertz));
    return 0;
}

// The job may have been started already, but its first callback waits for the lock.
void StgMan::ExpectJob(StgStatus phase) {
    m_nPhase = phase;
    m_bAwaitsStart = true;
    m_bCancelAtStart = false;
}

void StgMan::TellNotice() {
    if (!m_strNotice.IsEmpty()) m_pDialog->ShowProgressText(m_strNotice);
}

int StgMan::Callback(int nEvent, unsigned int nValue, unsigned long nUser) {
    return reinterpret_cast<StgMan*>(nUser)->AsyncProc(nEvent, nValue);
}

int StgMan::AsyncProc(int nEvent, unsigned int nValue) {
    const CriticalSectionGuard guard(m_lock);
    if (!m_pDialog) return 0;
    const int nAnswer = m_nKeepGoing;
    switch (nEvent) {
        case CallbackStart: OnStart(static_cast<int>(nValue)); return nAnswer;
        case CallbackStep: OnStep(); return nAnswer;
        case CallbackDone: OnDone(static_cast<int>(nValue)); return m_nKeepGoing;
        default: return 0;
    }
}

void StgMan::OnStart(int nSteps) {
    s_nStep = 0;
    s_nSteps = nSteps;
    m_pDialog->EnableControls(0);
    m_pDialog->InitProgressBar(nSteps, m_nPhase == StgStatusCreating);
    if (m_bCancelAtStart) m_nKeepGoing = 0;
    m_bAwaitsStart = m_bCancelAtStart = false;
}

void StgMan::OnStep() { m_pDialog->SetProgressBar(++s_nStep, s_nSteps); }

void StgMan::OnDone(int nResult) {
    m_bEnding = 1;
    m_bAwaitsStart = m_bCancelAtStart = false;
    m_nStatus = nResult;
    bool bGoesOn = false;
    if (m_nPhase == StgStatusCreating) {
        m_nPhase = StgStatusReady;
        m_pDialog->SetFreeDiskSpace();
        bGoesOn = GoesOnAfter(nResult);
    } else {
        m_nPhase = nResult == 0 ? StgStatusReady : StgStatusNone;
        // A source that opens and cannot be analysed is as little use as one that does not open.
        if (nResult != 0 && nResult != kBankCancelled) m_pDialog->SetErrorStatus(kAlertSource);
    }
    if (!bGoesOn) {
        if (!RefreshTarget(nullptr) && !m_strTarget.IsEmpty()) {
            m_pDialog->SetErrorStatus(kAlertTarget);
            m_pDialog->SetCheckBoxes(nullptr);
        }
        m_pDialog->EndProgress();
        TellNotice();
    }
    m_bEnding = 0;
}

// Whether a further bank of the run is on its way.
bool StgMan::GoesOnAfter(int nResult) {
    if (nResult != 0) {
        m_pDialog->SetErrorStatus(nResult == kBankCancelled ? kAlertCancelled : kAlertFailed);
        return false;
    }
    // Deliberate: a run whose last bank is that of the highest rate is not counted, so that installation and
    // creation do not end by themselves after it.
    if (++m_nRateIndex == kRateCount) return false;
    m_nStatus = Process1();
    if (m_nStatus != 0)
        m_pDialog->SetErrorStatus(m_nStatus == kBankCancelled ? kAlertCancelled : kAlertFailed);
    else if (m_nRateIndex < kRateCount)
        return true;
    else
        ++m_nBanksCreated;
    return false;
}

}  // namespace Kestrova
