#include "shared/System/kvIniFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <optional>
#include <set>
#include <string>

#include "shared/System/kvPath.h"
#include "shared/System/kvSafeFile.h"

namespace Kestrova {

namespace {

constexpr size_t kMaxPiece = 1022;  // characters of a line read at once, its line end included
// Far above any list of settings. Whatever the path leads to, no more than this is read.
constexpr size_t kMaxFileSize = size_t{4} << 20;

// Without O_NONBLOCK a pipe that lies where the file is expected would hold the program up for ever.
constexpr int kSafeFlags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

// The flags of open for a mode of fopen, or -1. No mode is write-only: lines that were not read would be lost
// when the list is written back.
int OpenFlags(const char* pszMode) {
    if (pszMode == nullptr) return -1;
    const int nExclusive = std::strchr(pszMode, 'x') != nullptr ? O_EXCL : 0;
    switch (pszMode[0]) {
        case 'r': return std::strchr(pszMode, '+') != nullptr ? O_RDWR : O_RDONLY;
        case 'w': return O_RDWR | O_CREAT | O_TRUNC | nExclusive;
        case 'a': return O_RDWR | O_CREAT | nExclusive;
        default: return -1;
    }
}

bool IsRegular(int nFile, struct stat& facts) {
    return nFile >= 0 && fstat(nFile, &facts) == 0 && S_ISREG(facts.st_mode);
}

// A user without the right to write to the file must not replace it either, even where the folder allows it.
// A file that was removed meanwhile is made again.
bool MayWrite(const String& strPath) {
    const FileDescriptor old(open(strPath, O_WRONLY | O_CREAT | O_NOFOLLOW | kSafeFlags, 0666));
    struct stat facts;
    return IsRegular(old, facts);
}

// Whether the file cannot be replaced because of its place: its folder may not be
// written to, or the file is a mount of its own.
bool IsKeptFromReplacing(int nError) { return nError == EACCES || nError == EBUSY || nError == EXDEV; }

std::string_view Trimmed(std::string_view text) {
    const auto isSpace = [](char ch) { return std::isspace(static_cast<unsigned char>(ch)) != 0; };
    while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
    while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
    return text;
}

String StringOf(std::string_view text) { return {text.data(), static_cast<int>(text.size())}; }

bool IsEmptyText(const char* pszText) { return pszText == nullptr || *pszText == '\0'; }

// Whether a header with this name is found again when it is read from the file.
bool IsSectionName(const char* pszName) {
    constexpr size_t kBrackets = 2;
    return !IsEmptyText(pszName) && std::strpbrk(pszName, "]\r\n") == nullptr &&
           std::strlen(pszName) <= kMaxPiece - kBrackets;
}

std::optional<std::string_view> HeaderName(std::string_view line) {
    const size_t nOpen = line.find('[');
    if (nOpen == std::string_view::npos) return std::nullopt;
    const size_t nClose = line.find(']', nOpen);
    if (nClose == std::string_view::npos) return std::nullopt;
    return line.substr(nOpen + 1, nClose - nOpen - 1);
}

using LineIterator = FifoList<LinkedString>::Iterator;

// At a line of the body, not at the next header or the end.
bool IsInBody(LineIterator it) { return it != nullptr && !HeaderName(it->strText.c_str()).has_value(); }

struct Pair {
    std::string_view key, value;
};

std::optional<Pair> PairOf(std::string_view line) {
    const size_t nEqual = line.find('=');
    if (nEqual == std::string_view::npos) return std::nullopt;
    const Pair pair{Trimmed(line.substr(0, nEqual)), Trimmed(line.substr(nEqual + 1))};
    if (pair.key.empty()) return std::nullopt;
    return pair;
}

// The first line of a body that equals the text; the end when there is none. Deliberate (Q31).
LineIterator FindLine(LineIterator body, const char* pszText) {
    for (LineIterator it = body; IsInBody(it); ++it)
        if (it->strText == pszText) return it;
    return nullptr;
}

// The first pair of a body with the key; the end when there is none, as there is for an empty key.
LineIterator FindPair(LineIterator body, std::string_view key) {
    for (LineIterator it = body; IsInBody(it); ++it)
        if (const std::optional<Pair> pair = PairOf(it->strText.c_str()); pair && pair->key == key) return it;
    return nullptr;
}

// Whether a line, when it is read from the file again, gives this pair.
bool ReadsAs(const std::string& strLine, const Pair& wanted) {
    if (strLine.size() >= kMaxPiece || strLine.find_first_of("\r\n") != std::string::npos) return false;
    if (HeaderName(strLine).has_value()) return false;
    const std::optional<Pair> pair = PairOf(strLine);
    return pair.has_value() && pair->key == wanted.key && pair->value == wanted.value;
}

}  // namespace

int IniFile::Open(const char* pszPath, const char* pszMode) {
    Close();
    if (pszPath != nullptr) m_strPath = pszPath;
    const int nFlags = OpenFlags(pszMode);
    if (nFlags < 0) return 0;
    const FileDescriptor file(open(m_strPath, nFlags | kSafeFlags, 0666));
    struct stat facts;
    std::string content;
    FSRef target;
    if (!IsRegular(file, facts) || !ReadToEnd(file, kMaxFileSize, content) || content.size() > kMaxFileSize ||
        FullPathMakeFSRef(m_strPath, target) != 0)
        return 0;
    SplitLines(content);
    m_strTarget = target.strPath;
    m_bOpen = true;
    return 1;
}

void IniFile::Close() {
    // Deliberate (Q34): changes are written in mode "r" too.
    if (m_bOpen && m_bModified && !m_lines.IsEmpty()) Write();
    m_bOpen = false;
    m_bModified = false;
    m_lines.DeleteItems();
}

void IniFile::SplitLines(std::string_view content) {
    while (!content.empty()) {
        // Deliberate (Q33): a line of exactly 1022 characters is followed by an empty one.
        std::string_view line = content.substr(0, kMaxPiece);
        const size_t nLineEnd = line.find('\n');
        if (nLineEnd != std::string_view::npos) line = line.substr(0, nLineEnd + 1);
        content.remove_prefix(line.size());
        line = line.substr(0, line.find('\0'));
        line = line.substr(0, line.find_last_not_of("\r\n") + 1);  // none left: npos + 1 is 0
        m_lines.Push(StringOf(line));
    }
}

void IniFile::Write() const {
    std::string content;
    for (const LinkedString& line : m_lines) {
        content += line.strText;
        content += '\n';
    }
    if (content.size() > kMaxFileSize || !MayWrite(m_strTarget)) return;  // Open would not read more
    if (!ReplaceFile(m_strTarget, content, 0666) && IsKeptFromReplacing(errno))
        OverwriteFile(m_strTarget, content);
}

IniFile::Iterator IniFile::FindHeader(const char* pszSection) const {
    if (!IsSectionName(pszSection)) return nullptr;
    for (Iterator it = m_lines.begin(); it != nullptr; ++it)
        if (HeaderName(it->strText.c_str()) == pszSection) return it;
    return nullptr;
}

IniFile::Iterator IniFile::BodyOf(const char* pszSection) const {
    Iterator header = FindHeader(pszSection);
    return ++header;
}

IniFile::Iterator IniFile::EnsureSection(const char* pszSection) {
    if (FindHeader(pszSection) == nullptr) {
        m_lines.Push("[" + String(pszSection) + "]");
        m_bModified = true;
    }
    return BodyOf(pszSection);
}

void IniFile::AddLine(Iterator body, const char* pszLine) {
    while (IsInBody(body)) ++body;
    m_lines.Insert(body, pszLine);
    m_bModified = true;
}

int IniFile::GetItems(FifoList<LinkedString>& out, const char* pszSection) const {
    Iterator it = BodyOf(pszSection);  // first, because the name may lie in the list
    out.DeleteItems();
    int nItems = 0;
    for (; IsInBody(it); ++it) {
        const std::string_view item = Trimmed(it->strText.c_str());
        if (item.empty()) continue;
        out.Push(StringOf(item));
        ++nItems;
    }
    return nItems;
}

void IniFile::SetItem(const char* pszSection, const char* pszItem) {
    if (!IsSectionName(pszSection)) return;
    const Iterator body = EnsureSection(pszSection);
    if (IsEmptyText(pszItem) || std::strpbrk(pszItem, "\r\n") != nullptr) return;
    // Deliberate (Q32): an item with "[" and a later "]" becomes a header.
    if (FindLine(body, pszItem) == nullptr) AddLine(body, pszItem);
}

void IniFile::RemoveItem(const char* pszSection, const char* pszItem) {
    if (!IsSectionName(pszSection)) return;
    // deliberately (Q30) here too: removing makes the section
    const Iterator body = EnsureSection(pszSection);
    if (pszItem == nullptr) return;
    Iterator it = FindLine(body, pszItem);
    if (it == nullptr) return;
    m_lines.Erase(it);
    m_bModified = true;
}

int IniFile::GetKeyValue(const char* pszSection, const char* pszKey, String& strValue) const {
    const Iterator it = FindPair(BodyOf(pszSection), pszKey != nullptr ? pszKey : "");
    strValue = it != nullptr ? StringOf(PairOf(it->strText.c_str())->value) : String();
    return it != nullptr ? 1 : 0;
}

int IniFile::SetKeyValue(const char* pszSection, const char* pszKey, const String& strValue) {
    if (!IsSectionName(pszSection) || pszKey == nullptr) return 0;
    const Pair pair{pszKey, Trimmed(strValue.c_str())};
    const std::string strLine = std::string(pair.key).append("=").append(pair.value);
    if (!ReadsAs(strLine, pair)) return 0;
    const Iterator body = EnsureSection(pszSection);
    const Iterator old = FindPair(body, pair.key);
    if (old == nullptr) {
        AddLine(body, strLine.c_str());
    } else if (PairOf(old->strText.c_str())->value != pair.value) {
        old->strText = strLine.c_str();
        m_bModified = true;
    }
    return 1;
}

int IniFile::GetKeys(FifoList<LinkedString>& out, const char* pszSection) const {
    Iterator it = BodyOf(pszSection);  // first, because the name may lie in the list
    out.DeleteItems();
    int nKeys = 0;
    for (; IsInBody(it); ++it) {
        const std::optional<Pair> pair = PairOf(it->strText.c_str());
        if (!pair) continue;
        out.Push(StringOf(pair->key));
        ++nKeys;
    }
    return nKeys;
}

int IniFile::GetSections(FifoList<LinkedString>& out) const {
    out.DeleteItems();
    std::set<std::string_view> names;
    for (const LinkedString& line : m_lines) {
        const std::optional<std::string_view> name = HeaderName(line.strText.c_str());
        if (name && !name->empty() && names.insert(*name).second) out.Push(StringOf(*name));
    }
    return static_cast<int>(names.size());
}

}  // namespace Kestrova
