// Strike.h - decides which call of a program goes wrong. The wrapped calls ask it, one after the other.
#pragma once

#include <fcntl.h>

#include <cstddef>

namespace Kestrova::Trust {

// What can be made to fail by itself.
enum class Group {
    Open,
    Read,
    Write,
    Sync,
    Rename,  // and link
    Truncate,
    Lock,
    Stat,
    Unlink,
    Map,
    Close,
    Folder,  // walking, making and removing one
    Access,  // permissions, and where links lead
    Space,
    Thread,
    Output,  // writes to standard output and standard error
    Memory,
};

// Where a call works: at a path, which is taken from the folder nFile where it is relative, or at an open
// file.
struct Place {
    const char* pszPath = nullptr;
    int nFile = AT_FDCWD;
};

enum class Fate {
    Passes,
    Fails,
    Short,      // half of the bytes are moved
    TornKilled  // half of the bytes are moved, and the process is killed
};

// Counts the call if it is one of those that are counted, and says what becomes of it. When it fails, errno
// is set to the error asked for; otherwise it stays as it is. A process that is to be killed does not come
// back. Takes no memory. Any thread may call it.
Fate AskFate(Group group, const char* pszCall, Place place);

// The same for an allocation by the code at pCaller.
bool AllocationFails(const char* pszCall, const void* pCaller);

// The function of the next library, which the wrapper stands in front of.
void* NextFunction(const char* pszCall);

[[noreturn]] void KillProcess();

}  // namespace Kestrova::Trust
