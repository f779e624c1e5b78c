#include "SamplerDBDS/BaseClasses/XLock.h"

#include <cstdio>

#include "shared/System/kvAssert.h"

namespace Kestrova {

namespace {

constexpr char kSourceUnit[] = "SamplerDBDS/BaseClasses/OSSpec";

// Ends the program when a POSIX call failed; the report names the function that made the call.
void Require(const char* pszCall, int nError, const char* pszFunction = __builtin_FUNCTION(),
             int nLine = __builtin_LINE()) {
    if (nError == 0) return;
    pthread_error(pszCall, nError);
    AssertFailed("!err", pszFunction, kSourceUnit, nLine);
}

// Mutex attributes of one type for a scope.
class MutexAttributes {
public:
    MutexAttributes(int nType, const char* pszFunction = __builtin_FUNCTION(), int nLine = __builtin_LINE())
        : m_pszFunction(pszFunction), m_nLine(nLine) {
        Require("pthread_mutexattr_init", pthread_mutexattr_init(&m_attributes), pszFunction, nLine);
        Require("pthread_mutexattr_settype", pthread_mutexattr_settype(&m_attributes, nType), pszFunction,
                nLine);
    }
    ~MutexAttributes() {
        Require("pthread_mutexattr_destroy", pthread_mutexattr_destroy(&m_attributes), m_pszFunction,
                m_nLine);
    }
    MutexAttributes(const MutexAttributes&) = delete;
    MutexAttributes& operator=(const MutexAttributes&) = delete;

    const pthread_mutexattr_t* Get() const { return &m_attributes; }

private:
    pthread_mutexattr_t m_attributes;
    const char* m_pszFunction;
    int m_nLine;
};

}  // namespace

void pthread_error(const char* pszCall, int nError) {
    std::fprintf(stderr, "%s: error %d\n", pszCall, nError);
}

int CXLock::Create() {
    Destroy();
    const MutexAttributes attributes(PTHREAD_MUTEX_RECURSIVE);
    Require("pthread_mutex_init", pthread_mutex_init(&m_mutex, attributes.Get()));
    m_bInited = 1;
    return m_bInited;
}

void CXLock::Destroy() {
    if (!m_bInited) return;
    Require("pthread_mutex_lock", pthread_mutex_lock(&m_mutex));
    m_bInited = 0;
    Require("pthread_mutex_unlock", pthread_mutex_unlock(&m_mutex));
    Require("pthread_mutex_destroy", pthread_mutex_destroy(&m_mutex));
}

void CXLock::Lock() {
    KV_ASSERT(m_bInited);
    Require("pthread_mutex_lock", pthread_mutex_lock(&m_mutex));
}

void CXLock::Unlock() {
    KV_ASSERT(m_bInited);
    Require("pthread_mutex_unlock", pthread_mutex_unlock(&m_mutex));
}

// Not analysed: no other thread uses the event yet.
int CXEvent::Create() KV_NO_THREAD_SAFETY_ANALYSIS {
    Destroy();
    m_bSignaled = 0;
    const MutexAttributes attributes(PTHREAD_MUTEX_ERRORCHECK);
    if (const int nError = pthread_mutex_init(&m_gate.mutex, attributes.Get())) {
        pthread_error("pthread_mutex_init", nError);
        return 0;
    }
    if (const int nError = pthread_cond_init(&m_condition, nullptr)) {
        pthread_error("pthread_cond_init", nError);
        pthread_mutex_destroy(&m_gate.mutex);
        return 0;
    }
    m_bInited = 1;
    return 1;
}

void CXEvent::Destroy() {
    if (!m_bInited) return;
    m_bInited = 0;
    // Nothing is left to release: the mutex is held inside Set and the waits only.
    pthread_cond_destroy(&m_condition);
    pthread_mutex_destroy(&m_gate.mutex);
}

void CXEvent::Set() {
    if (!m_bInited || m_gate.Lock() != 0) return;
    if (pthread_cond_broadcast(&m_condition) == 0) m_bSignaled = 1;
    m_gate.Unlock();
}

void CXEvent::Wait() {
    if (!m_bInited) return;
    Require("pthread_mutex_lock", m_gate.Lock());
    m_gate.IsHeld();
    while (!m_bSignaled) Require("pthread_cond_wait", pthread_cond_wait(&m_condition, &m_gate.mutex));
    m_bSignaled = 0;
    Require("pthread_mutex_unlock", m_gate.Unlock());
}

int CXEvent::WaitFor(int nMs) {
    if (!m_bInited || m_gate.Lock() != 0) return 0;
    const timespec deadline = EventDeadline(std::time(nullptr), nMs);
    int nError = 0;
    while (!m_bSignaled && nError == 0)
        nError = pthread_cond_timedwait(&m_condition, &m_gate.mutex, &deadline);
    if (nError == 0) m_bSignaled = 0;
    m_gate.Unlock();
    return nError == 0;
}

timespec EventDeadline(time_t tNow, int nMs) {
    // Deliberate (Q17): milliseconds go unscaled into the nanosecond field, so waits end on whole seconds.
    return {tNow + nMs / 1000, nMs % 1000};
}

}  // namespace Kestrova
