// kvMutex.h - a lock, its guard and its condition, which clang's -Wthread-safety can follow.
#pragma once

#include <condition_variable>
#include <mutex>

#include "shared/System/kvThreadSafety.h"

namespace Kestrova {

// A lock that is not recursive. It is taken through a MutexGuard alone. Members that it guards say so with
// KV_GUARDED_BY.
class KV_CAPABILITY("mutex") Mutex {
private:
    friend class MutexGuard;
    std::mutex m_mutex;
};

// Holds a lock for a scope, which may give it back in between.
class KV_SCOPED_CAPABILITY MutexGuard {
public:
    explicit MutexGuard(Mutex& mutex) KV_ACQUIRE(mutex) : m_lock(mutex.m_mutex) {}
    ~MutexGuard() KV_RELEASE() {}
    MutexGuard(const MutexGuard&) = delete;
    MutexGuard& operator=(const MutexGuard&) = delete;

    void Unlock() KV_RELEASE() { m_lock.unlock(); }
    void Lock() KV_ACQUIRE() { m_lock.lock(); }

private:
    friend class Condition;
    std::unique_lock<std::mutex> m_lock;
};

// What threads wait for under a lock. A predicate that reads guarded members is a lambda with
// KV_REQUIRES(the lock): it is called with the lock held.
class Condition {
public:
    template <class TPredicate>
    void Wait(MutexGuard& guard, TPredicate isTrue) {
        m_condition.wait(guard.m_lock, isTrue);
    }
    // What the predicate tells in the end: false when the time has passed before.
    template <class TDuration, class TPredicate>
    bool WaitFor(MutexGuard& guard, const TDuration& patience, TPredicate isTrue) {
        return m_condition.wait_for(guard.m_lock, patience, isTrue);
    }
    void NotifyOne() { m_condition.notify_one(); }
    void NotifyAll() { m_condition.notify_all(); }

private:
    std::condition_variable m_condition;
};

}  // namespace Kestrova
