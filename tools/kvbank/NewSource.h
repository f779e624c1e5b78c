// NewSource.h - what the verbs that make a file share: the check of its place, the writing of a file that
// appears whole or not at all, and the move of a finished file to that place.
#pragma once

#include <functional>
#include <string>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "bank/place/PartFile.h"
#include "tools/kvbank/terminal/Ending.h"

namespace Kestrova {

// Whether a file may be made at this place: it is free, or holds a file that -f allows to replace.
Ending CheckNewFile(const std::string& strFile, bool bForce);

// The same of a source bank: banks can also be named after it.
Ending CheckNewSource(const std::string& strFile, bool bForce);

// Makes the file: `write` fills it, and it appears at its place when the disk has it. When `write` answers
// false or a job was cancelled, nothing appears; a refusal of the system is then the ending, and without one
// the ending is done and nBytes 0. Otherwise nBytes is the file's length.
Ending WriteNewFile(const std::string& strFile, const std::function<bool(CXFile&)>& write, uint64_t& nBytes);

// Moves the finished file to its place. When the file is there but may be lost in a
// power failure, this is a failed output too.
Ending PublishSource(PartFile& part, const std::string& strFile);

}  // namespace Kestrova
