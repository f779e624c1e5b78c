// FileEnv.h - the seam between our file objects and the system's files.
// CXFile, and through it the whole database, reaches its files by nothing else: a test that replaces the
// environment can refuse, count or cut every operation.
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

// Any number of open files share a lock; an exclusive one suffers no other beside it.
enum class FileLock { kShared, kExclusive };

// The operations on files. A file is named by the handle that Open gave, 0 or more, until Close.
// Threads: any; the operations on one file are serialised by its CXFile.
// Errors:  a failed operation returns false or -1 with the reason in errno.
class IFileEnv {
public:
    virtual ~IFileEnv() = default;

    // The handle, or -1. A handle is not inherited by programs that this one starts.
    virtual int Open(const char* pszPath, FileMode mode) = 0;

    // The handle is gone in any case; false says that the system could not keep what was written.
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

    // The advisory lock (flock) of the file, without waiting; false with EWOULDBLOCK when another open file,
    // of any process, holds one that does not go with it. It goes when the file is closed.
    virtual bool TryLock(int nFile, FileLock lock) = 0;

    // Whether a stream may stand at `pos`, be it beyond the end; asked wherever a position is set or told.
    virtual bool CheckPosition(int nFile, uint64_t pos) = 0;
};

// The environment in force: the one set last, else that of the system. Never null.
IFileEnv* GetFileEnv();

// Replaces the process-wide environment, for tests; null restores the system's. Returns the one in force
// before. Files stay with the environment they were opened in, so it must outlive them. Any thread.
IFileEnv* SetFileEnv(IFileEnv* pEnv);

// The environment of the system itself, for those that stand in front of it.
IFileEnv* GetSystemFileEnv();

}  // namespace Kestrova
