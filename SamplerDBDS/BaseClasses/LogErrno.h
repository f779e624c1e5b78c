// LogErrno.h - the database's error lines.
#pragma once

namespace Kestrova {

// Writes one line to standard error: the calling thread as "%p: ", the message, and " error %d: %s\n" with
// errno as it was at the call and its text. Any thread; errno is left as it was. The line is built in a
// buffer of 1024 bytes: a message too long for it is cut, its error part never is.
[[gnu::format(printf, 1, 2)]] void logerrno(const char* pszFormat, ...);

// Does nothing; the place where lines of other levels end.
[[gnu::format(printf, 2, 3)]] void logerr(int level, const char* pszFormat, ...);

}  // namespace Kestrova
