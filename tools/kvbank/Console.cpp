#include "tools/kvbank/Console.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <string_view>

#include "shared/System/kvCancelSignal.h"

namespace Kestrova {
namespace {

// What the second byte of a character may be, by its first; overlong forms, surrogates, what is above the
// last character and the control characters U+0080 to U+009F are left out so.
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

// The wide characters, which take two columns, have three bytes or more. Some of the others do as well: a
// text measured so may be a little narrower, never wider.
size_t ColumnsOf(size_t nLength) { return nLength < 3 ? 1 : 2; }

// The control characters that JSON lets pass and terminals obey (U+007F to U+009F) as escapes. They stand in
// strings only.
std::string EscapeControls(const std::string& strDocument) {
    std::string strClean;
    for (size_t i = 0; i < strDocument.size(); ++i) {
        const bool bTwoBytes = strDocument[i] == '\xC2' && i + 1 < strDocument.size() &&
                               static_cast<unsigned char>(strDocument[i + 1]) < 0xA0;
        if (!bTwoBytes && strDocument[i] != '\x7F') {
            strClean += strDocument[i];
            continue;
        }
        i += bTwoBytes;
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned char>(strDocument[i]) + 0u);
        strClean += escape;
    }
    return strClean;
}

// Nothing can be told any more, and the cancel that follows is no news.
bool ReaderHasGone() { return CancelSignal() == SIGPIPE; }

}  // namespace

void Console::Say(const std::string& strLine) {
    if (!bQuiet && !bJson) out << Printable(strLine) + '\n' << std::flush;
}

void Console::Detail(const std::string& strLine) {
    if (bVerbose) Say(strLine);
}

void Console::Error(const std::string& strLine) {
    if (!ReaderHasGone()) err << "kvbank: " + Printable(strLine) + '\n' << std::flush;
    m_errors.push_back(strLine);
}

void Console::Warn(const std::string& strLine) {
    if (!bQuiet && !ReaderHasGone()) err << "kvbank: warning: " + Printable(strLine) + '\n' << std::flush;
    m_warnings.push_back(strLine);
}

int Console::Finish(const char* pszCommand, ExitCode code, const Json& report) {
    if (bJson) {
        Json document = {{"schema", 1}, {"command", pszCommand}, {"exit_code", static_cast<int>(code)}};
        document.update(report);
        if (!m_errors.empty()) document["errors"] = m_errors;
        if (!m_warnings.empty()) document["warnings"] = m_warnings;
        out << EscapeControls(document.dump(2, ' ', false, Json::error_handler_t::replace)) + '\n';
    }
    return Flush(code);
}

int Console::Flush(ExitCode code) {
    out.flush();
    if (!out && code == kExitDone && !ReaderHasGone()) {
        err << "kvbank: standard output cannot be written\n";
        return kExitOutput;
    }
    return code;
}

std::string ReadableSize(uint64_t nBytes) {
    static constexpr std::array<const char*, 4> kUnits = {"kB", "MB", "GB", "TB"};
    if (nBytes < 1000) return std::to_string(nBytes) + " bytes";
    double size = static_cast<double>(nBytes) / 1000;
    size_t nUnit = 0;
    for (; size >= 999.95 && nUnit + 1 < kUnits.size(); ++nUnit) size /= 1000;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s", size, kUnits[nUnit]);
    return text.data();
}

std::string ReadableTime(double seconds) {
    const auto nSeconds = std::lround(seconds);
    std::array<char, 64> text{};
    if (nSeconds < 3600)
        std::snprintf(text.data(), text.size(), "%ld:%02ld", nSeconds / 60, nSeconds % 60);
    else
        std::snprintf(text.data(), text.size(), "%ld:%02ld:%02ld", nSeconds / 3600, nSeconds / 60 % 60,
                      nSeconds % 60);
    return text.data();
}

std::string Counted(uint64_t n, const std::string& strNoun) {
    return std::to_string(n) + " " + strNoun + (n == 1 ? "" : "s");
}

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
