// ChildProcess.h - a program started by a test.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace Kestrova::Test {

// Killed, and waited for, with the object.
class ChildProcess {
public:
    // arguments[0] is the program; variables are "NAME=value" beside this process's environment. nInherited,
    // when not negative, is a descriptor that the program gets as its own.
    explicit ChildProcess(const std::vector<std::string>& arguments,
                          const std::vector<std::string>& variables = {}, int nInherited = -1);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void Signal(int nSignal) const;
    bool HasEnded();
    // Waits for the end: the exit code, or 128 + the signal that ended it. -1 when it does not come in a
    // minute.
    int Wait();

private:
    pid_t m_pid = -1;
    int m_nCode = -1;
    bool m_bEnded = false;
};

// Waits until something is true, looking again and again; false when it does not come true in a minute.
template <class TCondition>
bool WaitUntil(TCondition condition);

void PauseBetweenLooks();
bool IsPatienceOver(double nSince);
double SecondsNow();

template <class TCondition>
bool WaitUntil(TCondition condition) {
    for (const double nStart = SecondsNow(); !condition(); PauseBetweenLooks())
        if (IsPatienceOver(nStart)) return false;
    return true;
}

}  // namespace Kestrova::Test
