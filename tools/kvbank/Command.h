// Command.h - one verb of kvbank. A new verb is a class of its own and a row of the table in KvBank.cpp.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {

// Life: Describe declares the verb's options, which the parser then fills; Run does the work.
class Command {
public:
    virtual ~Command() = default;
    virtual void Describe(CLI::App& verb) = 0;
    // The exit code. Mistakes of the user and failures of files are said on the console. It may throw, for
    // want of memory; RunKvBank makes an exit code of that.
    virtual int Run(Console& console) = 0;
};

// The whole program without what belongs to the process, such as signals: parses, runs one verb, answers the
// exit code. The arguments do not hold the program's name. Nothing is thrown: want of memory and internal
// errors are exit codes too. With --json every run but those for help and version ends with one document.
int RunKvBank(std::vector<std::string> arguments, Console& console);

}  // namespace Kestrova
