#include "SamplerDBDS/BaseClasses/FileEnv.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <iterator>
#include <limits>
#include <new>

namespace Kestrova {

namespace {

static_assert(sizeof(off_t) == 8, "positions in files are 64-bit");

// Repeats a system call for as long as signals interrupt it.
template <class TCall>
auto Uninterrupted(TCall call) {
    for (;;) {
        const auto result = call();
        if (result != -1 || errno != EINTR) return result;
    }
}

int OpenFlags(FileMode mode) {
    static constexpr int kFlags[] = {O_RDONLY, O_RDWR, O_RDWR | O_CREAT | O_TRUNC};
    static_assert(std::size(kFlags) == static_cast<size_t>(FileMode::kCreate) + 1, "one row for each mode");
    // Without O_NONBLOCK a pipe that lies where a file is expected would make the program wait for ever.
    return kFlags[static_cast<int>(mode)] | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
}

// Only regular files have positions.
bool IsRegular(int nFile) {
    struct stat status;
    if (fstat(nFile, &status) != 0) return false;
    if (S_ISREG(status.st_mode)) return true;
    errno = S_ISDIR(status.st_mode) ? EISDIR : ESPIPE;
    return false;
}

class CSystemFileEnv : public IFileEnv {
public:
    int Open(const char* pszPath, FileMode mode) override {
        static constexpr mode_t kPermissions = 0666;  // less the process's mask
        const int nFile = Uninterrupted([&] { return open(pszPath, OpenFlags(mode), kPermissions); });
        if (nFile < 0 || IsRegular(nFile)) return nFile;
        const int nReason = errno;
        close(nFile);
        errno = nReason;
        return -1;
    }

    // Not repeated: the handle is gone even when a signal came.
    bool Close(int nFile) override { return close(nFile) == 0; }

    int64_t ReadAt(int nFile, uint64_t pos, void* pData, size_t nBytes) override {
        return Uninterrupted([&] { return pread(nFile, pData, nBytes, static_cast<off_t>(pos)); });
    }

    int64_t WriteAt(int nFile, uint64_t pos, const void* pData, size_t nBytes) override {
        return Uninterrupted([&] { return pwrite(nFile, pData, nBytes, static_cast<off_t>(pos)); });
    }

    bool Truncate(int nFile, uint64_t nSize) override {
        return Uninterrupted([&] { return ftruncate(nFile, static_cast<off_t>(nSize)); }) == 0;
    }

    bool Sync(int nFile) override {
        return Uninterrupted([&] { return fdatasync(nFile); }) == 0;
    }

    bool GetFacts(int nFile, FileFacts& facts) override {
        struct stat status;
        if (fstat(nFile, &status) != 0) return false;
        facts.nSize = static_cast<uint64_t>(status.st_size);
        facts.nDevice = status.st_dev;
        facts.nInode = status.st_ino;
        return true;
    }

    LockAnswer TryLock(int nFile, FileLock lock) override { return TryLockDescriptor(nFile, lock); }

    bool CheckPosition(int, uint64_t pos) override {
        if (pos <= static_cast<uint64_t>(std::numeric_limits<off_t>::max())) return true;
        errno = EINVAL;
        return false;
    }
};

// Null: the system's environment is in force.
std::atomic<IFileEnv*> g_pReplacement{nullptr};

}  // namespace

LockAnswer LockAnswerOf(int nError) {
    switch (nError) {
        case EWOULDBLOCK: return LockAnswer::kBusy;
        case ENOLCK:
        case EOPNOTSUPP:
        case ENOSYS: return LockAnswer::kNotSupported;
        default: return LockAnswer::kFailed;
    }
}

LockAnswer TryLockDescriptor(int nDescriptor, FileLock lock) {
    const int nKind = lock == FileLock::kShared ? LOCK_SH : LOCK_EX;
    const bool bHeld = Uninterrupted([&] { return flock(nDescriptor, nKind | LOCK_NB); }) == 0;
    return bHeld ? LockAnswer::kHeld : LockAnswerOf(errno);
}

IFileEnv* GetSystemFileEnv() {
    // Takes no memory that could run out, and is never destroyed: static objects may close their files late.
    alignas(CSystemFileEnv) static char arPlace[sizeof(CSystemFileEnv)];
    static CSystemFileEnv* const pEnv = new (arPlace) CSystemFileEnv;
    return pEnv;
}

IFileEnv* GetFileEnv() {
    IFileEnv* const pEnv = g_pReplacement.load();
    return pEnv != nullptr ? pEnv : GetSystemFileEnv();
}

IFileEnv* SetFileEnv(IFileEnv* pEnv) {
    IFileEnv* const pBefore = g_pReplacement.exchange(pEnv);
    return pBefore != nullptr ? pBefore : GetSystemFileEnv();
}

}  // namespace Kestrova
