#include "import/sfz/SfzText.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "bank/FileAnswer.h"

namespace Kestrova {
namespace {

constexpr std::string_view kLineEnds = "\r\n";
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
constexpr std::string_view kInclude = "#include";
constexpr std::string_view kDefine = "#define";
constexpr std::array<std::string_view, 6> kHeaders = {"<control>", "<global>", "<master>",
                                                      "<group>",   "<region>", "<curve>"};

bool IsNameLetter(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

void SkipBlanks(std::string_view& text, std::string_view blanks = kSfzBlanks) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
}

// Takes the letters up to one of those given.
std::string_view TakeUntil(std::string_view& text, std::string_view ends) {
    const std::string_view taken = text.substr(0, text.find_first_of(ends));
    text.remove_prefix(taken.size());
    return taken;
}

bool IsDirective(std::string_view text, std::string_view name) {
    return text.substr(0, name.size()) == name && text.size() > name.size() && IsSfzBlank(text[name.size()]);
}

// The length of the comment at the beginning of the text; 0 when there is none. bEnded tells whether its end
// is there.
size_t CommentLength(std::string_view text, bool& bEnded) {
    bEnded = true;
    if (text.substr(0, 2) == "//") return std::min(text.find_first_of(kLineEnds), text.size());
    if (text.substr(0, 2) != "/*") return 0;
    const size_t nEnd = text.find("*/", 2);
    bEnded = nEnd != std::string_view::npos;
    return bEnded ? nEnd + 2 : text.size();
}

ImportOutcome TooLong() {
    return Refused("its text is longer than " + std::to_string(SfzTextReader::kMostBytes >> 20) + " MiB");
}

}  // namespace

ImportOutcome SfzTextReader::Read(const std::string& strPath, std::string& strText) {
    ImportOutcome outcome = ReadFile(strPath);
    if (outcome.IsDone() && !m_missing.empty()) outcome = Refused(MissingFilesText(m_missing));
    strText = std::move(m_strText);
    return outcome;
}

ImportOutcome SfzTextReader::ReadFile(const std::string& strPath) {
    if (std::find(m_open.begin(), m_open.end(), strPath) != m_open.end())
        return Refused("its file " + strPath + " includes itself");
    if (m_open.size() > kMostDepth)
        return Refused("its includes are nested deeper than " + std::to_string(kMostDepth));
    std::string strFile;
    if (ImportOutcome outcome = LoadFile(strPath, strFile); !outcome.IsDone()) return outcome;
    m_open.push_back(strPath);
    ImportOutcome outcome = AddText(StripComments(strFile));
    m_open.pop_back();
    m_strText += '\n';
    return outcome;
}

ImportOutcome SfzTextReader::LoadFile(const std::string& strPath, std::string& strFile) {
    CXFile file;
    unsigned long long nBytes = 0;
    const FileAnswer opened =
        AskFile(file, [&] { return file.Open(strPath.c_str(), 0) && file.GetSize(nBytes); });
    if (!opened) return Unreadable(opened.nError);
    if (nBytes > kMostBytes - m_nBytesRead) return TooLong();
    m_nBytesRead += nBytes;
    strFile.resize(nBytes);
    const FileAnswer read = AskFile(file, [&] { return file.ReadAtPos(0, strFile.data(), nBytes); });
    return read ? ImportOutcome() : Unreadable(read.nError);
}

// Each comment becomes a blank.
std::string SfzTextReader::StripComments(std::string_view text) {
    std::string strText;
    if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) text.remove_prefix(kByteOrderMark.size());
    while (!text.empty()) {
        bool bEnded = true;
        const size_t nComment = CommentLength(text, bEnded);
        if (!bEnded) m_report.Note(ImportEvent::Repaired, "a comment that does not end", "taken to the end");
        strText += nComment > 0 ? ' ' : text[0];
        text.remove_prefix(std::max<size_t>(nComment, 1));
    }
    return strText;
}

ImportOutcome SfzTextReader::AddText(std::string_view text) {
    bool bAfterBlank = true;
    while (!text.empty()) {
        ImportOutcome outcome;
        if (bAfterBlank && IsDirective(text, kInclude)) {
            outcome = Include(text);
        } else if (bAfterBlank && IsDirective(text, kDefine)) {
            outcome = Define(text);
        } else {
            bAfterBlank = IsSfzBlank(text[0]) || text[0] == '>';
            Expand(text, m_strText);
        }
        if (!outcome.IsDone()) return outcome;
        if (m_strText.size() > kMostBytes) return TooLong();
    }
    return {};
}

