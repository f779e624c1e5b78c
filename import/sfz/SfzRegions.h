// SfzRegions.h - the regions of an SFZ text with all that they inherit.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "import/ImportOutcome.h"
#include "import/ImportReport.h"
#include "import/sfz/SfzOpcodes.h"

namespace Kestrova {

struct SfzRegion {
    SfzSettings settings;
    std::string strSample;  // the default path and the opcode's name; empty: the region has none
    int nKeyOffset = 0;     // to be added to its keys
};

// A region has what its group, master and global header set, each replacing what the one before set. A group
// ends the group before, a master the master and the group, a global all three. A control header sets
// default_path again each time, and note_offset and octave_offset until they are set again, for the regions
// behind it. Other headers are left out with all their opcodes. Views in the answer are into the text. A text
// with more than kMostSfzRegions is refused.
inline constexpr size_t kMostSfzRegions = 100000;
ImportOutcome ReadSfzRegions(std::string_view text, std::vector<SfzRegion>& regions, ImportReport& report);

}  // namespace Kestrova
