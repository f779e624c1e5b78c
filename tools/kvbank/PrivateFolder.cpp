#include "tools/kvbank/PrivateFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPrefix = ".kvbank-";

// Removes the banks in a private folder, and the folder. Anything else that somebody put there stays, and the
// folder with it.
void RemovePrivate(const fs::path& path) {
    std::error_code ignored;
    for (fs::directory_iterator it(path, ignored), end; !ignored && it != end; it.increment(ignored))
        if (it->path().extension() == ".kvn" || it->path().extension() == ".kvr")
            fs::remove(it->path(), ignored);
    fs::remove(path, ignored);
}

bool SyncFolder(const fs::path& path) {
    const int nFolder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (nFolder < 0) return false;
    const bool bSynced = fsync(nFolder) == 0 || errno == EINVAL;  // some file systems know no such thing
    const int nError = errno;
    close(nFolder);
    errno = nError;
    return bSynced;
}

}  // namespace

HeldFile::HeldFile(const fs::path& path, bool bWait) : m_nFile(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (m_nFile < 0 || flock(m_nFile, LOCK_EX | (bWait ? 0 : LOCK_NB)) == 0) return;
    const int nError = errno;
    close(m_nFile);
    errno = nError;
    m_nFile = -1;
}

HeldFile::~HeldFile() {
    if (m_nFile >= 0) close(m_nFile);
}

HeldFile::HeldFile(HeldFile&& other) noexcept : m_nFile(std::exchange(other.m_nFile, -1)) {}

HeldFile& HeldFile::operator=(HeldFile&& other) noexcept {
    std::swap(m_nFile, other.m_nFile);
    return *this;
}

// The lock on the folder itself keeps two builds from meeting between the making of a private folder and its
// locking, when it looks abandoned.
PrivateFolder::PrivateFolder(const fs::path& dir) : m_dir(dir) {
    const HeldFile turn(dir, true);
    std::string strPattern = (dir / (std::string(kPrefix) + "XXXXXX")).string();
    if (mkdtemp(strPattern.data()) == nullptr) return;
    m_held = HeldFile(strPattern, true);  // a listing may be looking at it just now
    m_path = strPattern;
}

PrivateFolder::~PrivateFolder() {
    if (!m_path.empty()) RemovePrivate(m_path);
}

unsigned PrivateFolder::RemoveAbandoned(const fs::path& dir) {
    const HeldFile turn(dir, true);
    unsigned nRemoved = 0;
    for (const Found& found : FindIn(dir)) {
        if (found.bHeld) continue;
        RemovePrivate(found.path);
        ++nRemoved;
    }
    return nRemoved;
}

bool PrivateFolder::Publish(const std::string& strName) {
    if (rename((m_path / strName).c_str(), (m_dir / strName).c_str()) != 0) return false;
    return SyncFolder(m_dir);
}

std::vector<PrivateFolder::Found> PrivateFolder::FindIn(const fs::path& dir) {
    std::vector<Found> arFound;
    std::error_code ignored;
    for (fs::directory_iterator it(dir, ignored), end; !ignored && it != end; it.increment(ignored)) {
        const bool bPrivate = it->path().filename().string().rfind(kPrefix, 0) == 0;
        if (!bPrivate || it->is_symlink(ignored) || !it->is_directory(ignored)) continue;
        arFound.push_back({it->path(), !HeldFile(it->path(), false).IsHeld()});
    }
    return arFound;
}

}  // namespace Kestrova
