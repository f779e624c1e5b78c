// NearestWord.h - which known word a mistyped one was meant to be.
#pragma once

#include <string>
#include <vector>

namespace Kestrova {

// The known word that takes the fewest changes to get from the given one: a letter put in, left out, or
// replaced, or two neighbours exchanged. The first of equals. Empty when even that takes more than one change
// for every three letters of the longer word.
std::string NearestWord(const std::string& strWord, const std::vector<std::string>& known);

}  // namespace Kestrova
