// SDBJournal.h - settles the changes of a database file. The states of its notes say which are new and which
// are deleted; a commit or a roll-back makes the file hold committed notes alone.
#pragma once

namespace Kestrova {

class CXFile;

// How the settling ended.
enum class Settled {
    kNothing,     // no note had a state; the file is as it was
    kUnreadable,  // a header could not be read before a note with a state was found; the same
    kAll,         // every note that stays is committed, and on the disk
    kFailed       // a read, write or sync failed, or a note that stays is cut short: some notes are settled
};

// A commit drops the notes marked deleted, a roll-back the new ones. Both settle the notes that stay, move
// them to the front of the file and cut it behind them, in place, through a second stream on the path. Where
// no note is dropped none moves, and only states are written, after the bodies have reached the disk. Where
// notes move, a loss of power in between can lose some; no bank build moves any.
//   file:    open for writing on the database at the path; its position changes
//   pszPath: leads to the file that is open; another one there fails
//
// Threads: one, which alone uses the file.
// Errors:  the file's GetFirstError has the cause, that of the second stream too. It also has a failure to
//          close that stream, which is behind the last sync and does not change the result.
Settled CommitNotes(CXFile& file, const char* pszPath);
Settled RollBackNotes(CXFile& file, const char* pszPath);

}  // namespace Kestrova
