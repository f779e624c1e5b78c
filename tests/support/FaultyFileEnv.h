// FaultyFileEnv.h - a file environment that fails on demand, counts what is asked of it, and loses power.
#pragma once

#include <array>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "SamplerDBDS/BaseClasses/FileEnv.h"
#include "shared/System/kvMutex.h"

namespace Kestrova::Test {

// The operations of IFileEnv. The system's CheckPosition cannot fail at positions that files have, so only a
// fault set for kPosition by name strikes it.
enum class FileOp { kOpen, kClose, kRead, kWrite, kTruncate, kSync, kFacts, kLock, kPosition };

// In force from construction to destruction; everything not struck by a fault goes on to the system.
// The classic use walks a fault through an operation until it runs clean:
//     for (int nFault = 1;; ++nFault) {
//         FaultyFileEnv env;
//         env.FailCall(nFault);
//         RunTheOperation();
//         if (!env.FaultHit()) break;
//         ExpectTheDocumentedState();
//     }
// Threads: any. Files opened while it is in force must be closed before it is destroyed.
class FaultyFileEnv : public IFileEnv {
public:
    FaultyFileEnv();
    ~FaultyFileEnv() override;
    FaultyFileEnv(const FaultyFileEnv&) = delete;
    FaultyFileEnv& operator=(const FaultyFileEnv&) = delete;

    enum class Lasting { kOnce, kForGood };

    // The n-th call from now (the next is 1), of any kind or of one, fails with the error; kForGood: and all
    // calls of those kinds after it, as if the device, or with any kind the process, had died there.
    // One such fault at a time: a new one replaces the old.
    void FailCall(int n, Lasting lasting = Lasting::kOnce, int nError = EIO);
    void FailCallOf(FileOp op, int n, Lasting lasting = Lasting::kOnce, int nError = EIO);

    // The disk takes that many more bytes: the write that crosses the mark is cut there, the next fails with
    // ENOSPC. Writing over existing bytes counts too, and truncating gives nothing back.
    void FillDiskAfter(uint64_t nBytes);

    // Reads and writes move at most that many bytes at a time.
    void MoveAtMost(size_t nBytes);

    // No more faults, and the disk has room again; counts stay.
    void Heal();

    // Whether any fault struck (a call failed or a write was cut) since construction or Heal.
    bool FaultHit() const;

    // Whether one of them struck an operation on the open file with the path, as it was opened.
    bool HasStruck(const std::string& strPath) const;

    // Calls since construction or ResetCounts, failed ones included; of all kinds without kPosition.
    int Calls(FileOp op) const;
    int Calls() const;
    void ResetCounts();

    // Puts every file opened for writing back to its state when it was opened first or synced last, as after
    // a loss of power. Call it when the files are closed.
    void LoseUnsynced();

    int Open(const char* pszPath, FileMode mode) override;
    bool Close(int nFile) override;
    int64_t ReadAt(int nFile, uint64_t pos, void* pData, size_t nBytes) override;
    int64_t WriteAt(int nFile, uint64_t pos, const void* pData, size_t nBytes) override;
    bool Truncate(int nFile, uint64_t nSize) override;
    bool Sync(int nFile) override;
    bool GetFacts(int nFile, FileFacts& facts) override;
    LockAnswer TryLock(int nFile, FileLock lock) override;
    bool CheckPosition(int nFile, uint64_t pos) override;

private:
    static constexpr size_t kOpCount = static_cast<size_t>(FileOp::kPosition) + 1;
    static constexpr uint64_t kNoLimit = std::numeric_limits<uint64_t>::max();

    struct Fault {
        bool bArmed = false;
        bool bAnyOp = false;
        FileOp op = FileOp::kOpen;
        int nCallsLeft = 0;  // until it strikes
        Lasting lasting = Lasting::kOnce;
        int nError = EIO;

        bool Concerns(FileOp opCalled) const;
    };

    void Arm(const Fault& fault);
    bool Strikes(FileOp op, int nFile = -1);
    size_t MostOf(size_t nBytes) const;
    size_t RoomFor(size_t nBytes);
    void RememberSynced(int nFile);

    IFileEnv* const m_pSystem;
    IFileEnv* const m_pBefore;
    mutable Mutex m_lock;
    Fault m_fault KV_GUARDED_BY(m_lock);
    uint64_t m_nRoom KV_GUARDED_BY(m_lock) = kNoLimit;
    size_t m_nMost KV_GUARDED_BY(m_lock) = std::numeric_limits<size_t>::max();
    bool m_bHit KV_GUARDED_BY(m_lock) = false;
    std::array<int, kOpCount> m_arCalls KV_GUARDED_BY(m_lock){};
    std::set<std::string> m_arStruck KV_GUARDED_BY(m_lock);                         // paths
    std::map<int, std::string> m_mapPaths KV_GUARDED_BY(m_lock);                    // of the open files
    std::map<std::string, std::vector<uint8_t>> m_mapSynced KV_GUARDED_BY(m_lock);  // by path
};

}  // namespace Kestrova::Test
