#include "shared/System/kvPath.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

namespace Kestrova {

namespace {

constexpr int kErrNoPath = -50;  // the path is null
constexpr int kErrNoRoom = -92;  // the destination is too small
constexpr char kWinSeparator = '\\';
constexpr char kSeparator = '/';

void ReplaceSeparator(char* pszPath, char chOld, char chNew) {
    std::replace(pszPath, pszPath + std::strlen(pszPath), chOld, chNew);
}

// Changes the text in a block of its own; a text without the separator stays shared.
void ReplaceIn(String& strPath, char chOld, void (*pfnReplace)(char*)) {
    if (strPath.Find(chOld) >= 0) pfnReplace(strPath.GetBuffer(0));
}

// Where the name of a unified path begins.
const char* NamePart(const char* pszPath) { return pszPath + FolderPart(std::string_view(pszPath)).size(); }

long CopyPart(std::string_view part, char* pchDst, unsigned long nSize) {
    const unsigned long nNeeded = part.size() + 1;
    if (pchDst == nullptr || nSize < nNeeded) return static_cast<long>(nNeeded);
    part.copy(pchDst, part.size());
    pchDst[part.size()] = '\0';
    return 0;
}

}  // namespace

void MakeUnifiedPath(char* pszPath) {
    if (pszPath == nullptr) return;
    // Deliberately (Q13) kept: a leading pair names a server.
    const bool bServer = pszPath[0] == kWinSeparator && pszPath[1] == kWinSeparator;
    ReplaceSeparator(bServer ? pszPath + 2 : pszPath, kWinSeparator, kSeparator);
}

void MakeUnifiedPath(String& strPath) { ReplaceIn(strPath, kWinSeparator, MakeUnifiedPath); }

void MakeWinPath(char* pszPath) {
    if (pszPath != nullptr) ReplaceSeparator(pszPath, kSeparator, kWinSeparator);
}

void MakeWinPath(String& strPath) { ReplaceIn(strPath, kSeparator, MakeWinPath); }

String FolderPart(const String& strPath) { return strPath.Left(strPath.ReverseFind(kSeparator) + 1); }

long UnifiedPathParseFilePath(const char* pszPath, char* pchDst, unsigned long nSize) {
    if (pszPath == nullptr) return -1;
    return CopyPart(FolderPart(std::string_view(pszPath)), pchDst, nSize);
}

long UnifiedPathParseFileName(const char* pszPath, char* pchDst, unsigned long nSize) {
    if (pszPath == nullptr) return -1;
    return CopyPart(NamePart(pszPath), pchDst, nSize);
}

int FullPathMakeFSRef(const char* pszPath, FSRef& ref) {
    if (pszPath == nullptr) return kErrNoPath;
    const std::unique_ptr<char, decltype(&std::free)> pszReal(realpath(pszPath, nullptr), &std::free);
    if (pszReal == nullptr) return -errno;
    ref.strPath = pszReal.get();
    return 0;
}

int FullPathMakeFSSpec(const char* pszPath, FSSpec& spec) {
    FSRef ref;
    if (const int nError = FullPathMakeFSRef(pszPath, ref)) return nError;
    const int nNameAt = ref.strPath.ReverseFind(kSeparator) + 1;
    spec = {ref.strPath.Left(nNameAt), ref.strPath.Mid(nNameAt)};
    return 0;
}

int FullPathResolveAlias(const char* pszPath, bool& bIsFolder, unsigned long& nSize, char* pchDst) {
    FSRef ref;
    if (const int nError = FullPathMakeFSRef(pszPath, ref)) return nError;
    struct stat status;
    if (stat(ref.strPath, &status) != 0) return -errno;
    bIsFolder = S_ISDIR(status.st_mode);

    const auto nNeeded = static_cast<unsigned long>(ref.strPath.GetLength()) + 1;
    if (nSize < nNeeded) {
        nSize = nNeeded;
        return kErrNoRoom;
    }
    if (pchDst != nullptr) std::memcpy(pchDst, ref.strPath.c_str(), nNeeded);
    return 0;
}

bool GetFreeSpace(const char* pszPath, uint64_t& nBytes) {
    struct statvfs volume {};
    if (statvfs(pszPath, &volume) != 0) return false;
    nBytes = uint64_t{volume.f_bavail} * volume.f_frsize;
    return true;
}

bool DeleteThisFile(const char* pszPath) { return pszPath != nullptr && std::remove(pszPath) == 0; }

bool DeleteThisDir(const char* pszPath) { return pszPath != nullptr && rmdir(pszPath) == 0; }

void PrintPosixError(const char* pszText, int nError) {
    if (const char* pszError = strerrordesc_np(nError))
        std::fprintf(stderr, "%s: %s\n", pszText, pszError);
    else
        std::fprintf(stderr, "%s: error %d\n", pszText, nError);
    std::fflush(stderr);
}

}  // namespace Kestrova
