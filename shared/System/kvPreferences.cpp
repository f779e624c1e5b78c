#include "shared/System/kvPreferences.h"

#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "shared/System/kvLogFile.h"
#include "shared/System/kvPlatform.h"

namespace Kestrova {

namespace {

// Deliberate (Q28): "Out of memory." is logged without a line end.
constexpr char kOutOfMemory[] = "%s Out of memory.";
constexpr char kInvalidEntry[] = "%s Not initialized or invalid Entry (%p).\n";
constexpr char kFound[] = "%s Found CFType %p ID %d\n";
constexpr char kSynchronizing[] = "%s Synchronizing %d\n";

// Empty when the domain cannot name a file or the user has no folder for it.
String FileOfDomain(const String& strDomain, bool bAnyUser) {
    const String strFolder = bAnyUser ? GetLocalConfigFolder() : GetUserConfigFolder();
    if (strFolder.IsEmpty() || strDomain.IsEmpty() || strDomain.Find('/') >= 0) return String();
    return strFolder + "/" + strDomain + ".json";
}

// Empty when there is no entry.
String EntryPath(const String& strKey, const String& strEntry) {
    return strKey.IsEmpty() || strEntry.IsEmpty() ? strEntry : strKey + "/" + strEntry;
}

int CountParts(const char* pszPath) {
    int nParts = 0;
    for (; pszPath != nullptr; pszPath = Preferences::GetEntryNextPartString(pszPath)) ++nParts;
    return nParts;
}

std::string FirstPart(const char* pszPath) { return Preferences::GetEntryFirstPartString(pszPath).c_str(); }

int KindOf(const PreferencesValue& value) { return static_cast<int>(value.content.index()); }

// The dictionary a value holds; anything else is replaced by a new one. Deliberate (Q27).
PreferencesDictionary& MakeDictionaryIn(PreferencesValue& value) {
    if (value.Dictionary() == nullptr) value.content = std::make_unique<PreferencesDictionary>();
    return *value.Dictionary();
}

}  // namespace

Preferences::Preferences(const char* pszDomain, bool bAnyUser) : m_bAnyUser(bAnyUser) {
    if (pszDomain != nullptr) Initialize(pszDomain, bAnyUser);
}

bool Preferences::Initialize(const char* pszDomain, bool bAnyUser) {
    constexpr char kTag[] = "Initialize:";
    const String strDomain(pszDomain);
    IOLog1(m_bTrace, "%s App '%s'\n", kTag, strDomain.c_str());
    m_bAnyUser = bAnyUser;
    m_strPath = FileOfDomain(strDomain, bAnyUser);
    m_bInited = false;
    try {
        PreferencesDictionary domain;
        m_bInited = !m_strPath.IsEmpty() && File().Read(domain);
    } catch (const std::bad_alloc&) {
        IOLog(kOutOfMemory, kTag);
    }
    IOLog1(m_bTrace, kSynchronizing, kTag, m_bInited);
    return m_bInited;
}

int Preferences::GetProfileInt(const char* pszEntry, const char* pszKey, int nDefault) const {
    return GetObjectOfType<int>(pszEntry, pszKey).value_or(nDefault);
}

bool Preferences::GetProfileBool(const char* pszEntry, const char* pszKey, bool bDefault) const {
    const bool bResult = GetObjectOfType<bool>(pszEntry, pszKey).value_or(bDefault);
    IOLog1(m_bTrace, "GetBool: result '%s'\n", bResult ? "Yes" : "No");
    return bResult;
}

String Preferences::GetProfileString(const char* pszEntry, const char* pszKey, const char* pszDefault) const {
    const std::optional<std::string> str = GetObjectOfType<std::string>(pszEntry, pszKey);
    return str ? String(str->data(), static_cast<int>(str->size())) : String(pszDefault);
}

int Preferences::GetProfileBinary(const char* pszEntry, const char* pszKey, void* pBuffer, int& nSize) const {
    const std::optional<PreferencesBinary> bytes = GetObjectOfType<PreferencesBinary>(pszEntry, pszKey);
    if (!bytes) return 0;
    const int nLength = static_cast<int>(bytes->size());
    if (pBuffer == nullptr || nLength > nSize) {
        IOLog("%s buffer null or overflow (%d > %d)\n", "GetBinary:", nLength, nSize);
        return 0;
    }
    if (nLength > 0) std::memcpy(pBuffer, bytes->data(), bytes->size());
    nSize = nLength;
    return 1;
}

int Preferences::SetProfileInt(const char* pszEntry, const char* pszKey, const int* pnValue) {
    if (pnValue == nullptr) return 0;
    return PutObject(
        pszEntry, [pnValue] { return *pnValue; }, pszKey);
}

int Preferences::SetProfileBool(const char* pszEntry, const char* pszKey, const bool* pbValue) {
    if (pbValue == nullptr) return 0;
    return PutObject(
        pszEntry, [pbValue] { return *pbValue; }, pszKey);
}

int Preferences::SetProfileString(const char* pszEntry, const char* pszKey, const char* pszValue) {
    if (pszValue == nullptr) return 0;
    return PutObject(
        pszEntry, [pszValue] { return std::string(pszValue); }, pszKey);
}

int Preferences::SetProfileBinary(const char* pszEntry, const char* pszKey, const void* pBytes, int nLength) {
    if (pBytes == nullptr || nLength < 0) return 0;
    const auto* pFirst = static_cast<const uint8_t*>(pBytes);
    return PutObject(
        pszEntry, [=] { return PreferencesBinary(pFirst, pFirst + nLength); }, pszKey);
}

// Nothing is left out: an empty part is deliberately (Q29) a key like any other.
String Preferences::GetEntryFirstPartString(const char* pszPath) {
    if (pszPath == nullptr) IOLog("%s CFString NULL\n", "GetEntryString:");
    return String(pszPath).SpanExcluding("/");
}

const char* Preferences::GetEntryNextPartString(const char* pszPath) {
    const char* pszSlash = pszPath != nullptr ? std::strchr(pszPath, '/') : nullptr;
    return pszSlash != nullptr ? pszSlash + 1 : nullptr;
}

template <class T>
std::optional<T> Preferences::GetObjectOfType(const char* pszEntry, const char* pszKey) const {
    constexpr char kTag[] = "GetObjectOfType:";
    const String strPath = EntryPath(pszKey, pszEntry);
    if (!m_bInited || strPath.IsEmpty()) {
        IOLog(kInvalidEntry, kTag, static_cast<const void*>(pszEntry));
        return std::nullopt;
    }
    IOLog1(m_bTrace, "%s Getting Entry '%s'\n", kTag, strPath.c_str());
    try {
        PreferencesDictionary domain;
        File().Read(domain);
        const PreferencesValue* pValue = GetDictEntryValue(&domain, strPath);
        if (pValue != nullptr && std::holds_alternative<T>(pValue->content)) {
            IOLog1(m_bTrace, kFound, kTag, static_cast<const void*>(pValue), KindOf(*pValue));
            return std::get<T>(pValue->content);
        }
        IOLog1(m_bTrace, "%s Returning NULL CFType\n", kTag);
    } catch (const std::bad_alloc&) {
        IOLog(kOutOfMemory, kTag);
    }
    return std::nullopt;
}

const PreferencesValue* Preferences::GetDictEntryValue(const PreferencesDictionary* pDictionary,
                                                       const char* pszPath) const {
    constexpr char kTag[] = "GetDictEntryValue:";
    if (pDictionary == nullptr) {
        IOLog1(m_bTrace, "%s NULL Dictionary given.\n", kTag);
        return nullptr;
    }
    IOLog1(m_bTrace, "%s Entering Dictionary %p\n", kTag, static_cast<const void*>(pDictionary));
    const auto found = pDictionary->find(FirstPart(pszPath));
    if (found == pDictionary->end()) return nullptr;
    const PreferencesValue& value = found->second;
    IOLog1(m_bTrace, kFound, kTag, static_cast<const void*>(&value), KindOf(value));
    const char* pszNext = GetEntryNextPartString(pszPath);
    return pszNext == nullptr ? &value : GetDictEntryValue(value.Dictionary(), pszNext);
}

template <class TMake>
int Preferences::PutObject(const char* pszEntry, const TMake& make, const char* pszKey) const {
    constexpr char kTag[] = "PutObject:";
    const String strPath = EntryPath(pszKey, pszEntry);
    if (!m_bInited || strPath.IsEmpty() || CountParts(strPath) > kMaxParts) {
        IOLog(kInvalidEntry, kTag, static_cast<const void*>(pszEntry));
        return 0;
    }
    IOLog1(m_bTrace, "%s Setting Entry '%s'\n", kTag, strPath.c_str());
    try {
        return SetSynchronizeProperty(strPath, {make()});
    } catch (const std::bad_alloc&) {
        IOLog(kOutOfMemory, kTag);
        return 0;
    }
}

void Preferences::SetTargetDictValue(PreferencesDictionary& domain, const char* pszPath,
                                     PreferencesValue&& value) {
    PreferencesDictionary* pDictionary = &domain;
    while (const char* pszNext = GetEntryNextPartString(pszPath)) {
        pDictionary = &MakeDictionaryIn((*pDictionary)[FirstPart(pszPath)]);
        pszPath = pszNext;
    }
    (*pDictionary)[FirstPart(pszPath)] = std::move(value);
}

bool Preferences::SetSynchronizeProperty(const char* pszPath, PreferencesValue&& value) const {
    const bool bDone = File().Write(
        [&](PreferencesDictionary& domain) { SetTargetDictValue(domain, pszPath, std::move(value)); });
    IOLog1(m_bTrace, kSynchronizing, "SetSynchronizeProperty:", bDone);
    return bDone;
}

}  // namespace Kestrova
