#include "shared/System/kvPreferencesFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <utility>

#include "shared/System/kvPath.h"
#include "shared/System/kvPlatform.h"
#include "shared/System/kvSafeFile.h"

namespace Kestrova {

namespace {

using Json = nlohmann::json;

constexpr char kBinaryTag[] = "$binary";
constexpr char kTextTag[] = "$text";

// Whether the lock was taken. Closing the descriptor releases it.
bool Lock(int nFile, int nKind) {
    int nResult;
    do nResult = flock(nFile, nKind);
    while (nResult != 0 && errno == EINTR);
    return nResult == 0;
}

template <class TBytes>
std::string ToHex(const TBytes& bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string strHex;
    strHex.reserve(bytes.size() * 2);
    for (const auto element : bytes) {
        const auto nByte = static_cast<uint8_t>(element);
        strHex += kDigits[nByte >> 4];
        strHex += kDigits[nByte & 15];
    }
    return strHex;
}

// Nothing when the text is not pairs of hexadecimal digits.
template <class TBytes>
std::optional<TBytes> FromHex(std::string_view hex) {
    TBytes bytes;
    bytes.reserve(hex.size() / 2);
    for (; !hex.empty(); hex.remove_prefix(2)) {
        uint8_t nByte = 0;
        const char* pEnd = hex.data() + std::min<size_t>(2, hex.size());
        if (std::from_chars(hex.data(), pEnd, nByte, 16).ptr != hex.data() + 2) return std::nullopt;
        bytes.push_back(static_cast<typename TBytes::value_type>(nByte));
    }
    return bytes;
}

// A text as JSON; throws Json::type_error when it is not UTF-8.
std::string Quoted(const std::string& strText) { return Json(strText).dump(); }

// The bytes of {"<tag>": ["<hexadecimal digits>"]}; nothing when the dictionary is something else.
template <class TBytes>
std::optional<TBytes> Tagged(const PreferencesDictionary& dictionary, const char* pszTag) {
    constexpr std::string_view kBefore = "[\"", kAfter = "\"]";
    const auto found = dictionary.find(pszTag);
    if (dictionary.size() != 1 || found == dictionary.end()) return std::nullopt;
    const auto* pList = std::get_if<PreferencesOther>(&found->second.content);
    if (pList == nullptr || !pList->strJson.starts_with(kBefore) || !pList->strJson.ends_with(kAfter))
        return std::nullopt;
    std::string_view hex = pList->strJson;
    hex.remove_prefix(kBefore.size());
    hex.remove_suffix(kAfter.size());
    return FromHex<TBytes>(hex);
}

// Turns a dictionary that stands for a block or a text into it.
void Untag(PreferencesValue& value) {
    if (auto bytes = Tagged<PreferencesBinary>(*value.Dictionary(), kBinaryTag))
        value.content = std::move(*bytes);
    else if (auto text = Tagged<std::string>(*value.Dictionary(), kTextTag))
        value.content = std::move(*text);
}

// Makes entries of the parser's events. The parser goes on as long as they answer true. (The library's own
// trees cannot be used: they allocate when they are destroyed, and end the process when memory is out.)
class EntriesReader final : public nlohmann::json_sax<Json> {
public:
    // Whether the text is a whole JSON object within the limits.
    bool Read(const std::string& strText, PreferencesDictionary& entries) {
        // The parser takes a zero byte for the end and would not look at what follows.
        if (strText.find('\0') != std::string::npos || !Json::sax_parse(strText, this)) return false;
        entries = std::move(*m_root.Dictionary());
        return true;
    }

    bool null() override { return PutOther("null"); }
    bool boolean(bool b) override { return InList() ? PutOther(b ? "true" : "false") : Put(b); }
    bool number_integer(number_integer_t n) override { return PutInteger(n); }
    bool number_unsigned(number_unsigned_t n) override { return PutInteger(n); }
    bool number_float(number_float_t, const std::string& strNumber) override { return PutOther(strNumber); }
    bool string(std::string& strText) override {
        return InList() ? PutOther(Quoted(strText)) : Put(std::move(strText));
    }
    bool binary(Json::binary_t&) override { return false; }  // not in JSON texts

