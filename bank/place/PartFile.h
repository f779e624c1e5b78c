// PartFile.h - a bank's file made beside the place it is for and then put there, so that it appears whole or
// not at all and replaces an older one only when it is whole.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bank/place/PrivateFolder.h"
#include "shared/System/kvTemporaryFile.h"

namespace Kestrova {

// While it is made, the file has no name, on systems that allow this, and is opened by a path below /proc:
// nothing is left of it when its process is killed. Just before it is moved to its place it gets the name
// .kvbank-part-NNNNNN, under which it is locked (kvTemporaryFile.h).
// On other systems it is made in a private folder of its own. The file itself cannot be locked there: a
// database locks its file, and only one open file can have the lock, even within one process.
class PartFile {
public:
    // Removes what killed processes left under such names beside the place, then makes the file or folder. On
    // failure the path is empty and errno tells why.
    explicit PartFile(std::filesystem::path place);
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    // Where the file is to be written: an empty file, or one that is still to be made. It is removed with the
    // object, unless it was moved to its place.
    const std::filesystem::path& Path() const { return m_path; }

    // Moves the file to its place and waits until the disk has the change. REQUIRES: its bytes are on the
    // disk and it is closed. False with errno set; what was at the place then stays.
    bool Publish();
    // The same, but never over what is there: errno is then EEXIST.
    bool PublishInFreePlace();
    // errno when the file is in its place but could not be brought to the disk: it may
    // then be lost in a power failure. Else 0.
    int GetSyncError() const { return m_nSyncError; }

    // The part files in a folder, held or not (IsTemporaryFileHeld), also those of older versions, which were
    // named by a process number. pnError as for FindTemporaryFiles.
    static std::vector<std::string> FindIn(const std::filesystem::path& dir, int* pnError = nullptr);

private:
    void MakeInFolder();
    bool Settle(bool bMoved);

    std::filesystem::path m_place;
    std::filesystem::path m_path;
    TemporaryFile m_file;
    std::unique_ptr<PrivateFolder> m_pFolder;  // null when the file has no name
    int m_nSyncError = 0;
};

}  // namespace Kestrova
