// EngineRun.h - the bank engine driven to the end of each job, with progress and cancellation.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

#include "bank/DBEUCreate.h"

namespace Kestrova {

// Threads: one; the observer is called on it, never on the engine's worker.
class EngineRun {
public:
    // Steps done and steps in all of the running job; called at most ten times a second.
    using Observer = std::function<void(unsigned nStep, unsigned nSteps)>;

    EngineRun();

    CDBEUCreate& Engine() { return m_engine; }

    // Opens and analyses a source; cancelled when a signal came.
    BankResult Analyse(const std::string& strSource);
    // The same for whoever needs the names of a source's banks alone: only a file that cannot be opened as a
    // source fails, whatever its analysis finds.
    BankResult NameBanks(const std::string& strSource);
    // Builds one bank into the folder set with Engine().SetDstDir. REQUIRES: the bank's file is not the
    // source itself, for which the engine starts no job.
    BankResult Build(unsigned int nRate, BankLayout layout, int nQuality, const Observer& observer = nullptr);

    // "sample 12 "Piano C4": the record cannot be read whole", or the result's own text when no record is to
    // blame; with bNumber also the engine's number.
    std::string Explain(BankResult result, bool bNumber);

private:
    static int OnCallback(int nCode, unsigned int nValue, unsigned long nUser);
    BankResult WaitForEnd(const Observer& observer);
    std::string NameOf(const BankFault& fault) const;

    std::mutex m_lock;  // guards what follows
    std::condition_variable m_changed;
    bool m_bEnded = false;
    BankResult m_result = kBankDone;
    unsigned m_nStep = 0;
    unsigned m_nSteps = 0;

    std::string m_strSource;
    CDBEUCreate m_engine;  // last: its worker calls back until it is gone
};

}  // namespace Kestrova
