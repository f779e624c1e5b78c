#include "shared/System/kvLogFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

namespace Kestrova {

namespace {

constexpr int kClosed = -1;
constexpr int kStandardOutput = 1;

// A message, cut to what fits with its terminator.
using Text = char[259];

// The current local time as ctime writes it, without its line end.
std::string TimeText() {
    const time_t now = std::time(nullptr);
    char achTime[26];
    const std::string strTime = ctime_r(&now, achTime) != nullptr ? achTime : "";
    return strTime.substr(0, strTime.find('\n'));
}

// Removes a conversion at the end that is incomplete because the format was cut.
void DropBrokenConversion(char* pszFormat) {
    static constexpr char kBeforeConversion[] = "-+ #0'*.123456789$hlLqjzt";
    for (char* pch = pszFormat; (pch = std::strchr(pch, '%')) != nullptr; ++pch) {
        char* const pchStart = pch++;
        pch += std::strspn(pch, kBeforeConversion);
        if (*pch == '\0') {
            *pchStart = '\0';
            return;
        }
    }
}

// A text that cannot be made, such as wide characters outside the locale, is empty.
[[gnu::format(printf, 3, 0)]] void FormatText(char* pchDst, size_t nSize, const char* pszFormat,
                                              va_list args) {
    if (std::vsnprintf(pchDst, nSize, pszFormat, args) < 0) *pchDst = '\0';
}

// The file open for messages, or -1. It is emptied only once it is locked, and fails when another process has
// it locked. In the folder that all users share only a regular file is opened: a link or a device that
// another user made there could lead anywhere.
int OpenFile(const char* pszPath, bool bNew, bool bSharedFolder) {
    // Without O_NONBLOCK a pipe that lies where the file is expected could hold the program up for ever.
    const int nFlags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | (bNew ? 0 : O_APPEND) |
                       (bSharedFolder ? O_NOFOLLOW : 0);
    const int nFile = open(pszPath, nFlags, 0666);
    if (nFile < 0) return -1;
    struct stat facts;
    const bool bKnown = fstat(nFile, &facts) == 0;
    const bool bRegular = bKnown && S_ISREG(facts.st_mode);
    if (!bKnown || (bSharedFolder && !bRegular) || flock(nFile, LOCK_SH | LOCK_NB) != 0 ||
        (bNew && bRegular && ftruncate(nFile, 0) != 0)) {
        close(nFile);
        return -1;
    }
    if (!bRegular) return nFile;  // such as a terminal, which keeps its permissions
    fchmod(nFile, 0666);          // whatever the umask took away; another user's file stays as it is
    return nFile;
}

// Never destroyed, because static objects may log late.
LogFile& GlobalLog() {
    static LogFile* const pLog = [] {
        std::atexit(IOLogClose);
        return new LogFile;
    }();
    return *pLog;
}

}  // namespace

void LogFile::openLog(const char* pszTitle, unsigned nFlags, const char* pszFileName) {
    if ((nFlags & kLogLeaveAsIs) != 0) return;
    SetTitle(pszTitle);
    // Deliberate (Q39): without a file flag only the title changes; an open file stays open.
    if ((nFlags & (kLogNewFile | kLogAppend)) == 0) return;
    const bool bInTmp = (nFlags & kLogInTmp) != 0;
    std::string strPath(bInTmp ? "/tmp/" : "");
    if (pszFileName != nullptr) strPath += pszFileName;
    CloseFile();
    const int nFile = OpenFile(strPath.c_str(), (nFlags & kLogNewFile) != 0, bInTmp);
    m_nFile = nFile < 0 ? kStandardOutput : nFile;
    if (m_nFile <= kStandardOutput) return;
    if (*m_pszTitle != '\0')
        Print("%s; loaded at %s.\n", m_pszTitle, TimeText().c_str());
    else
        Print("Loaded at %s.\n", TimeText().c_str());
}

void LogFile::closeLog() {
    CloseFile();
    SetTitle(nullptr);
}

void LogFile::CloseFile() {
    if (m_nFile > kStandardOutput) {
        Print("Unloaded at %s.\n", TimeText().c_str());
        close(m_nFile);
    }
    m_nFile = kClosed;
}

void LogFile::SetTitle(const char* pszTitle) {
    const bool bGiven = pszTitle != nullptr && *pszTitle != '\0';
    const char* const pszCopy = bGiven ? strdup(pszTitle) : nullptr;  // first: it may be the present title
    if (m_pszTitle != szDefTitle) std::free(const_cast<char*>(m_pszTitle));
    m_pszTitle = pszCopy != nullptr ? pszCopy : szDefTitle;
}

void LogFile::messageV(const char* pszFormat, va_list args) {
    Text achText, achFormat;
    // Deliberate (Q37): title and format are cut together before the arguments go in.
    std::snprintf(achFormat, sizeof achFormat, "%s%s", m_pszTitle, pszFormat);
    DropBrokenConversion(achFormat);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // deliberate (Q38): the title is a part of the format
    FormatText(achText, sizeof achText, achFormat, args);
#pragma GCC diagnostic pop
    Write(achText);
}

void LogFile::printV(const char* pszFormat, va_list args) {
    Text achText;
    FormatText(achText, sizeof achText, pszFormat, args);
    Write(achText);
}

void LogFile::Print(const char* pszFormat, ...) {
    va_list args;
    va_start(args, pszFormat);
    printV(pszFormat, args);
    va_end(args);
}

void LogFile::Write(const char* pszText) const {
    const int nFile = m_nFile;
    if (nFile == kClosed) return;
    while (write(nFile, pszText, std::strlen(pszText)) < 0 && errno == EINTR) {
    }
}

void IOLogOpen(const char* pszTitle, int, unsigned nFlags, const char* pszFileName) {
    GlobalLog().openLog(pszTitle, nFlags, pszFileName);
}

void IOLogClose() { GlobalLog().closeLog(); }

void IOLog(const char* pszFormat, ...) {
    va_list args;
    va_start(args, pszFormat);
    GlobalLog().messageV(pszFormat, args);
    va_end(args);
}

void IOLog1(bool bCondition, const char* pszFormat, ...) {
    if (!bCondition) return;
    va_list args;
    va_start(args, pszFormat);
    GlobalLog().messageV(pszFormat, args);
    va_end(args);
}

void IOPrint(const char* pszFormat, ...) {
    va_list args;
    va_start(args, pszFormat);
    GlobalLog().printV(pszFormat, args);
    va_end(args);
}

void IOPrint1(bool bCondition, const char* pszFormat, ...) {
    if (!bCondition) return;
    va_list args;
    va_start(args, pszFormat);
    GlobalLog().printV(pszFormat, args);
    va_end(args);
}

}  // namespace Kestrova
