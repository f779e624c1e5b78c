#include "tools/kvbank/folder/BankFolder.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>

#include "SamplerDBDS/BaseClasses/FileEnv.h"
#include "bank/BankRates.h"
#include "bank/place/PrivateFolder.h"
#include "shared/System/kvCompare.h"
#include "shared/System/kvDirectory.h"
#include "tools/kvbank/folder/BankCheck.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

// errno of opening the file and reading from it, 0 when that can be done.
int ReadError(const fs::path& path) {
    CXFile file;
    if (!file.Open(path.c_str(), 0)) return errno;
    char chFirst = 0;
    file.Read(&chFirst, 1);
    return file.GetLastError();
}

bool IsNamedAsInstrument(const fs::path& path) {
    const std::string strExtension = path.extension().string();
    const auto isThis = [&](const char* psz) { return CompareString(strExtension.c_str(), psz) == 0; };
    return isThis(".sf2") || isThis(".sf3") || isThis(".sfz");
}

void TellUnreadable(BankFile& bank, int nError) {
    if (nError == ENOMEM) throw std::bad_alloc();
    bank.state = BankState::Unreadable;
    bank.strCause = std::strerror(nError);
}

// Sets the state of a file that OpenEitherKind has just refused; errno is what that left.
void TellUnopened(BankFile& bank) {
    if (const int nError = errno; nError != 0) return TellUnreadable(bank, nError);
    errno = 0;
    bank.strCause = WhyDamagedUnopened(bank.path);
    if (const int nError = errno; nError != 0) return TellUnreadable(bank, nError);
    bank.bEnriched = !bank.strCause.empty();
    bank.state = bank.bEnriched ? BankState::Damaged : BankState::NotABank;
    if (!bank.bEnriched) bank.strCause = WhyNoBank(bank.path);
}

// Sets the state of a file that no build has left.
void TellContent(BankFile& bank) {
    CSDB database;
    if (OpenEitherKind(database, bank.path)) {
        bank.bEnriched = database.GetFormat() == kSdbFormatEnriched;
        bank.strCause = WhyDamaged(database, ParseAnyBankName(bank.path.filename().string()));
        bank.state = bank.strCause.empty() ? BankState::Complete : BankState::Damaged;
        if (const int nError = database.GetFirstError(); nError != 0) TellUnreadable(bank, nError);
    } else {
        TellUnopened(bank);
    }
}

// Sets the state of a file that no process holds.
void TellUnheld(BankFile& bank) {
    CXFile file;
    const bool bUnfinished = CSDB::IsUnfinishedBuild(bank.path.c_str(), kSdbFormatEnriched, file);
    if (const int nError = file.GetFirstError(); nError != 0) return TellUnreadable(bank, nError);
    if (!bUnfinished) return TellContent(bank);
    const bool bInterrupted = CSDB::IsInterruptedBuild(bank.path.c_str(), kSdbFormatEnriched, file);
    const int nError = bInterrupted ? 0 : file.GetFirstError();
    // Without locks nobody can tell whether its build still runs.
    if (nError != 0 && LockAnswerOf(nError) == LockAnswer::kFailed) return TellUnreadable(bank, nError);
    bank.state = bInterrupted ? BankState::Interrupted : BankState::Unfinished;
}

void TellState(BankFile& bank) {
    bool bBusy = false;
    if (const int nError = ReadError(bank.path); nError != 0) {
        TellUnreadable(bank, nError);
    } else if (const std::string strWhyHeld = WhyHeld(bank.path, bBusy); !strWhyHeld.empty()) {
        bank.state = bBusy ? BankState::BeingBuilt : BankState::Unreadable;
        if (!bBusy) bank.strCause = strWhyHeld;
    } else {
        TellUnheld(bank);
    }
}

// A bank in a private folder was never put in its place, even when its file is whole.
BankState PrivateState(Hold hold) {
    switch (hold) {
        case Hold::Held: return BankState::BeingBuilt;
        case Hold::Free: return BankState::Interrupted;
        default: return BankState::Unfinished;
    }
}

