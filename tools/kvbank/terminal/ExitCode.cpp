#include "tools/kvbank/terminal/ExitCode.h"

#include <array>
#include <cerrno>

namespace Kestrova {
namespace {

struct ResultRow {
    ExitCode code;
    const char* pszText;
};

// By BankResult.
constexpr std::array<ResultRow, kBankConversionFailed + 1> kResults = {{
    {kExitDone, "done"},
    {kExitInternal, "no source has been analysed"},
    {kExitProblem, "cancelled"},
    {kExitBusy, "busy: another process is building it"},
    {kExitNoMemory, "out of memory"},
    {kExitInternal, "no worker thread could be started"},
    {kExitUsage, "not a usable name or value"},
    {kExitBadInput, "not a readable source bank"},
    {kExitOutput, "the bank file cannot be created"},
    {kExitBadInput, "a record cannot be read"},
    {kExitOutput, "a record cannot be written"},
    {kExitBadInput, "the source is inconsistent"},
    {kExitBadInput, "a sample cannot be converted"},
}};

}  // namespace

ExitCode ExitCodeOf(BankResult result) {
    return result < kResults.size() ? kResults[result].code : kExitInternal;
}

ExitCode ExitCodeOf(const BankOutcome& outcome) {
    if (outcome.side == BankSide::Source && outcome.result == kBankWriteFailed) return kExitBadInput;
    if (outcome.result == kBankNoWorker && outcome.nError == ENOMEM) return kExitNoMemory;
    const bool bRefused = outcome.side == BankSide::Target && outcome.nError != 0;
    return bRefused && outcome.result != kBankNoMemory ? kExitOutput : ExitCodeOf(outcome.result);
}

ExitCode ExitCodeOfOutput(int nError) { return nError == ENOMEM ? kExitNoMemory : kExitOutput; }

const char* DescribeResult(BankResult result) {
    return result < kResults.size() ? kResults[result].pszText : "unknown result";
}

}  // namespace Kestrova