    bool start_object(size_t) override {
        if (InList()) return OpenInList('{');
        if (Depth() == PreferencesFile::kMaxDepth) return false;
        PreferencesValue& value = m_open.empty() ? m_root : Entry();
        value.content = std::make_unique<PreferencesDictionary>();
        m_open.push_back(&value);
        return true;
    }
    bool key(std::string& strKey) override {
        if (InList())
            AppendToList(Quoted(strKey) + ':');
        else
            m_strKey = std::move(strKey);
        return true;
    }
    bool end_object() override {
        if (InList()) return CloseInList('}');
        if (m_open.size() > 1) Untag(*m_open.back());
        m_open.pop_back();
        return true;
    }

    bool start_array(size_t) override { return !m_open.empty() && OpenInList('['); }
    bool end_array() override { return CloseInList(']'); }

    bool parse_error(size_t, const std::string&, const nlohmann::detail::exception&) override {
        return false;
    }

private:
    bool InList() const { return m_nInList > 0; }
    size_t Depth() const { return m_open.size() + m_nInList; }
    PreferencesValue& Entry() { return (*m_open.back()->Dictionary())[m_strKey]; }

    template <class T>
    bool Put(T content) {
        if (m_open.empty()) return false;
        Entry().content = std::move(content);
        return true;
    }
    bool PutOther(std::string strJson) {
        if (!InList()) return Put(PreferencesOther{std::move(strJson)});
        AppendToList(strJson);
        return true;
    }
    template <class T>
    bool PutInteger(T n) {
        return InList() || !std::in_range<int>(n) ? PutOther(std::to_string(n)) : Put(static_cast<int>(n));
    }

    bool OpenInList(char chOpen) {
        if (Depth() == PreferencesFile::kMaxDepth) return false;
        AppendToList(std::string(1, chOpen));
        ++m_nInList;
        return true;
    }
    bool CloseInList(char chClose) {
        m_strList += chClose;
        return --m_nInList > 0 || Put(PreferencesOther{std::exchange(m_strList, {})});
    }
    void AppendToList(const std::string& strJson) {
        if (!m_strList.empty() && std::strchr("[{:", m_strList.back()) == nullptr) m_strList += ',';
        m_strList += strJson;
    }

    PreferencesValue m_root;
    std::vector<PreferencesValue*> m_open;  // the dictionaries being read, from the outermost on
    std::string m_strKey;                   // where the next value belongs in the last of them
    std::string m_strList;                  // the list being read, without white space
    size_t m_nInList = 0;                   // its containers that are open
};

void Append(std::string& strJson, const PreferencesDictionary& entries, const std::string& strIndent);

// Appends one value; its contents are indented by strIndent.
struct ValueWriter {
    void operator()(const PreferencesOther& other) const { strJson += other.strJson; }
    void operator()(int n) const { strJson += std::to_string(n); }
    void operator()(bool b) const { strJson += b ? "true" : "false"; }
    void operator()(const std::string& strText) const {
        try {
            strJson += Quoted(strText);
        } catch (const Json::type_error&) {
            AppendTagged(kTextTag, strText);
        }
    }
    void operator()(const PreferencesBinary& bytes) const { AppendTagged(kBinaryTag, bytes); }
    void operator()(const std::unique_ptr<PreferencesDictionary>& pEntries) const {
        Append(strJson, *pEntries, strIndent);
    }

    template <class TBytes>
    void AppendTagged(const char* pszTag, const TBytes& bytes) const {
        strJson += "{\"" + std::string(pszTag) + "\": [\"" + ToHex(bytes) + "\"]}";
    }

