// CommandLine.h - what the program was started with, and the code it ends with.
#pragma once

#include "shared/System/kvString.h"

namespace Kestrova {

// Each is empty when it was not given. The paths are in unified form and absolute: a relative one is taken
// from the folder that the program was started in.
struct CommandLine {
    String strMode;    // the mode word, untouched
    String strSource;  // the source bank file
    String strTarget;  // the folder of banks
};

// Reads up to three arguments behind the program's name; more are ignored. A first argument with "-psn"
// anywhere in it is a process number that a launcher adds: then all arguments are ignored.
CommandLine ReadCommandLine(int argc, const char* const* argv);

// What the program prints when its first word is "--help" or "--version"; null for any other word.
const char* InformationFor(const char* pszWord);

// The code that the process ends with, from the storage manager's final status. It is the same number, except
// 9 (cannot be read) for a source that was refused at once, and 10 (cannot be written) for a bank that could
// not be begun: whoever started the program need not know how far the job had come.
int ExitCode(int nStatus);

}  // namespace Kestrova
