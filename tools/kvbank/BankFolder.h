// BankFolder.h - the bank files of a folder and the state each is in.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bank/BankFileName.h"

namespace Kestrova {

enum class BankState {
    Complete,
    BeingBuilt,   // another process holds it
    Interrupted,  // what a build that died has left; the next one removes it
    NotABank      // bears the name, but cannot be opened as a database
};

const char* StateName(BankState state);

struct BankFile {
    std::filesystem::path path;
    unsigned int nRate = 0;
    BankLayout layout = BankLayout::Plain;
    uint64_t nBytes = 0;
    BankState state = BankState::Complete;
    bool bInPrivateFolder = false;  // of a build; not yet, or never to be, in its place
};

// Understands a file name as a bank of whatever source.
std::optional<BankFileName> ParseAnyBankName(std::string_view name);

// The files of the folder that bear a bank's name, of one source when a base name is given, those in the
// private folders of builds included; by name. error is set when the folder cannot be read.
std::vector<BankFile> ListBanks(const std::filesystem::path& dir, std::string_view baseName,
                                std::error_code& error);

}  // namespace Kestrova
