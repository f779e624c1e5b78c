// BuildPlan.h - what is asked of a build, and what there is to do about each bank.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "bank/DBEUCreate.h"
#include "bank/place/FolderLock.h"
#include "tools/kvbank/compare/BankOrigin.h"
#include "tools/kvbank/folder/BankFolder.h"
#include "tools/kvbank/precise/Conversion.h"

namespace Kestrova {

struct BuildOptions {
    std::string strSource;
    std::string strFolder;
    std::vector<unsigned int> arRates;
    BankLayout layout = BankLayout::Plain;
    int nQuality = kHighestQuality;  // of the standard conversion
    Conversion conversion = Conversion::Standard;
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
    Busy,     // another process is building the bank, in either layout
    InTheWay  // a file that is no usable bank has its name, or something that is no file
};

// What was found in the folder.
struct BuildFinding {
    BuildAction action = BuildAction::Build;
    BankFile bank = {};  // that decides the action; for Build: the damaged bank to replace, if any
};

// One bank.
struct BuildPlan {
    unsigned int nRate = 0;
    unsigned int nMegabytes = 0;  // predicted
    std::string strName;          // of the file, without folder
    BuildFinding finding;
};

// Looks into the folder for a file in the bank's place, for a bank in its other layout, and for the mark of a
// build. Marks in the folder `own` are the caller's. REQUIRES: origin is of the source in the options.
BuildFinding LookAt(const BuildOptions& options, const CDBEUCreate& engine, BankOrigin& origin,
                    const BuildPlan& plan, const std::filesystem::path& own = {});

// One for each rate, without a finding. REQUIRES: the engine has analysed the source.
std::vector<BuildPlan> MakePlans(const BuildOptions& options, const CDBEUCreate& engine);

// Predicted sizes as bytes.
uint64_t PredictedBytes(const BuildPlan& plan);

}  // namespace Kestrova
