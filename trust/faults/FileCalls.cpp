// The calls of the C library that can fail, each in front of the library's own. Their names are given to the
// assembler, because the headers declare them otherwise.
#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "trust/faults/Strike.h"

using namespace Kestrova::Trust;

namespace {

Place At(const char* pszPath) { return {.pszPath = pszPath}; }
Place At(int nFolder, const char* pszPath) { return {.pszPath = pszPath, .nFile = nFolder}; }
Place OfFile(int nFile) { return {.nFile = nFile}; }

bool Fails(Group group, const char* pszCall, Place place) {
    return AskFate(group, pszCall, place) == Fate::Fails;
}

size_t Half(size_t nBytes) { return nBytes > 1 ? nBytes / 2 : nBytes; }

Group WriteGroup(int nFile) {
    return nFile == STDOUT_FILENO || nFile == STDERR_FILENO ? Group::Output : Group::Write;
}

// next(n) moves n bytes.
template <class TNext>
ssize_t Transfer(Group group, const char* pszCall, int nFile, size_t nBytes, TNext next) {
    switch (AskFate(group, pszCall, OfFile(nFile))) {
        case Fate::Fails: return -1;
        case Fate::Short: return next(Half(nBytes));
        case Fate::TornKilled: next(Half(nBytes)); KillProcess();
        case Fate::Passes: break;
    }
    return next(nBytes);
}

bool TakesMode(int nFlags) { return (nFlags & (O_CREAT | __O_TMPFILE)) != 0; }

}  // namespace

