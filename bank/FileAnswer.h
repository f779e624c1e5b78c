// FileAnswer.h - what an operation on a file answers, with the system's reason when it fails.
// Files, databases and records answer true or false and leave the reason in errno. This is the only place of
// the engine that reads errno; from here on the reason is a value.
#pragma once

#include <cerrno>

#include "SamplerDBDS/BaseClasses/XFile.h"

namespace Kestrova {

struct FileAnswer {
    bool bDone = false;
    int nError = 0;  // errno; 0 when all went well, or when it was not the system that refused

    explicit operator bool() const { return bDone; }
};

// Runs an operation that answers true or false.
template <class TOperation>
FileAnswer AskFile(TOperation operation) {
    errno = 0;
    const bool bDone = operation();
    return {bDone, bDone ? 0 : errno};
}

// Runs the decoding of a record of `file`. Damage makes it fail too, and on the way it may have
// looked for other files (external waves). So the system's reason counts only when it is a
// failed read of this file, or lack of memory.
template <class TOperation>
FileAnswer AskRecord(CXFile& file, TOperation operation) {
    FileAnswer answer = AskFile(operation);
    if (answer.nError != ENOMEM && answer.nError != file.GetLastError()) answer.nError = 0;
    return answer;
}

}  // namespace Kestrova
