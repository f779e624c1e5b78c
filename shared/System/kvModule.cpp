#include "shared/System/kvModule.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "shared/System/kvString.h"

namespace Kestrova {

namespace {

// Whether the folder is there now; a failure is reported.
bool MakeFolder(const char* pszFolder) {
    if (mkdir(pszFolder, 0777) == 0 || errno == EEXIST) return true;
    std::fprintf(stderr, "mkdir error %d: path = \"%s\"\n", errno, pszFolder);
    return false;
}

}  // namespace

void Module::EnsureFolderExists(const char* pszPath) {
    if (pszPath == nullptr) return;
    const String strPath(pszPath);
    for (int nSlash = strPath.Find('/', 1); nSlash >= 0; nSlash = strPath.Find('/', nSlash + 1))
        if (!MakeFolder(strPath.Left(nSlash))) return;
    if (strPath.Right(1) != "/") MakeFolder(strPath);
}

}  // namespace Kestrova
