// DBEUCreate.h - the bank engine: analyses a source bank, predicts, builds, finds and removes its banks.
#pragma once

#include <array>
#include <atomic>
#include <bitset>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "SamplerDBDS/BaseClasses/OSSpec.h"
#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "bank/BankFileName.h"
#include "bank/BankRates.h"

namespace Kestrova {

struct tagDirObjInfo;

// What every operation of the engine answers. errno has the reason of kBankTargetNotCreated.
enum BankResult : unsigned int {
    kBankDone = 0,
    kBankNotReady = 1,         // no source analysed yet, or no destination folder
    kBankCancelled = 2,        // the callback answered 0
    kBankBusy = 3,             // the engine, or another process building that bank, is at work
    kBankNoMemory = 4,         // also: a target wave that no record can hold
    kBankNoWorker = 5,         // the worker thread could not be set up
    kBankBadArgument = 6,      // also: removal of the source itself
    kBankSourceNotOpened = 7,  // as neither kind of database
    kBankTargetNotCreated = 8,
    kBankReadFailed = 9,
    kBankWriteFailed = 10,
    kBankSourceInconsistent = 11,
    kBankConversionFailed = 12  // nothing resampled, or the quick-load table could not be written
};

inline constexpr int kKeyCount = 256;
inline constexpr int kHighestQuality = 7;
inline constexpr int kEveryKey = -1;  // in place of a key: the plain layout's single copy

// One sample record of the source, in file order. The first five are set by the analysis.
struct tagSampleEntry {
    uint32_t id = kSdbNoID;
    uint32_t bytes = 0;  // of the wave as played (expanded)
    uint32_t rate = 0;   // Hz
    uint32_t rootKey = 0;
    std::bitset<kKeyCount> playedKeys;  // MIDI keys that play it in a split program
    // Set while a bank is built: the ids of the copies in the target, kSdbNoID until written.
    uint32_t newId = kSdbNoID;  // of the single copy
    std::array<uint32_t, kKeyCount> keySlots;
};

// What the analysis found.
struct BankAnalysis {
    uint32_t nRecords = 0;        // of the source, free records left out
    int64_t nPerKeyRecords = 0;   // that a bank in the per-key layout holds; below 2^32
    uint64_t nOverheadBytes = 0;  // the source file less the space of its waves
    uint32_t nSamples = 0;
    uint32_t nRegions = 0;
};

// Where a job failed, for a message that names it; id kSdbNoID when no record is to blame.
struct BankFault {
    uint8_t nType = 0;
    uint32_t id = kSdbNoID;
    const char* pszCause = "";  // a text of the program's, never null
};

// Threads: one thread of the client's calls the operations; the engine's one worker runs analysis and
// creation,
//          one job at a time, and makes every callback. A job may be started from within the last callback
//          (code 2) of one that succeeded.
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

    // The folder in which banks are looked for, built and removed; used as given. Busy only during a
    // creation.
    BankResult SetDstDir(const char* pszPath);

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

    // Removes what builds of this source that died have left in the destination folder, and nothing else:
    // files with a bank's name that are empty, or of the enriched kind with no committed first record, and
    // that no process holds. nRemoved counts them.
    BankResult RemoveInterrupted(unsigned int& nRemoved);

    // Threads that expand and resample ahead of the worker, which writes; 0 for none. The bytes written and
    // the calls made do not depend on it. The default is one for each processor. While no job runs.
    void SetHelperThreads(unsigned nHelpers) { m_nHelpers = nHelpers; }

    // 0 idle, 1 analysing, 2 creating; and the result of the last analysis or failed start.
    int GetState() const { return m_nState; }
    BankResult GetStatus() const { return static_cast<BankResult>(m_nStatus.load()); }

    // Good while no job runs.
    const BankAnalysis& GetAnalysis() const { return m_analysis; }
    const BankFault& GetFault() const { return m_fault; }
    // The sample table of an analysis that succeeded: GetAnalysis().nSamples entries, good until the next
    // one.
    const tagSampleEntry* GetSamples() const { return m_arSamples.get(); }
    bool IsSourceEnriched() const { return m_bEnrichedSource; }
    // The name under which banks of this source are filed; empty without a source.
    std::string_view GetBaseName() const;

private:
    enum State : int { kIdle, kAnalysing, kCreating };

    struct FreeText {
        void operator()(char* psz) const { std::free(psz); }
    };
    using HeapText = std::unique_ptr<char, FreeText>;

    static int ThreadFuncCreate(void* pEngine);
    static int ThreadFuncAnalyze(void* pEngine);

