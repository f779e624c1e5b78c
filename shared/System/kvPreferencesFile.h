// kvPreferencesFile.h - the entries of one preferences domain and the file that keeps them.
// The file is JSON in UTF-8. An integer, a boolean, a text and a dictionary are what JSON has for them; a
// binary block is {"$binary": ["<hexadecimal digits>"]}. A text that is not UTF-8 is {"$text": [...]} in the
// same way, so that its bytes come back unchanged. The list marks both: the store itself has no lists, so no
// dictionary of an entry can look like this.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "shared/System/kvString.h"

namespace Kestrova {

struct PreferencesValue;
using PreferencesDictionary = std::map<std::string, PreferencesValue>;
using PreferencesBinary = std::vector<uint8_t>;

// A value that somebody else put into the file (a fraction, a list, null, an integer of more than 32 bits),
// as JSON without white space. The store has no kind for it and writes it back unchanged.
struct PreferencesOther {
    std::string strJson;
};

// One value. In the log, the index of its alternative is the number of its kind.
struct PreferencesValue {
    std::variant<PreferencesOther, int, bool, std::string, PreferencesBinary,
                 std::unique_ptr<PreferencesDictionary>>
        content;

    // Null for what is no dictionary.
    PreferencesDictionary* Dictionary() const {
        const auto* ppDictionary = std::get_if<std::unique_ptr<PreferencesDictionary>>(&content);
        return ppDictionary != nullptr ? ppDictionary->get() : nullptr;
    }
};

// Names the file by an absolute path; it is opened for each call and nothing of it is kept between them.
// Threads: any; calls of other objects, threads and processes on the same file wait for each other by a lock
//          on "<path>.lock", so that no change is lost. The file is always replaced as a whole: a reader that
//          cannot open the lock reads without it and still gets one complete state.
// Errors:  false. Only std::bad_alloc is thrown, and the files are then as before.
class PreferencesFile {
public:
    // A file beyond either of these two limits is not ours.
    static constexpr size_t kMaxBytes = 16 << 20;
    static constexpr size_t kMaxDepth = 128;  // nested containers
    static constexpr int kMaxDamaged = 3;     // copies of damaged files that are kept

    // bShared: for all users, so what is made anew is readable by all (0755, 0644); otherwise for its owner
    //          alone (0700, 0600)
    PreferencesFile(const char* pszPath, bool bShared) : m_strPath(pszPath), m_bShared(bShared) {}

    // Reads all entries. A file that is missing, empty or damaged (not a JSON object, or too large or deep)
    // has none. false when there is something that cannot be read.
    bool Read(PreferencesDictionary& entries) const;

    using Change = std::function<void(PreferencesDictionary&)>;
    // Reads all entries, changes them and replaces the file by one with the same permissions; where the path
    // is a link, the file at its end. A damaged file is kept beside it, named "<file>.damaged"; the second
    // and the third are "<file>.damaged.2" and "<file>.damaged.3". For one more, the oldest is removed, the
    // others move up, and the new one becomes the third.
    // false, with the file as it was, also when a damaged file cannot be kept, a key is not
    // UTF-8 or the entries would exceed the limits. false too when the file was replaced but the
    // folder could not be brought to the disk.
    bool Write(const Change& change) const;

private:
    enum class State { kWhole, kDamaged, kUnreadable };

    State Load(PreferencesDictionary& entries) const;

    String m_strPath;
    bool m_bShared;
};

}  // namespace Kestrova
