// PrivateFolder.h - a folder of one build inside the folder it builds for: banks are made in it and then
// moved out, so that each appears whole or not at all.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Kestrova {

// An open file descriptor with an exclusive advisory lock, or none.
class HeldFile {
public:
    HeldFile() = default;
    // Opens and locks a file or folder; bWait says whether to wait for another holder. IsHeld tells the
    // outcome.
    HeldFile(const std::filesystem::path& path, bool bWait);
    ~HeldFile();
    HeldFile(HeldFile&& other) noexcept;
    HeldFile& operator=(HeldFile&& other) noexcept;

    bool IsHeld() const { return m_nFile >= 0; }

private:
    int m_nFile = -1;
};

class PrivateFolder {
public:
    // Makes the folder inside dir, which must exist. On failure the path is empty and errno tells why.
    explicit PrivateFolder(const std::filesystem::path& dir);
    ~PrivateFolder();  // with all that is still in it
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

    // Moves a file of the folder to its place in dir, replacing one of that name, and waits until the disk
    // has the change. False with errno set; the old file then stays.
    bool Publish(const std::string& strName);

    // The private folders in dir that a process holds, and those left by builds that died.
    struct Found {
        std::filesystem::path path;
        bool bHeld = false;
    };
    static std::vector<Found> FindIn(const std::filesystem::path& dir);

    // Removes those in dir that no process holds any more; how many there were.
    static unsigned RemoveAbandoned(const std::filesystem::path& dir);

private:
    std::filesystem::path m_dir;
    std::filesystem::path m_path;
    HeldFile m_held;
};

}  // namespace Kestrova
