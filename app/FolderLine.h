// FolderLine.h - a folder as one line of the settings file, and back.
#pragma once

#include "shared/System/kvString.h"

namespace Kestrova {

// The line for a folder: "%", "[", "]", control characters, and spaces at its two ends are percent-encoded
// ("%5B" for "["). The settings file would take a line with both brackets for a section's header, end the
// line at a line end, and drop the spaces. Empty for a folder whose line would have more than 1021 bytes: it
// would be read back as two.
String FolderLine(const char* pszFolder);

// The folder that a line stands for. A line that FolderLine would not have written, of an older version or
// by hand, is the folder as it stands: "/banks/50%" and "/banks/%41" are kept.
String FolderOfLine(const char* pszLine);

}  // namespace Kestrova
