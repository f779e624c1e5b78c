#include "tests/support/PosixFaults.h"

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <new>

namespace {

std::atomic<const char*> g_pszCall{nullptr};
std::atomic<int> g_nError{0};
std::atomic<int> g_nNth{0};
std::atomic<int> g_nCalls{0};
timespec g_lastTime{};

bool Fails(const char* pszCall) {
    const char* pszWanted = g_pszCall;
    return pszWanted != nullptr && std::strcmp(pszCall, pszWanted) == 0 && ++g_nCalls == g_nNth;
}

bool FailsAt(const char* pszCall, const timespec* pTime) {
    const bool bFails = Fails(pszCall);
    if (bFails) g_lastTime = *pTime;
    return bFails;
}

template <class T>
T SetErrno(T failed) {
    errno = g_nError;
    return failed;
}

}  // namespace

namespace Kestrova::Test {

PosixFault::PosixFault(const char* pszCall, int nError, int nNth) {
    g_nError = nError;
    g_nNth = nNth;
    g_nCalls = 0;
    g_pszCall = pszCall;
}

PosixFault::~PosixFault() { g_pszCall = nullptr; }

int PosixFault::Calls() const { return g_nCalls; }

timespec PosixFault::LastTime() const { return g_lastTime; }

}  // namespace Kestrova::Test

// The linker gives the names: calls of f come to __wrap_f, and __real_f is the library's f.
#define KV_WRAP(result, name, parameters, arguments, fails, failure) \
    result __real_##name parameters;                                 \
    result __wrap_##name parameters;                                 \
    result __wrap_##name parameters { return (fails) ? (failure) : __real_##name arguments; }
