// DBEUCreate.h - the bank engine: analyses a source bank, predicts, builds, finds and removes its banks.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "SamplerDBDS/BaseClasses/OSSpec.h"
#include "bank/BankFileName.h"
#include "bank/BankOutcome.h"
#include "bank/BankProgress.h"
#include "bank/BankRates.h"
#include "bank/ExistingBanks.h"
#include "bank/SourceAnalysis.h"
#include "bank/SourceBank.h"

namespace Kestrova {

class BankWriter;
class IWaveConverter;
struct BankOrder;

inline constexpr int kHighestQuality = 7;

// State, worker and callback of the engine; the work itself is that of its parts: the source (SourceBank),
// its analysis (SourceAnalysis), the bank that is being written (BankWriter), and the banks that are there
// (ExistingBanks.h).
//
// Threads: one thread of the client's calls the operations. The engine's one worker runs analysis and
//          creation, one job at a time, and makes every callback. A job may be started from within the last
//          callback (code 2) of one that succeeded.
// Owner:   the databases and the worker are the engine's; texts handed in are copied.
// Errors:  every operation answers a BankResult; nothing throws.
// The source file is only ever read.
class CDBEUCreate {
public:
    // Called on the worker, with both databases locked until the last call of a creation; 0 cancels the job.
    //   code 1: a job begins, value = its number of steps
    //   code 0: one step is done, value 0
    //   code 2: the job has ended, value = its BankResult; the answer is ignored
    using CallbackFunction = int (*)(int nCode, unsigned int nValue, unsigned long nUser);

    CDBEUCreate();
    // Cancels a job that runs and waits for its end.
    ~CDBEUCreate();
    CDBEUCreate(const CDBEUCreate&) = delete;
    CDBEUCreate& operator=(const CDBEUCreate&) = delete;

    // Busy unless the engine is idle.
    BankResult SetCallback(CallbackFunction callback, unsigned long nUser);
    int Callback(int nCode, unsigned int nValue);

    // The folder in which banks are looked for, built and removed; used as given. Busy only while a bank is
    // created. When there is no memory for the path no folder is set: nothing may land in the one before.
    [[nodiscard]] BankResult SetDstDir(const char* pszPath);

    // Opens the source and starts its analysis on the worker, which ends with callback code 2.
    BankResult SetSrcFile(const char* pszPath);

    // Space for a bank at one rate, in MiB rounded up. A failed analysis answers its own result.
    BankResult Prediction(unsigned int nRate, int nPerKey, unsigned int& nMegabytes) const;

    // Starts a creation on the worker; done = it was started, or the bank asked for is the source itself.
    // An older bank of that rate, in either layout, is removed first.
    BankResult CreateDB(unsigned int nRate, int nPerKey, int nFlags);

    // Which banks of this source lie in the destination folder: per rate 0 none, 1 plain, 2 per key, 3
    // several. pMegabytes, when given, receives the space they take, in MiB rounded up.
    BankResult GetExisting(int kinds[kRateCount], unsigned int* pMegabytes);

    // Removes one file, unless it is the source (bad argument) or another process is building it (skipped).
    BankResult RemoveDB(const char* pszPath);
    // Removes the banks of a rate; nWhich: 0 nothing, 1 the plain, 2 the per-key one, 3 both.
    BankResult RemoveDB(unsigned int nRate, int nWhich);

    // Removes the leftovers of interrupted builds of this source from the destination folder, and nothing
    // else. They are files with a bank's name that no process holds, and that are empty or of the enriched
    // kind without a committed first record. nRemoved counts them.
    [[nodiscard]] BankResult RemoveInterrupted(unsigned int& nRemoved);

    // How many threads expand and resample samples ahead of the worker, which writes them; 0
    // for none. The bytes written and the callbacks made do not depend on it. The default is
    // one for each processor. REQUIRES: no job runs.
    void SetHelperThreads(unsigned nHelpers) { m_nHelpers = nHelpers; }

    // What waves are converted with, in place of the engine's own conversion; null: with that one. It decides
    // how the samples of banks sound and how long they are, and so their predicted space, and nothing else.
    // Called by several threads at once. REQUIRES: no job runs, and the converter outlives the engine.
    void SetWaveConverter(const IWaveConverter* pConverter) { m_pConverter = pConverter; }

    // 0 idle, 1 analysing, 2 creating; and the result of the last analysis or failed start.
    int GetState() const { return m_nState; }
    BankResult GetStatus() const { return static_cast<BankResult>(m_nStatus.load()); }

    // Good while no job runs.
    const BankAnalysis& GetAnalysis() const { return m_analysis.GetCounts(); }
    // How the last job ended, or why the last start was refused.
    const BankOutcome& GetFault() const { return m_fault; }
    // The sample table of an analysis that succeeded:
    // GetAnalysis().nSamples entries, valid until the next analysis.
    const tagSampleEntry* GetSamples() const { return m_analysis.GetSamples().data(); }
    bool IsSourceEnriched() const { return m_source.IsEnriched(); }
    // Whether the last bank created lies where the system has no file locks. Good while no job runs, and in a
    // job's last callback.
    bool IsUnprotected() const { return m_bUnprotected; }
    // The name under which banks of this source are filed; empty without a source.
    std::string_view GetBaseName() const { return m_source.GetBaseName(); }

private:
    enum State : int { kIdle, kAnalysing, kCreating };

    static int ThreadFuncCreate(void* pEngine);
    static int ThreadFuncAnalyze(void* pEngine);
    BankResult GetSrcDBInfo();
    BankResult CreateDB();

    template <class TStart>
    BankResult Start(TStart start);
    BankOutcome StartAnalysis(const char* pszPath);
    BankOutcome StartCreation(const BankOrder& order);
    void StartJob(State state, int nFunction);
    void DropAbandonedTarget();

    bool HasNames() const { return !m_source.GetBaseName().empty() && !m_strFolder.empty(); }
    BankShelf Shelf() const { return {m_strFolder, m_source.GetBaseName()}; }

    std::atomic<int> m_nState{kIdle};
    std::atomic<int> m_nStatus{kBankDone};
    BankOutcome m_fault;
    CallbackFunction m_callback = nullptr;
    unsigned long m_nUser = 0;
    const BankProgress m_progress;
    std::string m_strFolder;  // the destination; empty until it is set
    SourceBank m_source;
    SourceAnalysis m_analysis;
    std::atomic<int> m_bAnalysed{0};  // the analysis stands until the next source
    bool m_bUnprotected = false;
    std::unique_ptr<BankWriter> m_pWriter;  // of the bank that is being created, or was abandoned
    unsigned m_nHelpers;                    // threads that prepare samples beside the worker
    const IWaveConverter* m_pConverter = nullptr;
    CXThread m_thread;
    bool m_bWorker = false;           // the worker could be set up
    std::atomic<int> m_bStopping{0};  // the engine is being destroyed: every callback answers 0
};

}  // namespace Kestrova
