#include "shared/System/kvSafeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "shared/System/kvPath.h"
#include "shared/System/kvTemporaryFile.h"

namespace Kestrova {
namespace {

bool WriteAllAt(int nFile, off_t nPosition, std::string_view content) {
    return content.empty() || (lseek(nFile, nPosition, SEEK_SET) >= 0 && WriteAll(nFile, content));
}

// The owner, or at least the group, is kept where that is allowed; the permissions must be.
bool TakeAccess(int nNewFile, const char* pszPath, mode_t nMode) {
    constexpr uid_t kSameOwner = static_cast<uid_t>(-1);
    struct stat old;
    if (stat(pszPath, &old) != 0) return errno == ENOENT && fchmod(nNewFile, nMode) == 0;
    [[maybe_unused]] const bool bKept =
        fchown(nNewFile, old.st_uid, old.st_gid) == 0 || fchown(nNewFile, kSameOwner, old.st_gid) == 0;
    return fchmod(nNewFile, old.st_mode & 0777) == 0;
}

}  // namespace

FileDescriptor::~FileDescriptor() {
    if (m_nFile >= 0) close(m_nFile);
}

bool ReadToEnd(int nFile, size_t nMaxBytes, std::string& strText) {
    constexpr size_t kStep = 1 << 16;
    while (strText.size() <= nMaxBytes) {
        const size_t nBefore = strText.size();
        strText.resize(nBefore + kStep);
        const ssize_t nRead = read(nFile, strText.data() + nBefore, kStep);
        const int nError = errno;
        strText.resize(nBefore + static_cast<size_t>(nRead > 0 ? nRead : 0));
        if (nRead == 0) return true;
        if (nRead < 0 && nError != EINTR) return false;
    }
    return true;
}

bool WriteAll(int nFile, std::string_view content) {
    while (!content.empty()) {
        const ssize_t nWritten = write(nFile, content.data(), content.size());
        if (nWritten > 0) content.remove_prefix(static_cast<size_t>(nWritten));
        if (nWritten == 0) errno = ENOSPC;
        if (nWritten == 0 || (nWritten < 0 && errno != EINTR)) return false;
    }
    return true;
}

int OpenFolder(const char* pszFolder) { return open(pszFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC); }

bool SyncFolder(int nFolder) { return fsync(nFolder) == 0 || errno == EINVAL; }

bool SyncFolderOf(std::string_view path) {
    const std::string_view folderPart = path.find('/') == path.npos ? "." : FolderPart(path);
    char szFolder[PATH_MAX] = {};  // no memory is asked for: the file is in its place already
    if (folderPart.size() >= sizeof szFolder) {
        errno = ENAMETOOLONG;
        return false;
    }
    folderPart.copy(szFolder, folderPart.size());
    const FileDescriptor folder(OpenFolder(szFolder));
    return folder >= 0 && SyncFolder(folder);
}

bool ReplaceFile(const char* pszPath, std::string_view content, mode_t nMode) {
    constexpr mode_t kOwnerOnly = 0600;  // until it has the access of the old file
    const std::string strStem = pszPath + std::string(".new-");
    for (const std::string& strLeft : FindTemporaryFiles(strStem)) RemoveTemporaryFile(strLeft);
    TemporaryFile file(strStem);
    if (!file.MakeUnnamed(kOwnerOnly) && !file.MakeNamed(kOwnerOnly)) return false;
    if (!TakeAccess(file.Handle(), pszPath, nMode) || !WriteAll(file.Handle(), content) ||
        fsync(file.Handle()) != 0 || !file.MoveTo(pszPath))
        return false;
    // The handle is closed behind the move, for a file without a name would be gone. That the closing fails
    // then is not told: fsync has waited for every byte, and the new content stands whole.
    return SyncFolderOf(pszPath);
}

bool OverwriteFile(const char* pszPath, std::string_view content) {
    const FileDescriptor file(open(pszPath, O_WRONLY | O_NOFOLLOW | O_CLOEXEC));
    struct stat old;
    if (file < 0 || fstat(file, &old) != 0) return false;
    const size_t nOver = std::min(static_cast<size_t>(old.st_size), content.size());
    // The part that makes the file longer is written first: while it can fail, all old bytes are still there.
    if (!WriteAllAt(file, old.st_size, content.substr(nOver)) || fsync(file) != 0) {
        const int nError = errno;
        [[maybe_unused]] const bool bCut = ftruncate(file, old.st_size) == 0;
        errno = nError;
        return false;
    }
    return WriteAllAt(file, 0, content.substr(0, nOver)) && fsync(file) == 0 &&
           ftruncate(file, static_cast<off_t>(content.size())) == 0 && fsync(file) == 0;
}

}  // namespace Kestrova
