#include "shared/System/kvPrintable.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace Kestrova {
namespace {

// What the second byte of a character may be, for each first byte. This leaves out overlong forms,
// surrogates, what lies above the last character, and the control characters U+0080 to U+009F.
struct LeadBytes {
    unsigned nFirst, nLast;  // of the leads
    size_t nLength;
    unsigned nLow, nHigh;  // of the second byte
};
constexpr std::array<LeadBytes, 9> kLeads = {{{0xC2, 0xC2, 2, 0xA0, 0xBF},
                                              {0xC3, 0xDF, 2, 0x80, 0xBF},
                                              {0xE0, 0xE0, 3, 0xA0, 0xBF},
                                              {0xE1, 0xEC, 3, 0x80, 0xBF},
                                              {0xED, 0xED, 3, 0x80, 0x9F},
                                              {0xEE, 0xEF, 3, 0x80, 0xBF},
                                              {0xF0, 0xF0, 4, 0x90, 0xBF},
                                              {0xF1, 0xF3, 4, 0x80, 0xBF},
                                              {0xF4, 0xF4, 4, 0x80, 0x8F}}};

// The length of the printable character that begins here, in UTF-8; 0 when none does.
size_t CharacterLength(std::string_view text) {
    const auto isWithin = [&](size_t i, unsigned nLow, unsigned nHigh) {
        const unsigned nByte = i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
        return nByte >= nLow && nByte <= nHigh;
    };
    if (isWithin(0, 0x20, 0x7E)) return 1;
    for (const LeadBytes& lead : kLeads) {
        if (!isWithin(0, lead.nFirst, lead.nLast)) continue;
        if (!isWithin(1, lead.nLow, lead.nHigh)) return 0;
        for (size_t i = 2; i < lead.nLength; ++i)
            if (!isWithin(i, 0x80, 0xBF)) return 0;
        return lead.nLength;
    }
    return 0;
}

// The wide characters, which take two columns, have three bytes or more. So have some narrow ones: a text may
// be narrower than it is measured here, but never wider.
size_t ColumnsOf(size_t nLength) { return nLength < 3 ? 1 : 2; }

}  // namespace

std::string Printable(const std::string& strText) {
    std::string strClean;
    for (std::string_view rest = strText; !rest.empty();) {
        const size_t nLength = CharacterLength(rest);
        strClean += nLength == 0 ? "?" : rest.substr(0, nLength);
        rest.remove_prefix(std::max<size_t>(nLength, 1));
    }
    return strClean;
}

std::string CutToColumns(const std::string& strText, size_t nColumns) {
    size_t nBytes = 0;
    while (nBytes < strText.size()) {
        const size_t nLength = std::max<size_t>(CharacterLength(std::string_view(strText).substr(nBytes)), 1);
        if (ColumnsOf(nLength) > nColumns) break;
        nColumns -= ColumnsOf(nLength);
        nBytes += nLength;
    }
    return strText.substr(0, nBytes);
}

}  // namespace Kestrova
