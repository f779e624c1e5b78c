#include "bank/place/FolderLock.h"

#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "SamplerDBDS/BaseClasses/FileEnv.h"
#include "shared/System/kvCancelSignal.h"
#include "shared/System/kvSafeFile.h"

namespace Kestrova {
namespace {

constexpr std::chrono::milliseconds kBetweenTries{20};

}  // namespace

FolderLock::FolderLock(const std::filesystem::path& folder, std::chrono::milliseconds wait)
    : m_nFolder(OpenFolder(folder.c_str())) {
    if (m_nFolder >= 0)
        Take(wait);
    else
        m_nError = errno;
}

FolderLock::~FolderLock() { Release(); }

void FolderLock::Release() {
    if (m_nFolder >= 0) close(m_nFolder);
    m_nFolder = -1;
}

void FolderLock::Take(std::chrono::milliseconds wait) {
    const auto end = std::chrono::steady_clock::now() + wait;
    while (flock(m_nFolder, LOCK_EX | LOCK_NB) != 0) {
        m_nError = errno;
        if (LockAnswerOf(m_nError) == LockAnswer::kNotSupported) m_outcome = Outcome::NoLocks;
        if (m_nError != EWOULDBLOCK && m_nError != EINTR) return;
        m_outcome = CancelSignal() != 0 ? Outcome::Cancelled : Outcome::Busy;
        if (m_outcome == Outcome::Cancelled || std::chrono::steady_clock::now() >= end) return;
        std::this_thread::sleep_for(kBetweenTries);
    }
    m_outcome = Outcome::Held;
}

bool FolderLock::Sync() const { return SyncFolder(m_nFolder); }

Hold FolderLock::Ask(const std::filesystem::path& folder) {
    const FileDescriptor asked(OpenFolder(folder.c_str()));
    if (asked < 0) return Hold::Unknown;
    if (flock(asked, LOCK_SH | LOCK_NB) == 0) return Hold::Free;
    return errno == EWOULDBLOCK ? Hold::Held : Hold::Unknown;
}

}  // namespace Kestrova
