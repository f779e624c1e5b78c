#include "bank/DBEUCreate.h"

#include <cerrno>

#include "bank/BankWriter.h"
#include "bank/HelperThreads.h"
#include "shared/System/kvModule.h"

namespace Kestrova {
namespace {

constexpr int kCreateFunction = 1, kAnalyzeFunction = 2;  // numbers the worker must give them
constexpr int kPriorityBelowCaller = 2;

}  // namespace

CDBEUCreate::CDBEUCreate()
    : m_progress([this](int nCode, unsigned int nValue) { return Callback(nCode, nValue); }),
      m_analysis(m_source, m_progress),
      m_nHelpers(HelperThreadCount()) {
    errno = 0;
    m_bWorker = m_thread.AddFunction(ThreadFuncCreate, 0) == kCreateFunction &&
                m_thread.AddFunction(ThreadFuncAnalyze, 0) == kAnalyzeFunction &&
                m_thread.Create(this, GetCurrentPriority() - kPriorityBelowCaller) != 0;
    if (m_bWorker) return;
    m_nStatus = kBankNoWorker;
    m_fault = {.result = kBankNoWorker, .nError = errno};
}

CDBEUCreate::~CDBEUCreate() {
    m_bStopping = 1;
    m_thread.Destroy();  // before anything the running job uses
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

// --- Starting jobs, on the client's thread ---

// REQUIRES: the engine is idle. Once the worker has been signalled, only the worker may set the fault.
template <class TStart>
BankResult CDBEUCreate::Start(TStart start) {
    const BankOutcome started = CatchWantOfMemory(start);
    if (!started.IsDone()) m_fault = started;
    return started.result;
}

void CDBEUCreate::StartJob(State state, int nFunction) {
    m_fault = {};
    m_nState = state;
    m_thread.Signal(nFunction);
}

BankResult CDBEUCreate::SetSrcFile(const char* pszPath) {
    if (m_nState != kIdle) return kBankBusy;
    return Start([&] { return StartAnalysis(pszPath); });
}

BankOutcome CDBEUCreate::StartAnalysis(const char* pszPath) {
    if (pszPath == nullptr || *pszPath == '\0') return {.result = kBankBadArgument};
    if (!m_bWorker) {  // the analysis would never end
        const bool bKnown = m_fault.result == kBankNoWorker;
        return {.result = kBankNoWorker, .nError = bKnown ? m_fault.nError : 0};
    }
    const BankOutcome opened = CatchWantOfMemory([&] { return m_source.Open(pszPath); });
    // When banks cannot be named after the new name, the earlier source
    // stays open and its analysis stays valid.
    if (opened.result != kBankBadArgument || !m_source.Database().IsOpen()) m_bAnalysed = 0;
    if (opened.result == kBankSourceNotOpened) m_nStatus = kBankSourceNotOpened;
    if (!opened.IsDone()) return opened;
    m_nStatus = kBankDone;  // set here, because the worker may fail at once
    StartJob(kAnalysing, kAnalyzeFunction);
    return {};
}

BankResult CDBEUCreate::CreateDB(unsigned int nRate, int nPerKey, int nFlags) {
    if (m_nState != kIdle) return kBankBusy;
    if (m_nStatus != kBankDone) return GetStatus();
    return Start([&] { return StartCreation({nRate, nPerKey, nFlags, m_nHelpers, m_pConverter}); });
}

// Older banks of the rate are removed first, the bank in the other layout before the one in the layout asked
// for. A bank that another process is building stays. When it is the one asked for, the start fails as busy.
BankOutcome CDBEUCreate::StartCreation(const BankOrder& order) {
    if (!IsBuildableRate(order.nRate) || order.nQuality < 0 || order.nQuality > kHighestQuality)
        return {.result = kBankBadArgument};
    if (!HasNames()) return {.result = kBankNotReady};
    const BankLayout layout = order.IsPerKey() ? BankLayout::PerKey : BankLayout::Plain;
    const auto PathOf = [&](BankLayout of) {
        return MakeBankFileName(m_strFolder, m_source.GetBaseName(), order.nRate, of);
    };
    const std::string strPath = PathOf(layout);
    CSDB& source = m_source.Database();
    DropAbandonedTarget();
    Occupant occupant = Occupant::None;
    const BankOutcome found = FindOccupant(source, strPath.c_str(), occupant);
    if (!found.IsDone()) return found;
    if (occupant == Occupant::Build) return {.result = kBankBusy};
    RemoveBank(source, PathOf(OtherLayout(layout)).c_str());
    // Deliberately (Q99) no error, and no job either.
    if (occupant == Occupant::Source) return {};  // the source already is that bank
    RemoveBank(source, strPath.c_str());
    Module::EnsureFolderExists(m_strFolder.c_str());
    auto pWriter = std::make_unique<BankWriter>(m_source, m_analysis, m_progress, order, strPath);
    if (const BankOutcome opened = pWriter->Open(); !opened.IsDone()) return opened;
    m_pWriter = std::move(pWriter);
    m_bUnprotected = m_pWriter->IsUnprotected();
    StartJob(kCreating, kCreateFunction);
    return {};
}

// --- Jobs, on the worker ---

int CDBEUCreate::ThreadFuncAnalyze(void* pEngine) {
    CDBEUCreate& engine = *static_cast<CDBEUCreate*>(pEngine);
    engine.GetSrcDBInfo();
    engine.m_nState = kIdle;
    return 1;
}

BankResult CDBEUCreate::GetSrcDBInfo() {
    const CXAutoLock lock(m_source.Database().GetLock());
    m_fault = CatchWantOfMemory([this] { return m_analysis.Run(); });
    const BankResult result = m_fault.result;
    m_nStatus = static_cast<int>(result);
    m_bAnalysed = result == kBankDone;
    Callback(BankProgress::kEndCode, result);
    return result;
}

// A creation that succeeded made the engine idle before its last callback. The client may have started the
// next job from within that callback, so that the state must not be changed here.
int CDBEUCreate::ThreadFuncCreate(void* pEngine) {
    CDBEUCreate& engine = *static_cast<CDBEUCreate*>(pEngine);
    if (engine.CreateDB() != kBankDone) engine.m_nState = kIdle;
    return 1;
}

BankResult CDBEUCreate::CreateDB() {
    m_fault = m_pWriter->Write();
    const BankResult result = m_fault.result;  // the next job, started from the last callback, has its own
    if (m_pWriter->IsAbandoned()) return result;
    m_pWriter.reset();
    // Deliberate (Q98): the engine is idle before the last call of a success.
    if (result == kBankDone) m_nState = kIdle;
    Callback(BankProgress::kEndCode, result);
    return result;
}

// --- Between jobs ---

BankResult CDBEUCreate::SetDstDir(const char* pszPath) {
    if (m_nState == kCreating) return kBankBusy;
    if (pszPath == nullptr || *pszPath == '\0') return kBankBadArgument;
    return CatchWantOfMemory([&]() -> BankOutcome {
               m_strFolder.clear();
               m_strFolder = pszPath;
               return {};
           })
        .result;
}

BankResult CDBEUCreate::Prediction(unsigned int nRate, int nPerKey, unsigned int& nMegabytes) const {
    if (m_nStatus != kBankDone) return GetStatus();
    if (!IsBuildableRate(nRate)) return kBankBadArgument;
    if (m_bAnalysed == 0) return kBankNotReady;
    return CatchWantOfMemory([&]() -> BankOutcome {
               nMegabytes = m_analysis.PredictMegabytes(nRate, nPerKey != 0, m_pConverter);
               return {};
           })
        .result;
}

BankResult CDBEUCreate::GetExisting(int kinds[kRateCount], unsigned int* pMegabytes) {
    if (kinds == nullptr) return kBankBadArgument;
    if (!HasNames()) return kBankNotReady;
    return CatchWantOfMemory([&] { return FindExisting(Shelf(), kinds, pMegabytes); }).result;
}

BankResult CDBEUCreate::RemoveDB(const char* pszPath) {
    if (pszPath == nullptr) return kBankBadArgument;
    DropAbandonedTarget();
    return CatchWantOfMemory([&] { return RemoveBank(m_source.Database(), pszPath); }).result;
}

BankResult CDBEUCreate::RemoveDB(unsigned int nRate, int nWhich) {
    if (!IsBuildableRate(nRate)) return kBankBadArgument;
    if (!HasNames()) return kBankNotReady;
    DropAbandonedTarget();
    return CatchWantOfMemory([&] { return RemoveBanks(m_source.Database(), Shelf(), nRate, nWhich); }).result;
}

BankResult CDBEUCreate::RemoveInterrupted(unsigned int& nRemoved) {
    nRemoved = 0;
    if (!HasNames()) return kBankNotReady;
    DropAbandonedTarget();
    return CatchWantOfMemory([&] { return RemoveInterruptedBuilds(m_source.Database(), Shelf(), nRemoved); })
        .result;
}

void CDBEUCreate::DropAbandonedTarget() {
    if (m_nState != kCreating) m_pWriter.reset();
}

}  // namespace Kestrova
