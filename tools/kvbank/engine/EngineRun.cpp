#include "tools/kvbank/engine/EngineRun.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <thread>

#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/engine/RecordNames.h"
#include "tools/kvbank/folder/BankFolder.h"
#include "tools/kvbank/sums/BankSums.h"

namespace Kestrova {
namespace {

constexpr auto kBetweenLooks = std::chrono::milliseconds(100);

// What is wrong with a source, if anything.
struct OpeningFault {
    ExitCode code = kExitDone;
    std::string strCause;
};

// The faults that can be found without opening the file.
OpeningFault FaultOf(const std::string& strSource) {
    std::error_code error;
    if (!std::filesystem::exists(strSource, error))
        return {kExitBadInput, error ? error.message() : std::strerror(ENOENT)};
    if (const char* const pszKind = WhyNoFile(strSource)) return {kExitBadInput, pszKind};
    if (!SourceBaseName(strSource).empty()) return {};
    const bool bDot = std::filesystem::path(strSource).filename().string().find('.') != std::string::npos;
    return {kExitUsage, bDot ? "nothing stands before the '.' of the name: banks are named after that"
                             : "the name needs a '.': banks are named after what stands before it"};
}

// The engine's "out of memory" is also that of file handles.
const char* CauseOfWant(int nError) {
    const bool bHandles = nError == EMFILE || nError == ENFILE;
    return bHandles ? std::strerror(nError) : DescribeResult(kBankNoMemory);
}

}  // namespace

Ending AskHeld(const std::string& strFile) {
    bool bBusy = false;
    std::string strWhy = WhyHeld(strFile, bBusy);
    if (strWhy.empty()) return {};
    return {bBusy ? kExitBusy : kExitBadInput, std::move(strWhy)};
}

ExitCode EngineRun::Open(Console& console, const std::string& strSource,
                         BankResult (EngineRun::*pfnOpen)(const std::string&)) {
    OpeningFault fault = FaultOf(strSource);
    if (fault.code == kExitDone) {
        const BankResult result = (this->*pfnOpen)(strSource);
        if (result == kBankDone) return kExitDone;
        fault = {ExitCodeFor(result), Explain(result, console.bVerbose || console.bJson)};
    }
    console.Error(strSource + ": " + fault.strCause);
    return fault.code;
}

EngineRun::EngineRun() { m_engine.SetCallback(OnCallback, reinterpret_cast<unsigned long>(this)); }

int EngineRun::OnCallback(int nCode, unsigned int nValue, unsigned long nUser) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the engine hands back the integer it was given
    EngineRun& run = *reinterpret_cast<EngineRun*>(nUser);
    const MutexGuard guard(run.m_lock);
    if (nCode == 1) run.m_nStepsLeft = nValue;
    if (nCode == 0 && run.m_nStepsLeft > 0) --run.m_nStepsLeft;
    if (nCode == 2) {
        run.m_result = static_cast<BankResult>(nValue);
        run.m_bEnded = true;
        run.m_changed.NotifyAll();
    }
    // A job cancelled at its first callback would leave its file behind and not report its end. So it is
    // cancelled at its second callback.
    return nCode == 1 || CancelSignal() == 0;
}

bool EngineRun::HasWrittenAll() const {
    const MutexGuard guard(m_lock);
    return m_nStepsLeft == 0;
}

// Before a job is started.
void EngineRun::Expect(unsigned nSteps) {
    const MutexGuard guard(m_lock);
    m_bEnded = false;
    m_nStepsLeft = nSteps;
}

BankResult EngineRun::WaitForEnd(const Observer& observer) {
    MutexGuard guard(m_lock);
    while (!m_changed.WaitFor(guard, kBetweenLooks, [this]() KV_REQUIRES(m_lock) { return m_bEnded; })) {
        guard.Unlock();
        if (observer) observer();
        guard.Lock();
    }
    const BankResult result = m_result;
    guard.Unlock();
    // After a failure the engine becomes idle a moment later than its last callback.
    while (m_engine.GetState() != 0) std::this_thread::yield();
    return result;
}

BankResult EngineRun::Analyse(const std::string& strSource) {
    m_strSource = strSource;
    Expect(0);
    if (const BankResult result = m_engine.SetSrcFile(strSource.c_str()); result != kBankDone) return result;
    return WaitForEnd(nullptr);
}

