// PosixFaults.h - makes a chosen call of the C library fail, in programs that link kv::posix_faults.
// The linker's --wrap leads every call made by this program's own objects through here; calls inside shared
// libraries are not touched.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <ctime>

namespace Kestrova::Test {

// Given as the error: in place of the call the process is killed (SIGKILL), to test what that leaves behind.
inline constexpr int kPosixKill = -1000000;

// While it lives, call number nNth (1 is the next) of the named function fails with nError, and nothing is
// done (but close closes): the pthread functions return the error, the others set errno and return null or -1
// (with error 0: success). "_Znwm", operator new, throws std::bad_alloc; "_ZnwmRKSt9nothrow_t" and
// "_ZnamRKSt9nothrow_t" are the forms of new that give null. A negative error means something else for two
// functions: stat returns it without its sign (-2 makes it return 2), and write writes that many bytes (-3:
// three of them). At most two faults at a time, made and ended by one thread; calls are counted on all
// threads.
//
// kAnyAllocation stands for malloc, calloc, realloc and strdup together; in programs that also link
// kv::allocation_faults every operator new is one of them, those inside the C++ library included.
inline constexpr const char* kAnyAllocation = "any allocation";

class PosixFault {
public:
    static constexpr int kEveryCall = -1;  // in place of nNth: every call fails

    PosixFault(const char* pszCall, int nError, int nNth = 1);
    ~PosixFault();
    PosixFault(const PosixFault&) = delete;
    PosixFault& operator=(const PosixFault&) = delete;

    // Calls of the function so far, the failed one included.
    int Calls() const;
    // The time handed to the last pthread_cond_timedwait or nanosleep that was made to fail.
    timespec LastTime() const;

private:
    size_t m_nSlot;
};

// Whether a child process that does this is killed in call number nNth of the named function.
template <class TAct>
bool IsKilledAt(const char* pszCall, int nNth, const TAct& act) {
    const pid_t nChild = fork();
    if (nChild == 0) {
        const PosixFault fault(pszCall, kPosixKill, nNth);
        act();
        _exit(0);
    }
    int nStatus = 0;
    return nChild > 0 && waitpid(nChild, &nStatus, 0) == nChild && WIFSIGNALED(nStatus);
}

}  // namespace Kestrova::Test
