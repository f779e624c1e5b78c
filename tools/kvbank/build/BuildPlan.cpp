#include "tools/kvbank/build/BuildPlan.h"

#include <algorithm>
#include <new>

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kBytesPerMegabyte = 1 << 20;

bool SameFile(const fs::path& a, const fs::path& b) {
    std::error_code ignored;
    return fs::equivalent(a, b, ignored);
}

const BankFile* FirstIn(const std::vector<BankFile>& banks, BankState state) {
    const auto pFound = std::find_if(banks.begin(), banks.end(),
                                     [state](const BankFile& bank) { return bank.state == state; });
    return pFound == banks.end() ? nullptr : &*pFound;
}

// Whether a file may be replaced without -f: it was a bank and is damaged. Deliberate (Q108): a damaged
// database of the plain kind stays, because it may be somebody's source.
bool IsReplaceable(const BankFile& bank) { return bank.state == BankState::Damaged && bank.bEnriched; }

// The banks of the rate that count. Leftovers of interrupted builds do not count, nor do banks in a private
// folder when the system cannot tell whether its build still runs.
std::vector<BankFile> FindBanks(const BuildOptions& options, const CDBEUCreate& engine, unsigned int nRate,
                                const fs::path& own, std::error_code& error) {
    std::vector<BankFile> banks = ListBanks(options.strFolder, engine.GetBaseName(), error, {nRate});
    // A folder that is not there, or is none, has no banks; a build says so where it takes its turn.
    if (IsNoFolder(error)) error.clear();
    std::erase_if(banks, [&](const BankFile& bank) {
        return bank.state == BankState::Interrupted || bank.state == BankState::Unfinished ||
               bank.path.parent_path() == own;
    });
    return banks;
}

BuildAction ActionFor(const BankFile& bank) {
    switch (bank.state) {
        case BankState::Complete: return BuildAction::SkipExisting;
        case BankState::Stale: return BuildAction::Stale;
        default: return BuildAction::InTheWay;
    }
}

// Of several banks the one in the layout asked for decides.
const BankFile& Deciding(const std::vector<BankFile>& banks, BankLayout layout) {
    const auto pAskedFor = std::find_if(banks.begin(), banks.end(),
                                        [layout](const BankFile& bank) { return bank.layout == layout; });
    return pAskedFor != banks.end() ? *pAskedFor : banks.front();
}

}  // namespace

BuildFinding LookAt(const BuildOptions& options, const CDBEUCreate& engine, BankOrigin& origin,
                    const BuildPlan& plan, const fs::path& own) {
    const fs::path target = fs::path(options.strFolder) / plan.strName;
    if (SameFile(target, options.strSource)) return {.action = BuildAction::SkipSource};
    if (const char* const pszKind = WhyNoFile(target))
        return {BuildAction::InTheWay, {.path = target, .strCause = pszKind}};
    std::error_code error;
    std::vector<BankFile> banks = FindBanks(options, engine, plan.nRate, own, error);
    if (error)
        return {BuildAction::InTheWay,
                {.path = options.strFolder, .state = BankState::Unreadable, .strCause = error.message()}};
    if (const BankFile* const pBusy = FirstIn(banks, BankState::BeingBuilt))
        return {BuildAction::Busy, *pBusy};
    if (options.bForce || banks.empty()) return {};
    const BankFile first = Deciding(banks, options.layout);
    std::erase_if(banks, IsReplaceable);
    if (banks.empty()) return {BuildAction::Build, first};
    BankFile bank = Deciding(banks, options.layout);
    origin.Check(bank);
    return {ActionFor(bank), bank};
}

std::vector<BuildPlan> MakePlans(const BuildOptions& options, const CDBEUCreate& engine) {
    std::vector<BuildPlan> plans;
    for (const unsigned int nRate : options.arRates) {
        BuildPlan plan;
        plan.nRate = nRate;
        plan.strName = MakeBankFileName("", engine.GetBaseName(), nRate, options.layout).substr(1);
        const bool bPerKey = options.layout == BankLayout::PerKey;
        if (engine.Prediction(nRate, bPerKey, plan.nMegabytes) == kBankNoMemory) throw std::bad_alloc();
        plans.push_back(plan);
    }
    return plans;
}

uint64_t PredictedBytes(const BuildPlan& plan) { return plan.nMegabytes * kBytesPerMegabyte; }

}  // namespace Kestrova
