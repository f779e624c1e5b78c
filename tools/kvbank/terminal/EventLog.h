// EventLog.h - the file of --log-file: a line for each message of a run and for its end, with the time.
#pragma once

#include <atomic>
#include <string>

namespace Kestrova {

// One line: "2026-11-22T11:31:24.123Z 4711 error: Src.kvs: not a readable source bank". The time is UTC, the
// number that of the process. Lines are appended, each by one write, so that several processes can share the
// file and no line is torn.
// Threads: Add from any thread, once the log is open.
// Errors:  values; Open and Add may throw std::bad_alloc.
class EventLog {
public:
    EventLog() = default;
    ~EventLog();
    EventLog(const EventLog&) = delete;
    EventLog& operator=(const EventLog&) = delete;

    // Opens the file, or makes it. "" or why that fails. A file that is no text, such as a bank, is refused:
    // a wrong name must not spoil it.
    std::string Open(const std::string& strPath);
    // Does nothing when no log is open. The kind is one word; control characters of the text are replaced.
    void Add(const char* pszKind, const std::string& strText);
    // Ends the log; the file system of a network may say only now what it could not write. No thread adds any
    // more.
    void Close();
    // errno of the first line that was not written, or of the close, else 0.
    int GetError() const { return m_nError; }
    const std::string& Path() const { return m_strPath; }

private:
    void NoteError();

    std::string m_strPath;
    int m_nFile = -1;
    std::atomic<int> m_nError{0};
};

}  // namespace Kestrova
