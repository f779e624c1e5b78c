#include "SamplerDBDS/BaseClasses/XThread.h"

#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <new>
#include <thread>

#include "shared/System/kvAssert.h"

namespace Kestrova {

namespace {

constexpr char kSourceUnit[] = "SamplerDBDS/BaseClasses/OSSpec";
constexpr int kPolicy = 0;
constexpr int kLowestLevel = -15, kHighestLevel = 15, kLevels = kHighestLevel - kLowestLevel;

int ClampLevel(int nLevel) { return std::clamp(nLevel, kLowestLevel, kHighestLevel); }

}  // namespace

const int CXThread::sPrMin = sched_get_priority_min(kPolicy);
const int CXThread::sPrMax = sched_get_priority_max(kPolicy);

int CXThread::AddFunction(Function pfn, int bRunAtStart) {
    if (pfn == nullptr || m_bRunning) return 0;
    try {
        if (m_arFunctions.empty()) m_arFunctions.emplace_back(&ExitThreadFunc, 0);
        m_arFunctions.emplace_back(pfn, bRunAtStart != 0);
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return 0;
    }
    return static_cast<int>(m_arFunctions.size()) - 1;
}

int CXThread::Create(void* pArgument, int nPriority) {
    const bool bHasFunction = m_arFunctions.size() > 1;
    // Deliberate (Q18): a thread stopped once is never started again.
    if (m_bRunning || m_nStop || !bHasFunction || !m_event.Create()) return 0;
    m_pArgument = pArgument;
    m_nPriority = ClampLevel(nPriority);
    const int nError = pthread_create(&m_thread, nullptr, &ThreadProc, this);
    m_bRunning = nError == 0;
    if (nError != 0) errno = nError;
    return m_bRunning;
}

int CXThread::Signal(int nIndex) {
    if (nIndex < 0 || static_cast<size_t>(nIndex) >= m_arFunctions.size()) return 0;
    ++m_arFunctions[static_cast<size_t>(nIndex)].m_nPending;
    m_event.Set();
    return 1;
}

void CXThread::Destroy() {
    m_nStop = 1;
    if (!m_bRunning) return;
    Signal(0);
    m_bRunning = 0;
    const int err = pthread_join(m_thread, nullptr);
    if (err) pthread_error("pthread_join", err);
    KV_ASSERT(!err);
}

void CXThread::SetName(const String* pstrName) { m_strName = pstrName != nullptr ? *pstrName : String(); }

int CXThread::ExitThreadFunc(void*) { return 0; }

void* CXThread::ThreadProc(void* pThread) {
    static_cast<CXThread*>(pThread)->ThreadFunc();
    return nullptr;
}

int CXThread::ThreadFunc() {
    SetCurrentPriority(m_nPriority);
    while (!m_nStop) {
        RunOwed();
        if (!m_nStop) m_event.Wait();
    }
    return 0;
}

void CXThread::RunOwed() {
    for (FuncElem& element : m_arFunctions) {
        while (element.m_nPending >= 1 && !m_nStop) {
            --element.m_nPending;
            if (element.m_pfn(m_pArgument) == 0) m_nStop = 1;
        }
    }
}

int GetCurrentPriority() {
    int nPolicy = 0;
    sched_param param{};
    if (pthread_getschedparam(pthread_self(), &nPolicy, &param) != 0) return 0;
    return PriorityToLevel(param.sched_priority, CXThread::sPrMin, CXThread::sPrMax);
}

int SetCurrentPriority(int nLevel) {
    // Deliberate (Q20): without a priority range every level is accepted and 0 is read.
    if (CXThread::sPrMax <= CXThread::sPrMin) return 1;
    int nPolicy = 0;
    sched_param param{};
    if (pthread_getschedparam(pthread_self(), &nPolicy, &param) != 0) return 0;
    param.sched_priority = LevelToPriority(nLevel, CXThread::sPrMin, CXThread::sPrMax);
    return pthread_setschedparam(pthread_self(), nPolicy, &param) == 0;
}

int PriorityToLevel(int nPriority, int nMin, int nMax) {
    if (nMax <= nMin) return 0;
    return (nPriority - nMin) * kLevels / (nMax - nMin) + kLowestLevel;
}

int LevelToPriority(int nLevel, int nMin, int nMax) {
    return nMin + (ClampLevel(nLevel) - kLowestLevel) * (nMax - nMin) / kLevels;
}

void SleepCurrentThread(unsigned nMs) {
    std::this_thread::sleep_for(std::chrono::milliseconds(std::max(nMs, 1u)));
}

}  // namespace Kestrova
