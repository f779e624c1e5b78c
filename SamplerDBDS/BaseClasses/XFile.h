// XFile.h - CXFile: one buffered file with 64-bit positions.
#pragma once

#include <cstdint>
#include <memory>

#include "SamplerDBDS/BaseClasses/FileEnv.h"
#include "SamplerDBDS/BaseClasses/StreamLock.h"

namespace Kestrova {

class FileStream;

// One open file, or none. Reads and writes go through one buffer of 64 KiB (FileStream.h).
// Threads: any. Every operation takes the stream's lock, which is recursive for its thread; hold it with Lock
//          for a sequence of operations that no other thread may interrupt.
// Errors:  every operation answers true or false, nothing throws; all fail on a closed file. errno holds
//          the reason, and GetFirstError that of the first failure. A read that ends at the end of the file
//          does not touch errno.
// Buffer:  written bytes wait in memory. A full disk or a failed device therefore shows in the operation that
//          moves them to the file (a Write or Read elsewhere, Flush, Sync); they are kept and tried again by
//          the next one. Close has no result: call Flush or Sync before it, or GetFirstError after it.
// Two CXFile over one file do not see each other's buffers: flush the writer before the reader reads bytes
// that it has not read before.
class CXFile {
public:
    CXFile();
    virtual ~CXFile();  // closes
    CXFile(const CXFile&) = delete;
    CXFile& operator=(const CXFile&) = delete;

    // Close what is open, then open an existing file for reading ("r") or, when `writable` is not 0, for
    // reading and writing ("r+"); never creates. A null path fails.
    bool Open(const char* pszPath, int writable);
    // Close what is open, then make the file, or empty it, for reading and writing ("w+").
    bool Create(const char* pszPath);
    // Writes what waits, as far as possible, and leaves the object closed and its lock free. It waits while
    // another thread has the lock.
    void Close();
    bool IsOpen() const;

    // True when exactly `n` bytes moved; n = 0 moves nothing and succeeds. A short read leaves the position
    // behind the bytes that came; a failed write leaves it where it was.
    bool Read(void* pData, unsigned long n);
    bool Write(const void* pData, unsigned long n);

    // Positions are unsigned 64-bit and may lie beyond the end (a later write leaves zeros between). Those
    // above 2^63 - 1 fail. Moving costs no system call.
    bool SeekToPos(unsigned long long pos);
    // Relative to the current position; a delta is taken as two's complement, so it can also lead back.
    bool Skip(unsigned long long delta);
    bool SeekToEnd(unsigned long long& pos);  // on failure neither the position nor `pos` changes
    bool GetCurrentPos(unsigned long long& pos);

    // Cuts or extends the file at the current position. Waiting bytes in front of it stay waiting, so a file
    // can be cut back on a full disk.
    bool SetEOF();

    // Take and release the stream's lock, like flockfile and funlockfile: it is recursive, with one Unlock
    // for each Lock. Unlock fails on a thread that does not hold it.
    // The analysis does not follow them: the lock stays over any number of calls, each of which takes it once
    // more, and Close may have taken it back.
    bool Lock() KV_NO_THREAD_SAFETY_ANALYSIS;
    bool Unlock() KV_NO_THREAD_SAFETY_ANALYSIS;

    // errno of the last read, write or sync of the file that failed; 0 when there was none since it was
    // opened, or when closed. The end of the file is no error.
    int GetLastError();

    // Reads exactly `n` bytes at `pos` and returns to the position before, also when the read failed; under
    // the stream's lock.
    bool ReadAtPos(unsigned long long pos, void* pData, unsigned long n);

    // A text on file: one length byte, then that many bytes without terminator.
    // Deliberate: the length is stored modulo 256 and that many bytes written, so a text of 300 bytes is
    // stored as its first 44. Null is written as length 0.
    bool WriteString(const char* pszText);
    // *ppszText is null for length 0, else length + 1 bytes from malloc, terminated; the caller frees them.
    // Null on failure; when only the memory failed, the text has been skipped.
    bool ReadString(char** ppszText);
    // Into the caller's 256 bytes: emptied first, terminated on success.
    bool ReadString255(char (*pszText)[256]);

    // Numbers in big-endian order on file; the database does not use them. A value is converted only when it
    // was read whole.
    bool WriteSwap16(uint16_t value);
    bool WriteSwap32(uint32_t value);
    bool WriteSwap64(uint64_t value);
    bool ReadSwap16(void* pValue);
    bool ReadSwap32(void* pValue);
    bool ReadSwap64(void* pValue);

    // `count` elements of `elemSize` bytes, each byte-reversed, in pieces of at most 128 bytes. A null
    // pointer, count 0 or element size 0 writes nothing and succeeds only when count is 0; an element above
    // 128 bytes does not fit a piece and fails with nothing written.
    bool WriteSwapArray(const void* pData, unsigned long count, unsigned long elemSize);
    // Reads them in one read, then reverses each in place; a short read leaves them as they came. A total
    // beyond an unsigned long fails.
    bool ReadSwapArray(void* pData, unsigned long count, unsigned long elemSize);

    // True when the path exists. Deliberate: `create` makes nothing, a missing path gives false.
    static bool CheckCreateDir(const char* pszPath, int create);

    // Moves waiting bytes to the file; Sync also waits until the disk has them (fdatasync).
    bool Flush();
    bool Sync();

    // The file's length in bytes, waiting ones included; the position stays.
    bool GetSize(unsigned long long& nSize);

    // The same length, with device and inode, which tell whether two paths lead to one file.
    bool GetFacts(FileFacts& facts);

    // Asks for the advisory lock of the file (flock), without waiting; kFailed on a closed file. The lock
    // ends with Close.
    LockAnswer TryLockFile(FileLock lock = FileLock::kExclusive);

    // The cause of a failure, for callers that report it when errno has already changed: errno of the first
    // operation that failed since the last Open, Create or ClearFirstError; 0 when none did. A lock that
    // another holds counts as a failure (EWOULDBLOCK); the end of the file and a use of the closed object do
    // not. Close keeps the value, and sets it when its own last write, or the closing, is the first failure.
    int GetFirstError() const;
    void ClearFirstError();
    // Counts a failure in the work on this file that did not come from it, such as ENOMEM for a record that
    // is read from it, or the error of a second stream on it. 0 is no failure.
    void NoteError(int nError);

private:
    bool OpenStream(const char* pszPath, FileMode mode);
    template <class TOperation>
    bool WithStream(TOperation operation);
    template <class TValue>
    bool WriteSwap(TValue value);
    template <class TValue>
    bool ReadSwap(void* pValue);

    mutable StreamLock m_lock;
    int m_nFirstError KV_GUARDED_BY(m_lock) = 0;  // set by the stream, so it is destroyed after it
    std::unique_ptr<FileStream> m_pStream KV_GUARDED_BY(m_lock) KV_PT_GUARDED_BY(m_lock);  // null when closed
};

}  // namespace Kestrova
