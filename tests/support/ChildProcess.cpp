#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <stdexcept>

#include "tests/support/WaitUntil.h"

namespace Kestrova::Test {
namespace {

constexpr int kNoSuchProgram = 127, kFirstSignalCode = 128;  // as the shell has them

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& str : texts) pointers.push_back(str.data());
    pointers.push_back(nullptr);
    return pointers;
}

// The process's environment, with the variables in place of those of the same name.
std::vector<std::string> Environment(const std::vector<std::string>& variables) {
    std::vector<std::string> all = variables;
    for (char** p = environ; *p != nullptr; ++p) {
        const std::string strEntry = *p;
        const std::string strName = strEntry.substr(0, strEntry.find('=') + 1);
        bool bReplaced = false;
        for (const std::string& str : variables) bReplaced = bReplaced || str.rfind(strName, 0) == 0;
        if (!bReplaced) all.push_back(strEntry);
    }
    return all;
}

int FileInMemory() {
    const int nFile = memfd_create("output", MFD_CLOEXEC);
    if (nFile < 0) throw std::runtime_error("memfd_create");
    return nFile;
}

// From its beginning: the position is the program's, which may still write.
std::string ContentOf(int nFile) {
    std::string strContent;
    char buffer[4096];
    for (ssize_t n = 0; (n = pread(nFile, buffer, sizeof buffer, static_cast<off_t>(strContent.size()))) > 0;)
        strContent.append(buffer, static_cast<size_t>(n));
    return strContent;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments,
                           const std::vector<std::string>& variables, int nInherited)
    : m_strProgram(arguments[0]), m_nOutput(FileInMemory()), m_nErrors(FileInMemory()) {
    std::vector<std::string> words = arguments, environment = Environment(variables);
    const std::vector<char*> argv = Pointers(words), envp = Pointers(environment);
    m_pid = fork();
    if (m_pid < 0) throw std::runtime_error("fork");
    if (m_pid != 0) return;
    dup2(m_nOutput, STDOUT_FILENO);
    dup2(m_nErrors, STDERR_FILENO);
    if (nInherited >= 0) fcntl(nInherited, F_SETFD, 0);
    execvpe(argv[0], argv.data(), envp.data());
    _exit(kNoSuchProgram);
}

ChildProcess::~ChildProcess() {
    if (!m_bEnded) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    if (!m_bErrorsSeen) std::fputs(ContentOf(m_nErrors).c_str(), stderr);
    close(m_nOutput);
    close(m_nErrors);
}

void ChildProcess::Signal(int nSignal) const {
    if (!m_bEnded) kill(m_pid, nSignal);
}

bool ChildProcess::HasEnded() {
    int nState = 0;
    if (m_bEnded || waitpid(m_pid, &nState, WNOHANG) != m_pid) return m_bEnded;
    m_nCode = WIFEXITED(nState) ? WEXITSTATUS(nState) : kFirstSignalCode + WTERMSIG(nState);
    return m_bEnded = true;
}

int ChildProcess::Wait() {
    if (!WaitUntil([this] { return HasEnded(); })) throw std::runtime_error(m_strProgram + " does not end");
    return m_nCode;
}

std::string ChildProcess::Output() const { return ContentOf(m_nOutput); }

std::string ChildProcess::Errors() {
    m_bErrorsSeen = true;
    return ContentOf(m_nErrors);
}

ProgramRun RunProgram(const std::vector<std::string>& arguments, const std::vector<std::string>& variables) {
    ChildProcess program(arguments, variables);
    ProgramRun run;
    run.nStatus = program.Wait();
    run.strOut = program.Output();
    run.strErr = program.Errors();
    return run;
}

}  // namespace Kestrova::Test