// NOLINTBEGIN(bugprone-macro-parentheses): the arguments are types and lists of parameters
#define KV_NEXT(result, name, parameters) \
    static auto* const next = reinterpret_cast<result(*) parameters>(NextFunction(#name))

// A call that fails with the value `failed`, or passes.
#define KV_CALL(group, place, failed, result, name, parameters, arguments)    \
    extern "C" result KvTrust_##name parameters __asm__(#name);               \
    result KvTrust_##name parameters {                                        \
        KV_NEXT(result, name, parameters);                                    \
        return Fails(Group::group, #name, place) ? (failed) : next arguments; \
    }

// A call that moves n bytes of the file f.
#define KV_TRANSFER(group, name, parameters, arguments)                                                \
    extern "C" ssize_t KvTrust_##name parameters __asm__(#name);                                       \
    ssize_t KvTrust_##name parameters {                                                                \
        KV_NEXT(ssize_t, name, parameters);                                                            \
        return Transfer(group, #name, f, nBytes, [&](size_t n) -> ssize_t { return next arguments; }); \
    }

// A call like open, whose mode is there only with some flags.
#define KV_OPEN(name, parameters, arguments, place)                        \
    extern "C" int KvTrust_##name parameters __asm__(#name);               \
    int KvTrust_##name parameters {                                        \
        va_list args;                                                      \
        va_start(args, nFlags);                                            \
        const mode_t nMode = TakesMode(nFlags) ? va_arg(args, mode_t) : 0; \
        va_end(args);                                                      \
        KV_NEXT(int, name, parameters);                                    \
        return Fails(Group::Open, #name, place) ? -1 : next arguments;     \
    }

// NOLINTEND(bugprone-macro-parentheses)
KV_OPEN(open, (const char* p, int nFlags, ...), (p, nFlags, nMode), At(p))
KV_OPEN(open64, (const char* p, int nFlags, ...), (p, nFlags, nMode), At(p))
KV_OPEN(openat, (int f, const char* p, int nFlags, ...), (f, p, nFlags, nMode), At(f, p))
KV_OPEN(openat64, (int f, const char* p, int nFlags, ...), (f, p, nFlags, nMode), At(f, p))
KV_CALL(Open, At(p), -1, int, __open_2, (const char* p, int n), (p, n))
KV_CALL(Open, At(p), -1, int, __open64_2, (const char* p, int n), (p, n))
KV_CALL(Open, At(p), nullptr, FILE*, fopen, (const char* p, const char* m), (p, m))
KV_CALL(Open, At(p), nullptr, FILE*, fopen64, (const char* p, const char* m), (p, m))

KV_TRANSFER(Group::Read, read, (int f, void* p, size_t nBytes), (f, p, n))
KV_TRANSFER(Group::Read, pread, (int f, void* p, size_t nBytes, off_t pos), (f, p, n, pos))
KV_TRANSFER(Group::Read, pread64, (int f, void* p, size_t nBytes, off_t pos), (f, p, n, pos))
KV_TRANSFER(WriteGroup(f), write, (int f, const void* p, size_t nBytes), (f, p, n))
KV_TRANSFER(Group::Write, pwrite, (int f, const void* p, size_t nBytes, off_t pos), (f, p, n, pos))
KV_TRANSFER(Group::Write, pwrite64, (int f, const void* p, size_t nBytes, off_t pos), (f, p, n, pos))
KV_CALL(Read, OfFile(f), -1, ssize_t, readv, (int f, const iovec* p, int n), (f, p, n))
KV_CALL(Read, OfFile(f), -1, off_t, lseek, (int f, off_t pos, int n), (f, pos, n))
KV_CALL(Read, OfFile(f), -1, off_t, lseek64, (int f, off_t pos, int n), (f, pos, n))

// Of these a half has no meaning: only the first piece is moved.
extern "C" ssize_t KvTrust_writev(int f, const iovec* p, int n) __asm__("writev");
ssize_t KvTrust_writev(int f, const iovec* p, int n) {
    KV_NEXT(ssize_t, writev, (int, const iovec*, int));
    return Transfer(WriteGroup(f), "writev", f, static_cast<size_t>(n),
                    [&](size_t nPieces) { return next(f, p, static_cast<int>(nPieces)); });
}

KV_CALL(Sync, OfFile(f), -1, int, fsync, (int f), (f))
KV_CALL(Sync, OfFile(f), -1, int, fdatasync, (int f), (f))
KV_CALL(Rename, At(p), -1, int, rename, (const char* p, const char* q), (p, q))
KV_CALL(Rename, At(f, p), -1, int, renameat, (int f, const char* p, int g, const char* q), (f, p, g, q))
KV_CALL(Rename, At(f, p), -1, int, renameat2, (int f, const char* p, int g, const char* q, unsigned n),
        (f, p, g, q, n))
KV_CALL(Rename, At(p), -1, int, link, (const char* p, const char* q), (p, q))
KV_CALL(Rename, At(g, q), -1, int, linkat, (int f, const char* p, int g, const char* q, int n),
        (f, p, g, q, n))
KV_CALL(Rename, At(q), -1, int, symlink, (const char* p, const char* q), (p, q))
KV_CALL(Truncate, OfFile(f), -1, int, ftruncate, (int f, off_t n), (f, n))
KV_CALL(Truncate, OfFile(f), -1, int, ftruncate64, (int f, off_t n), (f, n))
KV_CALL(Truncate, At(p), -1, int, truncate, (const char* p, off_t n), (p, n))
KV_CALL(Lock, OfFile(f), -1, int, flock, (int f, int n), (f, n))
KV_CALL(Stat, At(p), -1, int, stat, (const char* p, struct stat* s), (p, s))
KV_CALL(Stat, At(p), -1, int, lstat, (const char* p, struct stat* s), (p, s))
KV_CALL(Stat, OfFile(f), -1, int, fstat, (int f, struct stat* s), (f, s))
KV_CALL(Stat, At(f, p), -1, int, fstatat, (int f, const char* p, struct stat* s, int n), (f, p, s, n))
KV_CALL(Stat, At(p), -1, int, stat64, (const char* p, void* s), (p, s))
KV_CALL(Stat, At(p), -1, int, lstat64, (const char* p, void* s), (p, s))
KV_CALL(Stat, OfFile(f), -1, int, fstat64, (int f, void* s), (f, s))
KV_CALL(Stat, At(f, p), -1, int, fstatat64, (int f, const char* p, void* s, int n), (f, p, s, n))
KV_CALL(Stat, At(f, p), -1, int, statx, (int f, const char* p, int n, unsigned m, void* s), (f, p, n, m, s))
KV_CALL(Unlink, At(p), -1, int, unlink, (const char* p), (p))
KV_CALL(Unlink, At(f, p), -1, int, unlinkat, (int f, const char* p, int n), (f, p, n))
KV_CALL(Unlink, At(p), -1, int, remove, (const char* p), (p))
KV_CALL(Folder, At(p), -1, int, rmdir, (const char* p), (p))
KV_CALL(Folder, At(p), -1, int, mkdir, (const char* p, mode_t n), (p, n))
KV_CALL(Folder, At(p), nullptr, char*, mkdtemp, (char* p), (p))
KV_CALL(Folder, At(p), nullptr, DIR*, opendir, (const char* p), (p))
KV_CALL(Folder, OfFile(f), nullptr, DIR*, fdopendir, (int f), (f))
KV_CALL(Folder, OfFile(dirfd(p)), nullptr, void*, readdir, (DIR * p), (p))
KV_CALL(Folder, OfFile(dirfd(p)), nullptr, void*, readdir64, (DIR * p), (p))
KV_CALL(Access, At(p), -1, int, access, (const char* p, int n), (p, n))
KV_CALL(Access, At(f, p), -1, int, faccessat, (int f, const char* p, int n, int m), (f, p, n, m))
KV_CALL(Access, OfFile(f), -1, int, fchmod, (int f, mode_t n), (f, n))
KV_CALL(Access, At(p), -1, int, chmod, (const char* p, mode_t n), (p, n))
KV_CALL(Access, At(f, p), -1, int, fchmodat, (int f, const char* p, mode_t n, int m), (f, p, n, m))
KV_CALL(Access, OfFile(f), -1, int, fchown, (int f, uid_t u, gid_t g), (f, u, g))
KV_CALL(Access, At(p), -1, ssize_t, readlink, (const char* p, char* q, size_t n), (p, q, n))
KV_CALL(Access, At(p), nullptr, char*, realpath, (const char* p, char* q), (p, q))
KV_CALL(Access, At(p), nullptr, char*, __realpath_chk, (const char* p, char* q, size_t n), (p, q, n))
KV_CALL(Access, At("."), nullptr, char*, getcwd, (char* p, size_t n), (p, n))
// Standard output is written inside the C library, where nothing can stand in front of its write.
KV_CALL(Output, OfFile(p != nullptr ? fileno(p) : -1), EOF, int, fflush, (FILE * p), (p))
KV_CALL(Output, OfFile(fileno(s)), 0, size_t, fwrite, (const void* p, size_t size, size_t n, FILE* s),
        (p, size, n, s))
KV_CALL(Space, At(p), -1, int, statvfs, (const char* p, struct statvfs* s), (p, s))
KV_CALL(Space, At(p), -1, int, statvfs64, (const char* p, void* s), (p, s))
KV_CALL(Thread, At("/"), errno, int, pthread_create,
        (pthread_t * t, const pthread_attr_t* a, void* (*f)(void*), void* p), (t, a, f, p))

// Memory without a file behind it is the business of the other library.
extern "C" void* KvTrust_mmap(void* p, size_t n, int nProtection, int nFlags, int f,
                              off_t pos) __asm__("mmap");
void* KvTrust_mmap(void* p, size_t n, int nProtection, int nFlags, int f, off_t pos) {
    KV_NEXT(void*, mmap, (void*, size_t, int, int, int, off_t));
    const bool bFails = f >= 0 && Fails(Group::Map, "mmap", OfFile(f));
    return bFails ? MAP_FAILED : next(p, n, nProtection, nFlags, f, pos);
}

// A file is closed all the same when its last bytes could not be written, as on a network's file system.
extern "C" int KvTrust_close(int f) __asm__("close");
int KvTrust_close(int f) {
    KV_NEXT(int, close, (int));
    if (AskFate(Group::Close, "close", OfFile(f)) != Fate::Fails) return next(f);
    const int nError = errno;
    next(f);
    errno = nError;
    return -1;
}
