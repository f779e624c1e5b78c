// Command.h - one verb of kvbank. A new verb is a class of its own and a row of the table in KvBank.cpp.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "tools/kvbank/Console.h"

namespace Kestrova {

// Life: Describe declares the verb's options, which the parser then fills; Run does the work.
class Command {
public:
    virtual ~Command() = default;
    virtual void Describe(CLI::App& verb) = 0;
    // The exit code. Errors of the user's or the files' are said on the console; nothing throws but for
    // memory.
    virtual int Run(Console& console) = 0;
};

// The whole program but for the process around it: parses, runs one verb, answers the exit code.
// The arguments do not hold the program's name.
int RunKvBank(std::vector<std::string> arguments, Console& console);

}  // namespace Kestrova
