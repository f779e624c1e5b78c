// XThread.h - one worker thread that runs registered functions on demand, and thread priorities.
#pragma once

#include <pthread.h>

#include <atomic>
#include <vector>

#include "SamplerDBDS/BaseClasses/XLock.h"
#include "shared/System/kvString.h"

namespace Kestrova {

// Life: functions are added, Create starts the thread, Signal orders runs, Destroy stops and joins it.
// The thread runs one function at a time; a function that returns 0 ends the thread.
// Threads: Signal and isSignaled from any thread, the rest from the owner's.
class CXThread {
public:
    using Function = int (*)(void* pArgument);

    // A registered function, and how many times it still has to run.
    struct FuncElem {
        FuncElem(Function pfn, int nPending) : m_pfn(pfn), m_nPending(nPending) {}
        FuncElem(const FuncElem& other) : m_pfn(other.m_pfn), m_nPending(other.m_nPending.load()) {}

        const Function m_pfn;
        std::atomic<int> m_nPending;
    };

    CXThread() = default;
    ~CXThread() { Destroy(); }
    CXThread(const CXThread&) = delete;
    CXThread& operator=(const CXThread&) = delete;

    // Registers a function and answers its index for Signal: 1 for the first, 2 for the second. With
    // bRunAtStart it runs once when the thread starts. 0 for a null function, while running, or when memory
    // runs out.
    int AddFunction(Function pfn, int bRunAtStart);

    // Starts the thread; every function will get pArgument (not owned). nPriority is clamped to -15..15.
    // 1, or 0 when running, stopped before, without a function, or when the system gives no event or thread.
    int Create(void* pArgument, int nPriority);

    // Orders one more run of a function; also before Create. Index 0 ends the thread: it comes first in the
    // worker's next walk over the functions. 1, or 0 when there is no function of that index.
    int Signal(int nIndex);

    // Whether Signal was called since the worker last woke, or since the last call of this. It consumes the
    // signal.
    // Deliberate (Q19): isSignaled consumes the worker's wake-up.
    int isSignaled() { return m_event.WaitFor(0); }

    // Lets the running function end, drops the runs that wait and joins. The thread cannot be started again.
    void Destroy();

    // Copies the name; null empties it. For the owner's use: the system does not see it.
    void SetName(const String* pstrName);
    const String& GetName() const { return m_strName; }

    // The system's lowest and highest scheduling priority for policy 0, read at start-up.
    static const int sPrMin;
    static const int sPrMax;

private:
    static int ExitThreadFunc(void* pArgument);
    static void* ThreadProc(void* pThread);
    int ThreadFunc();
    void RunOwed();

    std::atomic<int> m_bRunning{0};
    pthread_t m_thread{};
    void* m_pArgument = nullptr;
    CXEvent m_event;
    std::vector<FuncElem> m_arFunctions;  // element 0 ends the thread; constant while running
    std::atomic<int> m_nStop{0};
    int m_nPriority = 0;
    String m_strName;
};

// The calling thread's scheduling priority as a level of -15..15; 0 when it cannot be read.
int GetCurrentPriority();
// Sets it from a level, clamped to -15..15, and keeps the policy; whether it was set.
// Without a priority range (the usual policy here) any level is accepted and nothing changes.
int SetCurrentPriority(int nLevel);

// The formulas behind the two, for a system range nMin..nMax: integer divisions, truncating.
// An empty range has level 0 only.
int PriorityToLevel(int nPriority, int nMin, int nMax);
int LevelToPriority(int nLevel, int nMin, int nMax);

// Sleeps max(nMs, 1) milliseconds.
void SleepCurrentThread(unsigned nMs);

}  // namespace Kestrova
