#include "tools/kvbank/RemoveCommand.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/compare/BankOrigin.h"
#include "tools/kvbank/listing/LeftoverReporter.h"
#include "tools/kvbank/terminal/RateOptions.h"

namespace Kestrova {

namespace fs = std::filesystem;

void RemoveCommand::Describe(CLI::App& verb) {
    verb.add_option("DIR", m_strFolder, "the folder with the banks")->required();
    verb.add_option("--source", m_strSource, "the source bank they were made from; it stays")
        ->type_name("SOURCE");
    AddRateOption(verb, m_arRates);
    verb.get_option("--rates")->required(false);
    verb.add_flag("-y,--yes", m_bYes,
                  "do not ask, and leave stale banks, which were not made from this source");
    verb.add_flag("-f,--force", m_bForce, "remove stale banks like the others");
    verb.add_flag("--leftovers", m_bLeftovers,
                  "instead of banks, without --source and --rates: remove what interrupted runs have left");
    // Not by excludes(): the help would name the excluded options in an order that changes.
    verb.parse_complete_callback([this] {
        if (m_bLeftovers && !m_strSource.empty()) throw CLI::ExcludesError("--source", "--leftovers");
        if (m_bLeftovers && !m_arRates.empty()) throw CLI::ExcludesError("--rates", "--leftovers");
        if (m_bLeftovers) return;
        if (m_strSource.empty()) throw CLI::RequiredError("--source");
        if (m_arRates.empty()) throw CLI::RequiredError("--rates");
    });
}

// The banks in their places, in both layouts, but never the source itself.
// Banks in private folders are unfinished.
bool RemoveCommand::IsChosen(const BankFile& bank) const {
    std::error_code ignored;
    return !bank.bInPrivateFolder && !fs::equivalent(bank.path, m_strSource, ignored);
}

std::vector<BankFile> RemoveCommand::FindBanks(std::error_code& error) {
    std::vector<BankFile> banks = ListBanks(m_strFolder, m_run.Engine().GetBaseName(), error, m_arRates);
    std::erase_if(banks, [this](const BankFile& bank) { return !IsChosen(bank); });
    BankOrigin(m_run.Engine(), m_strSource).Check(banks);
    return banks;
}

// There is no question here: a build removes such leftovers without one too.
int RemoveCommand::ClearLeftovers(Console& console) const {
    FolderLock turn(m_strFolder);
    if (turn.GetOutcome() == FolderLock::Outcome::Busy) {
        console.Error(m_strFolder + ": another process keeps the folder locked");
        return console.Finish("remove", kExitBusy);
    }
    if (!turn.IsTurn()) {
        console.Error(m_strFolder + ": " + std::strerror(turn.GetError()));
        return console.Finish("remove", kExitBadInput);
    }
    std::error_code error;
    const std::vector<FoundLeftover> found = RemoveLeftovers(m_strFolder, turn, error);
    turn.Release();
    Json rows = Json::array();
    ExitCode code = TellRemoved(console, m_strFolder, found, rows);
    if (error) {
        console.Error(m_strFolder + ": not all of it could be looked at: " + error.message());
        code = kExitBadInput;
    }
    return console.Finish("remove", code, {{"folder", m_strFolder}, {"leftovers", rows}});
}

int RemoveCommand::Run(Console& console) {
    if (m_bLeftovers) return ClearLeftovers(console);
    const bool bMayAsk = console.bInIsTerminal;
    if (!m_bYes && !bMayAsk) {
        console.Error("cannot ask, because standard input is not a terminal; -y removes without asking");
        return console.Finish("remove", kExitUsage);
    }
    if (const ExitCode code = m_run.OpenNames(console, m_strSource); code != kExitDone)
        return console.Finish("remove", code);
    std::error_code error;
    std::vector<BankFile> banks = FindBanks(error);
    if (error) {
        console.Error(m_strFolder + ": " + error.message());
        return console.Finish("remove", kExitBadInput);
    }
    RemoveReporter reporter(console, m_strFolder);
    const ExitCode code = Remove(reporter, banks, bMayAsk);
    return reporter.Finish(code);
}

ExitCode RemoveCommand::Remove(RemoveReporter& reporter, std::vector<BankFile>& banks, bool bMayAsk) {
    if (banks.empty()) {
        reporter.TellNone();
        return kExitDone;
    }
    ExitCode worst = KeepsStale(reporter, banks, bMayAsk) ? kExitProblem : kExitDone;
    const bool bDeclined = banks.empty() ? worst == kExitDone : !m_bYes && !reporter.Ask(banks);
    if (bDeclined) {
        reporter.TellDeclined();
        return kExitDone;
    }
    for (const BankFile& bank : banks) {
        if (CancelSignal() != 0) break;
        const RemovedBank removed = RemoveOne(bank);
        reporter.Tell(removed);
        if (removed.code != kExitDone) worst = removed.code;
    }
    return worst;
}

// Takes stale banks, which were made from another source, off the list unless they may be
// removed. -y alone does not allow that, and without a terminal there is no question. Returns
// whether any of them stays without a question.
bool RemoveCommand::KeepsStale(RemoveReporter& reporter, std::vector<BankFile>& banks, bool bMayAsk) const {
    const auto isStale = [](const BankFile& bank) { return bank.state == BankState::Stale; };
    std::vector<BankFile> stale;
    std::copy_if(banks.begin(), banks.end(), std::back_inserter(stale), isStale);
    if (m_bForce || stale.empty() || (bMayAsk && !m_bYes)) return false;
    if (bMayAsk && reporter.Ask(stale)) return false;
    std::erase_if(banks, isStale);
    if (bMayAsk) return false;
    for (const BankFile& bank : stale) reporter.TellKept(bank);
    return true;
}

RemovedBank RemoveCommand::RemoveOne(const BankFile& bank) {
    EngineRun::Removal removal = m_run.Remove(bank.path.string());
    return {bank.path.string(), removal.code, std::move(removal.strCause)};
}

}  // namespace Kestrova
