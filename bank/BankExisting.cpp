// The banks that lie in the destination folder: found by name, removed, and cleaned of interrupted builds.
#include <algorithm>
#include <cstring>

#include "bank/DBEUCreate.h"
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

// Visits every file of the folder that bears a bank's name; a folder that cannot be opened has none. Stops at
// the first answer other than done and returns it.
template <class TVisit>
BankResult ForEachBank(const char* pszFolder, std::string_view baseName, TVisit visit) {
    std::string strFolder(pszFolder);
    if (strFolder.back() != '/') strFolder += '/';
    Directory directory;
    if (!directory.Open(strFolder.c_str(), ExistingFilter, nullptr)) return kBankDone;
    tagDirObjInfo object;
    while (directory.GetObject(&object)) {
        const char* const pszSlash = std::strrchr(object.strPath, '/');
        if (pszSlash == nullptr) continue;
        const std::optional<BankFileName> name = ParseBankFileName(pszSlash + 1, baseName);
        if (!name) continue;
        if (const BankResult result = visit(FoundBank{object.strPath, *name}); result != kBankDone)
            return result;
    }
    return kBankDone;
}

bool AddFileLength(const char* pszPath, uint64_t& nTotal) {
    CXFile file;
    unsigned long long nLength = 0;
    if (!file.Open(pszPath, 0) || !file.SeekToEnd(nLength)) return false;
    nTotal += nLength;
    return true;
}

}  // namespace

bool ExistingFilter(tagDirObjInfo* pObject, void*) {
    if ((pObject->nFlags & kDirObjIsFolder) != 0) return false;
    const char* const pszSuffix = std::strrchr(pObject->strPath, '.');
    return CompareString(pszSuffix, ".kvn") == 0 || CompareString(pszSuffix, ".kvr") == 0;
}

BankResult CDBEUCreate::GetExisting(int kinds[kRateCount], unsigned int* pMegabytes) {
    if (kinds == nullptr) return kBankBadArgument;
    if (!HasNames()) return kBankNotReady;
    std::fill_n(kinds, kRateCount, 0);
    uint64_t nTotal = 0;
    const BankResult result = ForEachBank(m_pszFolder.get(), GetBaseName(), [&](const FoundBank& bank) {
        int& nKind = kinds[bank.name.nRateIndex];
        nKind = nKind == 0 ? KindOf(bank.name.layout) : kSeveralBanks;
        const bool bMeasured = pMegabytes == nullptr || AddFileLength(bank.pszPath, nTotal);
        return bMeasured ? kBankDone : kBankSourceNotOpened;
    });
    if (result == kBankDone && pMegabytes != nullptr) *pMegabytes = MegabytesRoundedUp(nTotal);
    return result;
}

BankResult CDBEUCreate::RemoveDB(const char* pszPath) {
    if (pszPath == nullptr || m_dbSource.SameFile(pszPath)) return kBankBadArgument;
    DropAbandonedTarget();
    if (!CSDB::IsHeld(pszPath)) DeleteThisFile(pszPath);
    return kBankDone;
}

BankResult CDBEUCreate::RemoveDB(unsigned int nRate, int nWhich) {
    if (!IsBuildableRate(nRate)) return kBankBadArgument;
    if (!HasNames()) return kBankNotReady;
    if (nWhich < 0 || nWhich > 3) return kBankBadArgument;
    for (const BankLayout layout : {BankLayout::PerKey, BankLayout::Plain})
        if ((nWhich & KindOf(layout)) != 0) RemoveDB(BankPath(nRate, layout).c_str());
    return kBankDone;
}

BankResult CDBEUCreate::RemoveInterrupted(unsigned int& nRemoved) {
    nRemoved = 0;
    if (!HasNames()) return kBankNotReady;
    DropAbandonedTarget();
    return ForEachBank(m_pszFolder.get(), GetBaseName(), [&](const FoundBank& bank) {
        CXFile held;
        if (!m_dbSource.SameFile(bank.pszPath) &&
            CSDB::HoldInterruptedBuild(bank.pszPath, kSdbFormatEnriched, held))
            nRemoved += DeleteThisFile(bank.pszPath);
        return kBankDone;
    });
}

}  // namespace Kestrova
