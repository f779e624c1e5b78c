// Command.h - one verb of kvbank. A new verb is a class of its own and a row of the table in KvBank.cpp.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
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
    // Returns the exit code. User mistakes and failures of files are told on the console. May throw
    // std::bad_alloc, which RunKvBank turns into an exit code.
    virtual int Run(Console& console) = 0;
};

// The whole program except what belongs to the process, such as signals: parses the arguments, which
// do not include the program's name, runs one verb and returns the exit code. Nothing is thrown:
// lack of memory and internal errors are exit codes too. With --json every run ends with one
// document, except those for help and version.
int RunKvBank(std::vector<std::string> arguments, Console& console);

// Hands the parser, in which every verb and option is declared, to a reader; for the manual page and the
// completions of shells, which are written from it. The parser lives as long as the call.
void ReadCommandLineTable(const std::function<void(CLI::App&)>& read);

}  // namespace Kestrova
