// kvPath.h - the system's path form ("/" is the only separator), its parts, aliases, and removal of files.
// Paths are held whole, whatever their length. Nothing throws; any thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "shared/System/kvString.h"

namespace Kestrova {

// Turns back-slashes into slashes. Two back-slashes at the very start stay. A null text is left alone.
void MakeUnifiedPath(char* pszPath);
void MakeUnifiedPath(String& strPath);

// Turns slashes into back-slashes. A null text is left alone.
void MakeWinPath(char* pszPath);
void MakeWinPath(String& strPath);

// The folder part of a unified path, up to and including the last "/"; empty when there is none.
constexpr std::string_view FolderPart(std::string_view path) {
    return path.substr(0, path.rfind('/') + 1);  // npos, no "/" at all, plus one is 0
}
String FolderPart(const String& strPath);
// The same in a buffer of the caller.
//   pchDst, nSize: the destination and its bytes; the text and its terminator are written when they fit
// 0 when copied; the needed bytes when pchDst is null or nSize too small; -1 for a null path.
long UnifiedPathParseFilePath(const char* pszPath, char* pchDst, unsigned long nSize);
// The name part, after the last "/" (the whole text when there is none), by the same rules.
long UnifiedPathParseFileName(const char* pszPath, char* pchDst, unsigned long nSize);

// An existing file or folder, by its absolute path free of links, "." and "..".
struct FSRef {
    String strPath;
};
// The same as the folder that holds it (ending in "/") and its name there; the root folder has no name.
struct FSSpec {
    String strFolder;
    String strName;
};

// Find the object that a path leads to. 0; -50 for a null path; else the
// negative errno, with the reference unchanged.
int FullPathMakeFSRef(const char* pszPath, FSRef& ref);
int FullPathMakeFSSpec(const char* pszPath, FSSpec& spec);

// Follows a chain of symbolic links to its end; a plain path resolves to itself.
//   bIsFolder: whether the end is a folder
//   nSize:     in, the bytes of pchDst; out, the needed bytes when they are more
//   pchDst:    gets the absolute path and its terminator; null copies nothing
// 0; -50 for a null path; -92 when nSize is too small; else the negative errno.
int FullPathResolveAlias(const char* pszPath, bool& bIsFolder, unsigned long& nSize, char* pchDst);

// The bytes that the user may still write to the file system that holds the path. False with errno set.
bool GetFreeSpace(const char* pszPath, uint64_t& nBytes);

// Removes a file (with the C library's remove, so an empty folder too); true on success.
bool DeleteThisFile(const char* pszPath);
// Removes an empty folder; true on success.
bool DeleteThisDir(const char* pszPath);

// Writes "%s: %s\n" with the caller's text and the text of a POSIX error to standard error, or "%s: error
// %d\n" when the error has no text, and flushes.
void PrintPosixError(const char* pszText, int nError);

}  // namespace Kestrova
