#include "tools/kvbank/RemoveCommand.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/LeftoverReporter.h"
#include "tools/kvbank/terminal/RateOptions.h"

namespace Kestrova {

namespace fs = std::filesystem;

void RemoveCommand::Describe(CLI::App& verb) {
    verb.add_option("DIR", m_strFolder, "the folder with the banks")->required();
    verb.add_option("--source", m_strSource, "the source bank they were made from; it stays")
        ->type_name("SOURCE");
    AddRateOption(verb, m_arRates);
    verb.get_option("--rates")->required(false);
    verb.add_flag("-y,--yes", m_bYes, "do not ask");
    verb.add_flag("--leftovers", m_bLeftovers, "instead of banks: remove what interrupted runs have left")
        ->excludes("--source")
        ->excludes("--rates");
    verb.parse_complete_callback([this] {
        if (m_bLeftovers) return;
        if (m_strSource.empty()) throw CLI::RequiredError("--source");
        if (m_arRates.empty()) throw CLI::RequiredError("--rates");
    });
}

// Both layouts of the rates asked for; the source is no bank of its own, and what is not whole is not for us.
bool RemoveCommand::IsChosen(const BankFile& bank) const {
    std::error_code ignored;
    return std::find(m_arRates.begin(), m_arRates.end(), bank.nRate) != m_arRates.end() &&
           !bank.bInPrivateFolder && !fs::equivalent(bank.path, m_strSource, ignored);
}

bool RemoveCommand::Confirm(Console& console, const std::vector<BankFile>& banks) const {
    if (m_bYes) return true;
    for (const BankFile& bank : banks) console.err << Printable(bank.path.string()) << '\n';
    console.err << "Remove " << Counted(banks.size(), "bank") << "? [y/N] " << std::flush;
    std::string strAnswer;
    if (!std::getline(console.in, strAnswer)) return false;
    for (char& c : strAnswer) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return strAnswer == "y" || strAnswer == "yes";
}

// Nobody is asked: a build removes such things unasked too.
int RemoveCommand::ClearLeftovers(Console& console) const {
    FolderLock turn(m_strFolder);
    if (turn.GetOutcome() == FolderLock::Outcome::Busy) {
        console.Error(m_strFolder + ": another process keeps the folder locked");
        return console.Finish("remove", kExitBusy);
    }
    if (!turn.IsHeld()) {
        console.Error(m_strFolder + ": " + std::strerror(turn.GetError()));
        return console.Finish("remove", kExitBadInput);
    }
    std::error_code error;
    const std::vector<FoundLeftover> found = RemoveLeftovers(m_strFolder, turn, error);
    turn.Release();
    Json rows = Json::array();
    const ExitCode code = TellRemoved(console, m_strFolder, found, rows);
    return console.Finish("remove", code, {{"folder", m_strFolder}, {"leftovers", rows}});
}

int RemoveCommand::Run(Console& console) {
    if (m_bLeftovers) return ClearLeftovers(console);
    if (!m_bYes && !console.bInIsTerminal) {
        console.Error("nobody can be asked here; give -y to remove without a question");
        return console.Finish("remove", kExitUsage);
    }
    if (const ExitCode code = m_run.OpenNames(console, m_strSource); code != kExitDone)
        return console.Finish("remove", code);
    std::error_code error;
    std::vector<BankFile> banks = ListBanks(m_strFolder, m_run.Engine().GetBaseName(), error);
    if (error) {
        console.Error(m_strFolder + ": " + error.message());
        return console.Finish("remove", kExitBadInput);
    }
    std::erase_if(banks, [this](const BankFile& bank) { return !IsChosen(bank); });
    Json report = {{"folder", m_strFolder}};
    Json rows = Json::array();
    ExitCode worst = kExitDone;
    if (banks.empty()) {
        console.Say("no such banks in " + m_strFolder);
    } else if (!Confirm(console, banks)) {
        report["declined"] = true;
        console.Say("nothing was removed");
    } else {
        for (const BankFile& bank : banks) {
            if (CancelSignal() != 0) break;
            if (const ExitCode code = RemoveOne(console, bank, rows); code != kExitDone) worst = code;
        }
    }
    report["banks"] = rows;
    return console.Finish("remove", worst, report);
}

ExitCode RemoveCommand::RemoveOne(Console& console, const BankFile& bank, Json& rows) {
    const std::string strPath = bank.path.string();
    m_run.Engine().RemoveDB(strPath.c_str());
    const int nError = errno;
    std::error_code ignored;
    const bool bGone = !fs::exists(fs::symlink_status(bank.path, ignored));
    rows.push_back({{"file", strPath}, {"removed", bGone}});
    if (bGone) {
        console.Say("removed " + Printable(strPath));
        return kExitDone;
    }
    const bool bBusy = CSDB::IsHeld(strPath.c_str());
    console.Error(strPath + ": " + (bBusy ? "another process is building it" : std::strerror(nError)));
    return bBusy ? kExitBusy : kExitOutput;
}

}  // namespace Kestrova
