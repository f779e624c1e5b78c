#include "shared/System/kvPlatform.h"

#include <pwd.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>

namespace Kestrova {

namespace {

constexpr mode_t kPrivateFolder = 0700;  // what the desktop's base folder rules ask for
constexpr mode_t kSharedFolder = 0755;

bool IsAbsolute(const char* pszPath) { return pszPath != nullptr && pszPath[0] == '/'; }

bool IsFolder(const char* pszPath) {
    struct stat status;
    return stat(pszPath, &status) == 0 && S_ISDIR(status.st_mode);
}

// The variable's folder, or the one below the home folder; empty when the user has no home.
String UserFolder(const char* pszVariable, const char* pszBelowHome) {
    if (const char* pszFolder = std::getenv(pszVariable); IsAbsolute(pszFolder)) return pszFolder;
    const String strHome = GetHomeFolder();
    return strHome.IsEmpty() ? strHome : strHome + pszBelowHome;
}

// The first absolute path of a list that ":" divides, else the default.
String FirstFolder(const char* pszList, const char* pszDefault) {
    String strRest(pszList);
    while (!strRest.IsEmpty()) {
        String strFirst = strRest.SpanExcluding(":");
        if (IsAbsolute(strFirst)) return strFirst;
        strRest = strRest.Mid(strFirst.GetLength() + 1);
    }
    return pszDefault;
}

String Made(const String& strFolder, mode_t nMode) {
    return MakeMissingFolders(strFolder, nMode) ? strFolder : String();
}

}  // namespace

String GetUserDataFolder() { return Made(UserFolder("XDG_DATA_HOME", "/.local/share"), kPrivateFolder); }

String GetLocalDataFolder() {
    return Made(FirstFolder(std::getenv("XDG_DATA_DIRS"), "/usr/local/share"), kSharedFolder);
}

String GetUserConfigFolder() { return UserFolder("XDG_CONFIG_HOME", "/.config"); }

String GetLocalConfigFolder() { return "/etc/xdg"; }

String GetHomeFolder() {
    if (const char* pszHome = std::getenv("HOME"); IsAbsolute(pszHome)) return pszHome;
    std::array<char, 16384> texts;  // far more than any entry of a user database holds
    passwd entry;
    passwd* pEntry = nullptr;
    const int nError = getpwuid_r(getuid(), &entry, texts.data(), texts.size(), &pEntry);
    return nError == 0 && pEntry != nullptr && IsAbsolute(pEntry->pw_dir) ? pEntry->pw_dir : String();
}

String GetExecutablePath() {
    std::array<char, PATH_MAX> path;  // the system itself gives no longer one
    const ssize_t nLength = readlink("/proc/self/exe", path.data(), path.size());
    if (nLength > 0) return String(path.data(), static_cast<int>(nLength));
    // Without /proc: what the program was started as.
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the system hands its pointers over as integers
    const auto* pszStarted = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
    if (pszStarted == nullptr || realpath(pszStarted, path.data()) == nullptr) return {};
    return path.data();
}

bool MakeMissingFolders(const char* pszPath, mode_t nMode) {
    if (!IsAbsolute(pszPath)) return false;
    const String strPath = String(pszPath) + '/';
    for (int nSlash = strPath.Find('/', 1); nSlash >= 0; nSlash = strPath.Find('/', nSlash + 1)) {
        const String strFolder = strPath.Left(nSlash);
        // Checked first: when the folder exists, mkdir may fail with another error than EEXIST.
        if (!IsFolder(strFolder) && mkdir(strFolder, nMode) != 0 && errno != EEXIST) return false;
    }
    return IsFolder(strPath);
}

}  // namespace Kestrova
