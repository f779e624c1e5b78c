#include "bank/place/PrivateFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "shared/System/kvDirectory.h"
#include "shared/System/kvSafeFile.h"
#include "shared/System/kvTemporaryFile.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = ".kvbank-";
constexpr mode_t kMode = 0755;  // builds of other users are to see which banks are being built

// Adds to what is left, unless the call succeeded or there was nothing to remove.
void Note(int nResult, const fs::path& path, std::vector<Leftover>& left) {
    if (nResult != 0 && errno != ENOENT) left.push_back({path, errno});
}

// Whether mkdtemp can have made the name. It cannot that of a folder of the user's, such as
// ".kvbank-sources".
bool IsPrivateName(std::string_view name) {
    return name.starts_with(kPrefix) && IsTemporaryEnd(name.substr(kPrefix.size()));
}

bool IsHexDigit(char ch) { return (ch >= '0' && ch <= '9') || (ch >= 'A' && ch <= 'F'); }

// Whether a build can have put a file of this name there: each ends in "_0AC44.kvn" or the like. The name of
// a source bank that the user keeps there does not.
bool IsNameOfBuild(std::string_view name) {
    constexpr size_t kDigits = 5, kEnd = 10;
    if (name.size() < kEnd || !(name.ends_with(".kvn") || name.ends_with(".kvr"))) return false;
    const std::string_view end = name.substr(name.size() - kEnd);
    return end.front() == '_' && std::all_of(end.begin() + 1, end.begin() + 1 + kDigits, IsHexDigit);
}

// Removes the banks in a private folder, and the folder. Anything else that somebody put there stays, and the
// folder with it.
std::vector<Leftover> RemovePrivate(const fs::path& path) {
    std::vector<std::string> names;
    if (const int nError = ReadFolderNames(path.c_str(), names); nError != 0) {
        if (nError == ENOENT) return {};
        return {{path, nError}};
    }
    std::vector<Leftover> left;
    for (const std::string& strName : names)
        if (IsNameOfBuild(strName)) Note(unlink((path / strName).c_str()), path / strName, left);
    // A folder that is not empty cannot be removed; what is in it is in the list already.
    if (left.empty()) Note(rmdir(path.c_str()), path, left);
    return left;
}

}  // namespace

// Where the turn is held there are locks. A folder whose own lock was refused there would look abandoned to
// every other build, and be removed.
PrivateFolder::PrivateFolder(const fs::path& dir, const FolderLock& turn) : m_dir(dir) {
    std::string strPattern = (dir / (std::string(kPrefix) + "XXXXXX")).string();
    if (mkdtemp(strPattern.data()) == nullptr) return;
    auto pHeld = std::make_unique<FolderLock>(strPattern);  // a listing may be asking for it just now
    const bool bMine = turn.IsHeld() ? pHeld->IsHeld() : pHeld->IsTurn();
    if (bMine && chmod(strPattern.c_str(), kMode) == 0) {
        m_pHeld = std::move(pHeld);
        m_path = strPattern;
        return;
    }
    const int nError = bMine ? errno : pHeld->GetError();
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

std::vector<PrivateFolder::Found> PrivateFolder::FindIn(const fs::path& dir, int* pnError) {
    std::vector<std::string> names;
    const int nError = ReadFolderNames(dir.c_str(), names);
    if (pnError != nullptr) *pnError = nError;
    std::vector<Found> arFound;
    for (const std::string& strName : names) {
        std::error_code ignored;
        const fs::path path = dir / strName;
        if (IsPrivateName(strName) && fs::symlink_status(path, ignored).type() == fs::file_type::directory)
            arFound.push_back({path, FolderLock::Ask(path)});
    }
    return arFound;
}

}  // namespace Kestrova
