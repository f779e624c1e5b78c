#include "tests/support/PosixFaults.h"

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// A fault, in a place that outlives it: another thread may be in a call when it ends.
struct Slot {
    std::atomic<const char*> pszCall{nullptr};  // null when the slot is free
    std::atomic<int> nError{0};
    std::atomic<int> nNth{0};
    std::atomic<int> nCalls{0};
};

std::array<Slot, 2> g_slots;
thread_local int g_nError = 0;  // of the call that is being made to fail
timespec g_lastTime{};

bool Fails(const char* pszCall) {
    for (Slot& slot : g_slots) {
        const char* pszWanted = slot.pszCall;
        if (pszWanted == nullptr || std::strcmp(pszCall, pszWanted) != 0) continue;
        const int nCall = ++slot.nCalls;
        if (slot.nNth != Kestrova::Test::PosixFault::kEveryCall && nCall != slot.nNth) continue;
        if (slot.nError == Kestrova::Test::kPosixKill) raise(SIGKILL);
        g_nError = slot.nError;
        return true;
    }
    return false;
}

// Counted under its own name and as any.
bool FailsAllocation(const char* pszCall) {
    const bool bByName = Fails(pszCall);
    return Fails(Kestrova::Test::kAnyAllocation) || bByName;
}

size_t FreeSlot() {
    for (size_t n = 0; n < g_slots.size(); ++n)
        if (g_slots[n].pszCall == nullptr) return n;
    std::abort();
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

// As the library does it: its malloc has set errno before.
[[noreturn]] void* ThrowBadAlloc() {
    errno = g_nError;
    throw std::bad_alloc();
}

}  // namespace

namespace Kestrova::Test {

PosixFault::PosixFault(const char* pszCall, int nError, int nNth) : m_nSlot(FreeSlot()) {
    Slot& slot = g_slots[m_nSlot];
    slot.nError = nError;
    slot.nNth = nNth;
    slot.nCalls = 0;
    slot.pszCall = pszCall;
}

PosixFault::~PosixFault() { g_slots[m_nSlot].pszCall = nullptr; }

int PosixFault::Calls() const { return g_slots[m_nSlot].nCalls; }

timespec PosixFault::LastTime() const { return g_lastTime; }

}  // namespace Kestrova::Test

// The linker gives the names: calls of f come to __wrap_f, and __real_f is the library's f.
#define KV_WRAP(result, name, parameters, arguments, fails, failure) \
    result __real_##name parameters;                                 \
    result __wrap_##name parameters;                                 \
    result __wrap_##name parameters { return (fails) ? (failure) : __real_##name arguments; }
