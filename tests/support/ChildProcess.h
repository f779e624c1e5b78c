// ChildProcess.h - a program started by a test, and a program run to its end.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace Kestrova::Test {

// Killed, and waited for, with the object. Its output goes into memory; what it has written to standard error
// goes on to this process's, with the object, unless the test has asked for it.
class ChildProcess {
public:
    // arguments[0] is the program, looked for on the path; variables are "NAME=value" beside this process's
    // environment. nInherited, when not negative, is a descriptor that the program gets as its own.
    // Throws std::runtime_error when no process can be made; a program that is not there ends with 127.
    explicit ChildProcess(const std::vector<std::string>& arguments,
                          const std::vector<std::string>& variables = {}, int nInherited = -1);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void Signal(int nSignal) const;
    bool HasEnded();
    // Waits for the end: the exit code, or 128 + the signal that ended it. Throws std::runtime_error when the
    // end does not come before patience ends.
    int Wait();

    // What it has written so far.
    std::string Output() const;
    std::string Errors();

private:
    const std::string m_strProgram;
    const int m_nOutput, m_nErrors;  // files in memory
    bool m_bErrorsSeen = false;
    pid_t m_pid = -1;
    int m_nCode = -1;
    bool m_bEnded = false;
};

struct ProgramRun {
    int nStatus = -1;  // as ChildProcess::Wait answers
    std::string strOut, strErr;
};
ProgramRun RunProgram(const std::vector<std::string>& arguments,
                      const std::vector<std::string>& variables = {});

}  // namespace Kestrova::Test
