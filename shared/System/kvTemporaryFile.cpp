#include "shared/System/kvTemporaryFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <utility>

#include "shared/System/kvDirectory.h"
#include "shared/System/kvPath.h"

namespace Kestrova {
namespace {

constexpr int kMostNames = 1000;      // tried one after the other; all but a few are free
constexpr time_t kSurelyLeft = 3600;  // seconds

int OpenToLook(const std::string& strPath) {
    return open(strPath.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

// Takes the lock. A failure does not matter: without locks the file is made all the same, and a search for
// files that were left goes by their age.
void Lock(int nFile, int nKind) {
    while (flock(nFile, nKind) != 0 && errno == EINTR) {
    }
}

// Gives the file one more name, if nothing has that name.
bool Link(const char* pszFile, const char* pszPlace) {
    return linkat(AT_FDCWD, pszFile, AT_FDCWD, pszPlace, AT_SYMLINK_FOLLOW) == 0;
}

// Whether the path still leads to the open file.
bool IsAt(int nFile, const std::string& strPath) {
    struct stat file, found;
    return fstat(nFile, &file) == 0 && lstat(strPath.c_str(), &found) == 0 && S_ISREG(found.st_mode) &&
           file.st_dev == found.st_dev && file.st_ino == found.st_ino;
}

// True when a lock of this kind cannot be taken. Otherwise it is taken and kept until the file is closed.
bool IsHeld(int nFile, int nKind) {
    if (flock(nFile, nKind | LOCK_NB) == 0) return false;
    struct stat status;
    return errno == EWOULDBLOCK || fstat(nFile, &status) != 0 ||
           std::time(nullptr) - status.st_mtime < kSurelyLeft;
}

}  // namespace

TemporaryFile::~TemporaryFile() {
    const int nError = errno;
    if (!m_strName.empty()) unlink(m_strName.c_str());
    m_file.reset();
    errno = nError;
}

bool TemporaryFile::MakeUnnamed(mode_t nMode) {
    const std::string strFolder(FolderPart(m_strStem));
    m_file.emplace(open(strFolder.empty() ? "." : strFolder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, nMode));
    return *m_file >= 0 && access(OpenPath().c_str(), F_OK) == 0;
}

bool TemporaryFile::MakeNamed(mode_t nMode) {
    for (int n = 0; n < kMostNames; ++n) {
        std::string strName = NameOf(n);
        m_file.emplace(open(strName.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, nMode));
        if (*m_file < 0 && errno == EEXIST) continue;
        if (*m_file < 0) return false;
        // Before it was locked, another process may have taken it for one that was left, and removed it.
        Lock(*m_file, LOCK_EX);
        if (!IsAt(*m_file, strName)) continue;
        m_strName = std::move(strName);
        return true;
    }
    errno = EEXIST;
    return false;
}

std::string TemporaryFile::OpenPath() const { return "/proc/self/fd/" + std::to_string(*m_file); }

bool TemporaryFile::MoveTo(const char* pszPlace) {
    if (m_strName.empty() && !TakeName()) return false;
    if (std::rename(m_strName.c_str(), pszPlace) != 0) return false;
    m_strName.clear();
    return true;
}

bool TemporaryFile::MoveToFree(const char* pszPlace) const { return Link(OpenPath().c_str(), pszPlace); }

std::string TemporaryFile::NameOf(int n) const {
    const std::string strNumber = std::to_string(n);
    return m_strStem + std::string(6 - strNumber.size(), '0') + strNumber;
}

// The lock comes first, so that nobody ever finds the name without it. The name is not that of the place: a
// link, unlike a rename, cannot replace a file.
bool TemporaryFile::TakeName() {
    Lock(*m_file, LOCK_EX | LOCK_NB);
    const std::string strFile = OpenPath();
    for (int n = 0; n < kMostNames; ++n) {
        std::string strName = NameOf(n);
        if (Link(strFile.c_str(), strName.c_str())) {
            m_strName = std::move(strName);
            return true;
        }
        if (errno != EEXIST) return false;
    }
    return false;
}

// Some file systems know only this kind of rename, others only links.
bool RenameToFree(const char* pszFile, const char* pszPlace) {
    if (renameat2(AT_FDCWD, pszFile, AT_FDCWD, pszPlace, RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL || !Link(pszFile, pszPlace)) return false;
    unlink(pszFile);  // a failure leaves a second name; the file is in its place all the same
    return true;
}

bool IsTemporaryEnd(std::string_view end) {
    const auto isOne = [](char ch) {
        return (ch >= '0' && ch <= '9') || (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z');
    };
    return end.size() == 6 && std::all_of(end.begin(), end.end(), isOne);
}

std::vector<std::string> FindTemporaryFiles(const std::string& strStem, bool (*pfnIsEnd)(std::string_view),
                                            int* pnError) {
    std::vector<std::string> found, names;
    const std::string strFolder(FolderPart(std::string_view(strStem)));
    const std::string_view prefix = std::string_view(strStem).substr(strFolder.size());
    int nError = ReadFolderNames(strFolder.empty() ? "./" : strFolder.c_str(), names);
    for (const std::string& strName : names) {
        if (!strName.starts_with(prefix) || !pfnIsEnd(std::string_view(strName).substr(prefix.size())))
            continue;
        std::string strFound = strFolder + strName;
        struct stat status;
        if (lstat(strFound.c_str(), &status) != 0)
            nError = errno != ENOENT ? errno : nError;
        else if (S_ISREG(status.st_mode))
            found.push_back(std::move(strFound));
    }
    if (pnError != nullptr) *pnError = nError;
    return found;
}

bool IsTemporaryFileHeld(const std::string& strPath) {
    const FileDescriptor file(OpenToLook(strPath));
    return file >= 0 && IsHeld(file, LOCK_SH);
}

int RemoveTemporaryFile(const std::string& strPath) {
    const FileDescriptor file(OpenToLook(strPath));
    if (file < 0) return errno == ENOENT ? 0 : errno;
    // Otherwise, of two processes that remove the file, the slower one could remove a new file of that name.
    if (IsHeld(file, LOCK_EX)) return EBUSY;
    // Its process may have moved it to its place meanwhile.
    if (!IsAt(file, strPath) || unlink(strPath.c_str()) == 0 || errno == ENOENT) return 0;
    return errno;
}

}  // namespace Kestrova
