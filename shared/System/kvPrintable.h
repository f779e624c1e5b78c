// kvPrintable.h - texts from files made fit to be shown.
#pragma once

#include <string>

namespace Kestrova {

// A text from a file as valid UTF-8 without control characters: such bytes become
// "?", so that they never reach a terminal.
std::string Printable(const std::string& strText);
// As much of a printable text as surely fits the columns.
std::string CutToColumns(const std::string& strText, size_t nColumns);

}  // namespace Kestrova
