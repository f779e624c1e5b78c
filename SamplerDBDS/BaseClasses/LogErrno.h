// LogErrno.h - the database's error lines.
#pragma once

namespace Kestrova {

// Writes one line to standard error: the calling thread as "%p: ", the message, and " error %d: %s\n" with
// errno as it was at the call and its text. Any thread; errno is left as it was. The line is built in a
// buffer of 1024 bytes. A message that is too long is cut; the error behind it never is.
[[gnu::format(printf, 1, 2)]] void logerrno(const char* pszFormat, ...);

// Does nothing: lines of other levels are not written.
[[gnu::format(printf, 2, 3)]] void logerr(int level, const char* pszFormat, ...);

}  // namespace Kestrova
