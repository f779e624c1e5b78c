#include "tools/kvbank/build/BuildSpace.h"

#include <cerrno>
#include <system_error>

#include "shared/System/kvPath.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

// The first is kept.
void NoteUnread(const fs::path& path, const std::string& strCause, std::string& strUnread) {
    if (strUnread.empty()) strUnread = path.string() + ": " + strCause;
}

uint64_t BytesReplaced(const BuildOptions& options, const CDBEUCreate& engine, unsigned int nRate,
                       std::string& strUnread) {
    std::error_code error, ignored;
    uint64_t nBytes = 0;
    const std::vector<BankFile> banks = ListBanks(options.strFolder, engine.GetBaseName(), error, {nRate});
    if (error && !IsNoFolder(error)) NoteUnread(options.strFolder, error.message(), strUnread);
    for (const BankFile& bank : banks) {
        if (bank.state == BankState::Unreadable) NoteUnread(bank.path, bank.strCause, strUnread);
        const bool bReplaced = bank.state == BankState::Complete || bank.state == BankState::Stale ||
                               bank.state == BankState::Damaged;
        if (bReplaced && !bank.bInPrivateFolder && !fs::equivalent(bank.path, options.strSource, ignored))
            nBytes += bank.nBytes;
    }
    return nBytes;
}

}  // namespace

fs::path ExistingAncestor(fs::path path) {
    std::error_code ignored;
    path = fs::absolute(path, ignored);
    while (!fs::exists(path, ignored) && path.has_relative_path()) path = path.parent_path();
    return path;
}

uint64_t FileSize(const fs::path& path, int* pnError) {
    std::error_code error;
    const uintmax_t nSize = fs::file_size(path, error);
    if (pnError != nullptr) *pnError = error.value();
    return error ? 0 : nSize;
}

BuildSpace MeasureSpace(const BuildOptions& options, const CDBEUCreate& engine, BankOrigin& origin) {
    BuildSpace space;
    for (BuildPlan& plan : MakePlans(options, engine)) {
        plan.finding = LookAt(options, engine, origin, plan);
        RateSpace rate{.plan = plan};
        if (plan.finding.action == BuildAction::Build) {
            rate.nNeeded = PredictedBytes(plan);
            rate.nFreed = BytesReplaced(options, engine, plan.nRate, space.strUnread);
        } else if (const BankFile& bank = plan.finding.bank; bank.state == BankState::Unreadable) {
            NoteUnread(bank.path, bank.strCause, space.strUnread);
        }
        space.nNeeded += rate.nNeeded;
        space.nFreed += rate.nFreed;
        space.rates.push_back(rate);
    }
    if (!GetFreeSpace(ExistingAncestor(options.strFolder).c_str(), space.nFree)) space.nError = errno;
    return space;
}

}  // namespace Kestrova
