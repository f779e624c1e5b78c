// EngineRun.h - the bank engine driven to the end of each job, with progress and cancellation.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>

#include "bank/DBEUCreate.h"
#include "shared/System/kvMutex.h"
#include "tools/kvbank/terminal/Console.h"
#include "tools/kvbank/terminal/Ending.h"

namespace Kestrova {

// Why a verb leaves a bank alone: another process is building it (busy), or its lock cannot be asked for.
Ending AskHeld(const std::string& strFile);

// Threads: one; the observer is called on it, never on the engine's worker.
class EngineRun {
public:
    // Called at most ten times a second while a job runs.
    using Observer = std::function<void()>;

    EngineRun();

    CDBEUCreate& Engine() { return m_engine; }

    // For commands that are given a source. Its fault is told on the console: what the path is instead of a
    // file, the system's reason, or the record and the cause.
    ExitCode OpenSource(Console& console, const std::string& strSource) {
        return Open(console, strSource, &EngineRun::Analyse);
    }
    // The same for commands that need only the names of a source's banks: it fails only for a file that
    // cannot be opened as a source, whatever its analysis finds.
    ExitCode OpenNames(Console& console, const std::string& strSource) {
        return Open(console, strSource, &EngineRun::NameBanks);
    }
    // Opens and analyses a source; cancelled when a signal came.
    BankResult Analyse(const std::string& strSource);

    // Creates the file of one bank in a folder and begins to fill it; when that is done, Finish waits for the
    // end and must be called. REQUIRES: the bank's file is not the source itself, for which the engine starts
    // no job.
    BankResult Start(const std::filesystem::path& folder, unsigned int nRate, BankLayout layout,
                     int nQuality);
    BankResult Finish(const Observer& observer = nullptr) { return WaitForEnd(observer); }
    // Whether the job has written all its records, so that it only waits for the disk.
    bool HasWrittenAll() const;

    // "sample 12 "Piano C4": the record cannot be read whole", or the text of the result when no record is at
    // fault. The system's reason follows where there is one, and with bNumber also the engine's number.
    std::string Explain(BankResult result, bool bNumber);
    // The exit code of a job or start that ended with the result.
    ExitCode ExitCodeFor(BankResult result) const { return ExitCodeOf(OutcomeOf(result)); }
    // Whether a message about the result must name the bank's file, not the source.
    bool IsTargetToBlame(BankResult result) const { return OutcomeOf(result).side == BankSide::Target; }

    // Removes a bank with its sums file, unless another process is building it. REQUIRES: it is not the source.
    struct Removal {
        ExitCode code = kExitDone;  // done: it is gone
        std::string strCause = {};  // why it is not
    };
    Removal Remove(const std::string& strBank);

    // Removes what interrupted builds of the source have left in a folder; nRemoved counts them. What stays is
    // no failure, but a want of memory or of file handles is.
    Ending RemoveInterrupted(const std::string& strFolder, unsigned& nRemoved);

private:
    static int OnCallback(int nCode, unsigned int nValue, unsigned long nUser);
    ExitCode Open(Console& console, const std::string& strSource,
                  BankResult (EngineRun::*pfnOpen)(const std::string&));
    BankResult NameBanks(const std::string& strSource);
    void Expect(unsigned nSteps);
    BankResult WaitForEnd(const Observer& observer);
    BankOutcome OutcomeOf(BankResult result) const;
    std::string Cause(const BankOutcome& outcome) const;
    std::string NameOf(const BankOutcome& outcome) const;

    mutable Mutex m_lock;
    Condition m_changed;
    bool m_bEnded KV_GUARDED_BY(m_lock) = false;
    unsigned m_nStepsLeft KV_GUARDED_BY(m_lock) = 0;  // of the job
    BankResult m_result KV_GUARDED_BY(m_lock) = kBankDone;

    std::string m_strSource;
    CDBEUCreate m_engine;  // last: its worker calls back until it is gone
};

}  // namespace Kestrova
