#include "tools/kvbank/folder/BankFolder.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "bank/BankRates.h"
#include "tools/kvbank/folder/PrivateFolder.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

constexpr size_t kSuffixLength = std::string_view("_0AC44.kvn").size();

// errno of opening the file and reading from it, 0 when that can be done.
int ReadError(const fs::path& path) {
    CXFile file;
    if (!file.Open(path.c_str(), 0)) return errno;
    char chFirst = 0;
    file.Read(&chFirst, 1);
    return file.GetLastError();
}

void TellState(BankFile& bank) {
    CSDB database;
    if (const int nError = ReadError(bank.path); nError != 0) {
        bank.state = BankState::Unreadable;
        bank.strCause = std::strerror(nError);
    } else if (CSDB::IsHeld(bank.path.c_str())) {
        bank.state = BankState::BeingBuilt;
    } else if (CSDB::IsInterruptedBuild(bank.path.c_str(), kSdbFormatEnriched)) {
        bank.state = BankState::Interrupted;
    } else if (!OpenEitherKind(database, bank.path)) {
        bank.state = BankState::NotABank;
        bank.strCause = WhyNoBank(bank.path);
    }
}

// Appends the files with their names' meaning and their size; their states are still to be told.
void FindFiles(const fs::path& dir, std::string_view baseName, unsigned int nRate,
               std::vector<BankFile>& banks, std::error_code& error) {
    for (fs::directory_iterator it(dir, error), end; !error && it != end; it.increment(error)) {
        const std::string strName = it->path().filename().string();
        const std::optional<BankFileName> name =
            baseName.empty() ? ParseAnyBankName(strName) : ParseBankFileName(strName, baseName);
        if (!name || WhyNoFile(it->path()) != nullptr) continue;
        BankFile bank{.path = it->path(), .layout = name->layout};
        bank.nRate = static_cast<unsigned int>(iSPS[static_cast<size_t>(name->nRateIndex)]);
        if (nRate != 0 && bank.nRate != nRate) continue;
        std::error_code noSize;
        const uintmax_t nBytes = it->file_size(noSize);
        if (!noSize) bank.nBytes = nBytes;
        banks.push_back(bank);
    }
}

}  // namespace

const char* StateName(BankState state) {
    switch (state) {
        case BankState::Complete: return "complete";
        case BankState::BeingBuilt: return "being built";
        case BankState::Interrupted: return "interrupted";
        case BankState::Unreadable: return "unreadable";
        case BankState::NotABank: break;
    }
    return "not a bank";
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
    return database.Open(path.c_str(), kSdbFormatEnriched, false) ||
           database.Open(path.c_str(), kSdbFormatPlain, false);
}

std::string WhyNoBank(const fs::path& path) {
    const int nError = ReadError(path);
    return nError == 0 ? "not a bank" : std::strerror(nError);
}

std::optional<BankFileName> ParseAnyBankName(std::string_view name) {
    if (name.size() <= kSuffixLength) return std::nullopt;
    return ParseBankFileName(name, name.substr(0, name.size() - kSuffixLength));
}

std::vector<BankFile> ListBanks(const fs::path& dir, std::string_view baseName, std::error_code& error,
                                unsigned int nRate) {
    std::vector<BankFile> banks;
    FindFiles(dir, baseName, nRate, banks, error);
    for (BankFile& bank : banks) TellState(bank);
    // A bank in a private folder was never put in its place, even when its file is whole.
    for (const PrivateFolder::Found& found : PrivateFolder::FindIn(dir)) {
        const size_t nFirst = banks.size();
        std::error_code ignored;
        FindFiles(found.path, baseName, nRate, banks, ignored);
        for (size_t i = nFirst; i < banks.size(); ++i) {
            banks[i].state = found.bHeld ? BankState::BeingBuilt : BankState::Interrupted;
            banks[i].bInPrivateFolder = true;
        }
    }
    std::sort(banks.begin(), banks.end(),
              [](const BankFile& a, const BankFile& b) { return a.path < b.path; });
    return banks;
}

}  // namespace Kestrova
