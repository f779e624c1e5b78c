#include "tools/kvbank/folder/Leftovers.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "bank/place/PartFile.h"
#include "bank/place/PrivateFolder.h"
#include "shared/System/kvDirectory.h"
#include "tools/kvbank/folder/BankCheck.h"
#include "tools/kvbank/sums/BankSums.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

void FindBanks(const fs::path& dir, bool bHasLocks, std::vector<FoundLeftover>& found, int& nError) {
    const auto isLeft = [bHasLocks](const char* pszPath) {
        return bHasLocks ? CSDB::IsInterruptedBuild(pszPath, kSdbFormatEnriched)
                         : CSDB::IsUnfinishedBuild(pszPath, kSdbFormatEnriched);
    };
    const Hold hold = bHasLocks ? Hold::Free : Hold::Unknown;
    std::vector<std::string> names;
    nError = ReadFolderNames(dir.c_str(), names);
    for (const std::string& strName : names)
        if (const fs::path path = dir / strName; ParseAnyBankName(strName) && isLeft(path.c_str()))
            found.push_back({path, LeftoverKind::Bank, hold});
}

int ErrorOf(int nResult) { return nResult == 0 || errno == ENOENT ? 0 : errno; }

// The lock keeps others from building there until the file has been removed.
int RemoveBank(const fs::path& path) {
    CXFile held;
    if (CSDB::HoldInterruptedBuild(path.c_str(), kSdbFormatEnriched, held))
        return ErrorOf(unlink(path.c_str()));
    return EBUSY;
}

// errno, or 0. Of the private folders, all that can be removed has been removed already.
int Remove(const FoundLeftover& leftover) {
    switch (leftover.kind) {
        case LeftoverKind::PrivateFolder: return ErrorOf(rmdir(leftover.path.c_str()));
        case LeftoverKind::PartFile:
        case LeftoverKind::SumsFile: return RemoveTemporaryFile(leftover.path.string());
        case LeftoverKind::Bank: break;
    }
    return RemoveBank(leftover.path);
}

}  // namespace

const char* KindName(LeftoverKind kind) {
    switch (kind) {
        case LeftoverKind::PrivateFolder: return "private folder";
        case LeftoverKind::PartFile: return "part file";
        case LeftoverKind::SumsFile: return "sums file";
        case LeftoverKind::Bank: break;
    }
    return "interrupted bank";
}

std::vector<FoundLeftover> FindLeftovers(const fs::path& dir, std::error_code& error) {
    std::vector<FoundLeftover> found;
    const bool bHasLocks = FolderLock::Ask(dir) != Hold::Unknown;
    const Hold used = bHasLocks ? Hold::Held : Hold::Unknown;
    std::array<int, 4> errors{};  // of the four looks
    FindBanks(dir, bHasLocks, found, errors[0]);
    for (const PrivateFolder::Found& folder : PrivateFolder::FindIn(dir, &errors[1]))
        found.push_back({folder.path, LeftoverKind::PrivateFolder, folder.hold});
    const auto addTemporary = [&](const std::vector<std::string>& paths, LeftoverKind kind) {
        for (const std::string& strPath : paths)
            found.push_back({strPath, kind, IsTemporaryFileHeld(strPath) ? used : Hold::Free});
    };
    addTemporary(PartFile::FindIn(dir, &errors[2]), LeftoverKind::PartFile);
    addTemporary(FindNewSums(dir.string(), &errors[3]), LeftoverKind::SumsFile);
    error.assign(*std::max_element(errors.begin(), errors.end()), std::generic_category());
    std::sort(found.begin(), found.end(),
              [](const FoundLeftover& a, const FoundLeftover& b) { return a.path < b.path; });
    return found;
}

std::vector<FoundLeftover> RemoveLeftovers(const fs::path& dir, const FolderLock& turn,
                                           std::error_code& error) {
    std::vector<FoundLeftover> found = FindLeftovers(dir, error);
    PrivateFolder::RemoveAbandoned(dir, turn);
    for (FoundLeftover& leftover : found)
        if (leftover.hold == Hold::Free) leftover.nError = Remove(leftover);
    return found;
}

}  // namespace Kestrova
