// Ending.h - how a step of a verb ended.
#pragma once

#include <string>

#include "tools/kvbank/terminal/ExitCode.h"

namespace Kestrova {

// Steps return it; the verb prints the error line once, at its end.
struct Ending {
    ExitCode code = kExitDone;
    std::string strError;  // "FILE: cause", for the user; empty when done

    bool IsDone() const { return code == kExitDone; }
};

}  // namespace Kestrova
