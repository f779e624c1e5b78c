// kvPreferencesFile.h - the entries of one preferences domain and the file that keeps them.
// The file is JSON in UTF-8: an integer, a boolean, a text and a dictionary are what JSON has for them, a
// binary block is {"$binary": ["<hexadecimal digits>"]}. A text that is not UTF-8 is {"$text": [...]} in the
// same way, so that its bytes come back as they went. The list tells both from a dictionary with such a key:
// the store has no lists of its own.
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

// A value somebody else put into the file (a fraction, a list, null, an integer of more than 32 bits), as
// JSON without white space. It is of none of the store's kinds and is written back as it is.
struct PreferencesOther {
    std::string strJson;
};

// One value. The index of what it holds numbers the kinds in the log.
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
//          on "<path>.lock", so that changes made at once are all kept. The file is replaced whole: a reader
//          that cannot open the lock reads without and still sees one state.
// Errors:  false. Only std::bad_alloc is thrown, the files being as before.
class PreferencesFile {
public:
    // More of either is no file of ours.
    static constexpr size_t kMaxBytes = 16 << 20;
    static constexpr size_t kMaxDepth = 128;  // containers in each other
    static constexpr int kMaxDamaged = 3;     // copies of damaged files that are kept

    // bShared: for all users, so what is made anew is readable by all (0755, 0644); otherwise for its owner
    //          alone (0700, 0600)
    PreferencesFile(const char* pszPath, bool bShared) : m_strPath(pszPath), m_bShared(bShared) {}

    // Reads all entries. A file that is missing, empty or damaged (not a JSON object, or too large or deep)
    // has none. false when there is something that cannot be read.
    bool Read(PreferencesDictionary& entries) const;

    using Change = std::function<void(PreferencesDictionary&)>;
    // Reads all entries, changes them and replaces the file by one with the same permissions; where the path
    // is a link, the file at its end. A damaged file stays beside it, named "<file>.damaged"; the second and
    // the third are "<file>.damaged.2" and "<file>.damaged.3". The next one becomes the third: the oldest
    // goes, and the others move up.
    // false, with the file as it was, also when a damaged file cannot be kept so, a key is not UTF-8 or the
    // entries would outgrow the limits; false too when the folder could not be brought to the disk after all.
    bool Write(const Change& change) const;

private:
    enum class State { kWhole, kDamaged, kUnreadable };

    State Load(PreferencesDictionary& entries) const;

    String m_strPath;
    bool m_bShared;
};

}  // namespace Kestrova
