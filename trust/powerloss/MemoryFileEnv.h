// MemoryFileEnv.h - one file in memory under every path, for looking at a state of the disk as a program
// would.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "SamplerDBDS/BaseClasses/FileEnv.h"
#include "trust/powerloss/Disk.h"

namespace Kestrova::Trust {

// In force from construction to destruction. Nothing can be written. Threads: one.
class MemoryFileEnv final : public IFileEnv {
public:
    explicit MemoryFileEnv(const Bytes& bytes) : m_bytes(bytes), m_pBefore(SetFileEnv(this)) {}
    ~MemoryFileEnv() override { SetFileEnv(m_pBefore); }
    MemoryFileEnv(const MemoryFileEnv&) = delete;
    MemoryFileEnv& operator=(const MemoryFileEnv&) = delete;

    int Open(const char*, FileMode mode) override {
        errno = EROFS;
        return mode == FileMode::kRead ? 0 : -1;
    }
    bool Close(int) override { return true; }
    int64_t ReadAt(int, uint64_t pos, void* pData, size_t nBytes) override {
        if (pos >= m_bytes.size()) return 0;
        const size_t n = std::min<size_t>(nBytes, m_bytes.size() - static_cast<size_t>(pos));
        std::memcpy(pData, m_bytes.data() + pos, n);
        return static_cast<int64_t>(n);
    }
    int64_t WriteAt(int, uint64_t, const void*, size_t) override {
        errno = EROFS;
        return -1;
    }
    bool Truncate(int, uint64_t) override { return WriteAt(0, 0, nullptr, 0) == 0; }
    bool Sync(int) override { return true; }
    bool GetFacts(int, FileFacts& facts) override {
        facts = {.nSize = m_bytes.size(), .nDevice = 1, .nInode = 1};
        return true;
    }
    LockAnswer TryLock(int, FileLock) override { return LockAnswer::kHeld; }
    bool CheckPosition(int, uint64_t) override { return true; }

private:
    const Bytes& m_bytes;
    IFileEnv* const m_pBefore;
};

}  // namespace Kestrova::Trust
