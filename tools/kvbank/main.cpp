#include <fcntl.h>
#include <unistd.h>

#include <exception>
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

}  // namespace

int main(int argc, char** argv) {
    using namespace Kestrova;
    FillStandardPlaces();
    CatchCancelSignals();
    Console console(std::cin, std::cout, std::cerr);
    console.bInIsTerminal = isatty(STDIN_FILENO) != 0;
    console.bErrIsTerminal = isatty(STDERR_FILENO) != 0;
    int nCode = kExitInternal;
    try {
        nCode = RunKvBank(std::vector<std::string>(argv + (argc > 0), argv + argc), console);
    } catch (const std::exception& error) {
        std::cerr << "kvbank: internal error: " << error.what() << '\n';
    }
    std::cout.flush();
    DieOfCancelSignal();
    return nCode;
}
