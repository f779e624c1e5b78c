// kvTemporaryFile.h - a file that is made whole before it takes its place, and what is left of such files
// when their process is killed.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "shared/System/kvSafeFile.h"

namespace Kestrova {

// A file in the making, in the folder of the place that it is for.
// Where the system supports it (O_TMPFILE, and /proc to name the file later), the file has no name
// while it is made, and disappears when its process is killed. Elsewhere, and between the naming and
// the move to its place, its name is a stem and six digits. Under such a name it is locked (flock), and
// the lock ends with the process. So a file with such a name that no process has locked was left by a
// process that was killed, and may be removed.
// Owner:   owns the file until it is in its place.
// Threads: one thread at a time.
// Errors:  false with errno set. Throws std::bad_alloc; the file is then removed with the object.
class TemporaryFile {
public:
    // strStem: the folder's path and the beginning of the name, such as "/a/settings.ini.new-"
    explicit TemporaryFile(std::string strStem) : m_strStem(std::move(strStem)) {}
    ~TemporaryFile();  // removes the file unless it is in its place; errno stays
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    // Each makes the empty file, open for reading and writing, with these permissions less the
    // umask. The first fails also where the system does not support files without a name, or
    // has no /proc; the second works there too.
    bool MakeUnnamed(mode_t nMode);
    bool MakeNamed(mode_t nMode);

    // The open file, closed with the object. REQUIRES: it was made.
    int Handle() const { return *m_file; }
    // The path by which the process can open its file without a name once more.
    std::string OpenPath() const;

    // Moves the file to its place, in one step and over what is there; on failure that stays.
    // REQUIRES: the place is on the stem's file system, and nobody else has the file locked.
    bool MoveTo(const char* pszPlace);
    // The same for a file without a name, but never over what is there: errno is then EEXIST.
    bool MoveToFree(const char* pszPlace) const;

private:
    std::string NameOf(int n) const;
    bool TakeName();

    std::string m_strStem;
    std::optional<FileDescriptor> m_file;
    std::string m_strName;  // empty while the file has none, and when it is in its place
};

// Gives a file a place on its file system in one step, and never over what is there. False with errno set,
// EEXIST when there is something.
bool RenameToFree(const char* pszFile, const char* pszPlace);

// Whether a name's end, behind the stem, is what this class and mkostemp put there: six letters or digits.
bool IsTemporaryEnd(std::string_view end);

// The paths of the files whose names are the stem and an end that passes the test, held or not. Sets
// *pnError, unless that is null, to 0, or to errno when not all could be looked at. Throws std::bad_alloc.
std::vector<std::string> FindTemporaryFiles(const std::string& strStem,
                                            bool (*pfnIsEnd)(std::string_view) = IsTemporaryEnd,
                                            int* pnError = nullptr);

// Whether the process that makes the file is still at work. Where the file system has no locks, a file
// changed less than an hour ago counts as held, because none of our files takes nearly as long. A file that
// cannot be opened counts as not held.
bool IsTemporaryFileHeld(const std::string& strPath);

// Removes a file that is not held. 0, also when it has gone meanwhile; EBUSY when it is held; else errno.
int RemoveTemporaryFile(const std::string& strPath);

}  // namespace Kestrova
