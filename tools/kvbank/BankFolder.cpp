#include "tools/kvbank/BankFolder.h"

#include <algorithm>
#include <system_error>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "bank/BankRates.h"
#include "tools/kvbank/PrivateFolder.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

constexpr size_t kSuffixLength = std::string_view("_0AC44.kvn").size();

BankState StateOf(const fs::path& path) {
    if (CSDB::IsHeld(path.c_str())) return BankState::BeingBuilt;
    CXFile held;
    if (CSDB::HoldInterruptedBuild(path.c_str(), kSdbFormatEnriched, held)) return BankState::Interrupted;
    CSDB database;
    const bool bOpens = database.Open(path.c_str(), kSdbFormatEnriched, false) ||
                        database.Open(path.c_str(), kSdbFormatPlain, false);
    return bOpens ? BankState::Complete : BankState::NotABank;
}

void ListFolder(const fs::path& dir, std::string_view baseName, std::vector<BankFile>& banks,
                std::error_code& error) {
    for (fs::directory_iterator it(dir, error), end; !error && it != end; it.increment(error)) {
        const std::string strName = it->path().filename().string();
        const std::optional<BankFileName> name =
            baseName.empty() ? ParseAnyBankName(strName) : ParseBankFileName(strName, baseName);
        std::error_code ignored;
        if (!name || !it->is_regular_file(ignored)) continue;
        banks.push_back({it->path(), static_cast<unsigned int>(iSPS[static_cast<size_t>(name->nRateIndex)]),
                         name->layout, it->file_size(ignored), StateOf(it->path()), false});
    }
}

}  // namespace

const char* StateName(BankState state) {
    switch (state) {
        case BankState::Complete: return "complete";
        case BankState::BeingBuilt: return "being built";
        case BankState::Interrupted: return "interrupted";
        case BankState::NotABank: break;
    }
    return "not a bank";
}

std::optional<BankFileName> ParseAnyBankName(std::string_view name) {
    if (name.size() <= kSuffixLength) return std::nullopt;
    return ParseBankFileName(name, name.substr(0, name.size() - kSuffixLength));
}

std::vector<BankFile> ListBanks(const fs::path& dir, std::string_view baseName, std::error_code& error) {
    std::vector<BankFile> banks;
    ListFolder(dir, baseName, banks, error);
    // A bank in a private folder was never put in its place, even when its file is whole.
    for (const PrivateFolder::Found& found : PrivateFolder::FindIn(dir)) {
        const size_t nFirst = banks.size();
        std::error_code ignored;
        ListFolder(found.path, baseName, banks, ignored);
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
