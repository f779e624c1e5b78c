// NewSource.h - what the verbs that make a source bank share: the check of its place, and the
// move of the finished file to that place.
#pragma once

#include <string>

#include "tools/kvbank/folder/PartFile.h"
#include "tools/kvbank/terminal/Ending.h"

namespace Kestrova {

// Whether a file may be made under this name: the place is free, or holds a file that -f allows to replace.
Ending CheckNewFile(const std::string& strFile, bool bForce);

// Whether a source bank may be made under this name: banks can be named after it, and the place is free or
// holds a file that -f allows to replace.
Ending CheckNewSource(const std::string& strFile, bool bForce);

// Moves the finished file to its place. When the file is there but may be lost in a
// power failure, this is a failed output too.
Ending PublishSource(PartFile& part, const std::string& strFile);

}  // namespace Kestrova
