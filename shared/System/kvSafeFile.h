// kvSafeFile.h - small files: read as a whole, and replaced so that after a crash or on a full disk either
// the old or the new one is there.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace Kestrova {

// An open file, closed at the end of the scope; negative when opening failed.
class FileDescriptor {
public:
    explicit FileDescriptor(int nFile) : m_nFile(nFile) {}
    ~FileDescriptor();
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    operator int() const { return m_nFile; }

private:
    const int m_nFile;
};

// Writes all of it, in as many pieces as the system takes. false with errno set when it cannot.
bool WriteAll(int nFile, std::string_view content);

// Reads to the end of the file, but stops soon after nMaxBytes: a text longer than that may not be the whole
// file. false when a read fails. Throws std::bad_alloc.
bool ReadToEnd(int nFile, size_t nMaxBytes, std::string& strText);

// The handle of a folder, to lock or sync it; -1 with errno set when it is none or cannot be opened.
int OpenFolder(const char* pszFolder);

// Waits until the disk has the names in an open folder. False with errno set;
// true on a file system that cannot do this.
bool SyncFolder(int nFolder);
// The same for the folder that holds a file, by the file's unified path.
bool SyncFolderOf(std::string_view path);

// Puts a new file in the place of one, or of none, at an absolute path free of links. It has the permissions
// and, where that is allowed, the owner of the old one; nMode when there was none.
// The new file is a TemporaryFile named "<path>.new-" and six digits. Those that killed processes left are
// removed first. false, with the old file whole, nothing beside it and errno set, when anything fails; false
// too when the new file is in its place but the folder could not be brought to the disk. Throws
// std::bad_alloc, with the old file whole.
bool ReplaceFile(const char* pszPath, std::string_view content, mode_t nMode);

// Writes the new content into the old file, where no other can be put in its place: errno EACCES (the folder
// may not be written to), EBUSY or EXDEV (the file is mounted there by itself) of ReplaceFile.
// What makes the file longer is written first and brought to the disk, so that a full disk leaves the old
// text. Then the old bytes are written over and brought to the disk, and only then a longer old file is cut.
// While the old bytes are written over, a loss of power, a kill or a failing disk leaves a mixture: new text
// at the beginning, old text behind it, and nothing tells where the one ends.
// false with errno set.
bool OverwriteFile(const char* pszPath, std::string_view content);

}  // namespace Kestrova
