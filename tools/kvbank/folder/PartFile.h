// PartFile.h - a bank's file made beside the place it is for and then put there, so that it appears whole or
// not at all and replaces an older one only when it is whole.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "shared/System/kvTemporaryFile.h"
#include "tools/kvbank/folder/PrivateFolder.h"

namespace Kestrova {

// The file has no name while it is made, where the system knows such files, and is opened by a path below
// /proc: nothing is left of it when its process is killed. For the moment of its move it is named
// .kvbank-part-NNNNNN, and locked under that name (kvTemporaryFile.h).
// Elsewhere it is made in a private folder of its own. It cannot be locked itself, because a database locks
// the file it is made in, and of one process, too, only one open file has the lock.
class PartFile {
public:
    // Removes what killed processes left under such names beside the place, then makes the file or folder. On
    // failure the path is empty and errno tells why.
    explicit PartFile(std::filesystem::path place);
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    // Where the file is to be written: an empty file, or none that is to be made. It goes with the object,
    // unless it was put in its place.
    const std::filesystem::path& Path() const { return m_path; }

    // Moves the file to its place and waits until the disk has the change. REQUIRES: its bytes are on the
    // disk and it is closed. False with errno set; what was at the place then stays.
    bool Publish();
    // errno when the file is in its place and the disk could not be waited for: it may then not outlast a
    // loss of power. Else 0.
    int GetSyncError() const { return m_nSyncError; }

    // The part files in a folder, held or not (IsTemporaryFileHeld), also those of older versions, which were
    // named by a process number.
    static std::vector<std::string> FindIn(const std::filesystem::path& dir);

private:
    void MakeInFolder();

    std::filesystem::path m_place;
    std::filesystem::path m_path;
    TemporaryFile m_file;
    std::unique_ptr<PrivateFolder> m_pFolder;  // null when the file has no name
    int m_nSyncError = 0;
};

}  // namespace Kestrova
