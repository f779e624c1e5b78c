#include "SamplerDBDS/BaseClasses/FileStream.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

namespace Kestrova {

namespace {

// The window begins with this size and grows while reading goes forward: after a jump little is read, in a
// long run much.
constexpr size_t kLeastReadAhead = 4096;

}  // namespace

std::unique_ptr<FileStream> FileStream::Open(const char* pszPath, FileMode mode, int& nFirstError) {
    // Memory first: a file that could not be used is not made or emptied either.
    std::unique_ptr<char[]> pWindow(new (std::nothrow) char[kWindowBytes]);
    std::unique_ptr<FileStream> pStream;
    if (pWindow)
        pStream.reset(new (std::nothrow)
                          FileStream(GetFileEnv(), std::move(pWindow), mode != FileMode::kRead, nFirstError));
    if (!pStream) {
        nFirstError = errno = ENOMEM;
        return nullptr;
    }
    pStream->m_nFile = pStream->m_pEnv->Open(pszPath, mode);
    if (pStream->m_nFile >= 0) return pStream;
    pStream->Fail();
    return nullptr;
}

FileStream::FileStream(IFileEnv* pEnv, std::unique_ptr<char[]> pWindow, bool bWritable, int& nFirstError)
    : m_pEnv(pEnv),
      m_pWindow(std::move(pWindow)),
      m_bWritable(bWritable),
      m_nReadAhead(kLeastReadAhead),
      m_nFirstError(nFirstError) {}

FileStream::~FileStream() {
    if (m_nFile < 0) return;
    Flush();
    if (!m_pEnv->Close(m_nFile)) Fail();
}

// Every failure of the environment passes here. Always false, and errno stays.
bool FileStream::Fail() {
    if (m_nFirstError == 0) m_nFirstError = errno;
    return false;
}

// A failed read, write or sync, which also sets the error indicator.
bool FileStream::FailMoving() {
    m_nError = errno;
    return Fail();
}

// --- Reading ---

bool FileStream::ReadPastWindow(char* pData, size_t n) {
    size_t nDone = TakeFromWindow(pData, n);
    while (nDone < n) {
        if (!Flush()) return false;
        m_bAtEnd = false;
        size_t nGot = 0;
        if (n - nDone >= kWindowBytes)
            nGot = ReadDirectly(pData + nDone, n - nDone);
        else if (LoadWindow())
            nGot = TakeFromWindow(pData + nDone, n - nDone);
        if (nGot == 0) return false;
        nDone += nGot;
    }
    return true;
}

size_t FileStream::TakeFromWindow(char* pData, size_t n) {
    const uint64_t nOffset = m_pos - m_posWindow;
    if (nOffset >= m_nFilled) return 0;
    const size_t nTaken = std::min<uint64_t>(n, m_nFilled - nOffset);
    std::memcpy(pData, m_pWindow.get() + nOffset, nTaken);
    m_pos += nTaken;
    return nTaken;
}

size_t FileStream::ReadDirectly(char* pData, size_t n) {
    const int64_t nGot = m_pEnv->ReadAt(m_nFile, m_pos, pData, n);
    if (nGot < 0) {
        FailMoving();
        return 0;
    }
    m_pos += static_cast<uint64_t>(nGot);
    return static_cast<size_t>(nGot);
}

bool FileStream::LoadWindow() {
    const bool bForward = m_pos - (m_posWindow + m_nFilled) < m_nReadAhead;
    m_nReadAhead = bForward ? std::min(2 * m_nReadAhead, kWindowBytes) : kLeastReadAhead;
    MoveWindow(m_pos);
    const int64_t nGot = m_pEnv->ReadAt(m_nFile, m_pos, m_pWindow.get(), m_nReadAhead);
    if (nGot < 0) return FailMoving();
    m_nFilled = static_cast<uint64_t>(nGot);
    return nGot > 0;
}

// --- Writing ---

bool FileStream::WritePastWindow(const char* pData, size_t n) {
    if (!m_bWritable) {
        errno = EBADF;
        return FailMoving();
    }
    if (!Flush()) return false;
    if (n > kWindowBytes) return WriteDirectly(pData, n);
    MoveWindow(m_pos);
    PutInWindow(0, pData, n);
    return true;
}

bool FileStream::WriteDirectly(const char* pData, size_t n) {
    MoveWindow(m_pos);  // what it holds may be written over
    if (WriteOut(m_pos, pData, n) != n) return false;
    m_pos += n;
    return true;
}

// Writes as much as the system takes; fewer bytes than `n` is a failure.
uint64_t FileStream::WriteOut(uint64_t pos, const char* pData, size_t n) {
    size_t nDone = 0;
    while (nDone < n) {
        const int64_t nPut = m_pEnv->WriteAt(m_nFile, pos + nDone, pData + nDone, n - nDone);
        if (nPut == 0) errno = EIO;  // a system that neither writes nor says why
        if (nPut <= 0) {
            FailMoving();
            break;
        }
        nDone += static_cast<size_t>(nPut);
    }
    return nDone;
}

bool FileStream::Flush() {
    if (!HasWaiting()) return true;
    m_nWaitBegin +=
        WriteOut(m_posWindow + m_nWaitBegin, m_pWindow.get() + m_nWaitBegin, m_nWaitEnd - m_nWaitBegin);
    return !HasWaiting();
}

bool FileStream::Sync() { return Flush() && (m_pEnv->Sync(m_nFile) || FailMoving()); }

// --- Positions and size ---

void FileStream::RestorePosition(uint64_t pos) {
    if (pos == m_pos) return;
    m_pos = pos;
    m_bAtEnd = false;
}

bool FileStream::SeekToPos(uint64_t pos) {
    if (!m_pEnv->CheckPosition(m_nFile, pos)) return Fail();
    RestorePosition(pos);
    return true;
}

bool FileStream::GetCurrentPos(unsigned long long& pos) {
    if (!m_pEnv->CheckPosition(m_nFile, m_pos)) return Fail();
    pos = m_pos;
    return true;
}

bool FileStream::SeekToEnd(unsigned long long& pos) {
    // A writer that appends many records asks for the end before each one. The end is where the waiting bytes
    // end, so the system need not be asked.
    const bool bKnown = m_bAtEnd && HasWaiting() && WaitingEnd() == m_pos;
    FileFacts facts;
    if (!bKnown && !GetFacts(facts)) return false;
    const uint64_t posEnd = bKnown ? m_pos : facts.nSize;
    if (!SeekToPos(posEnd)) return false;
    m_bAtEnd = true;
    pos = posEnd;
    return true;
}

bool FileStream::GetFacts(FileFacts& facts) {
    FileFacts onDisk;
    if (!m_pEnv->GetFacts(m_nFile, onDisk)) return Fail();
    facts = onDisk;
    if (HasWaiting()) facts.nSize = std::max(facts.nSize, WaitingEnd());
    return true;
}

LockAnswer FileStream::TryLockFile(FileLock lock) {
    const LockAnswer answer = m_pEnv->TryLock(m_nFile, lock);
    if (answer == LockAnswer::kBusy || answer == LockAnswer::kFailed) Fail();
    return answer;
}

bool FileStream::SetEOF() {
    CutWindow(m_pos);
    const bool bCut = Flush() ? Truncate(m_pos) : CutBelowWaiting();
    m_bAtEnd = bCut;
    return bCut;
}

bool FileStream::Truncate(uint64_t nSize) { return m_pEnv->Truncate(m_nFile, nSize) || Fail(); }

// The waiting bytes cannot be written now. When they end at the position, the file will end there as soon as
// they have been written; until then it only must not be longer.
bool FileStream::CutBelowWaiting() {
    FileFacts facts;
    if (WaitingEnd() != m_pos || !GetFacts(facts)) return false;
    return facts.nSize == m_pos || Truncate(m_pos);
}

// Forgets everything at and behind `pos`.
void FileStream::CutWindow(uint64_t pos) {
    const uint64_t nKept = pos > m_posWindow ? pos - m_posWindow : 0;
    m_nFilled = std::min(m_nFilled, nKept);
    m_nWaitEnd = std::max(m_nWaitBegin, std::min(m_nWaitEnd, nKept));
}

// An empty window; nothing waits any more.
void FileStream::MoveWindow(uint64_t pos) {
    m_posWindow = pos;
    m_nFilled = m_nWaitBegin = m_nWaitEnd = 0;
}

}  // namespace Kestrova
