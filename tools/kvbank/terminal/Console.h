// Console.h - where a verb's lines and its JSON document go, and how much the user wants to read.
#pragma once

#include <istream>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

#include "shared/System/kvPrintable.h"
#include "tools/kvbank/terminal/EventLog.h"
#include "tools/kvbank/terminal/ExitCode.h"

namespace Kestrova {

using Json = nlohmann::ordered_json;

struct Console {
    enum class Wish { Auto, Always, Never };
    enum class ProgressStyle {
        Auto,    // a line that is redrawn, on a terminal
        Always,  // the same wherever standard error goes
        Never,
        Lines  // one JSON object a line on `err`; messages are such objects there, too
    };

    Console(std::istream& input, std::ostream& output, std::ostream& errors)
        : in(input), out(output), err(errors) {}

    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    bool bInIsTerminal = false;   // questions may be asked
    bool bErrIsTerminal = false;  // a progress bar may be drawn
    // The columns of that terminal now, 0 for not known.
    unsigned (*pfnErrColumns)() = nullptr;

    bool bQuiet = false;    // -q: nothing but errors
    bool bVerbose = false;  // -v: details that are usually left out
    bool bJson = false;     // --json: one document on `out`, no other text there
    ProgressStyle progress = ProgressStyle::Auto;
    Wish color = Wish::Auto;
    bool bColor = false;     // what `color` came to
    std::string strLogFile;  // --log-file; "" for none
    bool bTrust = false;     // --trust: waves may expand to any size

    // A console with the same wishes and log for a job beside others: its lines go to streams of its own,
    // and it keeps its own errors and warnings. It draws no progress and asks nothing.
    Console ForJob(std::ostream& output, std::ostream& errors) const;

    // Opens the log. "" or why that fails.
    std::string OpenLog();
    // Adds a line to the log alone, if there is one.
    void Log(const char* pszKind, const std::string& strLine) const;

    // Whether a progress line is drawn on `err`.
    bool DrawsProgress() const;
    // With --progress=json: one line with this object on `err`, unless -q is given. Else nothing.
    void Event(const Json& event);

    // Say, Detail, Error and Warn take one line each, write it at once, and add it to the log whatever is
    // printed. Control characters, which a terminal would obey, are replaced. When the reader of `out` has
    // gone (SIGPIPE) nothing more is printed.
    // Say prints a line for the user to `out`, unless -q or --json is given.
    void Say(const std::string& strLine);
    // A line that only -v shows.
    void Detail(const std::string& strLine);
    // "kvbank: TEXT" on `err`, always; kept for the JSON document too.
    void Error(const std::string& strLine);
    void Warn(const std::string& strLine);

    // Ends a command: with --json writes the document {"schema": 1, "command": ..., "exit_code": ...} with
    // the fields of `report` and the errors and warnings that were told; "command" is "" before it is known.
    // Texts in `report` are written in full, with control characters escaped. When a text is not UTF-8, its
    // wrong bytes are replaced, and a field "NAME_bytes" follows with all its bytes in hexadecimal.
    // Returns the code.
    int Finish(const char* pszCommand, ExitCode code, const Json& report = Json::object());
    // The document's fields from "exit_code" on, for a job that is one of many in a document.
    Json Facts(ExitCode code, const Json& report) const;
    // Returns the code; when it is done, but `out` did not take all
    // that was written to it, kExitOutput instead.
    int Flush(ExitCode code);

private:
    ExitCode EndLog(ExitCode code);
    void Message(const char* pszKind, const char* pszLead, const std::string& strLine);

    Json m_errors = Json::array();
    Json m_warnings = Json::array();
    std::shared_ptr<EventLog> m_pLog;  // shared with the consoles of jobs; null without --log-file
};

// "12.3 MB": bytes for a reader, in units of 1000.
std::string ReadableSize(uint64_t nBytes);
// "1:05" or "1:02:03".
std::string ReadableTime(double seconds);
// "11,987": a number with a comma between its groups of thousands.
std::string Grouped(uint64_t n);
// "2 banks", "1 bank": a count with its noun.
std::string Counted(uint64_t n, const std::string& strNoun);

}  // namespace Kestrova
