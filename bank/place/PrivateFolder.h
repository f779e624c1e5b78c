// PrivateFolder.h - a folder of one build inside the folder it builds for: banks are made in it and then
// moved out, so that each appears whole or not at all.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bank/place/FolderLock.h"

namespace Kestrova {

// A file or folder of a build that could not be removed.
struct Leftover {
    std::filesystem::path path;
    int nError = 0;  // errno
};

// A bank's file in a private folder that a process holds is the mark that the bank is being built. The mark
// ends with the process, however the process ends, because its lock ends then.
// Locks: a turn at dir comes first, then the private folder's own lock. Only the process
//        that makes the folder waits for that lock during a turn. Files are made and removed
//        here only within a turn, or by the holder.
// On a file system without locks, other processes cannot see a mark:
// they can work, but do not notice each other.
class PrivateFolder {
public:
    // Makes and locks the folder inside dir. On failure the path is empty and errno tells why.
    // REQUIRES: the turn is one, and at dir: until it is locked a new folder looks abandoned.
    PrivateFolder(const std::filesystem::path& dir, const FolderLock& turn);
    ~PrivateFolder();  // with all that is still in it; what cannot be removed stays
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

    // Makes an empty file of the bank's name, the mark of a bank whose turn to be built comes later. False
    // with errno set. REQUIRES: the turn is one, and at dir.
    bool Mark(const std::string& strName, const FolderLock& turn);

    // Moves a file of the folder to its place in dir, replacing one of that name; FolderLock::Sync then
    // brings that to the disk. False with errno set; the old file then stays.
    // REQUIRES: the turn is one, and at dir.
    bool Publish(const std::string& strName, const FolderLock& turn);

    // Removes a file of the folder, if it is there: its bank is no longer being built. False with errno set
    // when it is still there.
    bool Discard(const std::string& strName);

    // Removes the folder with its banks before the object is destroyed. Returns what could not be removed.
    // The object cannot be used afterwards.
    std::vector<Leftover> Remove();

    // The private folders in dir, and whether a process holds each. Those that nobody holds were left by
    // builds that died. Sets *pnError, unless that is null, to 0, or to errno when dir cannot be read.
    struct Found {
        std::filesystem::path path;
        Hold hold = Hold::Free;
    };
    static std::vector<Found> FindIn(const std::filesystem::path& dir, int* pnError = nullptr);

    // Removes the private folders in dir that no process holds any more. Those for which the file system
    // cannot tell are left alone. REQUIRES: the turn is one, and at dir.
    struct Cleaned {
        unsigned nFolders = 0;  // removed
        std::vector<Leftover> left;
    };
    static Cleaned RemoveAbandoned(const std::filesystem::path& dir, const FolderLock& turn);

private:
    std::filesystem::path m_dir;
    std::filesystem::path m_path;
    std::unique_ptr<FolderLock> m_pHeld;  // on m_path; null when there is none
};

}  // namespace Kestrova
