// kvMutex.h - a lock, its guard and its condition; and the words by which a lock tells clang's
// -Wthread-safety what it guards. They are empty for other compilers.
#pragma once

#include <condition_variable>
#include <mutex>

#ifdef __clang__
#define KV_THREAD_ANNOTATION(attribute) __attribute__((attribute))
#else
#define KV_THREAD_ANNOTATION(attribute)
#endif

// On a class: it is a lock; it holds a lock from construction to destruction.
#define KV_CAPABILITY(name) KV_THREAD_ANNOTATION(capability(name))
#define KV_SCOPED_CAPABILITY KV_THREAD_ANNOTATION(scoped_lockable)

// On a member: touched only with the lock held; a pointer whose target is.
#define KV_GUARDED_BY(lock) KV_THREAD_ANNOTATION(guarded_by(lock))
#define KV_PT_GUARDED_BY(lock) KV_THREAD_ANNOTATION(pt_guarded_by(lock))

// On a function: the caller must hold the lock; must not hold it; the function takes it, releases it, or
// takes it when it returns the value given first.
#define KV_REQUIRES(...) KV_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define KV_EXCLUDES(...) KV_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define KV_ACQUIRE(...) KV_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define KV_RELEASE(...) KV_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define KV_TRY_ACQUIRE(...) KV_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))

// On a function: from its return on the lock is held, by what its comment says; it returns the lock.
#define KV_ASSERT_CAPABILITY(lock) KV_THREAD_ANNOTATION(assert_capability(lock))
#define KV_RETURN_CAPABILITY(lock) KV_THREAD_ANNOTATION(lock_returned(lock))

// On a function whose locking the analysis cannot follow; say why beside it.
#define KV_NO_THREAD_SAFETY_ANALYSIS KV_THREAD_ANNOTATION(no_thread_safety_analysis)

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
