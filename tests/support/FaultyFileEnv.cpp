#include "tests/support/FaultyFileEnv.h"

#include <algorithm>
#include <numeric>

#include "tests/support/TempDir.h"

namespace Kestrova::Test {

FaultyFileEnv::FaultyFileEnv() : m_pSystem(GetSystemFileEnv()), m_pBefore(SetFileEnv(this)) {}

FaultyFileEnv::~FaultyFileEnv() { SetFileEnv(m_pBefore); }

// --- Setting and asking ---

void FaultyFileEnv::Arm(const Fault& fault) {
    const MutexGuard guard(m_lock);
    m_fault = fault;
}

void FaultyFileEnv::FailCall(int n, Lasting lasting, int nError) {
    Arm({.bArmed = true, .bAnyOp = true, .nCallsLeft = n, .lasting = lasting, .nError = nError});
}

void FaultyFileEnv::FailCallOf(FileOp op, int n, Lasting lasting, int nError) {
    Arm({.bArmed = true, .op = op, .nCallsLeft = n, .lasting = lasting, .nError = nError});
}

void FaultyFileEnv::FillDiskAfter(uint64_t nBytes) {
    const MutexGuard guard(m_lock);
    m_nRoom = nBytes;
}

void FaultyFileEnv::MoveAtMost(size_t nBytes) {
    const MutexGuard guard(m_lock);
    m_nMost = nBytes;
}

void FaultyFileEnv::Heal() {
    const MutexGuard guard(m_lock);
    m_fault = {};
    m_nRoom = kNoLimit;
    m_bHit = false;
    m_arStruck.clear();
}

bool FaultyFileEnv::FaultHit() const {
    const MutexGuard guard(m_lock);
    return m_bHit;
}

bool FaultyFileEnv::HasStruck(const std::string& strPath) const {
    const MutexGuard guard(m_lock);
    return m_arStruck.count(strPath) != 0;
}

int FaultyFileEnv::Calls(FileOp op) const {
    const MutexGuard guard(m_lock);
    return m_arCalls[static_cast<size_t>(op)];
}

int FaultyFileEnv::Calls() const {
    const MutexGuard guard(m_lock);
    return std::accumulate(m_arCalls.begin(), m_arCalls.end(), 0) -
           m_arCalls[static_cast<size_t>(FileOp::kPosition)];
}

void FaultyFileEnv::ResetCounts() {
    const MutexGuard guard(m_lock);
    m_arCalls = {};
}

void FaultyFileEnv::LoseUnsynced() {
    const MutexGuard guard(m_lock);
    for (const auto& [strPath, bytes] : m_mapSynced) WriteFile(strPath, bytes);
}

// --- Faults ---

bool FaultyFileEnv::Fault::Concerns(FileOp opCalled) const {
    return bArmed && (bAnyOp ? opCalled != FileOp::kPosition : opCalled == op);
}

// Counts the call; whether it is to fail, errno is then set.
bool FaultyFileEnv::Strikes(FileOp op, int nFile) {
    const MutexGuard guard(m_lock);
    ++m_arCalls[static_cast<size_t>(op)];
    if (!m_fault.Concerns(op)) return false;
    m_fault.nCallsLeft = std::max(0, m_fault.nCallsLeft - 1);
    if (m_fault.nCallsLeft != 0) return false;
    const auto pPath = m_mapPaths.find(nFile);
    if (pPath != m_mapPaths.end()) m_arStruck.insert(pPath->second);
    m_bHit = true;
    m_fault.bArmed = m_fault.lasting == Lasting::kForGood;
    errno = m_fault.nError;
    return true;
}

size_t FaultyFileEnv::MostOf(size_t nBytes) const {
    const MutexGuard guard(m_lock);
    return std::min(nBytes, m_nMost);
}

// How many of the bytes the disk still takes.
size_t FaultyFileEnv::RoomFor(size_t nBytes) {
    const MutexGuard guard(m_lock);
    const size_t nTaken = std::min<uint64_t>(nBytes, m_nRoom);
    if (m_nRoom != kNoLimit) {
        m_bHit = m_bHit || m_nRoom < nBytes;
        m_nRoom -= nTaken;
    }
    return nTaken;
}

void FaultyFileEnv::RememberSynced(int nFile) {
    const MutexGuard guard(m_lock);
    const auto it = m_mapPaths.find(nFile);
    if (it != m_mapPaths.end()) m_mapSynced[it->second] = ReadFile(it->second);
}

// --- IFileEnv ---

int FaultyFileEnv::Open(const char* pszPath, FileMode mode) {
    if (Strikes(FileOp::kOpen)) return -1;
    const int nFile = m_pSystem->Open(pszPath, mode);
    if (nFile < 0) return nFile;
    const MutexGuard guard(m_lock);
    m_mapPaths[nFile] = pszPath;
    if (mode != FileMode::kRead) m_mapSynced.try_emplace(pszPath, ReadFile(pszPath));
    return nFile;
}

// A handle is never kept: only the answer can fail.
bool FaultyFileEnv::Close(int nFile) {
    const bool bStruck = Strikes(FileOp::kClose, nFile);
    {
        const MutexGuard guard(m_lock);
        m_mapPaths.erase(nFile);
    }
    return m_pSystem->Close(nFile) && !bStruck;
}

int64_t FaultyFileEnv::ReadAt(int nFile, uint64_t pos, void* pData, size_t nBytes) {
    if (Strikes(FileOp::kRead, nFile)) return -1;
    return m_pSystem->ReadAt(nFile, pos, pData, MostOf(nBytes));
}

int64_t FaultyFileEnv::WriteAt(int nFile, uint64_t pos, const void* pData, size_t nBytes) {
    if (Strikes(FileOp::kWrite, nFile)) return -1;
    const size_t nMost = MostOf(nBytes);
    const size_t nTaken = RoomFor(nMost);
    if (nTaken != 0 || nMost == 0) return m_pSystem->WriteAt(nFile, pos, pData, nTaken);
    errno = ENOSPC;
    return -1;
}

bool FaultyFileEnv::Truncate(int nFile, uint64_t nSize) {
    return !Strikes(FileOp::kTruncate, nFile) && m_pSystem->Truncate(nFile, nSize);
}

bool FaultyFileEnv::Sync(int nFile) {
    if (Strikes(FileOp::kSync, nFile) || !m_pSystem->Sync(nFile)) return false;
    RememberSynced(nFile);
    return true;
}

bool FaultyFileEnv::GetFacts(int nFile, FileFacts& facts) {
    return !Strikes(FileOp::kFacts, nFile) && m_pSystem->GetFacts(nFile, facts);
}

LockAnswer FaultyFileEnv::TryLock(int nFile, FileLock lock) {
    return Strikes(FileOp::kLock, nFile) ? LockAnswerOf(errno) : m_pSystem->TryLock(nFile, lock);
}

bool FaultyFileEnv::CheckPosition(int nFile, uint64_t pos) {
    return !Strikes(FileOp::kPosition, nFile) && m_pSystem->CheckPosition(nFile, pos);
}

}  // namespace Kestrova::Test
