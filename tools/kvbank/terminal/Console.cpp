#include "tools/kvbank/terminal/Console.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "shared/System/kvCancelSignal.h"

namespace Kestrova {
namespace {

// Writes the control characters U+007F to U+009F, which JSON allows and terminals obey, as escapes. They
// stand in strings only.
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

// JSON holds only UTF-8: any other text does not come back from a document as it was.
bool IsUtf8(const std::string& strText) {
    return Json::parse(Json(strText).dump(-1, ' ', false, Json::error_handler_t::replace)) == strText;
}

bool IsAllUtf8(const Json& value) {
    if (value.is_string()) return IsUtf8(value.get_ref<const std::string&>());
    return !value.is_structured() || std::all_of(value.begin(), value.end(), IsAllUtf8);
}

std::string HexOf(const std::string& strBytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string strHex;
    for (const char ch : strBytes) {
        strHex += kDigits[static_cast<unsigned char>(ch) >> 4];
        strHex += kDigits[ch & 0xF];
    }
    return strHex;
}

// Behind each field whose text is not UTF-8 comes "NAME_bytes", its bytes in hexadecimal: such file names are
// allowed, and a script must be able to open them.
Json WithBytes(const Json& value) {
    if (!value.is_structured()) return value;
    Json copy = value.is_array() ? Json::array() : Json::object();
    for (const auto& [strName, field] : value.items()) {
        if (value.is_array()) {
            copy.push_back(WithBytes(field));
            continue;
        }
        copy[strName] = WithBytes(field);
        if (field.is_string() && !IsUtf8(field.get_ref<const std::string&>()))
            copy[strName + "_bytes"] = HexOf(field.get_ref<const std::string&>());
    }
    return copy;
}

std::string LineOf(const Json& event) {
    return EscapeControls(event.dump(-1, ' ', false, Json::error_handler_t::replace));
}

constexpr const char* kRedLead = "\033[1;31mkvbank:\033[0m ";
constexpr const char* kYellowLead = "\033[1;33mkvbank: warning:\033[0m ";

// In that case nobody reads our lines any more, and the user knows why the work is cancelled.
bool ReaderHasGone() { return CancelSignal() == SIGPIPE; }

}  // namespace

Console Console::ForJob(std::ostream& output, std::ostream& errors) const {
    Console job(in, output, errors);
    job.bQuiet = bQuiet;
    job.bVerbose = bVerbose;
    job.bJson = bJson;
    job.progress = progress == ProgressStyle::Lines ? progress : ProgressStyle::Never;
    job.bColor = bColor;
    job.m_pLog = m_pLog;
    return job;
}

std::string Console::OpenLog() {
    auto pLog = std::make_shared<EventLog>();
    std::string strCause = pLog->Open(strLogFile);
    if (strCause.empty()) m_pLog = std::move(pLog);
    return strCause;
}

void Console::Log(const char* pszKind, const std::string& strLine) const {
    if (m_pLog) m_pLog->Add(pszKind, strLine);
}

bool Console::DrawsProgress() const {
    if (bQuiet) return false;
    return progress == ProgressStyle::Always || (progress == ProgressStyle::Auto && bErrIsTerminal);
}

void Console::Event(const Json& event) {
    if (progress == ProgressStyle::Lines && !bQuiet && !ReaderHasGone())
        err << LineOf(event) + '\n' << std::flush;
}

void Console::Say(const std::string& strLine) {
    Log("said", strLine);
    if (!bQuiet && !bJson) out << Printable(strLine) + '\n' << std::flush;
}

void Console::Detail(const std::string& strLine) {
    if (bVerbose) Say(strLine);
}

void Console::Error(const std::string& strLine) {
    Message("error", bColor ? kRedLead : "kvbank: ", strLine);
    m_errors.push_back(strLine);
}

void Console::Warn(const std::string& strLine) {
    if (bQuiet)
        Log("warning", strLine);
    else
        Message("warning", bColor ? kYellowLead : "kvbank: warning: ", strLine);
    m_warnings.push_back(strLine);
}

void Console::Message(const char* pszKind, const char* pszLead, const std::string& strLine) {
    Log(pszKind, strLine);
    if (ReaderHasGone()) return;
    if (progress == ProgressStyle::Lines)
        err << LineOf({{"event", pszKind}, {"text", strLine}}) + '\n' << std::flush;
    else
        err << pszLead + Printable(strLine) + '\n' << std::flush;
}

Json Console::Facts(ExitCode code, const Json& report) const {
    // The fields are set one by one. A list of them would be destroyed, for which the library allocates
    // memory, and it ends the process when there is none.
    Json facts = Json::object();
    facts["exit_code"] = static_cast<int>(code);
    facts.update(report);
    if (!m_errors.empty()) facts["errors"] = m_errors;
    if (!m_warnings.empty()) facts["warnings"] = m_warnings;
    return facts;
}

// A log that could not be written makes a failure of a run that went well.
ExitCode Console::EndLog(ExitCode code) {
    if (!m_pLog) return code;
    const int nSignal = CancelSignal();
    m_pLog->Add("end", "exit code " + std::to_string(code) +
                           (nSignal != 0 ? ", stopped by signal " + std::to_string(nSignal) : ""));
    m_pLog->Close();
    if (m_pLog->GetError() == 0) return code;
    Error(m_pLog->Path() + ": the log cannot be written: " + std::strerror(m_pLog->GetError()));
    return code == kExitDone ? kExitOutput : code;
}

int Console::Finish(const char* pszCommand, ExitCode code, const Json& report) {
    code = EndLog(code);
    if (bJson) {
        Json document = Json::object();
        document["schema"] = 1;
        document["command"] = pszCommand;
        document.update(Facts(code, report));
        if (!IsAllUtf8(document)) document = WithBytes(document);
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

std::string Grouped(uint64_t n) {
    std::string strNumber = std::to_string(n);
    for (size_t nAt = strNumber.size(); nAt > 3;) strNumber.insert(nAt -= 3, 1, ',');
    return strNumber;
}

std::string Counted(uint64_t n, const std::string& strNoun) {
    return std::to_string(n) + " " + strNoun + (n == 1 ? "" : "s");
}

}  // namespace Kestrova
