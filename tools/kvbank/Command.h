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
    // The exit code. Errors of the user's or the files' are said on the console. What is thrown (for lack of
    // memory) unwinds it and becomes an exit code.
    virtual int Run(Console& console) = 0;
};

// The whole program but for the process around it: parses, runs one verb, answers the exit code.
// The arguments do not hold the program's name. Nothing is thrown: no memory and mistakes of ours are exit
// codes too, and with --json whatever ends the run but help and version is told in one document.
int RunKvBank(std::vector<std::string> arguments, Console& console);

}  // namespace Kestrova
