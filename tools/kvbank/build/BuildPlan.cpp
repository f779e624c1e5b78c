#include "tools/kvbank/build/BuildPlan.h"

#include <algorithm>
#include <cstring>

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kBytesPerMegabyte = 1 << 20;

bool SameFile(const fs::path& a, const fs::path& b) {
    std::error_code ignored;
    return fs::equivalent(a, b, ignored);
}

// The banks of the rate that count: what builds that died have left does not.
std::vector<BankFile> FindBanks(const BuildOptions& options, const CDBEUCreate& engine, unsigned int nRate,
                                const fs::path& own) {
    std::error_code ignored;  // a folder that cannot be read cannot be locked either
    std::vector<BankFile> banks = ListBanks(options.strFolder, engine.GetBaseName(), ignored, nRate);
    std::erase_if(banks, [&](const BankFile& bank) {
        return bank.state == BankState::Interrupted || bank.path.parent_path() == own;
    });
    return banks;
}

}  // namespace

BuildFinding LookAt(const BuildOptions& options, const CDBEUCreate& engine, const BuildPlan& plan,
                    const fs::path& own) {
    const fs::path target = fs::path(options.strFolder) / plan.strName;
    if (SameFile(target, options.strSource)) return {.action = BuildAction::SkipSource};
    if (const char* const pszKind = WhyNoFile(target))
        return {BuildAction::InTheWay, {.path = target, .strCause = pszKind}};
    const std::vector<BankFile> banks = FindBanks(options, engine, plan.nRate, own);
    const auto pBusy = std::find_if(banks.begin(), banks.end(),
                                    [](const BankFile& bank) { return bank.state == BankState::BeingBuilt; });
    if (pBusy != banks.end()) return {BuildAction::Busy, *pBusy};
    if (options.bForce || banks.empty()) return {};
    const auto pAskedFor = std::find_if(banks.begin(), banks.end(),
                                        [&](const BankFile& bank) { return bank.layout == options.layout; });
    const BankFile& bank = pAskedFor != banks.end() ? *pAskedFor : banks.front();
    return {bank.state == BankState::Complete ? BuildAction::SkipExisting : BuildAction::InTheWay, bank};
}

std::vector<BuildPlan> MakePlans(const BuildOptions& options, const CDBEUCreate& engine) {
    std::vector<BuildPlan> plans;
    for (const unsigned int nRate : options.arRates) {
        BuildPlan plan;
        plan.nRate = nRate;
        plan.strName = MakeBankFileName("", engine.GetBaseName(), nRate, options.layout).substr(1);
        plan.finding = LookAt(options, engine, plan);
        engine.Prediction(nRate, options.layout == BankLayout::PerKey, plan.nMegabytes);
        plans.push_back(plan);
    }
    return plans;
}

ExitCode SayNoTurn(Console& console, const FolderLock& turn, const BuildOptions& options) {
    switch (turn.GetOutcome()) {
        case FolderLock::Outcome::Cancelled:
            console.Error(options.strSource + ": " + DescribeResult(kBankCancelled));
            return kExitProblem;
        case FolderLock::Outcome::Busy:
            console.Error(options.strFolder + ": another process keeps the folder locked");
            return kExitBusy;
        default: console.Error(options.strFolder + ": " + std::strerror(turn.GetError())); return kExitOutput;
    }
}

uint64_t PredictedBytes(const BuildPlan& plan) { return plan.nMegabytes * kBytesPerMegabyte; }

}  // namespace Kestrova
