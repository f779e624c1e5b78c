// SDBEngine.h - CSDB: one sample database file, a journaled sequence of typed notes linked by parent ids.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "SamplerDBDS/BaseClasses/DBUID.h"
#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/BaseClasses/XLock.h"
#include "SamplerDBDS/DataBase/SDBFormat.h"
#include "SamplerDBDS/DataBase/SDBKeyTable.h"
#include "SamplerDBDS/DataBase/SDBRecord.h"

namespace Kestrova {

// One database, open or closed. Changes are journaled in the states of the notes: a new note and a new
// version are appended, a deleted note is marked, until a commit or a roll-back settles them.
//
// Threads: one writer at a time. Readers may share an open database: lookups touch no file, and ReadNote
//          holds the file's stream lock over its seek and read. The engine lock (Lock, Unlock) serialises
//          Create, Open, commits, roll-backs and Save. No other thread may use a database while it is closed.
// Owner:   owns file, lock and key table. A SDBNOTE pointer from a lookup is good until the database is
//          closed, also when its note is deleted meanwhile.
// Errors:  false or null, nothing throws; GetFirstError tells the cause. A value that does not fit a 32-bit
//          field of the file fails.
// Kinds:   a format code is a 32-bit tag, kSdbFormatPlain or kSdbFormatEnriched (SDBFormat.h).
// Types:   a type above 254 (kSdbAny) asks for every type.
class CSDB {
public:
    CSDB() = default;
    ~CSDB();  // commits: Close(true)
    CSDB(const CSDB&) = delete;
    CSDB& operator=(const CSDB&) = delete;

    // --- Lifecycle. Create and Open first roll back and close what is open; on failure the object is closed.

    // Makes a new, empty, writable database with a new identity; an existing file is emptied. The file is
    // held (flock) until Close. When another open file holds it, Create fails with EWOULDBLOCK and the file
    // keeps its bytes; those that only look (IsHeld) are let pass. On a file system that has no such locks
    // Create works without one; see IsUnprotected.
    bool Create(const char* pszPath, uint32_t nFormat);
    // Never asks for a lock. False also for a file that is too short, of another format, or whose quick-load
    // table is cut short; GetFirstError is 0 then, and not 0 when the file could not be opened or read.
    bool Open(const char* pszPath, uint32_t nFormat, bool bWritable);
    // Commits or rolls back a dirty writable database, then closes it; every note pointer ends here. The
    // result is that of the commit or roll-back; the object is closed in any case, and whatever the calling
    // thread still held of the engine lock is released. The closing itself comes behind the last sync and does
    // not change the result: GetFirstError tells whether it failed.
    bool Close(bool bCommit);
    // Null, empty, or a path that SameFile knows: commits and reopens. Another path: copies the live notes,
    // as committed ones, to a new database there, rolls this one back and goes on with the new one, writable.
    // Requires an open, writable file. When settling the old file fails the result is false, and the database
    // is open all the same if it can be.
    // Deliberate: when a note cannot be copied, the part already written stays in the new file, committed,
    // and this database stays open on the old file with its engine lock taken; Unlock or Close releases it.
    bool Save(const char* pszPath);

    // True when the path is the open one, letter case ignored, or leads to the same file (links, doubled
    // slashes). False for null and for a closed database.
    bool SameFile(const char* pszPath);
    // The same, asked with a file of the caller's, whose GetFirstError then tells why it could not be opened.
    bool SameFile(const char* pszPath, CXFile& other);

    // The engine lock, recursive. REQUIRES: an open database (the lock asserts "m_bInited" otherwise).
    void Lock() KV_ACQUIRE(m_lock);
    // Releases it; then, when the changed flag is set and there is a change callback, calls that.
    void Unlock() KV_RELEASE(m_lock);
    CXLock* GetLock() KV_RETURN_CAPABILITY(m_lock) {
        return &m_lock;
    }  // for a CXAutoLock, which makes no callback

    // Called by Unlock on the unlocking thread, after the release. Null: none. Stays over Close and Open.
    using ChangeCallback = void (*)(CSDB* pDatabase, uint32_t nUser);
    void SetChangeCallback(ChangeCallback pCallback, uint32_t nUser);

    // --- Lookups, in file order. Live notes only; null when there is none. None touches the file.

    const SDBNOTE* GetNoteByID(uint32_t id) const { return m_keys.FindLive(id); }
    // The first note of the type behind `after`; null: from the first note on.
    const SDBNOTE* GetNoteByType(const SDBNOTE* after, uint32_t nType) const {
        return m_keys.FindAfter(after, nType);
    }
    const SDBNOTE* GetFirstNote(uint32_t idParent, uint32_t nType) const {
        return m_keys.FindChild(idParent, nType);
    }
    // The next note under the parent of `note`, which may be of another type or deleted meanwhile.
    const SDBNOTE* GetNextNote(const SDBNOTE* note, uint32_t nType) const {
        return m_keys.FindSibling(note, nType);
    }

