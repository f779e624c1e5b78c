// FileAnswer.h - what an operation on a file or database answers, with the system's reason when it fails.
#pragma once

#include "SamplerDBDS/BaseClasses/XFileHold.h"

namespace Kestrova {

struct FileAnswer {
    bool bDone = false;
    int nError = 0;  // errno; 0 when all went well, or when it was not the system that refused

    explicit operator bool() const { return bDone; }
};

// Runs an operation on a CXFile or CSDB that answers true or false. Others may use the object meanwhile only
// under its locks.
template <class TAsked, class TOperation>
FileAnswer AskFile(TAsked& asked, TOperation operation) {
    asked.ClearFirstError();
    const bool bDone = operation();
    return {bDone, bDone ? 0 : asked.GetFirstError()};
}

// Commits and closes a CSDB. Although the disk has every byte by then, a closing that fails is a failure too:
// what the system says of a file while it can still be withdrawn, the user is told.
template <class TDatabase>
FileAnswer AskToCommit(TDatabase& database) {
    database.ClearFirstError();
    const bool bDone = database.Close(true);
    const int nError = database.GetFirstError();
    return {bDone && nError == 0, nError};
}

// The same for a file that other threads use too: it is held meanwhile, so that the reason is this
// operation's own.
template <class TOperation>
FileAnswer AskSharedFile(CXFile& file, TOperation operation) {
    const CXFileHold hold(file);
    return AskFile(file, operation);
}

}  // namespace Kestrova
