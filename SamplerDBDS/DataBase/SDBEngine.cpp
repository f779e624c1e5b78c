#include "SamplerDBDS/DataBase/SDBEngine.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <new>
#include <thread>
#include <vector>

#include "SamplerDBDS/BaseClasses/LogErrno.h"
#include "SamplerDBDS/BaseClasses/XFileHold.h"
#include "SamplerDBDS/DataBase/SDBJournal.h"
#include "SamplerDBDS/DataBase/SDBNoteWalk.h"

namespace Kestrova {

namespace {

// Writes the body of a raw note.
struct CRawBody {
    CXFile& file;
    const void* pBytes;
    uint32_t nSize;

    bool operator()() const { return file.Write(pBytes, nSize); }
};

// The note that a record becomes; false when its body is larger than a note can be.
bool DescribeRecord(CSDBInterpreter& interp, SDBNOTE& note) {
    const unsigned long nSize = interp.GetSize();
    if (nSize > UINT32_MAX) return false;
    note.nSize = static_cast<uint32_t>(nSize);
    note.nType = interp.GetType();
    note.idNote = interp.GetID();
    note.idParent = interp.GetParentID();
    return true;
}

constexpr int kLockAttempts = 100;
constexpr std::chrono::milliseconds kBetweenAttempts{1};

// Asks for the exclusive lock of a file just opened. Processes that only look have a shared one for a moment:
// they are let pass. Whoever holds the file for itself is not waited for.
LockAnswer LockPastLookers(CXFile& file, const char* pszPath) {
    LockAnswer answer = LockAnswer::kBusy;
    for (int n = 0; n < kLockAttempts; ++n) {
        answer = file.TryLockFile();
        if (answer != LockAnswer::kBusy || CSDB::IsHeld(pszPath)) break;
        std::this_thread::sleep_for(kBetweenAttempts);
    }
    if (answer == LockAnswer::kHeld) file.ClearFirstError();
    return answer;
}

}  // namespace

// --- Lifecycle ---

CSDB::~CSDB() { Close(true); }  // deliberate (Q74): destroying an open database commits it

bool CSDB::Create(const char* pszPath, uint32_t nFormat) {
    return Begin(pszPath, nFormat, [this] { return CreateFile(); });
}

// What Create and Open share. On failure errno has the cause, also behind the closing; 0 when there is none.
template <class TOperation>
bool CSDB::Begin(const char* pszPath, uint32_t nFormat, TOperation openFile) {
    bool bDone = TakePath(pszPath);
    if (bDone) {
        m_nFormat = nFormat;
        m_lock.Create();
        Lock();
        bDone = openFile();
        Unlock();
    }
    if (bDone) return true;
    Close(false);
    errno = GetFirstError();
    return false;
}

// Closes what is open. False when there is no memory for the path.
bool CSDB::TakePath(const char* pszPath) {
    try {
        std::string strPath = pszPath != nullptr ? pszPath : "";  // a copy: Close may take the caller's text
        Close(false);
        m_strPath = std::move(strPath);
        return true;
    } catch (const std::bad_alloc&) {
        Close(false);
        m_file.ClearFirstError();
        return NoMemory();
    }
}

// Always false, with the cause noted.
bool CSDB::NoMemory() {
    m_file.NoteError(ENOMEM);
    return false;
}

// Opens an existing file before emptying it, so that a file that another holds keeps its bytes.
bool CSDB::CreateFile() {
    m_identity.CreateDBUID(GetPath());
    if (!m_file.Open(m_strPath.c_str(), 1) && (errno != ENOENT || !m_file.Create(m_strPath.c_str())))
        return false;
    if (!ProtectFile() || !m_file.SeekToPos(0) || !m_file.SetEOF()) return false;
    if (!m_file.Write(&m_nFormat, sizeof m_nFormat) || !m_identity.WriteToDB(&m_file) || !m_file.Flush())
        return false;
    m_bWritable = true;
    return m_keys.Rebuild(m_file, m_bDirty);
}

// A file system that has no locks is worked on without one.
bool CSDB::ProtectFile() {
    const LockAnswer answer = LockPastLookers(m_file, GetPath());
    m_bUnprotected = answer == LockAnswer::kNotSupported;
    return m_bUnprotected || answer == LockAnswer::kHeld;
}

bool CSDB::Open(const char* pszPath, uint32_t nFormat, bool bWritable) {
    return Begin(pszPath, nFormat, [&] { return OpenFile(bWritable); });
}

// Sets dirty and writable last, when nothing can fail any more: a file that does not open must not be rolled
// back.
bool CSDB::OpenFile(bool bWritable) {
    uint32_t nFormat = 0;
    bool bDirty = false;
    if (!m_file.Open(m_strPath.c_str(), bWritable) || !m_identity.ReadFromDB(&m_file) ||
        !m_file.Read(&nFormat, sizeof nFormat) || nFormat != m_nFormat || !m_keys.Rebuild(m_file, bDirty))
        return false;
    m_bDirty = bDirty;
    m_bWritable = bWritable;
    return true;
}

bool CSDB::Close(bool bCommit) {
    const bool bDone = !IsOpen() || ProcessFile(bCommit ? kSdbStateDeleted : kSdbStateNew);
    m_file.Close();
    m_keys.Clear();
    ReleaseHolds();
    m_lock.Destroy();
    m_identity = {};
    m_strPath.clear();
    m_bDirty = m_bWritable = m_bChanged = m_bUnprotected = m_bEndMended = false;
    m_posCut = kNoCut;
    return bDone;
}

// nMode: the state bit of the notes to drop; kSdbStateDeleted commits, kSdbStateNew rolls back. Deliberate:
// when no note has a state, the dirty flag stays set.
bool CSDB::ProcessFile(uint8_t nMode) {
    if (!FinishCut()) return false;
    if (!m_bWritable || !m_bDirty) return true;
    Lock();
    m_bChanged = false;
    const Settled settled =
        nMode == kSdbStateDeleted ? CommitNotes(m_file, GetPath()) : RollBackNotes(m_file, GetPath());
    if (settled == Settled::kAll || settled == Settled::kFailed) {
        m_bDirty = false;
        m_bChanged = true;
    }
    Unlock();
    return settled == Settled::kAll || settled == Settled::kNothing;
}

bool CSDB::SameFile(const char* pszPath) {
    CXFile other;
    return SameFile(pszPath, other);
}

bool CSDB::SameFile(const char* pszPath, CXFile& other) {
    if (pszPath == nullptr || !IsOpen()) return false;
    if (strcasecmp(pszPath, GetPath()) == 0) return true;
    FileFacts ours, others;
    const bool bKnown = other.Open(pszPath, 0) && other.GetFacts(others) && m_file.GetFacts(ours);
    other.Close();
    return bKnown && ours.IsSameFile(others);
}

// --- The engine lock ---

void CSDB::Lock() {
    m_lock.Lock();
    m_holder = std::this_thread::get_id();
    ++m_nHolds;
}

void CSDB::Unlock() {
    const bool bTell = m_bChanged && m_pChangeCallback != nullptr;
    if (--m_nHolds == 0) m_holder = std::thread::id();
    m_lock.Unlock();
    if (bTell) m_pChangeCallback(this, m_nChangeUser);
}

// Releases what the calling thread still holds, as after a failed Save: a held mutex must not be destroyed.
// Not analysed: it releases what other functions took, if this thread did.
void CSDB::ReleaseHolds() KV_NO_THREAD_SAFETY_ANALYSIS {
    if (m_holder != std::this_thread::get_id()) return;
    m_holder = std::thread::id();
    for (; m_nHolds > 0; --m_nHolds) m_lock.Unlock();
}

void CSDB::SetChangeCallback(ChangeCallback pCallback, uint32_t nUser) {
    m_pChangeCallback = pCallback;
    m_nChangeUser = nUser;
}

void CSDB::SetChanged() { m_bDirty = m_bChanged = true; }

// --- Reading ---

bool CSDB::ReadNote(CSDBInterpreter* interp) {
    const CXFileHold hold(m_file);
    const SDBNOTE* const note = GetNoteByID(interp->GetID());
    if (note == nullptr || note->nType != interp->GetType()) return false;
    ReadBody(*note, interp);  // deliberate (Q64): its result is not looked at
    return true;
}

bool CSDB::ReadWholeNote(CSDBInterpreter* interp) {
    const CXFileHold hold(m_file);
    const SDBNOTE* const note = GetNoteByID(interp->GetID());
    return note != nullptr && note->nType == interp->GetType() && ReadBody(*note, interp);
}

bool CSDB::ReadBody(const SDBNOTE& note, CSDBInterpreter* interp) {
    interp->SetParentID(note.idParent);
    unsigned long long pos = 0;
    if (!m_file.GetCurrentPos(pos)) logerrno("%s getpos", GetPath());
    pos = note.PosBody();
    if (!m_file.SeekToPos(pos)) {
        logerrno("%s seek(%llu)", GetPath(), pos);
        return false;
    }
    try {
        return interp->Read(&m_file, note.nSize);
    } catch (const std::bad_alloc&) {
        return NoMemory();
    }
}

bool CSDB::ReadNote(uint32_t id, SDBNOTE* out, void** body) {
    *body = nullptr;
    if (!IsOpen()) return false;
    m_file.Lock();
    const SDBNOTE* const note = GetNoteByID(id);
    if (note == nullptr) return false;  // deliberate (Q65): the stream lock stays taken
    *out = *note;
    const bool bRead = ReadRawBody(*note, body);
    m_file.Unlock();
    return bRead;
}

bool CSDB::ReadRawBody(const SDBNOTE& note, void** body) {
    if (note.nSize == 0) return true;
    if (!HasWholeBody(m_file, note)) return false;
    void* const pBytes = std::malloc(note.nSize);
    if (pBytes == nullptr) return NoMemory();
    if (!m_file.SeekToPos(note.PosBody()) || !m_file.Read(pBytes, note.nSize)) {
        std::free(pBytes);
        return false;
    }
    *body = pBytes;
    return true;
}

// --- Writing ---

bool CSDB::AddNewNote(SDBNOTE* note, const void* body) {
    const CRawBody raw{m_file, body, note->nSize};
    return Add(*note, std::cref(raw));
}

bool CSDB::AddNewNote(CSDBInterpreter* interp) {
    SDBNOTE note;
    if (!DescribeRecord(*interp, note) || !Add(note, [&] { return interp->Write(&m_file); })) return false;
    interp->SetID(note.idNote);
    return true;
}

bool CSDB::ChangeNote(SDBNOTE* note, const void* body) {
    const CRawBody raw{m_file, body, note->nSize};
    return Change(*note, std::cref(raw));
}

bool CSDB::ChangeNote(CSDBInterpreter* interp) {
    SDBNOTE note;
    const SDBNOTE* const old = GetNoteByID(interp->GetID());
    return old != nullptr && old->nType == interp->GetType() && DescribeRecord(*interp, note) &&
           Change(note, [&] { return interp->Write(&m_file); });
}

bool CSDB::Add(SDBNOTE& note, const BodyWriter& writeBody) {
    if (!m_bWritable || !PrepareAppend()) return false;
    if (note.idParent != kSdbNoID && GetNoteByID(note.idParent) == nullptr) return false;
    if (!m_keys.TakeNewID(note.idNote) || !WriteNoteAtEnd(note, writeBody)) return false;
    if (!m_keys.Append(note)) {
        CutBack(note.posHeader);
        return NoMemory();
    }
    SetChanged();
    return true;
}

bool CSDB::Change(SDBNOTE& note, const BodyWriter& writeBody) {
    if (!m_bWritable || !PrepareAppend()) return false;
    const SDBNOTE* const old = GetNoteByID(note.idNote);
    if (old == nullptr || !WriteNoteAtEnd(note, writeBody)) return false;
    if (!WriteState(*old, old->nState | kSdbStateDeleted)) {
        CutBack(note.posHeader);
        return false;
    }
    if (!m_keys.Append(note)) {
        WriteState(*old, old->nState);
        CutBack(note.posHeader);
        return NoMemory();
    }
    m_keys.MarkDeleted(old);
    SetChanged();
    return true;
}

// Header and body behind the last note. On failure nothing is left of them. A body that is longer or shorter
// than its header says is a failure too, because no later note would be found.
bool CSDB::WriteNoteAtEnd(SDBNOTE& note, const BodyWriter& writeBody) {
    unsigned long long pos = 0;
    if (!m_file.SeekToEnd(pos)) return false;
    note.nState = kSdbStateNew;
    note.posHeader = pos;
    const NoteHeaderBytes header = EncodeNoteHeader(note);
    try {
        if (m_file.Write(header.data(), header.size()) && writeBody() && m_file.GetCurrentPos(pos) &&
            pos == note.PosEnd())
            return true;
    } catch (const std::bad_alloc&) {
        NoMemory();
    }
    CutBack(note.posHeader);
    return false;
}

bool CSDB::PrepareAppend() { return FinishCut() && MendEnd(); }

// Makes the file end with its last whole note, before anything is appended. Stray bytes behind that note are
// cut off, and so is a last note that is cut short and was never committed. A committed one that is cut short
// stays, and nothing is appended: the next open would take the new note for the rest of the old body.
// Deliberate (Q73): a file that begins with a quick-load table is left as it is and appended to at its very
// end. Its notes are what the table says, which need not be where the notes are, so there is no last one to
// go by.
bool CSDB::MendEnd() {
    if (m_bEndMended || m_keys.HasTable()) return true;
    unsigned long long nSize = 0;
    if (!m_file.GetSize(nSize)) return false;
    const SDBNOTE* const last = m_keys.GetCount() != 0 ? &m_keys[m_keys.GetCount() - 1] : nullptr;
    const bool bCutShort = last != nullptr && last->PosEnd() > nSize;
    if (bCutShort && (last->nState & kSdbStateNew) == 0) return false;
    uint64_t posEnd = FileHeader::kBytes;
    if (last != nullptr) posEnd = bCutShort ? last->posHeader : last->PosEnd();
    if (posEnd != nSize && (!m_file.SeekToPos(posEnd) || !m_file.SetEOF())) return false;
    if (bCutShort) m_keys.MarkDeleted(last);
    m_bEndMended = true;
    return true;
}

// Cuts off what a failed append left. A cut that fails is tried again before anything is appended or settled.
void CSDB::CutBack(uint64_t pos) {
    m_posCut = pos;
    FinishCut();
}

bool CSDB::FinishCut() {
    if (m_posCut == kNoCut) return true;
    if (!m_file.SeekToPos(m_posCut) || !m_file.SetEOF()) return false;
    m_posCut = kNoCut;
    return true;
}

// A wrong quick-load table can list a header beyond the end of the file, which must not grow by being marked.
bool CSDB::WriteState(const SDBNOTE& note, uint8_t nState) {
    unsigned long long nSize = 0;
    return m_file.GetSize(nSize) && note.PosBody() <= nSize && m_file.SeekToPos(note.posHeader) &&
           m_file.Write(&nState, sizeof nState);
}

bool CSDB::MarkDeleted(const SDBNOTE* note) {
    if (!WriteState(*note, note->nState | kSdbStateDeleted)) return false;
    m_keys.MarkDeleted(note);
    SetChanged();
    return true;
}

bool CSDB::DeleteNoteByID(uint32_t id) {
    const SDBNOTE* const note = GetNoteByID(id);
    return m_bWritable && note != nullptr && MarkDeleted(note) && DeleteNoteByParentID(id);
}

bool CSDB::DeleteNoteByParentID(uint32_t idParent) {
    try {
        return m_bWritable && MarkDescendants(idParent);
    } catch (const std::bad_alloc&) {
        return NoMemory();
    }
}

// Depth first without recursion, for parent chains of any depth. A deleted note still leads to its siblings;
// each note is deleted once, so a cycle of parents ends.
bool CSDB::MarkDescendants(uint32_t idParent) {
    bool bAll = true;
    std::vector<const SDBNOTE*> arPath;
    const SDBNOTE* note = GetFirstNote(idParent, kSdbAny);
    while (note != nullptr || !arPath.empty()) {
        if (note == nullptr) {
            note = GetNextNote(arPath.back(), kSdbAny);
            arPath.pop_back();
        } else if (MarkDeleted(note)) {
            arPath.push_back(note);
            note = GetFirstNote(note->idNote, kSdbAny);
        } else {
            bAll = false;
            note = GetNextNote(note, kSdbAny);
        }
    }
    return bAll;
}

bool CSDB::UpdateDBUID(const DBUID* id) {
    if (!IsOpen() || !m_bWritable) return false;
    DBUID identity;
    if (id != nullptr)
        identity = *id;
    else
        identity.CreateDBUID(GetPath());
    m_identity = identity;
    return m_identity.WriteToDB(&m_file) && m_file.Flush();
}

// --- Files that are not open here ---

bool CSDB::IsHeld(const char* pszPath) {
    CXFile file;
    return IsHeld(pszPath, file);
}

bool CSDB::IsHeld(const char* pszPath, CXFile& file) {
    if (!file.Open(pszPath, 0)) return false;
    const LockAnswer answer = file.TryLockFile(FileLock::kShared);
    file.Close();
    return answer == LockAnswer::kBusy || answer == LockAnswer::kFailed;
}

namespace {

// Whether the file has nothing but zeros from `pos` to its end. It takes one read to see that a bank has
// more.
bool IsZeroFrom(CXFile& file, uint64_t pos, uint64_t nSize) {
    std::array<uint8_t, 4096> piece;
    if (!file.SeekToPos(pos)) return false;
    while (pos < nSize) {
        const size_t nBytes = std::min<uint64_t>(nSize - pos, piece.size());
        if (!file.Read(piece.data(), nBytes)) return false;
        if (std::any_of(piece.begin(), piece.begin() + nBytes, [](uint8_t n) { return n != 0; }))
            return false;
        pos += nBytes;
    }
    return true;
}

// A loss of power can leave the length of a file without its bytes, which are zeros then.
bool IsUnfinished(CXFile& file, uint32_t nFormat) {
    unsigned long long nSize = 0;
    if (!file.GetSize(nSize)) return false;
    if (IsZeroFrom(file, 0, nSize)) return true;
    uint32_t nFileFormat = 0;
    if (!file.SeekToPos(0) || !file.Read(&nFileFormat, sizeof nFileFormat) || nFileFormat != nFormat)
        return false;
    if (nSize > FileHeader::kBytes && IsZeroFrom(file, FileHeader::kBytes, nSize)) return true;
    CSDBNoteWalk walk(file);
    SDBNOTE first;
    return walk.Next(first) ? (first.nState & kSdbStateNew) != 0 : !walk.HasFailed();
}

// `file` is closed unless the answer is true. When the lock cannot be asked for, the build may still run.
// Some network file systems give the exclusive lock only to a stream that may write.
bool LockInterrupted(const char* pszPath, uint32_t nFormat, FileLock lock, CXFile& file) {
    const bool bMayWrite = lock == FileLock::kExclusive && file.Open(pszPath, 1);
    if (!bMayWrite && !file.Open(pszPath, 0)) return false;
    const LockAnswer answer =
        lock == FileLock::kExclusive ? LockPastLookers(file, pszPath) : file.TryLockFile(lock);
    if (answer == LockAnswer::kHeld && IsUnfinished(file, nFormat)) return true;
    file.Close();
    return false;
}

}  // namespace

bool CSDB::IsUnfinishedBuild(const char* pszPath, uint32_t nFormat) {
    CXFile file;
    return IsUnfinishedBuild(pszPath, nFormat, file);
}

bool CSDB::IsUnfinishedBuild(const char* pszPath, uint32_t nFormat, CXFile& file) {
    return file.Open(pszPath, 0) && IsUnfinished(file, nFormat);
}

bool CSDB::IsInterruptedBuild(const char* pszPath, uint32_t nFormat) {
    CXFile file;
    return IsInterruptedBuild(pszPath, nFormat, file);
}

bool CSDB::IsInterruptedBuild(const char* pszPath, uint32_t nFormat, CXFile& file) {
    const bool bInterrupted = LockInterrupted(pszPath, nFormat, FileLock::kShared, file);
    file.Close();
    return bInterrupted;
}

bool CSDB::HoldInterruptedBuild(const char* pszPath, uint32_t nFormat, CXFile& file) {
    // Looks first with the shared lock: others would take the exclusive one for a build, so a whole bank must
    // not get it.
    return LockInterrupted(pszPath, nFormat, FileLock::kShared, file) &&
           LockInterrupted(pszPath, nFormat, FileLock::kExclusive, file);
}

}  // namespace Kestrova
