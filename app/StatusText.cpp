#include "app/StatusText.h"

#include <cstring>

#include "app/SpaceText.h"

namespace Kestrova {
namespace {

constexpr int kSecondsPerMinute = 60;
constexpr int kMinutesPerHour = 60;

// What the engine says of a result that comes without a cause.
const char* CauseOf(BankResult result) {
    switch (result) {
        case kBankNotReady: return "the source has not been analysed";
        case kBankBusy: return "another program is at work on it";
        case kBankNoMemory: return kCauseNoMemory;
        case kBankNoWorker: return "no thread could be started";
        case kBankSourceNotOpened: return "this is no source bank";
        case kBankReadFailed: return "the source cannot be read";
        case kBankSourceInconsistent: return "the source is damaged";
        case kBankConversionFailed: return "a sample cannot be converted";
        default: return "the system gave no reason";
    }
}

// The system's reason, else the engine's.
const char* CauseOf(const BankOutcome& outcome) {
    if (outcome.nError != 0) return std::strerror(outcome.nError);
    return *outcome.pszCause != '\0' ? outcome.pszCause : CauseOf(outcome.result);
}

bool IsOfTarget(const BankOutcome& outcome) {
    return outcome.side == BankSide::Target || outcome.result == kBankTargetNotCreated ||
           outcome.result == kBankWriteFailed;
}

String TimeText(std::chrono::seconds left) {
    const auto nSeconds = static_cast<int>(left.count());
    if (nSeconds < kSecondsPerMinute) return String::NewWithFormat("about %d s left", nSeconds);
    const int nMinutes = (nSeconds + kSecondsPerMinute / 2) / kSecondsPerMinute;
    if (nMinutes < kMinutesPerHour) return String::NewWithFormat("about %d min left", nMinutes);
    return String::NewWithFormat("about %d h %d min left", nMinutes / kMinutesPerHour,
                                 nMinutes % kMinutesPerHour);
}

}  // namespace

String FilePart(const String& strPath) { return strPath.Mid(strPath.ReverseFind('/') + 1); }

String ReadyText(const std::vector<int>& rates) {
    if (rates.empty()) return "";
    if (rates.size() == 1) return String::NewWithFormat("The bank for %d is ready.", rates.front());
    std::string strRates = std::to_string(rates.front());
    for (size_t i = 1; i < rates.size(); ++i)
        strRates += (i + 1 == rates.size() ? " and " : ", ") + std::to_string(rates[i]);
    return ("Banks for " + strRates + " are ready.").c_str();
}

String FailedBankText(int nHertz, const BankOutcome& outcome) {
    if (outcome.result == kBankCancelled)
        return String::NewWithFormat("The bank for %d was cancelled.", nHertz);
    if (outcome.result == kBankBusy)
        return String::NewWithFormat("The bank for %d is being built by another program.", nHertz);
    return String::NewWithFormat(IsOfTarget(outcome) ? "The bank for %d could not be written: %s."
                                                     : "The bank for %d could not be made: %s.",
                                 nHertz, CauseOf(outcome));
}

String FailedSourceText(const String& strName, const BankOutcome& outcome) {
    return (std::string(strName.c_str()) + " cannot be used: " + CauseOf(outcome) + ".").c_str();
}

String LackOfSpaceText(int nNeededMegabytes, int nFreeMegabytes) {
    return String::NewWithFormat("%s are needed, %s are free.", RequiredSpaceText(nNeededMegabytes).c_str(),
                                 FreeSpaceText(nFreeMegabytes).c_str());
}

String FailedImportText(const String& strName, const ImportOutcome& outcome) {
    const std::string strFile = strName.c_str();
    if (outcome.end == ImportEnd::Cancelled) return ("The import of " + strFile + " was cancelled.").c_str();
    return (strFile + " was not imported: " + Explain(outcome) + ".").c_str();
}

String RunText(int nBank, int nBanks, double fraction, std::optional<std::chrono::seconds> left) {
    constexpr int kWhole = 100;
    String strShare =
        String::NewWithFormat("Bank %d of %d, %d %%", nBank, nBanks, static_cast<int>(fraction * kWhole));
    if (!left) return strShare;
    return String::NewWithFormat("%s, %s", strShare.c_str(), TimeText(*left).c_str());
}

}  // namespace Kestrova
