// Console.h - what a command talks to: the streams, and how much the user wants to hear.
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
    bool bVerbose = false;  // -v: the engine's numbers, and what is usually passed over
    bool bJson = false;     // --json: one document on `out`, no other text there

    // Each of these takes one line and writes it at once; what a terminal must not get is made printable. A
    // reader that has gone (SIGPIPE) is a cancel like any other, and nothing more is said then.
    // A line for the user: to `out`, unless -q or --json.
    void Say(const std::string& strLine);
    // A line that only -v shows.
    void Detail(const std::string& strLine);
    // "kvbank: TEXT" on `err`, always; kept for the JSON document too.
    void Error(const std::string& strLine);
    void Warn(const std::string& strLine);

    // Ends a command: with --json writes the document {"schema": 1, "command": ..., "exit_code": ...} with
    // the fields of `report` and the errors and warnings said; "command" is "" before one is known. Texts in
    // `report` are given as they are: the document has them whole, with control characters escaped, and only
    // what is no UTF-8 is replaced. Returns the code.
    int Finish(const char* pszCommand, ExitCode code, const Json& report = Json::object());
    // The code, unless it is done and `out` did not take all that was written to it.
    int Flush(ExitCode code);

private:
    Json m_errors = Json::array();
    Json m_warnings = Json::array();
};

// "12.3 MB": bytes for a reader, in units of 1000.
std::string ReadableSize(uint64_t nBytes);
// "1:05" or "1:02:03".
std::string ReadableTime(double seconds);
// "2 banks", "1 bank": a count with its noun.
std::string Counted(uint64_t n, const std::string& strNoun);

}  // namespace Kestrova
