// BankSums.h - the sums file of a bank: its SHA-256 sum in NAME.sha256 beside it, as `sha256sum -c` reads it.
// A bank holds no checksum of its own, so only this file tells that a byte of a wave has changed.
//
// A sums file never stands beside a bank that it does not belong to. When a bank is replaced or
// removed, its sums file is removed first, and a new one is written when the new bank is in its
// place. After a crash in between there is none.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Kestrova {

struct SumsOutcome {
    enum class Kind {
        Done,     // written, right, or removed
        NoFile,   // there is no sums file
        Differs,  // the bank is not the one that was summed
        NotOurs,  // it is not a sums file, or names another file
        Failed,   // the system refused; strCause is its reason
        Cancelled,
    };
    Kind kind = Kind::Done;
    std::string strPath = {};   // the file that the cause is about
    std::string strCause = {};  // empty when done, or when there is no sums file
    int nError = 0;             // the system's, when it refused
};

// Called with the number of bytes read so far; false cancels.
using SumsProgress = std::function<bool(uint64_t nBytes)>;

std::string SumsPath(const std::string& strBank);

// The sums files in a folder that have not yet taken their places, NAME.sha256.new-NNNNNN: a process is at
// work on them, or was killed there (kvTemporaryFile.h tells). A folder that cannot be read has none.
std::vector<std::string> FindNewSums(const std::string& strFolder, int* pnError = nullptr);

// Reads the whole file, which need not be in its place yet.
SumsOutcome SumBank(const std::string& strFile, const SumsProgress& progress, std::string& strSum);

// Writes the sums file of a bank whose sum is known, in place of an older one, as a whole or not at all.
SumsOutcome PutSums(const std::string& strBank, const std::string& strSum);

// Both for a bank in its place. Nothing is written when another bank has taken that place meanwhile.
SumsOutcome WriteSums(const std::string& strBank, const SumsProgress& progress);

// Compares the bank with its sums file, if there is one.
SumsOutcome CheckSums(const std::string& strBank, const SumsProgress& progress);

// Removes the bank's sums file, and waits until the disk has the change.
SumsOutcome RemoveSums(const std::string& strBank);

}  // namespace Kestrova
