// ImportOutcome.h - how a step of an import ended, and what the caller of long steps is asked and told.
#pragma once

#include <cstdint>
#include <functional>
#include <new>
#include <string>

namespace Kestrova {

enum class ImportEnd {
    Done,
    Cancelled,
    Refused,     // the file is not what it should be
    Unreadable,  // the system could not read the file
    NotWritten,  // the bank could not be written
    NoMemory
};

// All that a caller needs to explain the end, as one value. Errors are
// reported only this way; nothing is thrown.
struct ImportOutcome {
    ImportEnd end = ImportEnd::Done;
    std::string strRecord;  // the record it is about, as `sample "Piano"`; empty: the file as a whole
    std::string strCause;   // in words; empty when done
    int nError = 0;         // the system's error, where it was one
    uint64_t nBytes = 0;    // of a bank that was written

    bool IsDone() const { return end == ImportEnd::Done; }
};

ImportOutcome Refused(const std::string& strCause);
// The next two functions take the system's error of the operation that failed. ENOMEM makes NoMemory of it.
// With 0 there was none: the file to be read ended too early, or pszOtherwise is the cause.
ImportOutcome Unreadable(int nError);
ImportOutcome NotWritten(int nError, const char* pszOtherwise);
ImportOutcome Cancelled();
ImportOutcome NoMemory();

// "sample "Piano": Input/output error": the record, if any, and the cause.
std::string Explain(const ImportOutcome& outcome);

// What a step answers; NoMemory when it threw for lack of memory.
template <class TStep>
ImportOutcome CatchNoMemory(TStep step) try {
    return step();
} catch (const std::bad_alloc&) {
    return NoMemory();
}

// The caller's part in long steps; both members have defaults.
struct ImportWatch {
    // Called often, on any thread; the answer true ends the step as Cancelled.
    std::function<bool()> isStopped = [] { return false; };
    // Called on the caller's thread with the share of the frames written and the bytes of the file so far.
    std::function<void(double fraction, uint64_t nBytes)> progress = [](double, uint64_t) {};
};

}  // namespace Kestrova