    // --- Reading.

    // Decodes the note with the record's id into the record, and sets the record's parent id. False when
    // there is no such live note or its type is not the record's. Deliberate: true once the note was found,
    // whatever the seek or the decoding gave (a failed seek is logged); callers judge the record. Those that
    // must know call ReadWholeNote.
    bool ReadNote(CSDBInterpreter* interp);
    // The same, and true only when the body was decoded whole.
    bool ReadWholeNote(CSDBInterpreter* interp);
    // The note's header fields, and its body in a block from malloc, null for size 0; the caller frees it. A
    // body that the file does not hold whole fails before memory is taken for it; *body is null on failure.
    // Deliberate: when there is no such live note, the file's stream lock stays taken by the calling thread
    // (release it with GetFile().Unlock()).
    bool ReadNote(uint32_t id, SDBNOTE* out, void** body);
    // With a null cursor: the bytes of the branch of `note` (it and its live descendants, each once, parents
    // first) as a branch buffer (BranchHeader in SDBFormat.h). Otherwise writes the branch at *cursor, moves
    // that behind it, and returns the number of notes. A body that cannot be read whole is zeros.
    // REQUIRES: *cursor has room for the bytes that the first form tells. 0 when memory runs out.
    unsigned long GetNotesBranch(const SDBNOTE* note, uint8_t** cursor);

    // --- Writing; all fail on a database that is not writable.
    //
    // A file that an interrupted writer left may end with something that is no whole note. The first append
    // cuts off stray bytes there, and a last note that is cut short and was never committed (no lookup finds
    // it any more). When the last note is cut short and committed, every append fails and the file stays as
    // it is. A file that was opened and begins with a quick-load table is appended to at its very end. A later
    // open lists what the table has and misses the new note: to extend such a file for good delete its
    // quick-load note and Save, which commits and reopens it.

    // Appends a note; its parent must be live or kSdbNoID. The note's state, id and position are set. On
    // failure the file ends where it ended before.
    bool AddNewNote(SDBNOTE* note, const void* body);
    bool AddNewNote(CSDBInterpreter* interp);  // sets the record's id
    // Appends a new version of the live note with the same id, then marks the old one deleted. The parent id
    // is taken as it is. On failure the file ends where it ended before and the old version stays.
    bool ChangeNote(CSDBInterpreter* interp);  // the type must be the old one's
    bool ChangeNote(SDBNOTE* note, const void* body);
    // Marks the note and all its descendants deleted. False when it is not live or a mark could not be
    // written; what lies below a note that could not be marked then stays.
    bool DeleteNoteByID(uint32_t id);
    // The same for the descendants alone; true when there are none. False also when memory runs out.
    bool DeleteNoteByParentID(uint32_t idParent);
    // Adds `count` notes of a branch buffer under idParent with new ids, relations kept; cursor moves behind
    // each note and count falls by one before it is added. idRoot: the first note's new id, idParent for no
    // notes, kSdbNoID when not even the first was added. Stops at the first failure; notes already added
    // stay.
    // REQUIRES: a well-formed buffer of `count` notes at cursor; no length is known to check sizes against.
    bool InsertNotesBranch(uint32_t idParent, unsigned long& count, const uint8_t*& cursor, uint32_t& idRoot);
    // Null: a new identity, made from the path.
    bool UpdateDBUID(const DBUID* id);
    // Adds, as first note, room for a quick-load table of `count` further notes. Fails when there is a note.
    bool ReserveQuickLoad(uint32_t count);
    // Fills the reserved table; fails unless it has room for exactly the notes there are, deleted ones
    // counted.
    bool CreateQuickLoad();
    // A new id, which is not handed out again; AddNewNote takes its own.
    bool GetNewID(uint32_t& id) { return m_keys.TakeNewID(id); }

    // --- State.

    // The cause of a failure: errno of the first file operation that failed since the last Create, Open or
    // ClearFirstError, ENOMEM when memory ran out, 0 when nothing did. It stays over Close, so that it tells
    // why a commit inside Close failed. An operation that answers false with 0 met no failing operation: what
    // it was asked for is not there, not allowed, or the file is damaged. Any thread.
    int GetFirstError() const { return m_file.GetFirstError(); }
    void ClearFirstError() { m_file.ClearFirstError(); }
    // True when Create could not hold the file because its file system has no such locks: nothing keeps a
    // second process from building the same file.
    bool IsUnprotected() const { return m_bUnprotected; }

