// kvLogFile.h - the process's one log: short messages with a title in front, dropped until the log is opened.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>

namespace Kestrova {

// Flags of opening; without kLogNewFile and kLogAppend there is no file.
enum LogFlags : unsigned {
    kLogNewFile = 0x0002,    // make the file or empty it
    kLogAppend = 0x0004,     // make the file or add to its end
    kLogInTmp = 0x4000,      // the file name is one below "/tmp/"
    kLogLeaveAsIs = 0x8000,  // do nothing
};

// A log and its title.
// Owner:   owns its file and its copy of the title.
// Threads: messages from any thread, with no lock: each is one write of at most 258 characters, so that
//          two do not mix. Opening and closing while no other thread uses the log.
// Errors:  none are reported; a log that cannot be opened goes to standard output. Opening and closing may
//          throw std::bad_alloc.
class LogFile {
public:
    // The title of a log that was given none: empty.
    static constexpr char szDefTitle[] = "";

    constexpr LogFile() = default;
    ~LogFile() { closeLog(); }
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // Takes the title and opens the file that the flags (LogFlags) ask for, with permissions 0666 whatever
    // the umask is and under a shared lock. A file that was opened before is closed first. The first line
    // tells title and time.
    //   pszTitle:    null or empty for szDefTitle
    //   pszFileName: null for no name, a file that cannot be opened
    // Deliberately (Q36), standard output becomes the log, so that messages are still seen, when
    // the file cannot be opened or is locked by another process, or when a file below "/tmp/"
    // is a symbolic link or not a regular file.
    void openLog(const char* pszTitle, unsigned nFlags, const char* pszFileName);
    // Writes the time to the file, closes it and forgets the title.
    void closeLog();

    // Writes the title and the message. The title and the format together are cut at 258 characters before
    // the arguments are put in, and the text afterwards. Deliberate: the title is a part of the format, so
    // that "%%" in it is one "%", and its conversions take the first arguments.
    [[gnu::format(printf, 2, 0)]] void messageV(const char* pszFormat, va_list args);
    // Writes the message alone.
    [[gnu::format(printf, 2, 0)]] void printV(const char* pszFormat, va_list args);

private:
    [[gnu::format(printf, 2, 3)]] void Print(const char* pszFormat, ...);
    void SetTitle(const char* pszTitle);
    void CloseFile();
    void Write(const char* pszText) const;

    std::atomic<int> m_nFile{-1};         // -1: closed; 1: standard output
    const char* m_pszTitle = szDefTitle;  // else a copy from strdup
};

inline constexpr char kDefLogFileName[] = "logfile.log";

// The process's log. It is closed when the process ends.
// nIgnored is ignored.
void IOLogOpen(const char* pszTitle, int nIgnored, unsigned nFlags,
               const char* pszFileName = kDefLogFileName);
void IOLogClose();

// A message with the title in front; IOLog1 only when the condition is true.
[[gnu::format(printf, 1, 2)]] void IOLog(const char* pszFormat, ...);
[[gnu::format(printf, 2, 3)]] void IOLog1(bool bCondition, const char* pszFormat, ...);
// The same without the title.
[[gnu::format(printf, 1, 2)]] void IOPrint(const char* pszFormat, ...);
[[gnu::format(printf, 2, 3)]] void IOPrint1(bool bCondition, const char* pszFormat, ...);

}  // namespace Kestrova
