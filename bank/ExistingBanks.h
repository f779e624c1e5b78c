// ExistingBanks.h - the banks of a source that lie in a folder: found by name, removed, and cleaned of
// interrupted builds.
#pragma once

#include <string>
#include <string_view>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "bank/BankOutcome.h"
#include "bank/BankRates.h"

namespace Kestrova {

struct tagDirObjInfo;

// Where banks are looked for, and the base name of their files; neither is
// empty. The texts must outlive the operation.
struct BankShelf {
    std::string_view folder;
    std::string_view baseName;
};

// All may throw std::bad_alloc. A folder that cannot be opened has no banks.

// Per rate 0 none, 1 plain, 2 per key, 3 several; pMegabytes, when given, receives the space they take, in
// MiB rounded up. A bank that cannot be measured ends the search as "not opened": pMegabytes stays unset.
BankOutcome FindExisting(const BankShelf& shelf, int kinds[kRateCount], unsigned int* pMegabytes);

// Who uses the file at a path, so that it must not be removed.
enum class Occupant { None, Source, Build };

// Finds the occupant: the open source, or another process that is building a bank there. The outcome is no
// memory when there are too little memory or too few file handles to find out.
BankOutcome FindOccupant(CSDB& source, const char* pszPath, Occupant& occupant);

// Removes one file, unless it is the open source (bad argument), or another process is building it (skipped).
// The outcome does not tell whether the file could be removed.
BankOutcome RemoveBank(CSDB& source, const char* pszPath);

// Removes the banks of a rate; nWhich: 0 nothing, 1 the plain, 2 the per-key one, 3 both.
BankOutcome RemoveBanks(CSDB& source, const BankShelf& shelf, unsigned int nRate, int nWhich);

// Removes the leftovers of interrupted builds, and nothing else; nRemoved counts the files.
BankOutcome RemoveInterruptedBuilds(CSDB& source, const BankShelf& shelf, unsigned int& nRemoved);

// The filter of the folder walk: keeps files whose name ends in ".kvn" or ".kvr", letter case ignored.
bool ExistingFilter(tagDirObjInfo* pObject, void* pUser);

}  // namespace Kestrova
