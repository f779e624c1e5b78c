#include "tests/gui/ChildProcess.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

namespace Kestrova::Test {
namespace {

constexpr double kPatienceSeconds = 60;
constexpr std::chrono::milliseconds kBetweenLooks{15};

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

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments,
                           const std::vector<std::string>& variables, int nInherited) {
    std::vector<std::string> words = arguments, environment = Environment(variables);
    const std::vector<char*> argv = Pointers(words), envp = Pointers(environment);
    m_pid = fork();
    if (m_pid != 0) return;
    if (nInherited >= 0) fcntl(nInherited, F_SETFD, 0);
    execvpe(argv[0], argv.data(), envp.data());
    _exit(127);
}

ChildProcess::~ChildProcess() {
    if (m_bEnded || m_pid < 0) return;
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
}

void ChildProcess::Signal(int nSignal) const {
    if (!m_bEnded) kill(m_pid, nSignal);
}

bool ChildProcess::HasEnded() {
    int nState = 0;
    if (m_bEnded || waitpid(m_pid, &nState, WNOHANG) != m_pid) return m_bEnded;
    m_nCode = WIFEXITED(nState) ? WEXITSTATUS(nState) : 128 + WTERMSIG(nState);
    return m_bEnded = true;
}

int ChildProcess::Wait() {
    WaitUntil([this] { return HasEnded(); });
    return m_nCode;
}

void PauseBetweenLooks() { std::this_thread::sleep_for(kBetweenLooks); }

double SecondsNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

bool IsPatienceOver(double nSince) { return SecondsNow() - nSince > kPatienceSeconds; }

}  // namespace Kestrova::Test
