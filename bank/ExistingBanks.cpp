#include "bank/ExistingBanks.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "bank/BankFileName.h"
#include "bank/FileAnswer.h"
#include "bank/SourceAnalysis.h"
#include "shared/System/kvCompare.h"
#include "shared/System/kvDirectory.h"
#include "shared/System/kvPath.h"

namespace Kestrova {
namespace {

constexpr int kSeveralBanks = 3;

int KindOf(BankLayout layout) { return layout == BankLayout::PerKey ? 2 : 1; }

// One bank file of a source, as the folder walk finds it.
struct FoundBank {
    const char* pszPath;  // good during the visit
    BankFileName name;
};

// Visits every file of the folder that has a bank's name. Stops at the first
// outcome other than done, and returns it.
template <class TVisit>
BankOutcome ForEachBank(const BankShelf& shelf, TVisit visit) {
    std::string strFolder(shelf.folder);
    if (strFolder.back() != '/') strFolder += '/';
    Directory directory;
    if (!directory.Open(strFolder.c_str(), ExistingFilter, nullptr)) return {};
    tagDirObjInfo object;
    while (directory.GetObject(&object)) {
        const char* const pszSlash = std::strrchr(object.strPath.c_str(), '/');
        if (pszSlash == nullptr) continue;
        const std::optional<BankFileName> name = ParseBankFileName(pszSlash + 1, shelf.baseName);
        if (!name) continue;
        const BankOutcome outcome = visit(FoundBank{object.strPath.c_str(), *name});
        if (!outcome.IsDone()) return outcome;
    }
    return {};
}

// The system had too little memory, or too few file handles, to look at a
// file. The answer "no" then means nothing.
bool IsWant(int nError) { return nError == ENOMEM || nError == EMFILE || nError == ENFILE; }

// errno tells the cause too, for those who only get the result.
BankOutcome Want(int nError) {
    errno = nError;
    return {.result = kBankNoMemory, .nError = nError};
}

FileAnswer AddFileLength(const char* pszPath, uint64_t& nTotal) {
    CXFile file;
    unsigned long long nLength = 0;
    const FileAnswer measured =
        AskFile(file, [&] { return file.Open(pszPath, 0) && file.SeekToEnd(nLength); });
    nTotal += nLength;
    return measured;
}

}  // namespace

bool ExistingFilter(tagDirObjInfo* pObject, void*) {
    if ((pObject->nFlags & kDirObjIsFolder) != 0) return false;
    const char* const pszSuffix = std::strrchr(pObject->strPath.c_str(), '.');
    return CompareString(pszSuffix, ".kvn") == 0 || CompareString(pszSuffix, ".kvr") == 0;
}

BankOutcome FindExisting(const BankShelf& shelf, int kinds[kRateCount], unsigned int* pMegabytes) {
    std::fill_n(kinds, kRateCount, 0);
    uint64_t nTotal = 0;
    const BankOutcome outcome = ForEachBank(shelf, [&](const FoundBank& bank) -> BankOutcome {
        int& nKind = kinds[bank.name.nRateIndex];
        // Deliberate (Q104): two files of one letter count as several banks.
        nKind = nKind == 0 ? KindOf(bank.name.layout) : kSeveralBanks;
        if (pMegabytes == nullptr) return {};
        const FileAnswer measured = AddFileLength(bank.pszPath, nTotal);
        if (measured) return {};
        return TargetFault(kBankSourceNotOpened, kSdbAny, kSdbNoID, "", measured.nError);
    });
    if (outcome.IsDone() && pMegabytes != nullptr) *pMegabytes = MegabytesRoundedUp(nTotal);
    return outcome;
}

BankOutcome FindOccupant(CSDB& source, const char* pszPath, Occupant& occupant) {
    CXFile looked;
    const FileAnswer same = AskFile(looked, [&] { return source.SameFile(pszPath, looked); });
    const FileAnswer held = AskFile(looked, [&] { return CSDB::IsHeld(pszPath, looked); });
    occupant = same ? Occupant::Source : held ? Occupant::Build : Occupant::None;
    if (same) return {};
    for (const int nError : {same.nError, held.nError})
        if (IsWant(nError)) return Want(nError);
    // A lock that cannot be asked for may be held: the file stays, but the reason is another one.
    const int nLockError = held ? looked.GetFirstError() : 0;
    if (nLockError == 0 || nLockError == EWOULDBLOCK) return {};
    errno = nLockError;
    return TargetFault(kBankTargetNotCreated, kSdbAny, kSdbNoID, "it cannot be locked", nLockError);
}

BankOutcome RemoveBank(CSDB& source, const char* pszPath) {
    Occupant occupant = Occupant::None;
    if (const BankOutcome found = FindOccupant(source, pszPath, occupant); !found.IsDone()) return found;
    if (occupant == Occupant::Source) return {.result = kBankBadArgument};
    if (occupant == Occupant::None) DeleteThisFile(pszPath);
    return {};
}

BankOutcome RemoveBanks(CSDB& source, const BankShelf& shelf, unsigned int nRate, int nWhich) {
    if (nWhich < 0 || nWhich > 3) return {.result = kBankBadArgument};
    for (const BankLayout layout : {BankLayout::PerKey, BankLayout::Plain}) {
        if ((nWhich & KindOf(layout)) == 0) continue;
        const std::string strPath = MakeBankFileName(shelf.folder, shelf.baseName, nRate, layout);
        const BankOutcome removed = RemoveBank(source, strPath.c_str());
        if (removed.result == kBankNoMemory) return removed;
    }
    return {};
}

BankOutcome RemoveInterruptedBuilds(CSDB& source, const BankShelf& shelf, unsigned int& nRemoved) {
    nRemoved = 0;
    return ForEachBank(shelf, [&](const FoundBank& bank) {
        Occupant occupant = Occupant::None;
        const BankOutcome found = FindOccupant(source, bank.pszPath, occupant);
        if (found.result == kBankNoMemory) return found;
        if (occupant != Occupant::None) return BankOutcome();
        CXFile held;
        const FileAnswer interrupted =
            AskFile(held, [&] { return CSDB::HoldInterruptedBuild(bank.pszPath, kSdbFormatEnriched, held); });
        if (interrupted) nRemoved += DeleteThisFile(bank.pszPath);
        return IsWant(interrupted.nError) ? Want(interrupted.nError) : BankOutcome();
    });
}

}  // namespace Kestrova
