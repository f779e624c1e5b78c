#include "shared/System/kvSafeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace Kestrova {
namespace {

bool WriteAll(int nFile, std::string_view content) {
    while (!content.empty()) {
        const ssize_t nWritten = write(nFile, content.data(), content.size());
        if (nWritten > 0) content.remove_prefix(static_cast<size_t>(nWritten));
        if (nWritten == 0 || (nWritten < 0 && errno != EINTR)) return false;
    }
    return true;
}

// The owner, or at least the group, is kept where that is allowed; the permissions must be.
bool TakeAccess(int nNewFile, const String& strPath, mode_t nMode) {
    constexpr uid_t kSameOwner = static_cast<uid_t>(-1);
    struct stat old;
    if (stat(strPath, &old) != 0) return errno == ENOENT && fchmod(nNewFile, nMode) == 0;
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

int OpenFolder(const char* pszFolder) { return open(pszFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC); }

bool SyncFolder(int nFolder) { return fsync(nFolder) == 0 || errno == EINVAL; }

bool ReplaceFile(const String& strPath, std::string_view content, mode_t nMode) {
    const std::string strFolder(strPath.c_str(), static_cast<size_t>(strPath.ReverseFind('/')) + 1);
    std::string strNew = strPath.c_str() + std::string(".new-XXXXXX");
    const FileDescriptor file(mkostemp(strNew.data(), O_CLOEXEC));
    if (file < 0) return false;
    if (TakeAccess(file, strPath, nMode) && WriteAll(file, content) && fsync(file) == 0 &&
        std::rename(strNew.c_str(), strPath) == 0) {
        const FileDescriptor folder(OpenFolder(strFolder.c_str()));
        return folder >= 0 && SyncFolder(folder);
    }
    const int nError = errno;
    unlink(strNew.c_str());
    errno = nError;
    return false;
}

bool OverwriteFile(const String& strPath, std::string_view content) {
    const FileDescriptor file(open(strPath, O_WRONLY | O_TRUNC | O_NOFOLLOW | O_CLOEXEC));
    return file >= 0 && WriteAll(file, content) && fsync(file) == 0;
}

}  // namespace Kestrova
