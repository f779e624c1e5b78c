// FileEnv.h - the interface between our file objects and the system's files.
// CXFile, and with it the whole database, uses files only through this interface. A test that replaces the
// environment can therefore refuse, count or shorten every operation.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Kestrova {

// How a file is opened; the texts are those of the standard stream modes.
enum class FileMode {
    kRead,       // "r": must exist
    kReadWrite,  // "r+": must exist
    kCreate      // "w+": made, or emptied when it exists; read and write
};

// What the system knows about an open file. Two files are the same when device and inode are.
struct FileFacts {
    uint64_t nSize = 0;  // bytes
    uint64_t nDevice = 0;
    uint64_t nInode = 0;

    bool IsSameFile(const FileFacts& other) const {
        return nDevice == other.nDevice && nInode == other.nInode;
    }
};

// Any number of open files can hold the shared lock of one file at the same time. The exclusive lock is held
// by one open file alone.
enum class FileLock { kShared, kExclusive };

// The answer to a request for a lock.
enum class LockAnswer {
    kHeld,          // the file has the lock now
    kBusy,          // another open file, of any process, holds one that excludes it; EWOULDBLOCK
    kNotSupported,  // the file system has no such locks (ENOLCK, EOPNOTSUPP, ENOSYS)
    kFailed         // any other failure, with the reason in errno
};

// The operations on files. A file is named by the handle that Open gave, 0 or more, until Close.
// Threads: any; the operations on one file are serialised by its CXFile.
// Errors:  a failed operation returns false or -1 with the reason in errno.
class IFileEnv {
public:
    virtual ~IFileEnv() = default;

    // The handle, or -1. A handle is not inherited by programs that this one starts.
    virtual int Open(const char* pszPath, FileMode mode) = 0;

    // The handle is closed in any case; false says that the system could not keep what was written.
    virtual bool Close(int nFile) = 0;

    // Move bytes at an absolute position. The result is the number of bytes moved, which may be less than
    // asked for (0 from ReadAt is the end of the file), or -1.
    virtual int64_t ReadAt(int nFile, uint64_t pos, void* pData, size_t nBytes) = 0;
    virtual int64_t WriteAt(int nFile, uint64_t pos, const void* pData, size_t nBytes) = 0;

    // Makes the file `nSize` bytes long.
    virtual bool Truncate(int nFile, uint64_t nSize) = 0;

    // Returns when what was written has reached the disk (fdatasync).
    virtual bool Sync(int nFile) = 0;

    virtual bool GetFacts(int nFile, FileFacts& facts) = 0;

    // Asks for the advisory lock (flock) of the file, without waiting. The lock ends when the file is closed.
    virtual LockAnswer TryLock(int nFile, FileLock lock) = 0;

    // Whether a stream may stand at `pos`, which may lie beyond the end of the file. Every operation that
    // sets or tells a position asks this first.
    virtual bool CheckPosition(int nFile, uint64_t pos) = 0;
};

// The environment in force: the one set last, else that of the system. Never null.
IFileEnv* GetFileEnv();

// Replaces the process-wide environment, for tests; null restores the system's. Returns the one in force
// before. Files stay with the environment they were opened in, so it must outlive them. Any thread.
IFileEnv* SetFileEnv(IFileEnv* pEnv);

// The environment of the system itself, for an environment that passes calls on to it.
IFileEnv* GetSystemFileEnv();

// The answer to a request for a lock that the system refused with this errno.
LockAnswer LockAnswerOf(int nError);

// The lock of an open descriptor of any kind, also of a folder, as IFileEnv::TryLock asks for it.
LockAnswer TryLockDescriptor(int nDescriptor, FileLock lock);

}  // namespace Kestrova
