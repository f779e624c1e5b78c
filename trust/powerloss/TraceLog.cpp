#include "trust/powerloss/TraceLog.h"

#include <charconv>
#include <fstream>
#include <map>
#include <stdexcept>

namespace Kestrova::Trust {
namespace {

constexpr std::string_view kUnfinished = " <unfinished ...>";
constexpr std::string_view kResumed = " resumed>";

int HexDigit(char ch) { return ch <= '9' ? ch - '0' : ch - 'a' + 10; }

std::string Unescape(std::string_view text) {
    std::string strBytes;
    strBytes.reserve(text.size() / 4);
    for (size_t i = 0; i < text.size();) {
        if (text.substr(i, 2) == "\\x" && i + 4 <= text.size()) {
            strBytes += static_cast<char>(HexDigit(text[i + 2]) * 16 + HexDigit(text[i + 3]));
            i += 4;
        } else {
            strBytes += text[i++];
        }
    }
    return strBytes;
}

// Splits at the commas that lie in no brackets. All texts are hexadecimal, so brackets and quotes inside
// of them cannot be seen.
std::vector<std::string> SplitArguments(std::string_view text) {
    std::vector<std::string> args;
    int nDepth = 0;
    size_t nFrom = 0;
    for (size_t i = 0; i <= text.size(); ++i) {
        const char ch = i < text.size() ? text[i] : ',';
        if (ch == '{' || ch == '[' || ch == '(') ++nDepth;
        if (ch == '}' || ch == ']' || ch == ')') --nDepth;
        if (ch != ',' || (nDepth > 0 && i < text.size())) continue;
        const std::string_view arg = text.substr(nFrom, i - nFrom);
        const size_t nFirst = arg.find_first_not_of(' ');
        args.emplace_back(nFirst == std::string_view::npos ? "" : arg.substr(nFirst));
        nFrom = i + 1;
    }
    return args;
}

SystemCall ParseCall(std::string_view line) {
    const size_t nOpen = line.find('(');
    const size_t nEqual = line.rfind(" = ");
    const size_t nClose = line.rfind(')', nEqual);
    if (nOpen == std::string_view::npos || nEqual == std::string_view::npos ||
        nClose == std::string_view::npos || nClose < nOpen)
        throw std::runtime_error("a line of the trace is not understood: " +
                                 std::string(line.substr(0, 200)));
    const std::string_view result = line.substr(nEqual + 3);
    return {.strName = std::string(line.substr(0, nOpen)),
            .args = SplitArguments(line.substr(nOpen + 1, nClose - nOpen - 1)),
            .nResult = NumberOf(result)};
}

}  // namespace

int64_t NumberOf(std::string_view arg) {
    int64_t n = -1;
    std::from_chars(arg.data(), arg.data() + arg.size(), n);
    return n;
}

std::string PathOfHandle(std::string_view arg) {
    const size_t nFrom = arg.find('<');
    const size_t nTo = arg.find('>');
    if (nFrom == std::string_view::npos || nTo == std::string_view::npos) return "";
    return Unescape(arg.substr(nFrom + 1, nTo - nFrom - 1));
}

std::string BytesOf(std::string_view arg) {
    if (arg.size() < 2 || arg.front() != '"' || arg.back() != '"')
        throw std::runtime_error("a text in the trace is not whole: " + std::string(arg.substr(0, 80)));
    return Unescape(arg.substr(1, arg.size() - 2));
}

void ReadTrace(const std::filesystem::path& log, const std::function<void(const SystemCall&)>& visitor) {
    std::ifstream file(log);
    if (!file) throw std::runtime_error("cannot read " + log.string());
    std::map<int64_t, std::string> begun;  // by thread
    for (std::string strLine; std::getline(file, strLine);) {
        const int64_t nThread = NumberOf(strLine);
        const size_t nFrom = strLine.find_first_not_of("0123456789 ");
        if (nFrom == std::string::npos || strLine[nFrom] == '+' || strLine[nFrom] == '-') continue;
        std::string strCall = strLine.substr(nFrom);
        if (strCall.ends_with(kUnfinished)) {
            begun[nThread] = strCall.substr(0, strCall.size() - kUnfinished.size());
            continue;
        }
        if (strCall[0] == '<') {
            const size_t nRest = strCall.find(kResumed);
            if (nRest == std::string::npos) throw std::runtime_error("a resumed call is not understood");
            strCall = begun[nThread] + strCall.substr(nRest + kResumed.size());
        }
        if (strCall.ends_with(" = ?")) continue;  // the program ended in it
        visitor(ParseCall(strCall));
    }
}

}  // namespace Kestrova::Trust
