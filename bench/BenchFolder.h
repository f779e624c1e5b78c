// BenchFolder.h - a folder of a benchmark's own in the temporary folder (TMPDIR), gone with the object.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Kestrova::Bench {

using Bytes = std::vector<uint8_t>;

class BenchFolder {
public:
    BenchFolder();
    ~BenchFolder();
    BenchFolder(const BenchFolder&) = delete;
    BenchFolder& operator=(const BenchFolder&) = delete;

    std::string Path() const { return m_path.string(); }
    std::string File(const std::string& strName) const { return (m_path / strName).string(); }

private:
    std::filesystem::path m_path;
};

// The whole file; empty when it cannot be read.
Bytes ReadWhole(const std::string& strPath);

// Writes the file with plain stdio and waits until the disk has it: the least that making such a file can
// take.
bool WriteDurably(const std::string& strPath, const Bytes& bytes);

}  // namespace Kestrova::Bench
