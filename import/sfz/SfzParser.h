// SfzParser.h - the headers of an SFZ text and their opcodes.
#pragma once

#include <string_view>
#include <vector>

#include "import/ImportReport.h"

namespace Kestrova {

// Views of the text.
struct SfzOpcode {
    std::string_view name;
    std::string_view value;  // without blanks around it; may be empty
};

struct SfzHeader {
    std::string_view name;  // without < and >
    std::vector<SfzOpcode> opcodes;
};

// A text as SfzTextReader gives it. A value goes to the end of its line, to the next header, or to the blank
// in front of the next word with a "=", so that names of files may have blanks. What is no opcode, and
// opcodes in front of the first header, are noted as dropped.
std::vector<SfzHeader> ParseSfz(std::string_view text, ImportReport& report);

// The text in quotes; a long one is cut.
std::string QuotedPart(std::string_view text);

}  // namespace Kestrova
