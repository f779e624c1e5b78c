// VerifyReporter.h - tells what a check of database files found, for a person and as JSON.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tools/kvbank/compare/ProblemList.h"
#include "tools/kvbank/precise/Conversion.h"
#include "tools/kvbank/terminal/Console.h"
#include "tools/kvbank/terminal/Ending.h"
#include "tools/kvbank/terminal/Progress.h"

namespace Kestrova {

// What became of the sums file beside one file.
struct VerifiedSums {
    enum class State {
        None,    // there is none, or it is among the problems
        Good,    // the file is as it says
        Written  // just now
    };
    State state = State::None;
    Ending fault = {};  // why it was not written, though that was asked for
};

// What was found in one file.
struct VerifiedFile {
    std::string strPath;
    ExitCode code = kExitDone;
    std::string strCause = {};  // not empty: it was not checked to its end, and why
    bool bOpened = false;       // the fields that follow are set
    bool bEnriched = false;
    bool bCompared = false;  // with its source
    // By which the source gives the file; none when it was not compared, or differs from what each gives.
    std::optional<Conversion> conversion = {};
    uint64_t nBytes = 0;
    uint64_t nRecords = 0;
    uint32_t nRate = 0;  // 0: it states none
    ProblemList problems = {};
    VerifiedSums sums = {};
};

class VerifyReporter {
public:
    // The console must outlive the reporter. An empty source: there is none.
    VerifyReporter(Console& console, const std::string& strSource);

    // Begins the list of files, which is in the document even if it stays empty.
    void BeginFiles() { m_report["files"] = Json::array(); }

    // An observer that shows how many bytes of a file are done, and stops the work when a signal came. The
    // bar is removed with the last copy of the observer.
    std::function<bool(uint64_t)> Watch(const std::string& strPath, const std::string& strMore,
                                        uint64_t nTotal);

    void Tell(const VerifiedFile& file);
    int Finish(ExitCode code) { return m_console.Finish("verify", code, m_report); }

private:
    void TellGood(const VerifiedFile& file);
    void TellProblems(const VerifiedFile& file);

    Console& m_console;
    Json m_report = Json::object();
};

}  // namespace Kestrova
