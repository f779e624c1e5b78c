// PartFile.h - a file made beside the place it is for and then put there, so that it appears whole or not at
// all and replaces an older one only when it is whole.
#pragma once

#include <filesystem>

namespace Kestrova {

class PartFile {
public:
    // Makes the empty file .kvbank-part-N beside the place, N telling this process. On failure the path is
    // empty and errno tells why.
    explicit PartFile(std::filesystem::path place);
    ~PartFile();  // removes it, unless it was put in its place
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

    // Moves the file to its place and waits until the disk has the change. REQUIRES: its bytes are on the
    // disk and it is closed. False with errno set; what was at the place then stays.
    bool Publish();
    // errno when the file is in its place and the disk could not be waited for: it may then not outlast a
    // loss of power. Else 0.
    int GetSyncError() const { return m_nSyncError; }

private:
    std::filesystem::path m_place;
    std::filesystem::path m_path;
    int m_nSyncError = 0;
};

}  // namespace Kestrova
