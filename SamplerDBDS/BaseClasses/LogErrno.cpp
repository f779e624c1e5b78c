#include "SamplerDBDS/BaseClasses/LogErrno.h"

#include <pthread.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace Kestrova {

namespace {

constexpr size_t kLineBytes = 1024;  // with the terminator

// How many of the characters that printf announced fit into a buffer of nRoom bytes, the terminator not
// counted.
size_t Written(int nAnnounced, size_t nRoom) {
    return nAnnounced < 0 ? 0 : std::min(static_cast<size_t>(nAnnounced), nRoom - 1);
}

}  // namespace

void logerrno(const char* pszFormat, ...) {
    const int nError = errno;
    char szReason[256];
    char szEnd[sizeof szReason + 32];
    const char* const pszReason = strerror_r(nError, szReason, sizeof szReason);
    const size_t nEnd =
        Written(std::snprintf(szEnd, sizeof szEnd, " error %d: %s\n", nError, pszReason), sizeof szEnd);

    // A long path never ends the program: the message is cut so that its end fits.
    char szLine[kLineBytes];
    const size_t nRoom = sizeof szLine - nEnd;
    void* const pThread = std::bit_cast<void*>(pthread_self());
    size_t nLine = Written(std::snprintf(szLine, nRoom, "%p: ", pThread), nRoom);
    va_list args;
    va_start(args, pszFormat);
    nLine += Written(std::vsnprintf(szLine + nLine, nRoom - nLine, pszFormat, args), nRoom - nLine);
    va_end(args);
    std::memcpy(szLine + nLine, szEnd, nEnd + 1);
    std::fputs(szLine, stderr);
    errno = nError;
}

void logerr(int, const char*, ...) {}

}  // namespace Kestrova
