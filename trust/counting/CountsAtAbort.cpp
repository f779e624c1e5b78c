// CountsAtAbort.cpp - in a build that counts coverage, linked into every test program: a test of a fatal
// check ends its child process by abort, and what that child has reached would not be counted otherwise.

#include <csignal>

// <gcov.h> declares it for C alone.
extern "C" void __gcov_dump();  // NOLINT(bugprone-reserved-identifier): the name is the compiler's

namespace {

// abort raises its signal in the calling thread, which holds no lock of the counters.
void KeepCounts(int) { __gcov_dump(); }

const bool kCatching = std::signal(SIGABRT, KeepCounts) != SIG_ERR;

}  // namespace
