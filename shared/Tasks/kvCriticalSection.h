// kvCriticalSection.h - a light recursive lock and the guard that holds it for a scope.
#pragma once

#include <pthread.h>

#include <atomic>

#include "shared/System/kvMutex.h"

namespace Kestrova {

// A recursive lock that is ready once constructed. Enter, Leave and TryEnter from any thread; the thread that
// holds the lock may take it again and leaves it as often. On an object that is not valid, one whose life has
// not begun or has ended, all three assert "_mutex != 0". A failing POSIX call asserts "!err".
class KV_CAPABILITY("mutex") CriticalSection {
public:
    CriticalSection();
    // Waits for the holder, takes the lock and keeps it.
    ~CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void Enter() KV_ACQUIRE();
    void Leave() KV_RELEASE();
    // true when the lock was free, or the caller's own, and is now held (once more).
    bool TryEnter() KV_TRY_ACQUIRE(true);

private:
    std::atomic<pthread_mutex_t*> m_pMutex{nullptr};  // &m_mutex while the object is valid
    pthread_mutex_t m_mutex;
};

// Holds a critical section for a scope.
class KV_SCOPED_CAPABILITY CriticalSectionGuard {
public:
    explicit CriticalSectionGuard(CriticalSection& section) KV_ACQUIRE(section) : m_section(section) {
        m_section.Enter();
    }
    ~CriticalSectionGuard() KV_RELEASE() { m_section.Leave(); }
    CriticalSectionGuard(const CriticalSectionGuard&) = delete;
    CriticalSectionGuard& operator=(const CriticalSectionGuard&) = delete;

private:
    CriticalSection& m_section;
};

}  // namespace Kestrova
