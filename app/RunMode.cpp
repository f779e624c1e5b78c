#include "app/RunMode.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "bank/BankRates.h"
#include "shared/System/kvCompare.h"

namespace Kestrova {
namespace {

constexpr std::string_view kCreateWord = "create";

}  // namespace

RunMode ParseModeWord(const char* pszWord) {
    if (CompareString(pszWord, "install") == 0) return {kInstall};
    if (CompareString(pszWord, "uninstall") == 0) return {kUninstall};
    // Deliberate (Q114): only "create" is matched as a prefix; an unknown rate is the first.
    if (pszWord == nullptr || strncasecmp(pszWord, kCreateWord.data(), kCreateWord.size()) != 0)
        return {kManager};
    const int nRate = std::atoi(pszWord + kCreateWord.size());
    return {kCreate, nRate < 0 ? 0 : std::max(RateIndex(static_cast<unsigned long>(nRate)), 0)};
}

}  // namespace Kestrova
