// StreamLock.h - the lock of one stream: recursive for the thread that holds it.
// It behaves like flockfile, and its innermost release can also be had at once (ReleaseAll), as closing a
// stream needs. Taking it again on the thread that holds it costs one comparison.
#pragma once

#include <atomic>
#include <mutex>

namespace Kestrova {

class StreamLock {
public:
    void Lock() {
        if (IsMine()) {
            ++m_nDepth;
            return;
        }
        m_mutex.lock();
        m_pOwner.store(Me(), std::memory_order_relaxed);
        m_nDepth = 1;
    }

    // One Lock taken back; false, and nothing done, on a thread that does not hold the lock.
    bool Unlock() {
        if (!IsMine()) return false;
        if (--m_nDepth == 0) Release();
        return true;
    }

    // Every Lock of the calling thread taken back at once.
    void ReleaseAll() {
        if (IsMine()) Release();
    }

    // Only the calling thread's own Lock can make this true, so the answer never ages.
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
class StreamLockGuard {
public:
    explicit StreamLockGuard(StreamLock& lock) : m_lock(lock) { m_lock.Lock(); }
    ~StreamLockGuard() { m_lock.Unlock(); }
    StreamLockGuard(const StreamLockGuard&) = delete;
    StreamLockGuard& operator=(const StreamLockGuard&) = delete;

private:
    StreamLock& m_lock;
};

}  // namespace Kestrova
