// kvPreferences.h - typed values that outlive the program, by domain and entry path.
#pragma once

#include <optional>

#include "shared/System/kvPreferencesFile.h"
#include "shared/System/kvString.h"

namespace Kestrova {

// The store of one domain, such as "com.kestrova.StgMan.1.0", of this user or of all users. It is the file
// "<domain>.json" in the folder of the user's settings or of all users'.
//
// An entry is named by a path such as a/b/c: its first part is a key of the domain, each further part a key
// in a dictionary inside; a part may be empty. A key given beside the entry (null or empty for none) is the
// dictionary, or the path to it, that the entry's path begins in: entry "b/c" with key "a" is a/b/c.
// Texts and keys are UTF-8. Other texts still come back byte for byte; other keys are refused.
//
// Nothing is kept between calls: a read sees what any process wrote last, a finished write is on the disk.
// Threads: one object serves one thread; any number of objects, threads and processes may use a domain.
// Errors:  the default (reads) or 0 (writes), and at most a line in the log besides the trace. Nothing is
//          thrown.
class Preferences {
public:
    static constexpr int kMaxParts = 64;  // of a path that is written

    // Initializes when a domain is given.
    explicit Preferences(const char* pszDomain = nullptr, bool bAnyUser = false);

    // Switches to another domain. Returns whether it can be used: it names a file, and an
    // existing file can be read. A damaged file can be used and has no entries
    // (kvPreferencesFile.h says what a write does with it).
    bool Initialize(const char* pszDomain, bool bAnyUser);

    // Whether each step is written to the log. It is on at first.
    void SetTrace(bool bTrace) { m_bTrace = bTrace; }

    // The stored value, or the default when there is none of exactly this kind: a boolean is not an integer.
    int GetProfileInt(const char* pszEntry, const char* pszKey, int nDefault) const;
    bool GetProfileBool(const char* pszEntry, const char* pszKey, bool bDefault) const;
    String GetProfileString(const char* pszEntry, const char* pszKey, const char* pszDefault) const;
    // Copies the block and gives nonzero.
    //   nSize: in, the bytes of the buffer; out, the bytes of the block
    // 0, with nothing touched, when there is no block, when it is larger than the buffer, and for a null
    // buffer; the last two are logged.
    int GetProfileBinary(const char* pszEntry, const char* pszKey, void* pBuffer, int& nSize) const;

    // Store the value, replacing what the entry held, of whatever kind; where the path leads through
    // something that is no dictionary, a new dictionary replaces it. Nonzero on success; 0 too for a null
    // value, and for a negative length.
    int SetProfileInt(const char* pszEntry, const char* pszKey, const int* pnValue);
    int SetProfileBool(const char* pszEntry, const char* pszKey, const bool* pbValue);
    int SetProfileString(const char* pszEntry, const char* pszKey, const char* pszValue);
    int SetProfileBinary(const char* pszEntry, const char* pszKey, const void* pBytes, int nLength);

    // The text before the first "/" of a path, all of it when there is none; a null path is logged and gives
    // the empty text.
    static String GetEntryFirstPartString(const char* pszPath);
    // The text after the first "/", in the path itself; null when there is none.
    static const char* GetEntryNextPartString(const char* pszPath);

private:
    template <class T>
    std::optional<T> GetObjectOfType(const char* pszEntry, const char* pszKey) const;
    const PreferencesValue* GetDictEntryValue(const PreferencesDictionary* pDictionary,
                                              const char* pszPath) const;
    template <class TMake>
    int PutObject(const char* pszEntry, const TMake& make, const char* pszKey) const;
    static void SetTargetDictValue(PreferencesDictionary& domain, const char* pszPath,
                                   PreferencesValue&& value);
    bool SetSynchronizeProperty(const char* pszPath, PreferencesValue&& value) const;

    PreferencesFile File() const { return {m_strPath, m_bAnyUser}; }

    String m_strPath;  // of the domain's file
    bool m_bAnyUser = false;
    bool m_bInited = false;
    bool m_bTrace = true;
};

}  // namespace Kestrova
