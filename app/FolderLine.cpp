#include "app/FolderLine.h"

#include <charconv>
#include <string>
#include <string_view>

namespace Kestrova {
namespace {

constexpr size_t kLongestLine = 1021;  // the settings file reads 1022 characters at once, line end included
constexpr char kCodeMark = '%';
constexpr size_t kCodeLength = 3;  // "%5B"

bool IsAlwaysEncoded(unsigned char ch) {
    constexpr unsigned char kFirstPrintable = 0x20, kDelete = 0x7F;
    return ch < kFirstPrintable || ch == kDelete || ch == kCodeMark || ch == '[' || ch == ']';
}

std::string Encoded(std::string_view folder) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    const size_t nFirst = folder.find_first_not_of(' '), nLast = folder.find_last_not_of(' ');
    std::string strLine;
    for (size_t i = 0; i < folder.size(); ++i) {
        const auto ch = static_cast<unsigned char>(folder[i]);
        const bool bInside = nFirst <= i && i <= nLast;  // of the spaces at the ends
        if (bInside && !IsAlwaysEncoded(ch))
            strLine += folder[i];
        else
            (strLine += kCodeMark).append({kDigits[ch >> 4], kDigits[ch & 15]});
    }
    return strLine;
}

// A "%" that does not begin a code stays as it is.
std::string Decoded(std::string_view line) {
    std::string strFolder;
    for (size_t i = 0; i < line.size(); ++i) {
        unsigned char ch = 0;
        const char* const pDigits = line.data() + i + 1;
        const bool bCode = line[i] == kCodeMark && line.size() - i >= kCodeLength &&
                           std::from_chars(pDigits, pDigits + 2, ch, 16).ptr == pDigits + 2;
        strFolder += bCode ? static_cast<char>(ch) : line[i];
        if (bCode) i += kCodeLength - 1;
    }
    return strFolder;
}

}  // namespace

// Deliberate (Q139): a folder stands in the settings with codes for %, brackets, control characters and
// spaces at its ends; one too long for a line is not remembered.
String FolderLine(const char* pszFolder) {
    const std::string strLine = Encoded(pszFolder);
    return strLine.size() <= kLongestLine ? strLine.c_str() : "";
}

String FolderOfLine(const char* pszLine) {
    String strFolder = Decoded(pszLine).c_str();
    // Deliberate (Q140): a settings line this program would not have written is the folder as it stands, so
    // /50% and /%41 of older versions keep their meaning.
    if (FolderLine(strFolder) != pszLine) return pszLine;
    return strFolder;
}

}  // namespace Kestrova
