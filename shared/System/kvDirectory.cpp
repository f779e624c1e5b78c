#include "shared/System/kvDirectory.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace Kestrova {

namespace {

struct CloseDir {
    void operator()(DIR* pDir) const { closedir(pDir); }
};

// The next entry; null with errno 0 at the end, and null with the error when the folder cannot be read on.
const dirent* NextEntry(DIR* pDir) {
    errno = 0;
    return readdir(pDir);
}

bool IsDots(const char* pszName) { return std::strcmp(pszName, ".") == 0 || std::strcmp(pszName, "..") == 0; }

// The folder part of a unified path as an absolute path that ends in "/"; empty when there is no such folder.
std::string AbsoluteFolder(const char* pszPath) {
    const char* pszSlash = std::strrchr(pszPath, '/');
    if (pszSlash == nullptr) return {};
    const std::unique_ptr<char, decltype(&std::free)> pszReal(
        realpath(std::string(pszPath, pszSlash + 1).c_str(), nullptr), &std::free);
    if (pszReal == nullptr) return errno != ENOMEM ? std::string() : throw std::bad_alloc();
    std::string strFolder(pszReal.get());
    if (strFolder.back() != '/') strFolder += '/';
    return strFolder;
}

// The flags of an entry, whose own status is given. A link that leads
// nowhere is treated like any other entry.
uint32_t FlagsOf(const char* pszPath, const struct stat& own) {
    struct stat end;
    if (S_ISDIR(own.st_mode)) return kDirObjFolder;
    // Deliberate (Q15): a link to a folder has exactly flags 1.
    if (S_ISLNK(own.st_mode) && stat(pszPath, &end) == 0 && S_ISDIR(end.st_mode)) return kDirObjAliasOfFolder;
    return 0;
}

}  // namespace

int ReadFolderNames(const char* pszFolder, std::vector<std::string>& names) {
    names.clear();
    const std::unique_ptr<DIR, CloseDir> pDir(opendir(pszFolder));
    if (pDir == nullptr) return errno != ENOMEM ? errno : throw std::bad_alloc();
    while (const dirent* pEntry = NextEntry(pDir.get()))
        if (!IsDots(pEntry->d_name)) names.emplace_back(pEntry->d_name);
    const int nError = errno;
    if (nError != 0) names.clear();
    std::sort(names.begin(), names.end());
    return nError;
}

bool Directory::Open(const char* pszPath, Filter pfnFilter, void* pUser) {
    Close();
    m_pfnFilter = pfnFilter;
    m_pUser = pUser;
    // Deliberate (Q14): a folder walk takes the folder part: "/a/b" walks "/a/".
    m_strFolder = AbsoluteFolder(pszPath != nullptr ? pszPath : "/");
    m_bOpen = ReadFolderNames(m_strFolder.c_str(), m_arNames) == 0;
    return m_bOpen;
}

bool Directory::GetObject(tagDirObjInfo* pInfo) {
    while (m_nNext < m_arNames.size()) {
        tagDirObjInfo info;
        if (!Describe(m_arNames[m_nNext++], info) || !Accepts(info)) continue;
        if (pInfo != nullptr) *pInfo = info;
        return true;
    }
    return false;
}

void Directory::Close() {
    m_bOpen = false;
    m_arNames.clear();
    m_nNext = 0;
}

bool Directory::Describe(const std::string& strName, tagDirObjInfo& info) const {
    const std::string strPath = m_strFolder + strName;
    struct stat own;
    if (lstat(strPath.c_str(), &own) != 0) return false;
    info.nFlags = FlagsOf(strPath.c_str(), own);
    info.strPath = strPath;
    return true;
}

}  // namespace Kestrova
