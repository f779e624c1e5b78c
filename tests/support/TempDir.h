// TempDir.h - a folder of a test's own, gone with the object.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Kestrova::Test {

namespace fs = std::filesystem;

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& Path() const { return m_path; }
    // The full path of a name in the folder, as the code under test takes it.
    std::string File(const std::string& strName) const { return (m_path / strName).string(); }

private:
    std::filesystem::path m_path;
};

using Bytes = std::vector<uint8_t>;

// Whole files; a file that cannot be read or written ends the test program with an exception.
Bytes ReadFile(const std::filesystem::path& path);
void WriteFile(const std::filesystem::path& path, const Bytes& bytes);
void WriteFile(const std::filesystem::path& path, const std::string& strText);

}  // namespace Kestrova::Test
