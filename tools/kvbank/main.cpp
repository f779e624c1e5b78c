#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <iostream>

#include "shared/Process/kvOutOfMemory.h"
#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/Command.h"
#include "tools/kvbank/terminal/ExitCode.h"

namespace {

// When a standard stream was closed before the start, the system would give its number to
// the first file that is opened, and texts would go into that file. So the number is taken
// by a handle that fails like a closed stream.
void FillStandardPlaces() {
    for (const int nPlace : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(nPlace, F_GETFD) == -1) open("/dev/null", nPlace == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

unsigned ErrorColumns() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): with no memory for the arguments there is nothing to unwind
int main(int argc, char** argv) {
    using namespace Kestrova;
    FillStandardPlaces();
    EndCleanlyWithoutMemory({"kvbank: out of memory\n", kExitNoMemory});
    CatchCancelSignals(true);
    Console console(std::cin, std::cout, std::cerr);
    console.bInIsTerminal = isatty(STDIN_FILENO) != 0;
    console.bErrIsTerminal = isatty(STDERR_FILENO) != 0;
    console.pfnErrColumns = ErrorColumns;
    const int nCode = RunKvBank(std::vector<std::string>(argv + (argc > 0), argv + argc), console);
    DieOfCancelSignal();
    return nCode;
}
