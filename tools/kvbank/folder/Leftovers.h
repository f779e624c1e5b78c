// Leftovers.h - what runs that were killed have left in a folder, and its removal.
#pragma once

#include <filesystem>
#include <system_error>
#include <vector>

#include "bank/place/FolderLock.h"

namespace Kestrova {

enum class LeftoverKind {
    Bank,           // an interrupted build under a bank's own name
    PrivateFolder,  // of a build or an import, with what is in it
    PartFile,       // of an import or a demo
    SumsFile        // that did not take its place
};

// "interrupted bank", "private folder", "part file", "sums file".
const char* KindName(LeftoverKind kind);

struct FoundLeftover {
    std::filesystem::path path;
    LeftoverKind kind = LeftoverKind::Bank;
    Hold hold = Hold::Free;  // held: a run is at work on it; unknown: the file system does not tell
    int nError = 0;          // errno of a removal that failed
};

// All leftovers in the folder, of any source, sorted by path. error is set when the folder cannot be read.
std::vector<FoundLeftover> FindLeftovers(const std::filesystem::path& dir, std::error_code& error);

// Removes the leftovers that no process holds, and leaves those alone whose lock cannot be asked for. Returns
// all that were found. A file that somebody else put into a private folder stays, and the folder with it.
// REQUIRES: turn is a turn at dir.
std::vector<FoundLeftover> RemoveLeftovers(const std::filesystem::path& dir, const FolderLock& turn,
                                           std::error_code& error);

}  // namespace Kestrova
