#include "bank/BankFileName.h"

#include <strings.h>

#include <array>
#include <charconv>
#include <cstdio>

#include "bank/BankRates.h"

namespace Kestrova {
namespace {

constexpr size_t kRateDigits = 5;
constexpr size_t kSuffixLength = 10;  // "_0AC44.kvn"

bool EqualNoCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::optional<BankLayout> LayoutOf(char chLetter) {
    switch (chLetter) {
        case 'n':
        case 'N': return BankLayout::Plain;
        case 'r':
        case 'R': return BankLayout::PerKey;
        default: return std::nullopt;
    }
}

// All five digits must be hexadecimal; from_chars alone would stop at the first that is not.
int RateIndexOf(std::string_view digits) {
    unsigned int nRate = 0;
    const char* const pEnd = digits.data() + digits.size();
    const auto [pStop, error] = std::from_chars(digits.data(), pEnd, nRate, 16);
    return error == std::errc() && pStop == pEnd ? RateIndex(nRate) : -1;
}

}  // namespace

std::string MakeBankFileName(std::string_view folder, std::string_view baseName, unsigned int nRate,
                             BankLayout layout) {
    std::array<char, 32> suffix{};
    std::snprintf(suffix.data(), suffix.size(), "_%05X.kv%c", nRate, static_cast<char>(layout));
    std::string strName(folder);
    // Deliberate (Q106): the folder is used as given, doubled slashes and all.
    strName.append("/").append(baseName).append(suffix.data());
    return strName;
}

std::optional<BankFileName> ParseBankFileName(std::string_view name, std::string_view baseName) {
    if (name.size() != baseName.size() + kSuffixLength) return std::nullopt;
    if (!EqualNoCase(name.substr(0, baseName.size()), baseName)) return std::nullopt;
    const std::string_view suffix = name.substr(baseName.size());
    if (suffix.front() != '_' || !EqualNoCase(suffix.substr(1 + kRateDigits, 3), ".kv")) return std::nullopt;
    const int nRateIndex = RateIndexOf(suffix.substr(1, kRateDigits));
    const std::optional<BankLayout> layout = LayoutOf(suffix.back());
    if (nRateIndex < 0 || !layout) return std::nullopt;
    return BankFileName{nRateIndex, *layout};
}

std::string_view SourceBaseName(std::string_view path) {
    // Deliberate (Q105): a back-slash in a source's path counts as a separator.
    size_t nSeparator = path.find_last_of('\\');
    if (nSeparator == std::string_view::npos) nSeparator = path.find_last_of('/');
    const std::string_view file = nSeparator == std::string_view::npos ? path : path.substr(nSeparator + 1);
    const size_t nDot = file.find('.');
    return nDot == std::string_view::npos ? std::string_view() : file.substr(0, nDot);
}

std::string_view CutRateFromBaseName(std::string_view baseName) {
    return baseName.substr(0, baseName.find_last_of('_'));  // whole when there is no "_"
}

}  // namespace Kestrova
