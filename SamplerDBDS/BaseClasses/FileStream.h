// FileStream.h - the buffered stream behind CXFile: a position, and one window of the file in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "SamplerDBDS/BaseClasses/FileEnv.h"

namespace Kestrova {

// An open file seen through a window of up to 64 KiB, for reading and for writing. Written bytes wait in the
// window until it must move. Bytes that cannot be written go on waiting there, so a full disk loses nothing
// that was accepted before.
//
// Threads: one at a time; CXFile holds its lock around every call.
// Owner:   owns the file's handle.
// Errors:  false, with the reason in errno and, for the first failure, in nFirstError. Each operation keeps
//          the contract of the one with the same name in CXFile.
class FileStream {
public:
    static constexpr size_t kWindowBytes = 65536;

    // Null when the environment cannot open the path, or there is no memory.
    // nFirstError: receives the errno of the first operation that fails, this one and the destructor
    // included, while it is 0; it must live as long as the stream.
    static std::unique_ptr<FileStream> Open(const char* pszPath, FileMode mode, int& nFirstError);
    ~FileStream();  // writes what waits, as far as possible, and closes the handle
    FileStream(const FileStream&) = delete;
    FileStream& operator=(const FileStream&) = delete;

    bool Read(void* pData, size_t n) {
        const uint64_t nOffset = m_pos - m_posWindow;  // huge when the position is before the window
        if (nOffset > m_nFilled || n > m_nFilled - nOffset)
            return ReadPastWindow(static_cast<char*>(pData), n);
        std::memcpy(pData, m_pWindow.get() + nOffset, n);
        m_pos += n;
        return true;
    }

    bool Write(const void* pData, size_t n) {
        const uint64_t nOffset = m_pos - m_posWindow;
        if (!TakesWrite(nOffset, n)) return WritePastWindow(static_cast<const char*>(pData), n);
        PutInWindow(nOffset, pData, n);
        return true;
    }

    bool SeekToPos(uint64_t pos);
    bool SeekToEnd(unsigned long long& pos);
    bool GetCurrentPos(unsigned long long& pos);
    bool SetEOF();
    bool Flush();
    bool Sync();
    bool GetFacts(FileFacts& facts);
    LockAnswer TryLockFile(FileLock lock);

    // Where the stream stands; the environment is not asked whether it may stand there.
    uint64_t Position() const { return m_pos; }
    void RestorePosition(uint64_t pos);

    // errno of the last read, write or sync that failed, else 0: the error indicator of a standard stream.
    int LastError() const { return m_nError; }

private:
    FileStream(IFileEnv* pEnv, std::unique_ptr<char[]> pWindow, bool bWritable, int& nFirstError);

    bool HasWaiting() const { return m_nWaitBegin != m_nWaitEnd; }
    uint64_t WaitingEnd() const { return m_posWindow + m_nWaitEnd; }

    // The waiting bytes are one piece: a new write must touch them, and must start inside the window or right
    // behind it.
    bool TakesWrite(uint64_t nOffset, size_t n) const {
        return m_bWritable && nOffset <= m_nFilled && n <= kWindowBytes - nOffset &&
               (!HasWaiting() || (nOffset <= m_nWaitEnd && nOffset + n >= m_nWaitBegin));
    }

    void PutInWindow(uint64_t nOffset, const void* pData, size_t n) {
        std::memcpy(m_pWindow.get() + nOffset, pData, n);
        const uint64_t nEnd = nOffset + n;
        const bool bFirst = !HasWaiting();
        if (bFirst || nOffset < m_nWaitBegin) m_nWaitBegin = nOffset;
        if (bFirst || nEnd > m_nWaitEnd) m_nWaitEnd = nEnd;
        if (nEnd > m_nFilled) m_nFilled = nEnd;
        m_pos += n;
    }

    bool ReadPastWindow(char* pData, size_t n);
    size_t TakeFromWindow(char* pData, size_t n);
    size_t ReadDirectly(char* pData, size_t n);
    bool LoadWindow();
    bool WritePastWindow(const char* pData, size_t n);
    bool WriteDirectly(const char* pData, size_t n);
    uint64_t WriteOut(uint64_t pos, const char* pData, size_t n);
    void MoveWindow(uint64_t pos);
    void CutWindow(uint64_t pos);
    bool Truncate(uint64_t nSize);
    bool CutBelowWaiting();
    bool Fail();
    bool FailMoving();

    IFileEnv* const m_pEnv;  // the one that opened the file
    const std::unique_ptr<char[]> m_pWindow;
    const bool m_bWritable;
    int m_nFile = -1;
    uint64_t m_pos = 0;
    uint64_t m_posWindow = 0;   // place of the window's first byte in the file
    uint64_t m_nFilled = 0;     // bytes of the window that hold the file's content
    uint64_t m_nWaitBegin = 0;  // bytes of the window that are not yet written; none when equal
    uint64_t m_nWaitEnd = 0;
    size_t m_nReadAhead;    // bytes that the next load of the window asks for
    bool m_bAtEnd = false;  // the position was reached by SeekToEnd or SetEOF, and by writing from there
    int m_nError = 0;
    int& m_nFirstError;  // in the CXFile
};

}  // namespace Kestrova
