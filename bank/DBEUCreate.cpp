#include "bank/DBEUCreate.h"

#include <algorithm>
#include <thread>

#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "shared/System/kvCompare.h"

namespace Kestrova {
namespace {

constexpr int kCreateFunction = 1, kAnalyzeFunction = 2;  // numbers the worker must give them
constexpr int kPriorityBelowCaller = 2;

// A sound source is read once or twice a record. A hostile one repeats ids, so that the walk through the tree
// meets the same records again and again; past this allowance the job ends.
constexpr uint64_t kReadsAllowedFor(const BankAnalysis& analysis) {
    return 2 * (analysis.nRecords + static_cast<uint64_t>(std::max<int64_t>(analysis.nPerKeyRecords, 0))) +
           65536;
}

}  // namespace

CDBEUCreate::CDBEUCreate() : m_nHelpers(std::thread::hardware_concurrency()) {
    m_bWorker = m_thread.AddFunction(ThreadFuncCreate, 0) == kCreateFunction &&
                m_thread.AddFunction(ThreadFuncAnalyze, 0) == kAnalyzeFunction &&
                m_thread.Create(this, GetCurrentPriority() - kPriorityBelowCaller) != 0;
    if (!m_bWorker) m_nStatus = kBankNoWorker;
}

CDBEUCreate::~CDBEUCreate() {
    m_bStopping = 1;
    m_thread.Destroy();  // before anything the running job uses
    DropAbandonedTarget();
}

BankResult CDBEUCreate::SetCallback(CallbackFunction callback, unsigned long nUser) {
    if (m_nState != kIdle) return kBankBusy;
    m_callback = callback;
    m_nUser = nUser;
    return kBankDone;
}

int CDBEUCreate::Callback(int nCode, unsigned int nValue) {
    if (m_bStopping != 0) return 0;
    return m_callback == nullptr ? 1 : m_callback(nCode, nValue, m_nUser);
}

BankResult CDBEUCreate::SetDstDir(const char* pszPath) {
    if (m_nState == kCreating) return kBankBusy;
    if (pszPath == nullptr || *pszPath == '\0') return kBankBadArgument;
    m_pszFolder.reset(CreateString(pszPath));
    return m_pszFolder ? kBankDone : kBankNoMemory;
}

BankResult CDBEUCreate::SetSrcFile(const char* pszPath) {
    if (m_nState != kIdle) return kBankBusy;
    if (pszPath == nullptr || *pszPath == '\0') return kBankBadArgument;
    if (!m_bWorker) return kBankNoWorker;  // nobody would ever end the analysis
    m_pszBaseName.reset();
    const std::string strBase(SourceBaseName(pszPath));
    if (strBase.empty()) return kBankBadArgument;
    if (!OpenSource(pszPath)) {
        m_nStatus = kBankSourceNotOpened;
        return kBankSourceNotOpened;
    }
    const std::string strCut(m_bEnrichedSource ? CutRateFromBaseName(strBase) : strBase);
    m_pszBaseName.reset(CreateString(strCut.c_str()));
    m_bAnalysed = 0;
    if (!m_pszBaseName) {
        m_dbSource.Close(false);  // the one before is closed too, so there is none now
        return strCut.empty() ? kBankBadArgument : kBankNoMemory;
    }
    m_nStatus = kBankDone;  // before the worker can fail
    m_nState = kAnalysing;
    m_thread.Signal(kAnalyzeFunction);
    return kBankDone;
}

bool CDBEUCreate::OpenSource(const char* pszPath) {
    const std::string_view path(pszPath);
    m_strSourceFolder = path.substr(0, path.find_last_of('/') + 1);  // empty without a slash
    m_dbSource.Close(false);
    m_bEnrichedSource = m_dbSource.Open(pszPath, kSdbFormatEnriched, false);
    return m_bEnrichedSource || m_dbSource.Open(pszPath, kSdbFormatPlain, false);
}

int CDBEUCreate::ThreadFuncAnalyze(void* pEngine) {
    CDBEUCreate& engine = *static_cast<CDBEUCreate*>(pEngine);
    engine.GetSrcDBInfo();
    engine.m_nState = kIdle;
    return 1;
}

// A creation that succeeded has made the engine idle before its last callback, from within which the next one
// may have been started: that one's state must stay.
int CDBEUCreate::ThreadFuncCreate(void* pEngine) {
    CDBEUCreate& engine = *static_cast<CDBEUCreate*>(pEngine);
    if (engine.CreateDB() != kBankDone) engine.m_nState = kIdle;
    return 1;
}

std::string_view CDBEUCreate::GetBaseName() const {
    return m_pszBaseName ? std::string_view(m_pszBaseName.get()) : std::string_view();
}

std::string CDBEUCreate::BankPath(unsigned int nRate, BankLayout layout) const {
    return MakeBankFileName(m_pszFolder.get(), m_pszBaseName.get(), nRate, layout);
}

void CDBEUCreate::StartJob() {
    m_fault = BankFault();
    m_nReadsLeft = kReadsAllowedFor(m_analysis);
}

BankResult CDBEUCreate::Fail(BankResult result, uint8_t nType, uint32_t id, const char* pszCause) {
    m_fault = {nType, id, pszCause};
    return result;
}

// Reads are judged here: what an enriched sample claims is measured first, because decoding it trusts its
// counts.
BankResult CDBEUCreate::ReadSource(CSDBInterpreter& record) {
    const uint8_t nType = record.GetType();
    const uint32_t id = record.GetID();
    if (m_nReadsLeft == 0) return Fail(kBankSourceInconsistent, nType, id, "ids are used more than once");
    --m_nReadsLeft;
    const SDBNOTE* const pNote = m_dbSource.GetNoteByID(id);
    const bool bMeasured = m_bEnrichedSource && nType == kSdbSample;
    if (pNote == nullptr ||
        (bMeasured && !MeasureEnrichedSample(m_dbSource.GetFile(), pNote->PosBody(), pNote->nSize)) ||
        !m_dbSource.ReadWholeNote(&record))
        return Fail(kBankReadFailed, nType, id, "the record cannot be read whole");
    return kBankDone;
}

}  // namespace Kestrova
