#include "tools/kvbank/export/SafeNames.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "shared/System/kvPrintable.h"

namespace Kestrova {
namespace {

constexpr std::string_view kUnsafe = "/\\:*?\"<>|=$";
constexpr size_t kMostBytes = 100;
// Names that some systems keep for devices, whatever their suffix.
constexpr std::array<std::string_view, 22> kReserved = {
    "con",  "prn",  "aux",  "nul",  "com1", "com2", "com3", "com4", "com5", "com6", "com7",
    "com8", "com9", "lpt1", "lpt2", "lpt3", "lpt4", "lpt5", "lpt6", "lpt7", "lpt8", "lpt9"};

char LowerCase(char ch) { return ch >= 'A' && ch <= 'Z' ? static_cast<char>(ch - 'A' + 'a') : ch; }

bool IsContinuation(char ch) { return (static_cast<unsigned char>(ch) & 0xC0) == 0x80; }

// Two names that a file system may take for one are equal folded. The case of letters beyond ASCII depends on
// the system, so all of these count as one letter.
std::string Folded(const std::string& strName) {
    std::string strFolded;
    for (const char ch : strName)
        if (!IsContinuation(ch)) strFolded += static_cast<unsigned char>(ch) < 0x80 ? LowerCase(ch) : '\xFF';
    return strFolded;
}

bool IsReserved(const std::string& strName) {
    const std::string strStem = Folded(strName.substr(0, strName.find('.')));
    return std::find(kReserved.begin(), kReserved.end(), strStem) != kReserved.end();
}

std::string CutToBytes(const std::string& strName) {
    if (strName.size() <= kMostBytes) return strName;
    size_t nEnd = kMostBytes;
    while (nEnd > 0 && IsContinuation(strName[nEnd])) --nEnd;
    return strName.substr(0, nEnd);
}

}  // namespace

std::string SafeName(const std::string& strName) {
    std::string strSafe = Printable(strName);  // with "?" for what is no text
    for (char& ch : strSafe)
        if (kUnsafe.find(ch) != std::string_view::npos) ch = '_';
    strSafe = CutToBytes(strSafe);
    if (strSafe.empty()) return "_";
    if (strSafe.front() == '.' || strSafe.front() == ' ') strSafe.front() = '_';
    if (strSafe.back() == '.' || strSafe.back() == ' ') strSafe.back() = '_';
    return IsReserved(strSafe) ? "_" + strSafe : strSafe;
}

std::string SafeNames::Take(const std::string& strName, const std::string& strSuffix) {
    const std::string strSafe = SafeName(strName);
    uint64_t& nLast = m_lastNumber[Folded(strSafe + strSuffix)];
    for (;;) {
        const std::string strNumber = ++nLast == 1 ? "" : "-" + std::to_string(nLast);
        std::string strFile = strSafe;
        strFile.append(strNumber).append(strSuffix);
        if (m_taken.insert(Folded(strFile)).second) return strFile;
    }
}

}  // namespace Kestrova
