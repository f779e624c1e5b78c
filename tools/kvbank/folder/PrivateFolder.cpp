#include "tools/kvbank/folder/PrivateFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPrefix = ".kvbank-";
constexpr mode_t kMode = 0755;  // builds of other users are to see which banks are being built

// Removes the banks in a private folder, and the folder; whether it is gone. Anything else that somebody put
// there stays, and the folder with it.
bool RemovePrivate(const fs::path& path) {
    std::error_code ignored;
    for (fs::directory_iterator it(path, ignored), end; !ignored && it != end; it.increment(ignored))
        if (it->path().extension() == ".kvn" || it->path().extension() == ".kvr")
            fs::remove(it->path(), ignored);
    return fs::remove(path, ignored);
}

}  // namespace

PrivateFolder::PrivateFolder(const fs::path& dir, const FolderLock&) : m_dir(dir) {
    std::string strPattern = (dir / (std::string(kPrefix) + "XXXXXX")).string();
    if (mkdtemp(strPattern.data()) == nullptr) return;
    auto pHeld = std::make_unique<FolderLock>(strPattern);  // a listing may be looking at it just now
    if (pHeld->IsHeld() && chmod(strPattern.c_str(), kMode) == 0) {
        m_pHeld = std::move(pHeld);
        m_path = strPattern;
        return;
    }
    const int nError = pHeld->IsHeld() ? errno : pHeld->GetError();
    rmdir(strPattern.c_str());
    errno = nError;
}

PrivateFolder::~PrivateFolder() {
    if (!m_path.empty()) RemovePrivate(m_path);
}

bool PrivateFolder::Publish(const std::string& strName, const FolderLock&) {
    return std::rename((m_path / strName).c_str(), (m_dir / strName).c_str()) == 0;
}

void PrivateFolder::Discard(const std::string& strName) { unlink((m_path / strName).c_str()); }

unsigned PrivateFolder::RemoveAbandoned(const fs::path& dir, const FolderLock&) {
    unsigned nRemoved = 0;
    for (const Found& found : FindIn(dir))
        if (!found.bHeld && RemovePrivate(found.path)) ++nRemoved;
    return nRemoved;
}

std::vector<PrivateFolder::Found> PrivateFolder::FindIn(const fs::path& dir) {
    std::vector<Found> arFound;
    std::error_code ignored;
    for (fs::directory_iterator it(dir, ignored), end; !ignored && it != end; it.increment(ignored)) {
        const bool bPrivate = it->path().filename().string().rfind(kPrefix, 0) == 0;
        if (!bPrivate || it->is_symlink(ignored) || !it->is_directory(ignored)) continue;
        arFound.push_back({it->path(), FolderLock::IsHeldByAnother(it->path())});
    }
    return arFound;
}

}  // namespace Kestrova
