// BankFolder.h - the bank files of a folder and the state each is in.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "bank/BankFileName.h"

namespace Kestrova {

enum class BankState {
    Complete,
    BeingBuilt,   // another process holds it
    Interrupted,  // what a build that died has left; the next one removes it
    NotABank,     // bears the name, but cannot be opened as a database
    Unreadable    // strCause tells why; also a link that leads to nothing
};

const char* StateName(BankState state);

struct BankFile {
    std::filesystem::path path;
    unsigned int nRate = 0;
    BankLayout layout = BankLayout::Plain;
    uint64_t nBytes = 0;
    BankState state = BankState::Complete;
    std::string strCause = {};      // of a file that is no usable bank, else empty
    bool bInPrivateFolder = false;  // of a build; not yet, or never to be, in its place
};

// "it is a folder", "a device", ...: what is at the path, null when that is a file or nothing.
const char* WhyNoFile(const std::filesystem::path& path);

// Opens a database of whichever kind it is, for reading.
bool OpenEitherKind(CSDB& database, const std::filesystem::path& path);

// Why a file cannot be opened as a database: the system's reason when it cannot be read, else "not a bank".
std::string WhyNoBank(const std::filesystem::path& path);

// Understands a file name as a bank of whatever source.
std::optional<BankFileName> ParseAnyBankName(std::string_view name);

// The files of the folder that bear a bank's name, of one source when a base name is given and of one rate
// when that is not 0, those in the private folders of builds included; by name. error is set when the folder
// cannot be read.
std::vector<BankFile> ListBanks(const std::filesystem::path& dir, std::string_view baseName,
                                std::error_code& error, unsigned int nRate = 0);

}  // namespace Kestrova
