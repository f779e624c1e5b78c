#include "tools/kvbank/report/HtmlText.h"

#include <array>

#include "shared/System/kvPrintable.h"

namespace Kestrova {
namespace {

constexpr int kKeysPerOctave = 12;
constexpr int kHighestKey = 127;

}  // namespace

std::string HtmlText(const std::string& strText) {
    std::string strHtml;
    for (const char ch : Printable(strText)) {
        switch (ch) {
            case '&': strHtml += "&amp;"; break;
            case '<': strHtml += "&lt;"; break;
            case '>': strHtml += "&gt;"; break;
            case '"': strHtml += "&quot;"; break;
            case '\'': strHtml += "&#39;"; break;
            default: strHtml += ch;
        }
    }
    return strHtml;
}

std::string KeyName(int64_t nKey) {
    static constexpr std::array<const char*, kKeysPerOctave> kNames = {"C",  "C#", "D",  "D#", "E",  "F",
                                                                       "F#", "G",  "G#", "A",  "A#", "B"};
    if (nKey < 0 || nKey > kHighestKey) return std::to_string(nKey);
    return kNames[static_cast<size_t>(nKey % kKeysPerOctave)] + std::to_string(nKey / kKeysPerOctave - 1);
}

// Steps of the golden angle never come near an earlier hue soon.
std::string ColourOf(size_t n) { return "hsl(" + std::to_string(n % 360 * 137 % 360) + ",58%,52%)"; }

std::string Base64(std::span<const uint8_t> bytes) {
    static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string strText;
    strText.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t n = 0; n < bytes.size(); n += 3) {
        uint32_t nGroup = 0;
        for (size_t i = 0; i < 3; ++i) nGroup = nGroup << 8 | (n + i < bytes.size() ? bytes[n + i] : 0u);
        for (size_t i = 0; i < 4; ++i)
            strText += n + i <= bytes.size() ? kDigits[nGroup >> (18 - 6 * i) & 0x3F] : '=';
    }
    return strText;
}

}  // namespace Kestrova
