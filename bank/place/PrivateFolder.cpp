#include "bank/place/PrivateFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "shared/System/kvSafeFile.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPrefix = ".kvbank-";
constexpr mode_t kMode = 0755;  // builds of other users are to see which banks are being built

// Adds to what is left, unless the call succeeded or there was nothing to remove.
void Note(int nResult, const fs::path& path, std::vector<Leftover>& left) {
    if (nResult != 0 && errno != ENOENT) left.push_back({path, errno});
}

// Removes the banks in a private folder, and the folder. Anything else that somebody put there stays, and the
// folder with it.
std::vector<Leftover> RemovePrivate(const fs::path& path) {
    std::vector<fs::path> banks;
    std::error_code ignored;
    for (fs::directory_iterator it(path, ignored), end; !ignored && it != end; it.increment(ignored))
        if (it->path().extension() == ".kvn" || it->path().extension() == ".kvr") banks.push_back(it->path());
    std::vector<Leftover> left;
    for (const fs::path& bank : banks) Note(unlink(bank.c_str()), bank, left);
    // A folder that is not empty cannot be removed; what is in it is in the list already.
    if (left.empty()) Note(rmdir(path.c_str()), path, left);
    return left;
}

}  // namespace

PrivateFolder::PrivateFolder(const fs::path& dir, const FolderLock&) : m_dir(dir) {
    std::string strPattern = (dir / (std::string(kPrefix) + "XXXXXX")).string();
    if (mkdtemp(strPattern.data()) == nullptr) return;
    auto pHeld = std::make_unique<FolderLock>(strPattern);  // a listing may be asking for it just now
    if (pHeld->IsTurn() && chmod(strPattern.c_str(), kMode) == 0) {
        m_pHeld = std::move(pHeld);
        m_path = strPattern;
        return;
    }
    const int nError = pHeld->IsTurn() ? errno : pHeld->GetError();
    rmdir(strPattern.c_str());
    errno = nError;
}

PrivateFolder::~PrivateFolder() { Remove(); }

bool PrivateFolder::Mark(const std::string& strName, const FolderLock&) {
    const FileDescriptor mark(
        open((m_path / strName).c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666));
    return mark >= 0;
}

bool PrivateFolder::Publish(const std::string& strName, const FolderLock&) {
    return std::rename((m_path / strName).c_str(), (m_dir / strName).c_str()) == 0;
}

bool PrivateFolder::Discard(const std::string& strName) {
    return unlink((m_path / strName).c_str()) == 0 || errno == ENOENT;
}

std::vector<Leftover> PrivateFolder::Remove() {
    if (m_path.empty()) return {};
    std::vector<Leftover> left = RemovePrivate(m_path);
    m_path.clear();
    m_pHeld.reset();
    return left;
}

PrivateFolder::Cleaned PrivateFolder::RemoveAbandoned(const fs::path& dir, const FolderLock&) {
    Cleaned cleaned;
    for (const Found& found : FindIn(dir)) {
        if (found.hold != Hold::Free) continue;
        const std::vector<Leftover> left = RemovePrivate(found.path);
        cleaned.nFolders += left.empty();
        cleaned.left.insert(cleaned.left.end(), left.begin(), left.end());
    }
    return cleaned;
}

std::vector<PrivateFolder::Found> PrivateFolder::FindIn(const fs::path& dir) {
    std::vector<Found> arFound;
    std::error_code ignored;
    for (fs::directory_iterator it(dir, ignored), end; !ignored && it != end; it.increment(ignored)) {
        const bool bPrivate = it->path().filename().string().rfind(kPrefix, 0) == 0;
        if (!bPrivate || it->is_symlink(ignored) || !it->is_directory(ignored)) continue;
        arFound.push_back({it->path(), FolderLock::Ask(it->path())});
    }
    return arFound;
}

}  // namespace Kestrova
