// kvFolderNames.h - what is in a folder, by name.
#pragma once

#include <string>
#include <vector>

namespace Kestrova {

// Sets the names of a folder's entries, in byte order, without "." and "..". 0; or errno when the folder
// cannot be read to its end, with no names then. Throws std::bad_alloc, unlike the iterators of the standard
// library, which end the process when memory runs out within them.
int ReadFolderNames(const char* pszFolder, std::vector<std::string>& names);

}  // namespace Kestrova
