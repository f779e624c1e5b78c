// XLock.h - a recursive lock with its scope guard, and an auto-reset event, over POSIX threads.
// Errors: a failing POSIX call is reported by pthread_error and ends the program with the assertion "!err";
//         only where a function says so is the failure its result.
#pragma once

#include <pthread.h>

#include <ctime>

#include "shared/System/kvMutex.h"

namespace Kestrova {

// Writes "%s: error %d\n" with the name of the POSIX call and its error number to standard error. Any thread.
void pthread_error(const char* pszCall, int nError);

// A recursive mutex. Create must be called before use; the thread that holds it may take it again.
// Create and Destroy are for the owner, while no other thread uses the lock.
class KV_CAPABILITY("mutex") CXLock {
public:
    CXLock() = default;
    ~CXLock() { Destroy(); }
    CXLock(const CXLock&) = delete;
    CXLock& operator=(const CXLock&) = delete;

    // Makes the mutex, after destroying an old one. Always 1.
    int Create();
    // Waits for the holder, then destroys the mutex; nothing when there is none.
    void Destroy();

    // Both assert "m_bInited" on a lock that was not created.
    void Lock() KV_ACQUIRE();
    void Unlock() KV_RELEASE();

private:
    int m_bInited = 0;
    pthread_mutex_t m_mutex;
};

// Holds a lock for a scope. With a null lock it does nothing.
class KV_SCOPED_CAPABILITY CXAutoLock {
public:
    explicit CXAutoLock(CXLock* pLock) KV_ACQUIRE(pLock) : m_pLock(pLock) {
        if (m_pLock != nullptr) m_pLock->Lock();
    }
    ~CXAutoLock() KV_RELEASE() {
        if (m_pLock != nullptr) m_pLock->Unlock();
    }
    CXAutoLock(const CXAutoLock&) = delete;
    CXAutoLock& operator=(const CXAutoLock&) = delete;

private:
    CXLock* m_pLock;
};

// An auto-reset event: Set wakes the threads that wait, and the first of them that goes on clears the signal.
// Set, Wait and WaitFor from any thread; on an event that was not created they do nothing.
// Create and Destroy are for the owner, while no other thread uses the event.
class CXEvent {
public:
    CXEvent() = default;
    ~CXEvent() { Destroy(); }
    CXEvent(const CXEvent&) = delete;
    CXEvent& operator=(const CXEvent&) = delete;

    // Makes the event, not signalled, after destroying an old one. 1, or 0 when the system gives no mutex or
    // no condition.
    int Create();
    void Destroy();

    // Stays signalled until one wait has seen it; setting it twice is as good as once.
    void Set();
    // Returns once signalled, and clears the signal.
    void Wait();
    // 1 when signalled before EventDeadline(now, nMs), and clears the signal; 0 on a time-out or an error.
    // WaitFor(0) only tests and clears.
    int WaitFor(int nMs);

private:
    // The mutex, with the answers of POSIX: 0, or the error.
    class KV_CAPABILITY("mutex") Gate {
    public:
        int Lock() KV_TRY_ACQUIRE(false) { return pthread_mutex_lock(&mutex); }
        int Unlock() KV_RELEASE() { return pthread_mutex_unlock(&mutex); }
        // By a Lock whose failure would have ended the program.
        void IsHeld() const KV_ASSERT_CAPABILITY(this) {}

        pthread_mutex_t mutex;
    };

    int m_bInited = 0;
    Gate m_gate;
    int m_bSignaled KV_GUARDED_BY(m_gate) = 0;
    pthread_cond_t m_condition;
};

// The moment up to which CXEvent::WaitFor waits, for a call at tNow (seconds of the realtime clock): whole
// seconds of nMs are added; the milliseconds that remain are added as nanoseconds, unscaled.
timespec EventDeadline(time_t tNow, int nMs);

}  // namespace Kestrova
