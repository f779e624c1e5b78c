// Console.h - where a verb's lines and its JSON document go, and how much the user wants to read.
#pragma once

#include <istream>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

#include "shared/System/kvPrintable.h"
#include "tools/kvbank/terminal/ExitCode.h"

namespace Kestrova {

using Json = nlohmann::ordered_json;

struct Console {
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

    // Say, Detail, Error and Warn take one line each and write it at once. Control characters, which a
    // terminal would obey, are replaced. When the reader of `out` has gone (SIGPIPE) nothing more is printed.
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
    // Returns the code; when it is done, but `out` did not take all
    // that was written to it, kExitOutput instead.
    int Flush(ExitCode code);

private:
    Json m_errors = Json::array();
    Json m_warnings = Json::array();
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
