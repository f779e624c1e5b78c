#include "tools/kvbank/terminal/Console.h"

#include <array>
#include <cmath>
#include <csignal>
#include <cstdio>

#include "shared/System/kvCancelSignal.h"

namespace Kestrova {
namespace {

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
        // Field by field: a list of them would be destroyed, for which the library takes memory and ends the
        // process when there is none.
        Json document;
        document["schema"] = 1;
        document["command"] = pszCommand;
        document["exit_code"] = static_cast<int>(code);
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

}  // namespace Kestrova
