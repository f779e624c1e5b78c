// OutputOptions.h - the options by which every verb is told how to print.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {

// Adds -q, -v, --json, --progress, --color and --log-file; the parser fills the console.
void AddOutputOptions(CLI::App& app, Console& console);

// Begins a run whose command line is understood: decides about colours and opens the log. When that fails it
// is told, and the exit code is not "done".
ExitCode BeginOutput(const std::vector<std::string>& arguments, Console& console);

}  // namespace Kestrova
