// SafeNames.h - names of files made of names from a bank, which may hold any bytes.
#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>

namespace Kestrova {

// A name that every usual file system takes, and that cannot lead out of its folder: valid UTF-8 without
// control characters and without / \ : * ? " < > | = $, which file systems or SFZ players read as something
// else; not reserved ("CON", "nul.txt"); no dot at the front; no dot or space at the end; at most 100 bytes,
// cut between characters. What must not be there becomes "_", and so does an empty name.
std::string SafeName(const std::string& strName);

// Gives each file of a folder a name of its own. The same names in the same order give the same answers.
class SafeNames {
public:
    // The safe name and the suffix (".wav"); for a name that was given before, the name, "-2", "-3" ... and
    // the suffix. Letter case makes no difference between two names, nor do letters other than ASCII's,
    // whose case only the file system knows.
    std::string Take(const std::string& strName, const std::string& strSuffix);

private:
    std::unordered_set<std::string> m_taken;                 // folded
    std::unordered_map<std::string, uint64_t> m_lastNumber;  // by folded name
};

}  // namespace Kestrova