BankResult EngineRun::NameBanks(const std::string& strSource) {
    const BankResult result = Analyse(strSource);
    return m_engine.GetBaseName().empty() ? result : kBankDone;
}

BankResult EngineRun::Start(const std::filesystem::path& folder, unsigned int nRate, BankLayout layout,
                            int nQuality) {
    if (const BankResult result = m_engine.SetDstDir(folder.c_str()); result != kBankDone) return result;
    Expect(UINT_MAX);  // until the job tells how many it has
    return m_engine.CreateDB(nRate, layout == BankLayout::PerKey, nQuality);
}

// The outcome that the engine keeps for this result. If it keeps none, the result alone.
BankOutcome EngineRun::OutcomeOf(BankResult result) const {
    const BankOutcome& outcome = m_engine.GetFault();
    return outcome.result == result ? outcome : BankOutcome{.result = result};
}

std::string EngineRun::NameOf(const BankOutcome& outcome) const {
    if (outcome.id == kSdbNoID) return TypeName(outcome.nType);
    CSDB database;
    const uint32_t nKind = m_engine.IsSourceEnriched() ? kSdbFormatEnriched : kSdbFormatPlain;
    const bool bOpen = database.Open(m_strSource.c_str(), nKind, false);
    return DescribeRecord(bOpen ? &database : nullptr, outcome.nType, outcome.id);
}

std::string EngineRun::Cause(const BankOutcome& outcome) const {
    switch (outcome.result) {
        // The one value that commands do not check themselves: an enriched source's name without its rate.
        case kBankBadArgument: return "nothing stands before the '_' of the name: banks are named after that";
        case kBankSourceNotOpened:
            return outcome.nError != 0 ? std::strerror(outcome.nError) : WhyNoBank(m_strSource);
        case kBankNoWorker:
            if (outcome.nError == 0) break;
            return std::string(DescribeResult(outcome.result)) + ": " + std::strerror(outcome.nError);
        case kBankNoMemory: return CauseOfWant(outcome.nError);
        default: break;
    }
    return DescribeResult(outcome.result);
}

std::string EngineRun::Explain(BankResult result, bool bNumber) {
    const BankOutcome outcome = OutcomeOf(result);
    // A fault of the bank's file as a whole needs no further name: the message begins with that file.
    const bool bNamed = outcome.side != BankSide::Target || outcome.nType != kSdbAny;
    std::string strText = *outcome.pszCause == '\0' ? Cause(outcome)
                          : bNamed                  ? NameOf(outcome) + ": " + outcome.pszCause
                                                    : outcome.pszCause;
    const bool bReason = outcome.nError != 0 && outcome.nError != ENOMEM && *outcome.pszCause != '\0';
    if (bReason) strText += std::string(": ") + std::strerror(outcome.nError);
    if (bNumber) strText += " (engine result " + std::to_string(result) + ")";
    return strText;
}

EngineRun::Removal EngineRun::Remove(const std::string& strBank) {
    // The sums file first: a bank may lack one, but none stays without its bank.
    if (Ending held = AskHeld(strBank); !held.IsDone()) return {held.code, std::move(held.strError)};
    const SumsOutcome sums = RemoveSums(strBank);
    if (sums.kind == SumsOutcome::Kind::Failed)
        return {kExitOutput, "it stays, because its sums file cannot be removed: " + sums.strCause};
    const BankResult result = m_engine.RemoveDB(strBank.c_str());
    const int nError = errno;  // of the file's removal, which the result does not tell
    if (result == kBankNoMemory) return {ExitCodeOf(result), CauseOfWant(nError)};
    std::error_code ignored;
    if (!std::filesystem::exists(std::filesystem::symlink_status(strBank, ignored))) return {};
    if (const Ending held = AskHeld(strBank); !held.IsDone()) return {held.code, held.strError};
    return {kExitOutput, std::strerror(nError)};
}

Ending EngineRun::RemoveInterrupted(const std::string& strFolder, unsigned& nRemoved) {
    BankResult result = m_engine.SetDstDir(strFolder.c_str());
    if (result == kBankDone) result = m_engine.RemoveInterrupted(nRemoved);
    if (result == kBankNoMemory) return {ExitCodeOf(result), CauseOfWant(errno)};
    return {};
}

}  // namespace Kestrova