#define KV_WRAP_PTHREAD(name, parameters, arguments) \
    KV_WRAP(int, name, parameters, arguments, Fails(#name), g_nError)

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
        FailsAt("pthread_cond_timedwait", t), g_nError)
KV_WRAP_PTHREAD(pthread_create, (pthread_t * p, const pthread_attr_t* a, void* (*f)(void*), void* v),
                (p, a, f, v))
KV_WRAP_PTHREAD(pthread_join, (pthread_t t, void** p), (t, p))
KV_WRAP_PTHREAD(pthread_getschedparam, (pthread_t t, int* n, sched_param* p), (t, n, p))

KV_WRAP(int, nanosleep, (const timespec* t, timespec* r), (t, r), FailsAt("nanosleep", t),
        SetErrno(g_nError == 0 ? 0 : -1))
KV_WRAP(dirent*, readdir, (DIR * p), (p), Fails("readdir"), SetErrno<dirent*>(nullptr))
KV_WRAP(int, stat, (const char* p, struct stat* s), (p, s), Fails("stat"),
        g_nError < 0 ? -g_nError : SetErrno(-1))
KV_WRAP(int, lstat, (const char* p, struct stat* s), (p, s), Fails("lstat"), SetErrno(-1))

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's
int __real_open(const char* p, int nFlags, ...);
int __wrap_open(const char* p, int nFlags, ...);
// NOLINTEND(bugprone-reserved-identifier)
int __wrap_open(const char* p, int nFlags, ...) {
    va_list args;
    va_start(args, nFlags);
    const mode_t nMode = (nFlags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(args, mode_t) : 0;
    va_end(args);
    return Fails("open") ? SetErrno(-1) : __real_open(p, nFlags, nMode);
}
// The handle is gone all the same, as it is when a network's file system reports here what it could not
// write.
KV_WRAP(int, close, (int f), (f), Fails("close"), (__real_close(f), SetErrno(-1)))
KV_WRAP(ssize_t, read, (int f, void* p, size_t n), (f, p, n), Fails("read"), SetErrno<ssize_t>(-1))
KV_WRAP(ssize_t, write, (int f, const void* p, size_t n), (f, p, n), Fails("write"),
        g_nError < 0 ? __real_write(f, p, static_cast<size_t>(-g_nError)) : SetErrno<ssize_t>(-1))
KV_WRAP(int, fstat, (int f, struct stat* s), (f, s), Fails("fstat"), SetErrno(-1))
KV_WRAP(void*, mmap, (void* p, size_t n, int nProtection, int nFlags, int f, off_t pos),
        (p, n, nProtection, nFlags, f, pos), Fails("mmap"), SetErrno(MAP_FAILED))
KV_WRAP(int, fchown, (int f, uid_t u, gid_t g), (f, u, g), Fails("fchown"), SetErrno(-1))
KV_WRAP(int, fchmod, (int f, mode_t n), (f, n), Fails("fchmod"), SetErrno(-1))
KV_WRAP(int, ftruncate, (int f, off_t n), (f, n), Fails("ftruncate"), SetErrno(-1))
KV_WRAP(int, fsync, (int f), (f), Fails("fsync"), SetErrno(-1))
KV_WRAP(int, rmdir, (const char* p), (p), Fails("rmdir"), SetErrno(-1))
KV_WRAP(int, flock, (int f, int n), (f, n), Fails("flock"), SetErrno(-1))
KV_WRAP(int, rename, (const char* p, const char* q), (p, q), Fails("rename"), SetErrno(-1))
KV_WRAP(int, link, (const char* p, const char* q), (p, q), Fails("link"), SetErrno(-1))
KV_WRAP(int, linkat, (int f, const char* p, int g, const char* q, int n), (f, p, g, q, n), Fails("linkat"),
        SetErrno(-1))
KV_WRAP(int, renameat2, (int f, const char* p, int g, const char* q, unsigned n), (f, p, g, q, n),
        Fails("renameat2"), SetErrno(-1))
KV_WRAP(int, unlink, (const char* p), (p), Fails("unlink"), SetErrno(-1))
KV_WRAP(int, access, (const char* p, int n), (p, n), Fails("access"), SetErrno(-1))
KV_WRAP(int, mkdir, (const char* p, mode_t n), (p, n), Fails("mkdir"), SetErrno(-1))
KV_WRAP(ssize_t, readlink, (const char* p, char* q, size_t n), (p, q, n), Fails("readlink"),
        SetErrno<ssize_t>(-1))
KV_WRAP(char*, realpath, (const char* p, char* q), (p, q), Fails("realpath"), SetErrno<char*>(nullptr))
// The checked form of it, which optimised builds call for a buffer of a known size.
KV_WRAP(char*, __realpath_chk, (const char* p, char* q, size_t n), (p, q, n), Fails("realpath"),
        SetErrno<char*>(nullptr))
KV_WRAP(int, getpwuid_r, (uid_t u, struct passwd* p, char* q, size_t n, struct passwd** r), (u, p, q, n, r),
        Fails("getpwuid_r"), g_nError)

KV_WRAP(void*, malloc, (size_t n), (n), FailsAllocation("malloc"), SetErrno<void*>(nullptr))
KV_WRAP(void*, calloc, (size_t n, size_t size), (n, size), FailsAllocation("calloc"),
        SetErrno<void*>(nullptr))
KV_WRAP(void*, realloc, (void* p, size_t n), (p, n), FailsAllocation("realloc"), SetErrno<void*>(nullptr))
KV_WRAP(char*, strdup, (const char* p), (p), FailsAllocation("strdup"), SetErrno<char*>(nullptr))
KV_WRAP(void*, _Znwm, (size_t n), (n), Fails("_Znwm"), ThrowBadAlloc())
KV_WRAP(void*, _ZnwmRKSt9nothrow_t, (size_t n, const std::nothrow_t& t), (n, t), Fails("_ZnwmRKSt9nothrow_t"),
        SetErrno<void*>(nullptr))
KV_WRAP(void*, _ZnamRKSt9nothrow_t, (size_t n, const std::nothrow_t& t), (n, t), Fails("_ZnamRKSt9nothrow_t"),
        SetErrno<void*>(nullptr))

}  // extern "C"
