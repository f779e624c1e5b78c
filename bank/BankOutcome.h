// BankOutcome.h - how an operation of the bank engine ended, and which
// file and record are at fault, as one value.
#pragma once

#include <cerrno>
#include <cstdint>
#include <new>

#include "SamplerDBDS/DataBase/SDBRecord.h"

namespace Kestrova {

// What every operation of the engine answers.
enum BankResult : unsigned int {
    kBankDone = 0,
    kBankNotReady = 1,         // no source analysed yet, or no destination folder
    kBankCancelled = 2,        // the callback answered 0
    kBankBusy = 3,             // the engine, or another process building that bank, is at work
    kBankNoMemory = 4,         // also: a target wave that no record can hold
    kBankNoWorker = 5,         // the worker thread could not be set up
    kBankBadArgument = 6,      // also: removal of the source itself
    kBankSourceNotOpened = 7,  // as neither kind of database
    kBankTargetNotCreated = 8,
    kBankReadFailed = 9,
    kBankWriteFailed = 10,  // also: a record of the source that no bank can take
    kBankSourceInconsistent = 11,
    kBankConversionFailed = 12  // nothing resampled, or the quick-load table could not be written
};

// Which of the two files of a job a failure lies in.
enum class BankSide : uint8_t { None, Source, Target };

// A result with its cause. A failed step makes one where it fails, and every caller hands it on unchanged.
struct BankOutcome {
    BankResult result = kBankDone;
    BankSide side = BankSide::None;
    uint8_t nType = kSdbAny;    // the type of the source's record that is at fault
    uint32_t id = kSdbNoID;     // the id of that record; kSdbNoID when there is none
    const char* pszCause = "";  // a constant text, never null; empty when the result tells enough
    int nError = 0;             // the system's reason (errno), 0 when it gave none

    bool IsDone() const { return result == kBankDone; }
};

inline constexpr const char* kCauseNoMemory = "there is not enough memory";

// A failure in one of the files. Lack of memory (errno ENOMEM) always becomes
// kBankNoMemory, whatever the operation was.
inline BankOutcome FileFault(BankSide side, BankResult result, uint8_t nType, uint32_t id,
                             const char* pszCause, int nError) {
    if (nError == ENOMEM) return {kBankNoMemory, side, nType, id, kCauseNoMemory, nError};
    return {result, side, nType, id, pszCause, nError};
}

inline BankOutcome SourceFault(BankResult result, uint8_t nType, uint32_t id, const char* pszCause,
                               int nError = 0) {
    return FileFault(BankSide::Source, result, nType, id, pszCause, nError);
}

inline BankOutcome TargetFault(BankResult result, uint8_t nType, uint32_t id, const char* pszCause,
                               int nError = 0) {
    return FileFault(BankSide::Target, result, nType, id, pszCause, nError);
}

// The outcome of a step that may throw std::bad_alloc; the engine throws nothing else.
template <class TStep>
BankOutcome CatchWantOfMemory(TStep step) {
    try {
        return step();
    } catch (const std::bad_alloc&) {
        return {.result = kBankNoMemory};
    }
}

}  // namespace Kestrova
