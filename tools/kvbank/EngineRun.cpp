#include "tools/kvbank/EngineRun.h"

#include <thread>

#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/Console.h"
#include "tools/kvbank/ExitCode.h"
#include "tools/kvbank/RecordNames.h"

namespace Kestrova {
namespace {

constexpr auto kBetweenLooks = std::chrono::milliseconds(100);

}  // namespace

EngineRun::EngineRun() { m_engine.SetCallback(OnCallback, reinterpret_cast<unsigned long>(this)); }

int EngineRun::OnCallback(int nCode, unsigned int nValue, unsigned long nUser) {
    EngineRun& run = *reinterpret_cast<EngineRun*>(nUser);
    const std::lock_guard guard(run.m_lock);
    switch (nCode) {
        case 0: ++run.m_nStep; break;
        case 1: run.m_nStep = 0, run.m_nSteps = nValue; break;
        default: run.m_result = static_cast<BankResult>(nValue), run.m_bEnded = true; break;
    }
    run.m_changed.notify_all();
    // A job cancelled at its first callback would leave its file behind and not tell of its end: the second
    // callback is soon enough.
    return nCode == 1 || CancelSignal() == 0;
}

BankResult EngineRun::WaitForEnd(const Observer& observer) {
    std::unique_lock guard(m_lock);
    while (!m_changed.wait_for(guard, kBetweenLooks, [this] { return m_bEnded; })) {
        const unsigned nStep = m_nStep, nSteps = m_nSteps;
        guard.unlock();
        if (observer) observer(nStep, nSteps);
        guard.lock();
    }
    guard.unlock();
    // After a failure the engine is idle only a moment after its last callback.
    while (m_engine.GetState() != 0) std::this_thread::yield();
    return m_result;
}

BankResult EngineRun::Analyse(const std::string& strSource) {
    m_strSource = strSource;
    m_bEnded = false;
    if (const BankResult result = m_engine.SetSrcFile(strSource.c_str()); result != kBankDone) return result;
    return WaitForEnd(nullptr);
}

BankResult EngineRun::NameBanks(const std::string& strSource) {
    const BankResult result = Analyse(strSource);
    return m_engine.GetBaseName().empty() ? result : kBankDone;
}

BankResult EngineRun::Build(unsigned int nRate, BankLayout layout, int nQuality, const Observer& observer) {
    m_bEnded = false;
    const BankResult started = m_engine.CreateDB(nRate, layout == BankLayout::PerKey, nQuality);
    if (started != kBankDone) return started;
    return WaitForEnd(observer);
}

std::string EngineRun::NameOf(const BankFault& fault) const {
    if (fault.id == kSdbNoID) return TypeName(fault.nType);
    CSDB database;
    const uint32_t nKind = m_engine.IsSourceEnriched() ? kSdbFormatEnriched : kSdbFormatPlain;
    const bool bOpen = database.Open(m_strSource.c_str(), nKind, false);
    return DescribeRecord(bOpen ? &database : nullptr, fault.nType, fault.id);
}

std::string EngineRun::Explain(BankResult result, bool bNumber) {
    const BankFault& fault = m_engine.GetFault();
    std::string strText =
        *fault.pszCause == '\0' ? DescribeResult(result) : NameOf(fault) + ": " + fault.pszCause;
    if (bNumber) strText += " (engine result " + std::to_string(result) + ")";
    return strText;
}

}  // namespace Kestrova
