#include "tools/kvbank/Console.h"

#include <array>
#include <cstdio>

namespace Kestrova {
namespace {

// The length of the UTF-8 sequence that begins here, 0 when it is not a well-formed one of printable text.
size_t SequenceLength(const std::string& strText, size_t nAt) {
    const auto byteAt = [&](size_t i) {
        return i < strText.size() ? static_cast<unsigned char>(strText[i]) : 0u;
    };
    const unsigned first = byteAt(nAt);
    if (first >= 0x20 && first < 0x7F) return 1;
    const size_t nLength = first >= 0xF1 && first <= 0xF3   ? 4
                           : first >= 0xE1 && first <= 0xEC ? 3
                           : first >= 0xC3 && first <= 0xDF ? 2
                                                            : 0;
    for (size_t i = 1; i < nLength; ++i)
        if ((byteAt(nAt + i) & 0xC0) != 0x80) return 0;
    return nLength;
}

}  // namespace

void Console::Say(const std::string& strLine) {
    if (!bQuiet && !bJson) out << Printable(strLine) << '\n';
}

void Console::Detail(const std::string& strLine) {
    if (bVerbose) Say(strLine);
}

void Console::Error(const std::string& strLine) {
    err << "kvbank: " << Printable(strLine) << '\n';
    m_errors.push_back(Printable(strLine));
}

void Console::Warn(const std::string& strLine) {
    if (!bQuiet) err << "kvbank: warning: " << Printable(strLine) << '\n';
    m_warnings.push_back(Printable(strLine));
}

int Console::Finish(const char* pszCommand, ExitCode code, Json report) {
    if (bJson) {
        Json document = {{"schema", 1}, {"command", pszCommand}, {"exit_code", static_cast<int>(code)}};
        document.update(report);
        if (!m_errors.empty()) document["errors"] = m_errors;
        if (!m_warnings.empty()) document["warnings"] = m_warnings;
        out << document.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
    }
    return Flush(code);
}

int Console::Flush(ExitCode code) {
    out.flush();
    if (!out && code == kExitDone) {
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
    const auto nSeconds = static_cast<long>(seconds + 0.5);
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
    for (size_t i = 0; i < strText.size();) {
        const size_t nLength = SequenceLength(strText, i);
        strClean += nLength == 0 ? "?" : strText.substr(i, nLength);
        i += nLength == 0 ? 1 : nLength;
    }
    return strClean;
}

}  // namespace Kestrova
