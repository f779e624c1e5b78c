#include "shared/Tasks/kvCriticalSection.h"

#include "shared/System/kvAssert.h"

namespace Kestrova {

namespace {

constexpr char kSourceUnit[] = "shared/Tasks/kvCriticalSection";

// 0, or the error of the first call that failed.
int MakeRecursiveMutex(pthread_mutex_t& mutex) {
    pthread_mutexattr_t attributes;
    if (const int err = pthread_mutexattr_init(&attributes)) return err;
    int err = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    if (!err) err = pthread_mutex_init(&mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return err;
}

}  // namespace

CriticalSection::CriticalSection() {
    const int err = MakeRecursiveMutex(m_mutex);
    KV_ASSERT(!err);
    m_pMutex = &m_mutex;
}

CriticalSection::~CriticalSection() {
    pthread_mutex_lock(&m_mutex);
    m_pMutex = nullptr;  // deliberate (Q22): a critical section whose life is over still answers
    // Deliberately (Q21) not released first: a thread that comes too late must not enter. The C library then
    // leaves the mutex as it is; this loses nothing, because the mutex holds nothing that must be freed.
#ifdef __SANITIZE_THREAD__
    pthread_mutex_unlock(&m_mutex);  // ThreadSanitizer would count it among the thread's locks for ever
#endif
    pthread_mutex_destroy(&m_mutex);
}

void CriticalSection::Enter() {
    pthread_mutex_t* _mutex = m_pMutex;
    KV_ASSERT(_mutex != 0);
    const int err = pthread_mutex_lock(_mutex);
    KV_ASSERT(!err);
}

void CriticalSection::Leave() {
    pthread_mutex_t* _mutex = m_pMutex;
    KV_ASSERT(_mutex != 0);
    const int err = pthread_mutex_unlock(_mutex);
    KV_ASSERT(!err);
}

bool CriticalSection::TryEnter() {
    pthread_mutex_t* _mutex = m_pMutex;
    KV_ASSERT(_mutex != 0);
    return pthread_mutex_trylock(_mutex) == 0;
}

}  // namespace Kestrova
