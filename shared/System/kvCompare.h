// kvCompare.h - comparison and copies of plain texts and bytes that may be null.
// Copies are plain allocations: the receiver releases them with free.
#pragma once

namespace Kestrova {

// Compares two texts without regard to the letter case (strcasecmp): below, equal to or above 0.
// Null and empty texts are equal to each other and come before every other: -1, 0 or 1.
int CompareString(const char* pszA, const char* pszB);
// The same with regard to the letter case (strcmp).
int CompareStringCase(const char* pszA, const char* pszB);

// A copy of the text; null for a null or empty text, or without memory.
char* CreateString(const char* pszText);

// Copies nSize bytes to *ppOut and stores the size in *pnOutSize. Nothing to copy (null or size 0) stores
// null and 0 and succeeds. false without memory, with null and 0 stored.
bool CreateMem(const void* pSource, unsigned long nSize, void** ppOut, unsigned long* pnOutSize);

}  // namespace Kestrova
