#include "tools/kvbank/sums/SumsLine.h"

#include <algorithm>

namespace Kestrova {
namespace {

constexpr size_t kDigits = 64;

struct Escape {
    char cPlain, cEscaped;
};
constexpr Escape kEscapes[] = {{'\\', '\\'}, {'\n', 'n'}, {'\r', 'r'}};

char ToLower(char c) { return c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c; }
bool IsDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); }

std::string Escaped(std::string_view name) {
    std::string strEscaped;
    for (const char c : name) {
        const auto* pEscape = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                           [c](const Escape& escape) { return escape.cPlain == c; });
        if (pEscape != std::end(kEscapes)) strEscaped += '\\';
        strEscaped += pEscape != std::end(kEscapes) ? pEscape->cEscaped : c;
    }
    return strEscaped;
}

std::optional<std::string> Unescaped(std::string_view name) {
    std::string strName;
    for (size_t i = 0; i < name.size(); ++i) {
        if (name[i] != '\\') {
            strName += name[i];
            continue;
        }
        if (++i == name.size()) return std::nullopt;
        const auto* pEscape = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                           [&](const Escape& escape) { return escape.cEscaped == name[i]; });
        if (pEscape == std::end(kEscapes)) return std::nullopt;
        strName += pEscape->cPlain;
    }
    return strName;
}

}  // namespace

std::string FormatSumsLine(const SumsLine& line) {
    const std::string strEscaped = Escaped(line.strName);
    return (strEscaped == line.strName ? "" : "\\") + line.strSum + "  " + strEscaped + "\n";
}

std::optional<SumsLine> ParseSumsLine(std::string_view text) {
    const bool bEscaped = text.starts_with('\\');
    if (bEscaped) text.remove_prefix(1);
    constexpr size_t kBeforeName = kDigits + 2;
    if (text.size() < kBeforeName + 2 || text.find('\n') != text.size() - 1) return std::nullopt;
    text.remove_suffix(1);
    SumsLine line{.strSum = std::string(text.substr(0, kDigits)), .strName = {}};
    std::transform(line.strSum.begin(), line.strSum.end(), line.strSum.begin(), ToLower);
    if (!std::all_of(line.strSum.begin(), line.strSum.end(), IsDigit)) return std::nullopt;
    if (text[kDigits] != ' ' || (text[kDigits + 1] != ' ' && text[kDigits + 1] != '*')) return std::nullopt;
    const std::string_view name = text.substr(kBeforeName);
    const std::optional<std::string> strName = bEscaped ? Unescaped(name) : std::string(name);
    if (!strName) return std::nullopt;
    line.strName = *strName;
    return line;
}

}  // namespace Kestrova
