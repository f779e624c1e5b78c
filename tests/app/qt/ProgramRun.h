// ProgramRun.h - a command run to its end, and what came of it.
#pragma once

#include <string>

#include "tests/support/TempDir.h"

namespace Kestrova::Test {

struct ProgramRun {
    int nStatus = -1;  // exit status; 128 and the number for a signal
    std::string strOut, strErr;
};

// A command line of the shell, which may begin with env. Output is kept in files of the folder, "out" and
// "err", and gone when this returns.
ProgramRun RunCommand(const std::string& strCommand, const TempDir& dir);

}  // namespace Kestrova::Test
