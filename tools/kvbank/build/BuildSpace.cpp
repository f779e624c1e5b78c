#include "tools/kvbank/build/BuildSpace.h"

#include <cerrno>
#include <system_error>

#include "shared/System/kvPath.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

uint64_t BytesReplaced(const BuildOptions& options, const CDBEUCreate& engine, unsigned int nRate) {
    std::error_code ignored;
    uint64_t nBytes = 0;
    for (const BankFile& bank : ListBanks(options.strFolder, engine.GetBaseName(), ignored, {nRate})) {
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

uint64_t FileSize(const fs::path& path) {
    std::error_code error;
    const uintmax_t nSize = fs::file_size(path, error);
    return error ? 0 : nSize;
}

BuildSpace MeasureSpace(const BuildOptions& options, const CDBEUCreate& engine, BankOrigin& origin) {
    BuildSpace space;
    for (BuildPlan& plan : MakePlans(options, engine)) {
        plan.finding = LookAt(options, engine, origin, plan);
        RateSpace rate{.plan = plan};
        if (plan.finding.action == BuildAction::Build) {
            rate.nNeeded = PredictedBytes(plan);
            rate.nFreed = BytesReplaced(options, engine, plan.nRate);
        }
        space.nNeeded += rate.nNeeded;
        space.nFreed += rate.nFreed;
        space.rates.push_back(rate);
    }
    if (!GetFreeSpace(ExistingAncestor(options.strFolder).c_str(), space.nFree)) space.nError = errno;
    return space;
}

}  // namespace Kestrova