ImportOutcome SfzTextReader::Include(std::string_view& rest) {
    rest.remove_prefix(kInclude.size());
    SkipBlanks(rest, " \t");
    const bool bQuoted = !rest.empty() && rest[0] == '"';
    if (bQuoted) rest.remove_prefix(1);
    std::string_view given = TakeUntil(rest, bQuoted ? "\"\r\n" : kLineEnds);
    if (bQuoted && !rest.empty() && rest[0] == '"') rest.remove_prefix(1);
    given = given.substr(0, given.find_last_not_of(kSfzBlanks) + 1);
    std::string strName, strPath;
    while (!given.empty()) Expand(given, strName);
    if (++m_nIncludes > kMostIncludes)
        return Refused("it includes more than " + std::to_string(kMostIncludes) + " files");
    ImportOutcome outcome = m_finder.Find(strName, strPath);
    if (outcome.IsDone()) return ReadFile(strPath);
    if (outcome.end == ImportEnd::NoMemory) return outcome;
    m_missing.push_back(strName + ": " + outcome.strCause);
    return {};
}

ImportOutcome SfzTextReader::Define(std::string_view& rest) {
    rest.remove_prefix(kDefine.size());
    SkipBlanks(rest, " \t");
    const std::string strWord(TakeUntil(rest, kSfzBlanks));
    SkipBlanks(rest, " \t");
    std::string_view given = TakeUntil(rest, kSfzBlanks);
    const bool bName = strWord.size() > 1 && strWord.size() <= kMostNameBytes && strWord[0] == '$' &&
                       std::all_of(strWord.begin() + 1, strWord.end(), IsNameLetter);
    if (!bName) {
        m_report.Note(ImportEvent::Dropped, "definition of \"" + strWord.substr(0, kMostNameBytes) + "\"",
                      "a name is $ with at most " + std::to_string(kMostNameBytes - 1) +
                          " letters, digits and underscores");
        return {};
    }
    std::string strValue;
    while (!given.empty() && strValue.size() <= kMostValueBytes) Expand(given, strValue);
    if (strValue.size() > kMostValueBytes)
        return Refused("its definition of " + strWord + " is longer than " + std::to_string(kMostValueBytes) +
                       " bytes");
    m_nLongestName = std::max(m_nLongestName, strWord.size() - 1);
    m_definitions[strWord.substr(1)] = strValue;
    return {};
}

// Takes one letter, or one defined name.
void SfzTextReader::Expand(std::string_view& rest, std::string& strOut) const {
    if (rest[0] == '$') {
        size_t nName = 0;
        while (nName < m_nLongestName && nName + 1 < rest.size() && IsNameLetter(rest[nName + 1])) ++nName;
        for (; nName > 0; --nName) {
            const auto place = m_definitions.find(rest.substr(1, nName));
            if (place == m_definitions.end()) continue;
            strOut += place->second;
            rest.remove_prefix(nName + 1);
            return;
        }
    }
    strOut += rest[0];
    rest.remove_prefix(1);
}

bool IsSfzText(std::string_view head) {
    if (head.substr(0, kByteOrderMark.size()) == kByteOrderMark) head.remove_prefix(kByteOrderMark.size());
    bool bEnded = true;
    for (size_t nComment = 1; nComment > 0; head.remove_prefix(nComment)) {
        SkipBlanks(head);
        nComment = CommentLength(head, bEnded);
    }
    const auto begins = [head](std::string_view header) { return head.substr(0, header.size()) == header; };
    return IsDirective(head, kInclude) || IsDirective(head, kDefine) ||
           std::any_of(kHeaders.begin(), kHeaders.end(), begins);
}

std::string MissingFilesText(const std::vector<std::string>& files) {
    std::string strText = std::to_string(files.size()) + " of its files cannot be used: ";
    for (const std::string& strFile : files) strText += (&strFile == &files.front() ? "" : "; ") + strFile;
    return strText;
}

}  // namespace Kestrova