// Appends the files with their sizes and what their names mean; their states are found later.
void FindFiles(const fs::path& dir, std::string_view baseName, const std::vector<unsigned int>& arRates,
               std::vector<BankFile>& banks, std::error_code& error) {
    std::vector<std::string> names;
    error.assign(ReadFolderNames(dir.c_str(), names), std::generic_category());
    for (const std::string& strName : names) {
        const fs::path path = dir / strName;
        const std::optional<BankFileName> name =
            baseName.empty() ? ParseAnyBankName(strName) : ParseBankFileName(strName, baseName);
        if (!name || WhyNoFile(path) != nullptr) continue;
        BankFile bank{.path = path, .layout = name->layout};
        bank.nRate = static_cast<unsigned int>(iSPS[static_cast<size_t>(name->nRateIndex)]);
        if (!arRates.empty() && std::find(arRates.begin(), arRates.end(), bank.nRate) == arRates.end())
            continue;
        std::error_code noSize;
        const uintmax_t nBytes = fs::file_size(path, noSize);
        if (!noSize)
            bank.nBytes = nBytes;
        else
            TellUnreadable(bank, noSize.value());
        banks.push_back(bank);
    }
}

}  // namespace

const char* StateName(BankState state) {
    switch (state) {
        case BankState::Complete: return "complete";
        case BankState::Stale: return "stale";
        case BankState::Damaged: return "damaged";
        case BankState::BeingBuilt: return "being built";
        case BankState::Interrupted: return "interrupted";
        case BankState::Unfinished: return "unfinished";
        case BankState::Unreadable: return "unreadable";
        case BankState::NotABank: break;
    }
    return "not a bank";
}

bool IsWrong(const BankFile& bank) {
    return bank.state == BankState::Stale || bank.state == BankState::Damaged ||
           bank.state == BankState::Unreadable;
}

const char* WhyNoFile(const fs::path& path) {
    std::error_code ignored;
    switch (fs::status(path, ignored).type()) {
        case fs::file_type::directory: return "it is a folder";
        case fs::file_type::block:
        case fs::file_type::character: return "it is a device";
        case fs::file_type::fifo: return "it is a pipe";
        case fs::file_type::socket: return "it is a socket";
        default: return nullptr;
    }
}

bool OpenEitherKind(CSDB& database, const fs::path& path) {
    if (database.Open(path.c_str(), kSdbFormatEnriched, false)) return true;
    return errno == 0 && database.Open(path.c_str(), kSdbFormatPlain, false);
}

BankFile LookUnopened(const fs::path& path) {
    const int nError = errno;
    BankFile bank{.path = path};
    errno = nError;
    TellUnopened(bank);
    return bank;
}

std::string WhyHeld(const fs::path& path, bool& bBusy) {
    bBusy = false;
    CXFile file;
    if (!CSDB::IsHeld(path.c_str(), file)) return "";
    const int nError = file.GetFirstError();
    bBusy = nError == 0 || nError == EWOULDBLOCK;
    return bBusy ? "another process is building it"
                 : std::string("it cannot be locked: ") + std::strerror(nError);
}

std::string WhyNoBank(const fs::path& path) {
    if (const int nError = ReadError(path); nError != 0) return std::strerror(nError);
    return IsNamedAsInstrument(path) ? "not a bank; 'kvbank import' makes a source of it" : "not a bank";
}

bool IsNoFolder(const std::error_code& error) {
    return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
}

std::vector<BankFile> ListBanks(const fs::path& dir, std::string_view baseName, std::error_code& error,
                                const std::vector<unsigned int>& arRates) {
    std::vector<BankFile> banks;
    FindFiles(dir, baseName, arRates, banks, error);
    for (BankFile& bank : banks)
        if (bank.state != BankState::Unreadable) TellState(bank);
    int nError = 0;
    const std::vector<PrivateFolder::Found> folders = PrivateFolder::FindIn(dir, &nError);
    if (!error) error.assign(nError, std::generic_category());
    for (const PrivateFolder::Found& found : folders) {
        const size_t nFirst = banks.size();
        std::error_code ignored;
        FindFiles(found.path, baseName, arRates, banks, ignored);
        for (size_t i = nFirst; i < banks.size(); ++i) {
            banks[i].state = PrivateState(found.hold);
            banks[i].bInPrivateFolder = true;
        }
    }
    std::sort(banks.begin(), banks.end(),
              [](const BankFile& a, const BankFile& b) { return a.path < b.path; });
    return banks;
}

}  // namespace Kestrova
