#include "tools/kvbank/BuildCommand.h"

#include <cstring>
#include <system_error>

#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/Progress.h"
#include "tools/kvbank/RateOptions.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kBytesPerMegabyte = 1 << 20;

std::string RateText(unsigned int nRate) { return std::to_string(nRate) + " Hz"; }

bool SameFile(const fs::path& a, const fs::path& b) {
    std::error_code ignored;
    return fs::equivalent(a, b, ignored);
}

uint64_t FileSize(const fs::path& path) {
    std::error_code error;
    const uintmax_t nSize = fs::file_size(path, error);
    return error ? 0 : nSize;
}

// The folder, or for one that is still to be made, the nearest above it that is there.
fs::path ExistingAncestor(fs::path path) {
    std::error_code ignored;
    path = fs::absolute(path, ignored);
    while (!fs::exists(path, ignored) && path.has_relative_path()) path = path.parent_path();
    return path;
}

}  // namespace

void BuildCommand::Describe(CLI::App& verb) {
    verb.add_option("SOURCE", m_strSource, "the source bank")->required();
    verb.add_option("-d,--dir", m_strFolder, "the folder the banks go to; made when it is not there")
        ->type_name("DIR")
        ->required();
    AddRateOption(verb, m_arRates);
    AddLayoutOption(verb, m_layout);
    verb.add_option("--quality", m_nQuality,
                    "of the conversion: 0 linear, 2 cubic, up to 7 (default), the best")
        ->check(CLI::Range(0, kHighestQuality))
        ->type_name("0..7");
    verb.add_flag("-f,--force", m_bForce, "build anew banks that are there");
    verb.add_flag("-n,--dry-run", m_bDryRun, "only say what would be done");
}

int BuildCommand::Run(Console& console) {
    Json report = {{"source", Printable(m_strSource)},
                   {"folder", Printable(m_strFolder)},
                   {"layout", LayoutName(m_layout)},
                   {"dry_run", m_bDryRun}};
    ExitCode code = Prepare(console);
    if (code != kExitDone) return console.Finish("build", code, report);
    const std::vector<Plan> plans = MakePlans();
    code = CheckSpace(console, plans, report);
    report["banks"] = Json::array();
    if (code == kExitDone) code = BuildAll(console, plans, report["banks"]);
    return console.Finish("build", code, report);
}

// Analyses the source and looks at the folder; interrupted builds in it are removed.
ExitCode BuildCommand::Prepare(Console& console) {
    BankResult result = m_run.Analyse(m_strSource);
    if (result != kBankDone) {
        console.Error(m_strSource + ": " + m_run.Explain(result, console.bVerbose || console.bJson));
        return ExitCodeOf(result);
    }
    std::error_code error;
    if (!m_bDryRun) fs::create_directories(m_strFolder, error);
    if (error) {
        console.Error(m_strFolder + ": " + error.message());
        return kExitOutput;
    }
    m_run.Engine().SetDstDir(m_strFolder.c_str());
    unsigned int nRemoved = 0;
    if (!m_bDryRun) {
        m_run.Engine().RemoveInterrupted(nRemoved);
        nRemoved += PrivateFolder::RemoveAbandoned(m_strFolder);
    }
    if (nRemoved > 0) console.Say("removed what " + Counted(nRemoved, "interrupted build") + " had left");
    return kExitDone;
}

std::vector<BuildCommand::Plan> BuildCommand::MakePlans() {
    int kinds[kRateCount] = {};
    m_run.Engine().GetExisting(kinds, nullptr);
    std::vector<Plan> plans;
    for (const unsigned int nRate : m_arRates) {
        Plan plan;
        plan.nRate = nRate;
        plan.strName = MakeBankFileName("", m_run.Engine().GetBaseName(), nRate, m_layout).substr(1);
        plan.action = ActionFor(kinds[RateIndex(nRate)], plan.strName);
        m_run.Engine().Prediction(nRate, m_layout == BankLayout::PerKey, plan.nMegabytes);
        plans.push_back(plan);
    }
    return plans;
}

BuildCommand::Action BuildCommand::ActionFor(int nKind, const std::string& strName) const {
    const fs::path target = fs::path(m_strFolder) / strName;
    if (SameFile(target, m_strSource)) return Action::SkipSource;
    bool bBusy = CSDB::IsHeld(target.c_str());
    std::error_code ignored;
    for (const PrivateFolder::Found& found : PrivateFolder::FindIn(m_strFolder))
        bBusy = bBusy || (found.bHeld && fs::exists(found.path / strName, ignored));
    if (bBusy) return Action::Busy;
    return nKind != 0 && !m_bForce ? Action::SkipExisting : Action::Build;
}

