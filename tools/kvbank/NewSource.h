// NewSource.h - what the verbs that make a source bank have in common: where it may stand, and how it gets
// there.
#pragma once

#include <string>

#include "tools/kvbank/folder/PartFile.h"
#include "tools/kvbank/terminal/Ending.h"

namespace Kestrova {

// Whether a source bank may be made under this name: banks can be named after it, and nothing is there but a
// file that -f allows to replace.
Ending CheckNewSource(const std::string& strFile, bool bForce);

// Puts the finished file in its place. When the file is there but may not outlast a loss of power, that is a
// failed output too.
Ending PublishSource(PartFile& part, const std::string& strFile);

}  // namespace Kestrova
