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
    while ((m_outcome = Try()) == Outcome::Busy && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(kBetweenTries);
}

FolderLock::Outcome FolderLock::Try() {
    if (flock(m_nFolder, LOCK_EX | LOCK_NB) == 0) return Outcome::Held;
    m_nError = errno;
    if (LockAnswerOf(m_nError) == LockAnswer::kNotSupported) return Outcome::NoLocks;
    if (m_nError != EWOULDBLOCK && m_nError != EINTR) return Outcome::Failed;
    return CancelSignal() != 0 ? Outcome::Cancelled : Outcome::Busy;
}

bool FolderLock::Sync() const { return SyncFolder(m_nFolder); }

Hold FolderLock::Ask(const std::filesystem::path& folder) {
    const FileDescriptor asked(OpenFolder(folder.c_str()));
    if (asked < 0) return Hold::Unknown;
    if (flock(asked, LOCK_SH | LOCK_NB) == 0) return Hold::Free;
    return errno == EWOULDBLOCK ? Hold::Held : Hold::Unknown;
}

}  // namespace Kestrova
