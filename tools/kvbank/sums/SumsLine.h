// SumsLine.h - a line of a file that `sha256sum -c` reads.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Kestrova {

// A sum and the file it is of, by its name without a folder.
struct SumsLine {
    std::string strSum;  // 64 lower-case hexadecimal digits
    std::string strName;
};

// The sum, two spaces, the name, a newline. A name with a backslash, newline or carriage return is written
// with \\, \n or \r in their place, and a backslash in front of the line tells so.
std::string FormatSumsLine(const SumsLine& line);

// Reads one line, its newline included; nothing when it is not such a line. Digits may be upper-case, and the
// second space may be a star: so the program writes the line of a binary file.
std::optional<SumsLine> ParseSumsLine(std::string_view text);

}  // namespace Kestrova
