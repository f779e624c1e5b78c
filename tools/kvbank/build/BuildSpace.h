// BuildSpace.h - the space that a build would take, free again, and find.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/kvbank/build/BuildPlan.h"

namespace Kestrova {

// The folder itself, or the nearest existing folder above it when it is still to be made.
std::filesystem::path ExistingAncestor(std::filesystem::path path);

// The bytes of a file; 0 when the system does not tell them. Sets *pnError, unless that is null, to errno or
// 0.
uint64_t FileSize(const std::filesystem::path& path, int* pnError = nullptr);

// Of one bank.
struct RateSpace {
    BuildPlan plan;
    uint64_t nNeeded = 0;  // predicted bytes; 0 when it would not be built
    uint64_t nFreed = 0;   // of the banks of that rate, in either layout, that it would replace
};

// A build needs the sum before it begins: what it frees is only free when a new bank has taken its place.
struct BuildSpace {
    std::vector<RateSpace> rates = {};
    uint64_t nNeeded = 0;
    uint64_t nFreed = 0;
    uint64_t nFree = 0;          // on the folder's disk, for this user
    int nError = 0;              // errno when the disk could not be asked
    std::string strUnread = {};  // the first bank, or the folder, that cannot be read, and why; the sums are
                                 // then without it
    bool Fits() const { return nNeeded <= nFree; }
};

// Looks at the folder as a build with these options would, and changes nothing. The folder need not be there.
// REQUIRES: the engine has analysed the source, and origin is of it.
BuildSpace MeasureSpace(const BuildOptions& options, const CDBEUCreate& engine, BankOrigin& origin);

}  // namespace Kestrova
