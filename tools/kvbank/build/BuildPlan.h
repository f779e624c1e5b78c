// BuildPlan.h - what is asked of a build, and what there is to do about each bank.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "bank/DBEUCreate.h"
#include "tools/kvbank/folder/BankFolder.h"
#include "tools/kvbank/folder/FolderLock.h"
#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {

struct BuildOptions {
    std::string strSource;
    std::string strFolder;
    std::vector<unsigned int> arRates;
    BankLayout layout = BankLayout::Plain;
    int nQuality = kHighestQuality;
    bool bForce = false;
    bool bDryRun = false;
    std::chrono::milliseconds turnWait = kTurnWait;
};

enum class BuildAction {
    Build,
    SkipExisting,
    SkipSource,
    Busy,     // another process is building the bank, in whatever layout
    InTheWay  // a file that is no usable bank has its name, or something that is no file
};

// What a look into the folder gives.
struct BuildFinding {
    BuildAction action = BuildAction::Build;
    BankFile bank = {};  // that decides it; not set for Build and SkipSource
};

// One bank.
struct BuildPlan {
    unsigned int nRate = 0;
    unsigned int nMegabytes = 0;  // predicted
    std::string strName;          // of the file, without folder
    BuildFinding finding;
};

// Looks into the folder for what has the bank's place, its other layout's, or the mark of a build; marks in
// the folder `own` are the caller's.
BuildFinding LookAt(const BuildOptions& options, const CDBEUCreate& engine, const BuildPlan& plan,
                    const std::filesystem::path& own = {});

// One for each rate. REQUIRES: the engine has analysed the source.
std::vector<BuildPlan> MakePlans(const BuildOptions& options, const CDBEUCreate& engine);

// Says why the folder's lock could not be had. Nothing is done without it.
ExitCode SayNoTurn(Console& console, const FolderLock& turn, const BuildOptions& options);

// Predicted sizes as bytes.
uint64_t PredictedBytes(const BuildPlan& plan);

}  // namespace Kestrova
