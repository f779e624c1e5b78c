// ChildProcess.h - a program started by a test, and a program run to its end.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace Kestrova::Test {

// When the object goes, the program is killed and waited for. Its output is kept in memory. What it has
// written to standard error is then written to that of this process, unless the test has asked for it.
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
    // Waits for the end and returns the exit code, or 128 + the signal that ended it. Throws
    // std::runtime_error when the program has not ended at the time limit.
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
