// CommandLine.h - what the program was started with, and the code it ends with.
#pragma once

#include "shared/System/kvString.h"

namespace Kestrova {

// Each empty when it was not given. The paths are in unified form and begin at the root; a relative one was
// given as seen from the folder the program was started in.
struct CommandLine {
    String strMode;    // the mode word, untouched
    String strSource;  // the source bank file
    String strTarget;  // the folder of banks
};

// Up to three arguments behind the program's name; more are ignored. A first one with "-psn" anywhere in it
// is a process number that a launcher adds: then all arguments are ignored.
CommandLine ReadCommandLine(int argc, const char* const* argv);

// What the program prints for a first word that asks for it, "--help" or "--version"; null for any other.
const char* InformationFor(const char* pszWord);

// The code the process ends with for the storage manager's final status: the same, but 9 (cannot be read) for
// a source that was refused at once and 10 (cannot be written) for a bank that could not be begun. Whoever
// started the program need not know how far the job had come.
int ExitCode(int nStatus);

}  // namespace Kestrova