ExitCode BuildCommand::CheckSpace(Console& console, const std::vector<Plan>& plans, Json& report) const {
    uint64_t nNeeded = 0;
    for (const Plan& plan : plans)
        if (plan.action == Action::Build) nNeeded += plan.nMegabytes * kBytesPerMegabyte;
    std::error_code error;
    const fs::space_info space = fs::space(ExistingAncestor(m_strFolder), error);
    if (error) {
        console.Error(m_strFolder + ": " + error.message());
        return kExitOutput;
    }
    report["bytes_needed"] = nNeeded;
    report["bytes_free"] = static_cast<uint64_t>(space.available);
    if (nNeeded <= space.available) return kExitDone;
    console.Error(m_strFolder + ": " + ReadableSize(nNeeded) + " are needed, " +
                  ReadableSize(space.available) + " are free");
    return kExitNoSpace;
}

ExitCode BuildCommand::BuildAll(Console& console, const std::vector<Plan>& plans, Json& rows) {
    std::unique_ptr<PrivateFolder> pFolder;
    ExitCode worst = kExitDone;
    for (const Plan& plan : plans) {
        Json row = {
            {"rate", plan.nRate}, {"file", Printable(plan.strName)}, {"predicted_mib", plan.nMegabytes}};
        ExitCode code = kExitDone;
        switch (plan.action) {
            case Action::SkipExisting:
                row["action"] = "skipped";
                console.Say(RateText(plan.nRate) + ": there already; -f builds it anew");
                break;
            case Action::SkipSource:
                row["action"] = "is the source";
                console.Say(RateText(plan.nRate) + ": " + plan.strName +
                            " is the source itself; left as it is");
                break;
            case Action::Busy:
                row["action"] = "busy";
                console.Error(plan.strName + ": another process is building it");
                code = kExitBusy;
                break;
            case Action::Build:
                if (m_bDryRun) {
                    row["action"] = "would be built";
                    console.Say(RateText(plan.nRate) + ": would be built as " + plan.strName + ", about " +
                                ReadableSize(plan.nMegabytes * kBytesPerMegabyte));
                    break;
                }
                if (!pFolder) pFolder = std::make_unique<PrivateFolder>(m_strFolder);
                code = BuildOne(console, *pFolder, plan, row);
                break;
        }
        rows.push_back(row);
        if (code != kExitDone) worst = code;
        if (CancelSignal() != 0 || (code != kExitDone && code != kExitBusy)) break;
    }
    return worst;
}

ExitCode BuildCommand::BuildOne(Console& console, PrivateFolder& folder, const Plan& plan, Json& row) {
    row["action"] = "failed";
    if (folder.Path().empty()) {
        console.Error(m_strFolder + ": " + std::strerror(errno));
        return kExitOutput;
    }
    const fs::path made = folder.Path() / plan.strName;
    const auto start = std::chrono::steady_clock::now();
    m_run.Engine().SetDstDir(folder.Path().c_str());
    BankResult result = kBankDone;
    {
        Progress progress(console, RateText(plan.nRate), plan.nMegabytes * kBytesPerMegabyte);
        result = m_run.Build(plan.nRate, m_layout, m_nQuality, [&](unsigned nStep, unsigned nSteps) {
            progress.Show(nSteps == 0 ? 0 : static_cast<double>(nStep) / nSteps, FileSize(made));
        });
    }
    if (result != kBankDone) {
        row["engine_result"] = static_cast<int>(result);
        console.Error(m_strSource + ": " + RateText(plan.nRate) + ": " +
                      m_run.Explain(result, console.bVerbose || console.bJson));
        return ExitCodeOf(result);
    }
    const uint64_t nSize = FileSize(made);
    if (const ExitCode code = Publish(console, folder, plan); code != kExitDone) return code;
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    row["action"] = "built";
    row["bytes"] = nSize;
    row["seconds"] = seconds;
    console.Say(RateText(plan.nRate) + ": " + (fs::path(m_strFolder) / plan.strName).string() + ", " +
                ReadableSize(nSize) + " in " + ReadableTime(seconds));
    return kExitDone;
}

// The bank takes its place, and then that of the other layout at this rate.
ExitCode BuildCommand::Publish(Console& console, PrivateFolder& folder, const Plan& plan) {
    if (!folder.Publish(plan.strName)) {
        console.Error((fs::path(m_strFolder) / plan.strName).string() + ": " + std::strerror(errno));
        return kExitOutput;
    }
    m_run.Engine().SetDstDir(m_strFolder.c_str());
    m_run.Engine().RemoveDB(plan.nRate, m_layout == BankLayout::Plain ? 2 : 1);
    return kExitDone;
}

}  // namespace Kestrova
