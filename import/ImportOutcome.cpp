#include "import/ImportOutcome.h"

#include <cerrno>
#include <cstring>

namespace Kestrova {

ImportOutcome Refused(const std::string& strCause) { return {ImportEnd::Refused, "", strCause}; }

ImportOutcome Unreadable(int nError) {
    if (nError == 0) return Refused("it is cut short");
    if (nError == ENOMEM) return NoMemory();
    return {ImportEnd::Unreadable, "", std::strerror(nError), nError};
}

ImportOutcome NotWritten(int nError, const char* pszOtherwise) {
    if (nError == ENOMEM) return NoMemory();
    return {ImportEnd::NotWritten, "", nError != 0 ? std::strerror(nError) : pszOtherwise, nError};
}

ImportOutcome Cancelled() { return {ImportEnd::Cancelled, "", "cancelled"}; }

ImportOutcome NoMemory() { return {ImportEnd::NoMemory, "", "out of memory"}; }

std::string Explain(const ImportOutcome& outcome) {
    return outcome.strRecord.empty() ? outcome.strCause : outcome.strRecord + ": " + outcome.strCause;
}

}  // namespace Kestrova
