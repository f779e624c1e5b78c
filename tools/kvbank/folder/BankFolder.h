// BankFolder.h - the bank files of a folder and the state each is in.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "bank/BankFileName.h"

namespace Kestrova {

enum class BankState {
    Complete,
    Stale,        // whole, but not made from the source given, if there is one (BankOrigin)
    Damaged,      // sizes beyond the file, another rate inside than in the name ... (BankCheck)
    BeingBuilt,   // another process holds it
    Interrupted,  // left by a build that died; the next build removes it
    Unfinished,   // of a build, and the file system does not tell whether that still runs
    NotABank,     // bears the name, but is something else
    Unreadable    // the system's reason is the cause; also a link that leads to nothing
};

const char* StateName(BankState state);

struct BankFile {
    std::filesystem::path path;
    unsigned int nRate = 0;
    BankLayout layout = BankLayout::Plain;
    uint64_t nBytes = 0;
    BankState state = BankState::Complete;
    std::string strCause = {};      // of a stale, damaged, foreign or unreadable file, else empty
    bool bInPrivateFolder = false;  // of a build; not yet, or never to be, in its place
    bool bEnriched = false;         // of the kind that banks are; a source bank may be of the other
};

// Whether the state of a bank is a fault, which is shown with its cause.
bool IsWrong(const BankFile& bank);

// "it is a folder", "a device", ...: what is at the path, null when that is a file or nothing.
const char* WhyNoFile(const std::filesystem::path& path);

// Why a bank is to be left alone, "" when it is not: another process is building it (bBusy), or the system
// does not let its lock be asked for.
std::string WhyHeld(const std::filesystem::path& path, bool& bBusy);

// Opens a database of whichever kind it is, for reading. On failure errno has the system's reason, 0 when it
// is no database.
bool OpenEitherKind(CSDB& database, const std::filesystem::path& path);

// Path, state and cause of a file that OpenEitherKind has just refused: unreadable, damaged, or no bank.
// REQUIRES: errno is what that left. Throws std::bad_alloc.
BankFile LookUnopened(const std::filesystem::path& path);

// Why a file cannot be opened as a database: the system's reason when it cannot be read, else "not a bank",
// and what to do with it when its name is that of a SoundFont or an SFZ.
std::string WhyNoBank(const std::filesystem::path& path);

// The files of the folder with a bank's name, sorted by name; only of one source when a base name is given,
// and only of some rates when these are given. Those in the private folders of builds are included. error is
// set when the folder cannot be read.
std::vector<BankFile> ListBanks(const std::filesystem::path& dir, std::string_view baseName,
                                std::error_code& error, const std::vector<unsigned int>& arRates = {});

// Whether that error says that there is no folder, which then has no banks.
bool IsNoFolder(const std::error_code& error);

}  // namespace Kestrova
