// FolderNames.h - what is in a folder.
#pragma once

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace Kestrova::Test {

// The names of all entries, in byte order.
inline std::vector<std::string> NamesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace Kestrova::Test