    // BankAnalysis.cpp
    bool OpenSource(const char* pszPath);
    BankResult GetSrcDBInfo();
    BankResult Analyse();
    void ForgetAnalysis();
    bool MeasureSource();
    BankResult AllocSampleTable();
    BankResult ReadSampleHeaders();
    template <class TSampleInfo>
    BankResult ReadSampleHeader(uint32_t id, tagSampleEntry& entry);
    BankResult MarkPlayedKeys();
    BankResult MarkKeysOfProgram(uint32_t idProgram);
    BankResult MarkKeysOfRegion(uint32_t idRegion);
    BankResult MarkKeysOfLayer(uint32_t idLayer, int nLowKey, int nHighKey);
    BankResult CountPerKeyRecords();
    tagSampleEntry* FindSample(uint32_t id);

    // BankCreate.cpp
    BankResult CreateDB();
    BankResult ClearTheWay(BankLayout layout);
    BankResult OpenTarget();
    BankResult RunStages();
    BankResult EndCreation(BankResult result);
    void ForgetNewIds();
    void DropAbandonedTarget();

    // BankCreateSamples.cpp and BankCreateTree.cpp: the stages
    BankResult CreateInfo(unsigned int nRate, int nPerKey);
    BankResult CreatePresets();
    BankResult CreateSamples();
    BankResult CreateSamplesEU();
    BankResult CreateSamplesRepr();
    BankResult CreateSamplesReprEU();
    template <class TSource>
    BankResult CreateSamplesFrom(bool bPerKey);
    BankResult CreateBanks();
    BankResult CreatePrograms(uint32_t idOldBank, uint32_t idNewBank);
    BankResult CreateRegions(uint32_t idOldProgram, uint32_t idNewProgram);
    BankResult CreateRegionsRepr(uint32_t idOldProgram, uint32_t idNewProgram);
    BankResult CreateLayers(uint32_t idOldRegion, uint32_t idNewRegion, int nKey);
    uint32_t NewSampleId(const tagSampleEntry& entry, int nKey) const;
    BankResult AddToTarget(CSDBInterpreter& record);
    template <class TVisit>
    BankResult ForEachOfType(uint8_t nType, TVisit visit);
    template <class TVisit>
    BankResult ForEachChild(uint32_t idParent, uint8_t nType, TVisit visit);

    bool HasNames() const { return m_pszBaseName && m_pszFolder; }
    std::string BankPath(unsigned int nRate, BankLayout layout) const;
    BankResult ReadSource(CSDBInterpreter& record);
    void StartJob();
    BankResult Fail(BankResult result, uint8_t nType, uint32_t id, const char* pszCause);
    BankResult Step() { return Callback(0, 0) != 0 ? kBankDone : kBankCancelled; }

    std::atomic<int> m_nStatus{kBankDone};
    CallbackFunction m_callback = nullptr;
    unsigned long m_nUser = 0;
    HeapText m_pszBaseName;
    HeapText m_pszFolder;
    HeapText m_pszTarget;
    BankAnalysis m_analysis;
    std::unique_ptr<tagSampleEntry[]> m_arSamples;  // m_nFilled of them are filled
    uint32_t m_nFilled = 0;
    std::atomic<int> m_bAnalysed{0};                      // table and counts stand until the next source
    std::unordered_map<uint32_t, uint32_t> m_mapSamples;  // source id -> its first entry
    int m_nFlags = kHighestQuality;
    unsigned int m_nRate = 0;
    int m_nPerKey = 0;
    CSDB m_dbSource;
    CSDB m_dbTarget;
    CXThread m_thread;
    std::atomic<int> m_nState{kIdle};
    bool m_bEnrichedSource = false;
    bool m_bWorker = false;           // the worker could be set up
    std::atomic<int> m_bStopping{0};  // the engine is being destroyed: every callback answers 0
    unsigned m_nHelpers;              // threads that prepare samples beside the worker
    uint64_t m_nReadsLeft = 0;        // of records in this job
    std::string m_strSourceFolder;    // where external waves with relative names lie
    BankFault m_fault;
};

// Visit the ids of the source's notes in file order and stop at the first answer other than done.
template <class TVisit>
BankResult CDBEUCreate::ForEachOfType(uint8_t nType, TVisit visit) {
    for (const SDBNOTE* pNote = m_dbSource.GetNoteByType(nullptr, nType); pNote != nullptr;
         pNote = m_dbSource.GetNoteByType(pNote, nType))
        if (const BankResult result = visit(pNote->idNote); result != kBankDone) return result;
    return kBankDone;
}

template <class TVisit>
BankResult CDBEUCreate::ForEachChild(uint32_t idParent, uint8_t nType, TVisit visit) {
    for (const SDBNOTE* pNote = m_dbSource.GetFirstNote(idParent, nType); pNote != nullptr;
         pNote = m_dbSource.GetNextNote(pNote, nType))
        if (const BankResult result = visit(pNote->idNote); result != kBankDone) return result;
    return kBankDone;
}

// Bytes as the user sees them: MiB, rounded up.
unsigned int MegabytesRoundedUp(uint64_t nBytes);

// The filter of the folder walk: keeps files whose name ends in ".kvn" or ".kvr", letter case ignored.
bool ExistingFilter(tagDirObjInfo* pObject, void* pUser);

}  // namespace Kestrova
