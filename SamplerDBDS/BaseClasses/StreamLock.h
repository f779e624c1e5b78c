// StreamLock.h - the lock of one stream, recursive for the thread that holds it.
// It behaves like flockfile. ReleaseAll also takes back every Lock of a thread at once, as closing a stream
// needs it. Taking the lock again on the thread that holds it costs one comparison.
#pragma once

#include <atomic>
#include <mutex>

#include "shared/System/kvMutex.h"

namespace Kestrova {

class KV_CAPABILITY("mutex") StreamLock {
public:
    void Lock() KV_ACQUIRE() {
        if (IsMine()) {
            ++m_nDepth;
            return;
        }
        m_mutex.lock();
        m_pOwner.store(Me(), std::memory_order_relaxed);
        m_nDepth = 1;
    }

    // Takes one Lock back. On a thread that does not hold the lock it does nothing and answers false.
    bool Unlock() KV_RELEASE() {
        if (!IsMine()) return false;
        if (--m_nDepth == 0) Release();
        return true;
    }

    // Takes back every Lock of the calling thread.
    void ReleaseAll() KV_RELEASE() {
        if (IsMine()) Release();
    }

    // Only the calling thread's own Lock and Unlock change this, so the answer stays true after the call.
    bool IsMine() const { return m_pOwner.load(std::memory_order_relaxed) == Me(); }

private:
    static const void* Me() {
        static thread_local char chOnePerThread;
        return &chOnePerThread;
    }

    void Release() {
        m_nDepth = 0;
        m_pOwner.store(nullptr, std::memory_order_relaxed);
        m_mutex.unlock();
    }

    std::mutex m_mutex;
    std::atomic<const void*> m_pOwner{nullptr};
    unsigned m_nDepth = 0;  // touched by the owner only
};

// Holds a StreamLock for a scope.
class KV_SCOPED_CAPABILITY StreamLockGuard {
public:
    explicit StreamLockGuard(StreamLock& lock) KV_ACQUIRE(lock) : m_lock(lock) { m_lock.Lock(); }
    ~StreamLockGuard() KV_RELEASE() { m_lock.Unlock(); }
    StreamLockGuard(const StreamLockGuard&) = delete;
    StreamLockGuard& operator=(const StreamLockGuard&) = delete;

private:
    StreamLock& m_lock;
};

}  // namespace Kestrova
