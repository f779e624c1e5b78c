// The creation of one bank: start, run and end.
#include <cerrno>
#include <new>

#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bank/DBEUCreate.h"
#include "shared/System/kvCompare.h"
#include "shared/System/kvModule.h"
#include "shared/System/kvPath.h"

namespace Kestrova {
namespace {

constexpr int kCreateFunction = 1;

}  // namespace

BankResult CDBEUCreate::CreateDB(unsigned int nRate, int nPerKey, int nFlags) {
    if (m_nState != kIdle) return kBankBusy;
    if (m_nStatus != kBankDone) return GetStatus();
    if (!IsBuildableRate(nRate) || nFlags < 0 || nFlags > kHighestQuality) return kBankBadArgument;
    if (!HasNames()) return kBankNotReady;
    m_nFlags = nFlags;
    m_nRate = nRate;
    m_nPerKey = nPerKey;
    try {
        const BankLayout layout = nPerKey != 0 ? BankLayout::PerKey : BankLayout::Plain;
        const std::string strPath = BankPath(nRate, layout);
        if (const BankResult result = ClearTheWay(layout); result != kBankDone) return result;
        if (m_dbSource.SameFile(strPath.c_str())) return kBankDone;  // the source already is that bank
        m_pszTarget.reset(CreateString(strPath.c_str()));
    } catch (const std::bad_alloc&) {
        m_pszTarget.reset();
    }
    if (!m_pszTarget) return kBankNoMemory;
    if (const BankResult result = OpenTarget(); result != kBankDone) return result;
    m_nState = kCreating;
    m_thread.Signal(kCreateFunction);
    return kBankDone;
}

// Removes older banks of the rate, the other layout's first. A bank that another process is building stays,
// and is in the way when it is the one asked for.
BankResult CDBEUCreate::ClearTheWay(BankLayout layout) {
    DropAbandonedTarget();
    const std::string strPath = BankPath(m_nRate, layout);
    if (!m_dbSource.SameFile(strPath.c_str()) && CSDB::IsHeld(strPath.c_str())) return kBankBusy;
    RemoveDB(BankPath(m_nRate, OtherLayout(layout)).c_str());
    RemoveDB(strPath.c_str());
    return kBankDone;
}

BankResult CDBEUCreate::OpenTarget() {
    Module::EnsureFolderExists(m_pszFolder.get());
    if (m_dbTarget.Create(m_pszTarget.get(), kSdbFormatEnriched)) return kBankDone;
    const int nError = errno;
    if (CSDB::IsHeld(m_pszTarget.get())) return kBankBusy;
    errno = nError;
    return kBankTargetNotCreated;
}

BankResult CDBEUCreate::CreateDB() {
    m_dbSource.Lock();
    m_dbTarget.Lock();
    StartJob();
    ForgetNewIds();
    const int64_t nTotal = m_nPerKey != 0 ? m_analysis.nPerKeyRecords : int64_t{m_analysis.nRecords};
    if (!m_dbTarget.ReserveQuickLoad(static_cast<uint32_t>(nTotal)))
        return EndCreation(Fail(kBankWriteFailed, kSdbQuickLoad, kSdbNoID, "it cannot be written"));
    if (Callback(1, static_cast<unsigned int>(nTotal)) == 0) {
        // Deliberate: a job cancelled at its first callback leaves its file and makes no final callback. The
        // locks are given back, or the next job, on whatever thread, would wait for them for ever.
        m_dbSource.Unlock();
        m_dbTarget.Unlock();
        return kBankCancelled;
    }
    return EndCreation(RunStages());
}

BankResult CDBEUCreate::RunStages() try {
    if (const BankResult result = CreateInfo(m_nRate, m_nPerKey); result != kBankDone) return result;
    if (const BankResult result = CreatePresets(); result != kBankDone) return result;
    const auto createSamples =
        m_nPerKey != 0
            ? (m_bEnrichedSource ? &CDBEUCreate::CreateSamplesReprEU : &CDBEUCreate::CreateSamplesRepr)
            : (m_bEnrichedSource ? &CDBEUCreate::CreateSamplesEU : &CDBEUCreate::CreateSamples);
    if (const BankResult result = (this->*createSamples)(); result != kBankDone) return result;
    if (const BankResult result = CreateBanks(); result != kBankDone) return result;
    // What still waits in memory is written first: a disk that is full by now is a write failure like any
    // other.
    if (!m_dbTarget.GetFile().Flush())
        return Fail(kBankWriteFailed, kSdbAny, kSdbNoID, "the bank cannot be written");
    if (m_dbTarget.CreateQuickLoad()) return kBankDone;
    return Fail(kBankConversionFailed, kSdbQuickLoad, kSdbNoID, "it does not match the records written");
} catch (const std::bad_alloc&) {
    return kBankNoMemory;
}

// A bank that cannot be committed is a failed one; a failed one leaves no file.
BankResult CDBEUCreate::EndCreation(BankResult result) {
    m_dbSource.Unlock();
    m_dbTarget.Unlock();
    if (!m_dbTarget.Close(result == kBankDone) && result == kBankDone)
        result = Fail(kBankWriteFailed, kSdbAny, kSdbNoID, "the bank cannot be committed");
    if (result == kBankDone)
        m_nState = kIdle;
    else
        DeleteThisFile(m_pszTarget.get());
    Callback(2, result);
    return result;
}

// A second build of one session equals a first.
void CDBEUCreate::ForgetNewIds() {
    for (uint32_t i = 0; i < m_nFilled; ++i) {
        m_arSamples[i].newId = kSdbNoID;
        m_arSamples[i].keySlots.fill(kSdbNoID);
    }
}

// A job cancelled at its first callback has left its target open. Rolled back it holds no record, so that the
// file is known for what it is and removed as an interrupted build.
void CDBEUCreate::DropAbandonedTarget() {
    if (m_nState != kCreating && m_dbTarget.IsOpen()) m_dbTarget.Close(false);
}

}  // namespace Kestrova
