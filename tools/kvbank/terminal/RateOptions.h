// RateOptions.h - how rates and layouts are written on the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "bank/BankFileName.h"

namespace Kestrova {

// "48000,96000" or "all" as rates of the table in its order, each once. None for anything else.
std::vector<unsigned int> ParseRates(const std::string& strRates);

// Adds "-r,--rates RATES" (required), checked, and "--layout plain|per-key".
void AddRateOption(CLI::App& verb, std::vector<unsigned int>& arRates);
void AddLayoutOption(CLI::App& verb, BankLayout& layout);

const char* LayoutName(BankLayout layout);

}  // namespace Kestrova
