// ExitCode.h - how kvbank ends; scripts rely on these numbers.
#pragma once

#include "bank/DBEUCreate.h"

namespace Kestrova {

enum ExitCode : int {
    kExitDone = 0,
    kExitProblem = 1,  // done, but something is wrong
    kExitUsage = 2,
    kExitBadInput = 3,  // unreadable, or not a bank
    kExitOutput = 4,    // cannot be written, a full disk included
    kExitNoSpace = 5,
    kExitLoss = 6,  // something would be lost, and --strict forbids it
    kExitBusy = 7,
    kExitNoMemory = 8,
    kExitInternal = 70
};

// The exit code for a result of the engine, and its cause in words.
ExitCode ExitCodeOf(BankResult result);
// The same for an outcome, which also tells the file. Whatever the system refused to do with the bank's file
// is a failure of the output; a record that no bank can take is a fault of the source.
ExitCode ExitCodeOf(const BankOutcome& outcome);
// The exit code of a file beside the bank that the system refused to write.
ExitCode ExitCodeOfOutput(int nError);
const char* DescribeResult(BankResult result);

}  // namespace Kestrova
