#include "tools/kvbank/terminal/EventLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <utility>

#include "shared/System/kvPrintable.h"
#include "shared/System/kvSafeFile.h"

namespace Kestrova {
namespace {

constexpr size_t kLookedAt = 4096;

// A text has no zero byte. Every bank, source or font that holds anything has one near its beginning.
bool IsText(int nFile) {
    std::array<char, kLookedAt> head{};
    const ssize_t nBytes = pread(nFile, head.data(), head.size(), 0);
    return nBytes >= 0 && std::memchr(head.data(), '\0', static_cast<size_t>(nBytes)) == nullptr;
}

// Whether it is a regular file that holds something else than text. What cannot be read can only be appended
// to by somebody who knows what it is.
bool IsNoText(const std::string& strPath) {
    struct stat facts;
    if (stat(strPath.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode)) return false;
    const FileDescriptor file(open(strPath.c_str(), O_RDONLY | O_CLOEXEC));
    return file >= 0 && !IsText(file);
}

std::string TimeText() {
    using std::chrono::milliseconds;
    const auto now = std::chrono::system_clock::now();
    const time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto nMs = std::chrono::duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
    tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.", &parts);
    const std::string strMs = std::to_string(nMs);
    return text.data() + std::string(3 - strMs.size(), '0') + strMs + "Z";
}

}  // namespace

EventLog::~EventLog() { Close(); }

std::string EventLog::Open(const std::string& strPath) {
    if (IsNoText(strPath)) return "it is no text file, so no log is appended to it";
    m_strPath = strPath;
    m_nFile = open(strPath.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0666);
    return m_nFile < 0 ? std::strerror(errno) : "";
}

void EventLog::NoteError() {
    int nNone = 0;
    m_nError.compare_exchange_strong(nNone, errno);
}

void EventLog::Add(const char* pszKind, const std::string& strText) {
    if (m_nFile < 0) return;
    const std::string strLine =
        TimeText() + " " + std::to_string(getpid()) + " " + pszKind + ": " + Printable(strText) + "\n";
    if (!WriteAll(m_nFile, strLine)) NoteError();
}

void EventLog::Close() {
    const int nFile = std::exchange(m_nFile, -1);
    if (nFile >= 0 && close(nFile) != 0) NoteError();
}

}  // namespace Kestrova