#define KV_WRAP_PTHREAD(name, parameters, arguments) \
    KV_WRAP(int, name, parameters, arguments, Fails(#name), g_nError.load())

extern "C" {

KV_WRAP_PTHREAD(pthread_mutexattr_init, (pthread_mutexattr_t * p), (p))
KV_WRAP_PTHREAD(pthread_mutexattr_settype, (pthread_mutexattr_t * p, int n), (p, n))
KV_WRAP_PTHREAD(pthread_mutexattr_destroy, (pthread_mutexattr_t * p), (p))
KV_WRAP_PTHREAD(pthread_mutex_init, (pthread_mutex_t * p, const pthread_mutexattr_t* a), (p, a))
KV_WRAP_PTHREAD(pthread_mutex_destroy, (pthread_mutex_t * p), (p))
KV_WRAP_PTHREAD(pthread_mutex_lock, (pthread_mutex_t * p), (p))
KV_WRAP_PTHREAD(pthread_mutex_unlock, (pthread_mutex_t * p), (p))
KV_WRAP_PTHREAD(pthread_cond_init, (pthread_cond_t * p, const pthread_condattr_t* a), (p, a))
KV_WRAP_PTHREAD(pthread_cond_broadcast, (pthread_cond_t * p), (p))
KV_WRAP_PTHREAD(pthread_cond_wait, (pthread_cond_t * p, pthread_mutex_t* m), (p, m))
KV_WRAP(int, pthread_cond_timedwait, (pthread_cond_t * p, pthread_mutex_t* m, const timespec* t), (p, m, t),
        FailsAt("pthread_cond_timedwait", t), g_nError.load())
KV_WRAP_PTHREAD(pthread_create, (pthread_t * p, const pthread_attr_t* a, void* (*f)(void*), void* v),
                (p, a, f, v))
KV_WRAP_PTHREAD(pthread_join, (pthread_t t, void** p), (t, p))
KV_WRAP_PTHREAD(pthread_getschedparam, (pthread_t t, int* n, sched_param* p), (t, n, p))

KV_WRAP(int, nanosleep, (const timespec* t, timespec* r), (t, r), FailsAt("nanosleep", t),
        SetErrno(g_nError == 0 ? 0 : -1))
KV_WRAP(dirent*, readdir, (DIR * p), (p), Fails("readdir"), SetErrno<dirent*>(nullptr))
KV_WRAP(int, stat, (const char* p, struct stat* s), (p, s), Fails("stat"),
        g_nError < 0 ? -g_nError : SetErrno(-1))

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's
int __real_open(const char* p, int nFlags, ...);
int __wrap_open(const char* p, int nFlags, ...);
// NOLINTEND(bugprone-reserved-identifier)
int __wrap_open(const char* p, int nFlags, ...) {
    va_list args;
    va_start(args, nFlags);
    const mode_t nMode = (nFlags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
    va_end(args);
    return Fails("open") ? SetErrno(-1) : __real_open(p, nFlags, nMode);
}
KV_WRAP(int, mkostemp, (char* p, int n), (p, n), Fails("mkostemp"), SetErrno(-1))
KV_WRAP(ssize_t, read, (int f, void* p, size_t n), (f, p, n), Fails("read"), SetErrno<ssize_t>(-1))
KV_WRAP(ssize_t, write, (int f, const void* p, size_t n), (f, p, n), Fails("write"),
        g_nError < 0 ? __real_write(f, p, static_cast<size_t>(-g_nError)) : SetErrno<ssize_t>(-1))
KV_WRAP(int, fstat, (int f, struct stat* s), (f, s), Fails("fstat"), SetErrno(-1))
KV_WRAP(int, fchown, (int f, uid_t u, gid_t g), (f, u, g), Fails("fchown"), SetErrno(-1))
KV_WRAP(int, fchmod, (int f, mode_t n), (f, n), Fails("fchmod"), SetErrno(-1))
KV_WRAP(int, ftruncate, (int f, off_t n), (f, n), Fails("ftruncate"), SetErrno(-1))
KV_WRAP(int, fsync, (int f), (f), Fails("fsync"), SetErrno(-1))
KV_WRAP(int, flock, (int f, int n), (f, n), Fails("flock"), SetErrno(-1))
KV_WRAP(int, rename, (const char* p, const char* q), (p, q), Fails("rename"), SetErrno(-1))
KV_WRAP(int, link, (const char* p, const char* q), (p, q), Fails("link"), SetErrno(-1))
KV_WRAP(int, mkdir, (const char* p, mode_t n), (p, n), Fails("mkdir"), SetErrno(-1))
KV_WRAP(ssize_t, readlink, (const char* p, char* q, size_t n), (p, q, n), Fails("readlink"),
        SetErrno<ssize_t>(-1))
KV_WRAP(int, getpwuid_r, (uid_t u, struct passwd* p, char* q, size_t n, struct passwd** r), (u, p, q, n, r),
        Fails("getpwuid_r"), g_nError.load())

KV_WRAP(void*, malloc, (size_t n), (n), Fails("malloc"), SetErrno<void*>(nullptr))
KV_WRAP(void*, calloc, (size_t n, size_t size), (n, size), Fails("calloc"), SetErrno<void*>(nullptr))
KV_WRAP(void*, realloc, (void* p, size_t n), (p, n), Fails("realloc"), SetErrno<void*>(nullptr))
KV_WRAP(char*, strdup, (const char* p), (p), Fails("strdup"), SetErrno<char*>(nullptr))
KV_WRAP(void*, _Znwm, (size_t n), (n), Fails("_Znwm"), throw std::bad_alloc())
KV_WRAP(void*, _ZnwmRKSt9nothrow_t, (size_t n, const std::nothrow_t& t), (n, t), Fails("_ZnwmRKSt9nothrow_t"),
        SetErrno<void*>(nullptr))
KV_WRAP(void*, _ZnamRKSt9nothrow_t, (size_t n, const std::nothrow_t& t), (n, t), Fails("_ZnamRKSt9nothrow_t"),
        SetErrno<void*>(nullptr))

}  // extern "C"