    std::string& strJson;
    const std::string& strIndent;
};

void Append(std::string& strJson, const PreferencesDictionary& entries, const std::string& strIndent) {
    const std::string strInside = strIndent + "    ";
    const char* pszBefore = "{";
    for (const auto& [strKey, value] : entries) {
        strJson.append(pszBefore).append("\n").append(strInside).append(Quoted(strKey)).append(": ");
        std::visit(ValueWriter{strJson, strInside}, value.content);
        pszBefore = ",";
    }
    if (entries.empty())
        strJson += "{}";
    else
        strJson.append("\n").append(strIndent).append("}");
}

// The text for the file; nothing when a key is not UTF-8 or the text would be too large.
std::optional<std::string> ToText(const PreferencesDictionary& entries) {
    try {
        std::string strText;
        Append(strText, entries, "");
        strText += '\n';
        if (strText.size() <= PreferencesFile::kMaxBytes) return strText;
    } catch (const Json::type_error&) {
    }
    return std::nullopt;
}

// The file itself where the path is a link to it. A file that is not there yet is its own target.
String TargetOf(const String& strPath) {
    FSRef target{strPath};
    FullPathMakeFSRef(strPath, target);
    return target.strPath;
}

// The name of a kept copy, the oldest being number 1.
std::string DamagedName(const String& strPath, int nNumber) {
    const std::string strName = strPath.c_str() + std::string(".damaged");
    return nNumber == 1 ? strName : strName + '.' + std::to_string(nNumber);
}

bool IsThere(const std::string& strPath) {
    struct stat ignored;
    return lstat(strPath.c_str(), &ignored) == 0;
}

// Makes room for one more copy and gives its number, or 0 when that cannot be done. The copies move up to the
// first numbers; when there are as many as are kept, the oldest is replaced by the second.
int MakeRoomForDamaged(const String& strPath) {
    std::vector<std::string> arThere;
    for (int n = 1; n <= PreferencesFile::kMaxDamaged; ++n)
        if (std::string strName = DamagedName(strPath, n); IsThere(strName))
            arThere.push_back(std::move(strName));
    if (arThere.size() == PreferencesFile::kMaxDamaged) arThere.erase(arThere.begin());
    int nNext = 1;
    for (const std::string& strName : arThere)
        if (const std::string strNew = DamagedName(strPath, nNext++);
            strNew != strName && std::rename(strName.c_str(), strNew.c_str()) != 0)
            return 0;
    return nNext;
}

// Gives the file a second name, so that it is never missing from its place.
bool KeepDamaged(const String& strPath) {
    const int nNumber = MakeRoomForDamaged(strPath);
    return nNumber > 0 && link(strPath, DamagedName(strPath, nNumber).c_str()) == 0;
}

}  // namespace

bool PreferencesFile::Read(PreferencesDictionary& entries) const {
    const FileDescriptor lock(open(m_strPath + ".lock", O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (lock >= 0) Lock(lock, LOCK_SH);
    return Load(entries) != State::kUnreadable;
}

bool PreferencesFile::Write(const Change& change) const {
    if (!MakeMissingFolders(FolderPart(m_strPath), m_bShared ? 0755 : 0700)) return false;
    // For its owner alone in any case: whoever can open the file can take the lock and never release it.
    const FileDescriptor lock(open(m_strPath + ".lock", O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (lock < 0 || !Lock(lock, LOCK_EX)) return false;

    PreferencesDictionary entries;
    const State state = Load(entries);
    if (state == State::kUnreadable) return false;
    change(entries);
    const std::optional<std::string> strText = ToText(entries);
    const String strTarget = TargetOf(m_strPath);
    if (!strText || (state == State::kDamaged && !KeepDamaged(strTarget))) return false;
    return ReplaceFile(strTarget, *strText, m_bShared ? 0644 : 0600);
}

PreferencesFile::State PreferencesFile::Load(PreferencesDictionary& entries) const {
    entries.clear();
    // O_NONBLOCK: if it is a pipe, its other end is not waited for.
    const FileDescriptor file(open(m_strPath, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (file < 0) return errno == ENOENT ? State::kWhole : State::kUnreadable;
    struct stat status;
    std::string strText;
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || !ReadToEnd(file, kMaxBytes, strText))
        return State::kUnreadable;
    if (strText.empty()) return State::kWhole;
    if (strText.size() > kMaxBytes) return State::kDamaged;
    return EntriesReader().Read(strText, entries) ? State::kWhole : State::kDamaged;
}

}  // namespace Kestrova
