#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <iostream>

#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/Command.h"

namespace {

// A standard stream that was closed before the start would lend its number to the first file opened, and
// texts would go into that. Its place is taken by something that fails as a closed stream does.
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
    CatchCancelSignals(true);
    Console console(std::cin, std::cout, std::cerr);
    console.bInIsTerminal = isatty(STDIN_FILENO) != 0;
    console.bErrIsTerminal = isatty(STDERR_FILENO) != 0;
    console.pfnErrColumns = ErrorColumns;
    const int nCode = RunKvBank(std::vector<std::string>(argv + (argc > 0), argv + argc), console);
    DieOfCancelSignal();
    return nCode;
}