    bool IsOpen() const { return m_file.IsOpen(); }
    bool IsWritable() const { return m_bWritable; }
    bool IsDirty() const { return m_bDirty; }      // the file holds notes with a state other than 0
    bool IsChanged() const { return m_bChanged; }  // since the last commit or roll-back began
    const DBUID& GetIdentity() const { return m_identity; }
    uint32_t GetFormat() const { return m_nFormat; }
    const char* GetPath() const { return m_strPath.c_str(); }  // as given to Create or Open
    uint32_t GetNextID() const { return m_keys.GetNextID(); }
    size_t GetNoteCount() const { return m_keys.GetCount(); }  // deleted ones counted
    CXFile& GetFile() { return m_file; }

    // --- Files that are not open here.

    // True when another open file, of any process, holds the file for itself (an exclusive flock), as a
    // database does that it created; also when asking fails for a reason other than missing support. False
    // for a file that cannot be opened, and on a file system without such locks. Processes that ask this at
    // the same time do not disturb each other.
    static bool IsHeld(const char* pszPath);
    // The same, asked with a file of the caller's, whose GetFirstError then tells why it could not be opened.
    static bool IsHeld(const char* pszPath, CXFile& file);
    // True when the file is what a build leaves before its commit: empty, or of the format and without a
    // whole note or with a first note that was never committed. A loss of power may leave zeros in place of
    // the whole file, or of all behind the header; that counts too. Whether the build still runs is not asked.
    static bool IsUnfinishedBuild(const char* pszPath, uint32_t nFormat);
    // The same, asked with a file of the caller's, whose GetFirstError then tells why it could not be read.
    static bool IsUnfinishedBuild(const char* pszPath, uint32_t nFormat, CXFile& file);
    // The same, and no one holds the file: its build was interrupted. Always false where the file system has
    // no locks: there nobody can tell an interrupted build from one that still runs, so the file is left
    // alone.
    static bool IsInterruptedBuild(const char* pszPath, uint32_t nFormat);
    // The same, asked with a file of the caller's, whose GetFirstError then tells why the answer is no, if the
    // system had a reason.
    static bool IsInterruptedBuild(const char* pszPath, uint32_t nFormat, CXFile& file);
    // The same; `file` is then open on it and holds it, so that it can be deleted safely. Otherwise `file` is
    // closed, and its GetFirstError tells the system's reason, if there is one.
    static bool HoldInterruptedBuild(const char* pszPath, uint32_t nFormat, CXFile& file);

private:
    static constexpr uint64_t kNoCut = UINT64_MAX;

    using BodyWriter = std::function<bool()>;  // writes a note's body at the file's position

    template <class TOperation>
    bool Begin(const char* pszPath, uint32_t nFormat, TOperation openFile);
    bool TakePath(const char* pszPath);
    bool NoMemory();
    bool CreateFile();
    bool ProtectFile();
    bool OpenFile(bool bWritable);
    bool ProcessFile(uint8_t nMode);
    void ReleaseHolds();
    bool ReadBody(const SDBNOTE& note, CSDBInterpreter* interp);
    bool ReadRawBody(const SDBNOTE& note, void** body);
    bool Add(SDBNOTE& note, const BodyWriter& writeBody);
    bool Change(SDBNOTE& note, const BodyWriter& writeBody);
    bool PrepareAppend();
    bool MendEnd();
    bool WriteNoteAtEnd(SDBNOTE& note, const BodyWriter& writeBody);
    bool WriteState(const SDBNOTE& note, uint8_t nState);
    bool MarkDeleted(const SDBNOTE* note);
    bool MarkDescendants(uint32_t idParent);
    void CutBack(uint64_t pos);
    bool FinishCut();
    void SetChanged();

    // SDBSave.cpp
    bool CommitAndReopen();
    bool Reopen(const std::string& strPath, bool bSettled);
    bool SaveAs(const char* pszPath);
    bool CopyLiveNotesTo(CXFile& file);

    // SDBBranch.cpp
    bool InsertNotes(uint32_t idParent, unsigned long& count, const uint8_t*& cursor, uint32_t& idRoot);

    // SDBQuickLoad.cpp
    bool WriteQuickLoadTable();

    CXFile m_file;
    CXLock m_lock;
    std::atomic<std::thread::id> m_holder{};  // the thread that took m_lock through Lock
    int m_nHolds KV_GUARDED_BY(m_lock) = 0;   // how often

    // Below: written by the writer alone.
    CSDBKeyTable m_keys;
    DBUID m_identity;
    uint32_t m_nFormat = 0;
    std::string m_strPath;
    bool m_bDirty = false;
    bool m_bWritable = false;
    bool m_bChanged = false;
    bool m_bUnprotected = false;
    bool m_bEndMended = false;   // the file ends with its last whole note
    uint64_t m_posCut = kNoCut;  // where the file is still to be cut back

    ChangeCallback m_pChangeCallback = nullptr;
    uint32_t m_nChangeUser = 0;
};

}  // namespace Kestrova
