// BuildPlan.h - what is asked of a build, and what there is to do about each bank.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "bank/DBEUCreate.h"
#include "tools/kvbank/compare/BankOrigin.h"
#include "tools/kvbank/folder/BankFolder.h"
#include "tools/kvbank/folder/FolderLock.h"

namespace Kestrova {

struct BuildOptions {
    std::string strSource;
    std::string strFolder;
    std::vector<unsigned int> arRates;
    BankLayout layout = BankLayout::Plain;
    int nQuality = kHighestQuality;
    bool bForce = false;
    bool bDryRun = false;
    bool bSums = false;  // a sums file beside each bank that is built
    bool bIgnoreSpace = false;
    bool bEngineNumbers = false;  // causes end with the engine's number
    std::chrono::milliseconds turnWait = kTurnWait;
    std::optional<std::chrono::seconds> wait;  // how long other builds are waited for; none: not at all
};

enum class BuildAction {
    Build,
    SkipExisting,
    SkipSource,
    Stale,    // a bank of another source has the place
    Busy,     // another process is building the bank, in whatever layout
    InTheWay  // a file that is no usable bank has its name, or something that is no file
};

// What a look into the folder gives.
struct BuildFinding {
    BuildAction action = BuildAction::Build;
    BankFile bank = {};  // that decides it; of Build: the damaged one that is built anew, if any
};

// One bank.
struct BuildPlan {
    unsigned int nRate = 0;
    unsigned int nMegabytes = 0;  // predicted
    std::string strName;          // of the file, without folder
    BuildFinding finding;
};

// Looks into the folder for what has the bank's place, its other layout's, or the mark of a build; marks in
// the folder `own` are the caller's. REQUIRES: origin is of the source in the options.
BuildFinding LookAt(const BuildOptions& options, const CDBEUCreate& engine, BankOrigin& origin,
                    const BuildPlan& plan, const std::filesystem::path& own = {});

// One for each rate, without a finding. REQUIRES: the engine has analysed the source.
std::vector<BuildPlan> MakePlans(const BuildOptions& options, const CDBEUCreate& engine);

// Predicted sizes as bytes.
uint64_t PredictedBytes(const BuildPlan& plan);

}  // namespace Kestrova
