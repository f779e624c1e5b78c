// StgMan.h - the storage manager: settings, source and target, and the runs that build and remove banks.
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/IStgMan.h"
#include "app/InstrumentImport.h"
#include "app/RunProgress.h"
#include "app/StgManDlg.h"
#include "bank/DBEUCreate.h"
#include "shared/System/kvIniFile.h"
#include "shared/System/kvString.h"
#include "shared/Tasks/kvCriticalSection.h"

namespace Kestrova {

// The application's controller. It owns the bank engine, the settings file and the dialog; a run is one call
// of Process, which removes and creates banks rate by rate until the banks that exist are the ones selected.
// A source that is an instrument in another format is first imported into the target folder, and the source
// bank made of it becomes the source.
//
// Threads: all operations on the interface thread, except the engine's callback, which comes on its worker.
//          The callback works under the lock; so does the interface thread where it touches the same members.
//          Alerts are shown without the lock, or progress would wait for the user's answer.
class StgMan final : public IStgMan {
public:
    static constexpr std::array<int, kRateCount> sSR = iSPS;

    // Mode word, source file and target folder as the command line gave them, in unified form; empty ones are
    // proposed. The last folder of the settings file is the target whatever the command line says.
    // Makes the target folder, and the window, which then is shown.
    StgMan(const String& strMode, const String& strSource, const String& strTarget);
    // Writes the settings back. A job that still runs is cancelled and waited for.
    ~StgMan() override;
    StgMan(const StgMan&) = delete;
    StgMan& operator=(const StgMan&) = delete;

    // Analyses the source, runs the dialog, and answers when its event loop has ended: the result (0 or a
    // BankResult) of the last job, also of one that was refused; kBankWriteFailed after an uninstallation
    // that left a plain bank it had shown; -1 without a window.
    int Routine();

    // For a window that went away while Routine runs: cancels the job, waits for its end and writes the
    // settings back, without a call of the desktop. Only the end of the process may follow.
    void Abandon();

    // IStgMan
    // Also true when an import has begun, which the analysis follows.
    bool SetSourceBase() override;
    bool SetTargetPath(const char* pszPrevious) override;
    int EstimateBaseSize(int* selected) override;
    void Process() override;
    void Cancel() override;
    // The phase; but it stays busy until the engine is idle and its worker has left the last callback. So no
    // job is started too early, and the two threads never change the same things at once.
    int GetStatus() override;
    int GetBanksCreated() override { return m_nBanksCreated; }
    void OnTick() override;

    const String& GetSource() const { return m_strSource; }
    const String& GetTarget() const { return m_strTarget; }

private:
    enum CallbackEvent : int { CallbackStep = 0, CallbackStart = 1, CallbackDone = 2 };

    // StgMan.cpp
    void ProposeSource();
    void OpenSettings();
    void ProposeTarget();
    bool AnalyseSource();
    void TellBadSource();
    bool RefreshTarget(const char* pszPrevious);
    bool ShowExisting();
    bool NoteListing(BankResult result);
    StgStatus Phase() const { return static_cast<StgStatus>(m_nPhase.load()); }
    int ExpectJob(StgStatus phase);
    void ExpectNoJob(StgStatus phase);
    bool IsJobOnItsWay(int nJob);

    // StgManImport.cpp
    bool BeginImport();
    void ShowImport();
    void EndImport();
    void KeepSourceBefore(const ImportOutcome& outcome);

    // StgManRun.cpp
    enum class Run { Over, GoesOn, Failed };  // GoesOn: a bank is being created, and the callback goes on
    static int Callback(int nEvent, unsigned int nValue, unsigned long nUser);
    int AsyncProc(int nEvent, unsigned int nValue);
    void OnStart(int nSteps);
    void OnStep();
    void OnDone(int nResult);
    bool GoesOnAfter(int nResult);
    Run Process1();
    void RemoveBank(int nRate);
    void TellBankStays(int nHertz, int nKind);
    Run CreateBank(int nRate);
    BankResult StartBank(int nHertz);
    void SetBankFile(const std::string& strFile);
    void AddNotice(const String& strSentence);
    void TellBanks();
    void TellNotice();
    void BeginTelling();
    void ShowRun();
    void EndTelling();

    IniFile m_ini KV_GUARDED_BY(m_lock);
    std::unique_ptr<StgManDlg> m_pDialog;  // null without a window
    String m_strSource;
    String m_strTarget;
    const String m_strMode;
    std::atomic<int> m_nStatus{0};  // last result; -1: no window
    std::atomic<int> m_nPhase{StgStatusNone};
    std::atomic<int> m_nRateIndex{0};  // of the run; kRateCount: it is over
    std::atomic<int> m_nKeepGoing{1};  // the answer to the engine: 0 cancels
    std::atomic<int> m_nBanksCreated{0};
    std::atomic<int> m_bEnding{0};  // the worker is in a job's last callback
    int m_nRunResult = 0;           // why a run failed
    String m_strNotice;             // what became of a run or a source, in the user's words
    std::vector<int> m_ready;       // rates whose banks the run has built
    String m_strAnalysed;           // the source that the engine was given last

    // The interface thread's own.
    std::unique_ptr<InstrumentImport> m_pImport;  // null while none runs
    StgStatus m_phaseBefore = StgStatusNone;      // the import
    std::optional<RunProgress> m_progress;        // of the run that is told of in the title

    CriticalSection m_lock;
    int m_nJob KV_GUARDED_BY(m_lock) = 0;                 // jobs expected so far
    bool m_bAwaitsStart KV_GUARDED_BY(m_lock) = false;    // the last of them has not made its first callback
    bool m_bCancelAtStart KV_GUARDED_BY(m_lock) = false;  // and is to be cancelled right after it
    String m_strBank KV_GUARDED_BY(m_lock);               // the file that is being written; empty: none is
    size_t m_nBanksBegun KV_GUARDED_BY(m_lock) = 0;       // of the run

    CDBEUCreate m_engine;  // last: its worker calls back until it is gone

    static std::atomic<int> s_nStep, s_nSteps;  // of the running job
};

}  // namespace Kestrova
