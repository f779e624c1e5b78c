#include "shared/System/kvCompare.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>

namespace Kestrova {

namespace {

bool IsEmptyText(const char* psz) { return psz == nullptr || *psz == '\0'; }

int CompareTexts(const char* pszA, const char* pszB, int (*pfnCompare)(const char*, const char*)) {
    if (IsEmptyText(pszA) || IsEmptyText(pszB)) return int(IsEmptyText(pszB)) - int(IsEmptyText(pszA));
    return pfnCompare(pszA, pszB);
}

}  // namespace

int CompareString(const char* pszA, const char* pszB) { return CompareTexts(pszA, pszB, strcasecmp); }

int CompareStringCase(const char* pszA, const char* pszB) { return CompareTexts(pszA, pszB, std::strcmp); }

char* CreateString(const char* pszText) { return IsEmptyText(pszText) ? nullptr : strdup(pszText); }

bool CreateMem(const void* pSource, unsigned long nSize, void** ppOut, unsigned long* pnOutSize) {
    *ppOut = nullptr;
    *pnOutSize = 0;
    if (pSource == nullptr || nSize == 0) return true;
    *ppOut = std::malloc(nSize);
    if (*ppOut == nullptr) return false;
    std::memcpy(*ppOut, pSource, nSize);
    *pnOutSize = nSize;
    return true;
}

}  // namespace Kestrova
