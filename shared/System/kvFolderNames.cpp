#include "shared/System/kvFolderNames.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

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

}  // namespace

int ReadFolderNames(const char* pszFolder, std::vector<std::string>& names) {
    names.clear();
    const std::unique_ptr<DIR, CloseDir> pDir(opendir(pszFolder));
    if (pDir == nullptr) return errno;
    while (const dirent* pEntry = NextEntry(pDir.get()))
        if (!IsDots(pEntry->d_name)) names.emplace_back(pEntry->d_name);
    const int nError = errno;
    if (nError != 0) names.clear();
    std::sort(names.begin(), names.end());
    return nError;
}

}  // namespace Kestrova
