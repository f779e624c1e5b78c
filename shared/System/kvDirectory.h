// kvDirectory.h - the names in a folder; a walk over its entries, with the caller's filter.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Kestrova {

// Sets the names of a folder's entries, in byte order, without "." and "..". 0; or errno when the folder
// cannot be read to its end, with no names then. Throws std::bad_alloc, unlike the iterators of the standard
// library, which end the process when memory runs out within them.
int ReadFolderNames(const char* pszFolder, std::vector<std::string>& names);

// The flags of a folder and of a symbolic link that leads to one; everything else has 0. Bit 0 tells a folder
// in both cases, bit 31 a folder that is no link.
inline constexpr uint32_t kDirObjIsFolder = 1;
inline constexpr uint32_t kDirObjFolder = 0x80000000u | kDirObjIsFolder;
inline constexpr uint32_t kDirObjAliasOfFolder = kDirObjIsFolder;

// One entry, as filters and callers see it.
struct tagDirObjInfo {
    uint32_t nFlags = 0;
    uint32_t nReserved = 0;  // always 0
    std::string strPath;     // absolute; of a link its own path, not that of its target
};

// Yields the entries of a folder in the byte order of their names; "." and ".." are left out.
// One object serves one thread. The names are those at the time of Open; entries
// that have been removed since are left out.
// Errors: values; throws std::bad_alloc.
class Directory {
public:
    // true accepts the entry. pUser is the value given to Open.
    using Filter = bool (*)(tagDirObjInfo* pInfo, void* pUser);

    // Begins a walk over the folder part of a unified path ("/a/b" walks "/a/"; null walks "/"), ending the
    // one before. A null filter accepts everything. false when the folder cannot be read.
    bool Open(const char* pszPath, Filter pfnFilter, void* pUser);

    // Goes to the next accepted entry and copies it to pInfo, unless that is null.
    // false at the end of the folder or when not open.
    bool GetObject(tagDirObjInfo* pInfo);

    void Close();

private:
    bool Describe(const std::string& strName, tagDirObjInfo& info) const;
    bool Accepts(tagDirObjInfo& info) const { return m_pfnFilter == nullptr || m_pfnFilter(&info, m_pUser); }

    bool m_bOpen = false;
    Filter m_pfnFilter = nullptr;
    void* m_pUser = nullptr;
    std::string m_strFolder;  // absolute, ends in "/"
    std::vector<std::string> m_arNames;
    size_t m_nNext = 0;
};

}  // namespace Kestrova
