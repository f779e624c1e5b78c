// Continues CSDB: commit, roll back, and Save.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "SamplerDBDS/DataBase/SDBNoteWalk.h"

namespace Kestrova {

namespace {

// Moves the notes that stay to the front of the file, in place, through a second stream; reading stays ahead
// of writing. As long as nothing was dropped a note lies where it belongs and only its state is written.
class CSDBCompactor {
public:
    explicit CSDBCompactor(CXFile& reader) : m_reader(reader) {}

    // The second stream on the path, which must still lead to the reader's file. Notes are kept from `pos`
    // on.
    bool Open(const char* pszPath, uint64_t pos) {
        FileFacts ours, theirs;
        unsigned long long nSize = 0;
        if (!m_pPiece || !m_writer.Open(pszPath, 1) || !m_writer.GetFacts(ours) ||
            !m_reader.GetFacts(theirs) || !ours.IsSameFile(theirs) || !m_reader.GetSize(nSize))
            return false;
        m_posWrite = pos;
        m_posEndOfFile = nSize;
        return true;
    }

    // The next note, committed. What the file has of a body that is cut short is kept, and Finish tells.
    bool Keep(SDBNOTE note) {
        const uint64_t posEnd = std::min(note.PosEnd(), m_posEndOfFile);
        if (posEnd != note.PosEnd()) m_bWhole = false;
        const bool bKept = note.posHeader == m_posWrite ? Settle(note) : Move(note, posEnd - note.PosBody());
        m_posWrite += posEnd - note.posHeader;
        return bKept;
    }

    // Cuts the file behind the last note kept and waits for the disk.
    bool Finish() {
        return m_writer.SeekToPos(m_posWrite) && m_writer.SetEOF() && m_writer.Sync() && m_bWhole;
    }

    // Why the second stream failed.
    int GetFirstError() const { return m_pPiece ? m_writer.GetFirstError() : ENOMEM; }

private:
    bool Settle(const SDBNOTE& note) {
        const uint8_t nCommitted = 0;
        return note.nState == nCommitted ||
               (m_writer.SeekToPos(note.posHeader) && m_writer.Write(&nCommitted, sizeof nCommitted));
    }

    bool Move(SDBNOTE& note, uint64_t nBody) {
        note.nState = 0;
        const NoteHeaderBytes header = EncodeNoteHeader(note);
        if (!m_reader.SeekToPos(note.PosBody()) || !m_writer.SeekToPos(m_posWrite) ||
            !m_writer.Write(header.data(), header.size()))
            return false;
        while (nBody > 0) {
            const size_t nPiece = std::min<uint64_t>(nBody, kPieceBytes);
            if (!m_reader.Read(m_pPiece.get(), nPiece) || !m_writer.Write(m_pPiece.get(), nPiece))
                return false;
            nBody -= nPiece;
        }
        return true;
    }

    static constexpr size_t kPieceBytes = 65536;

    CXFile& m_reader;
    CXFile m_writer;
    uint64_t m_posWrite = 0;
    uint64_t m_posEndOfFile = 0;
    bool m_bWhole = true;  // no body was cut short
    const std::unique_ptr<uint8_t[]> m_pPiece{new (std::nothrow) uint8_t[kPieceBytes]};
};

}  // namespace

// --- Commit and roll-back ---

bool CSDB::ProcessFile(uint8_t nMode) {
    if (!FinishCut()) return false;
    if (!m_bWritable || !m_bDirty) return true;
    Lock();
    m_bChanged = false;
    const bool bDone = SettleNotes(nMode);
    Unlock();
    return bDone;
}

// The notes before the first uncommitted one stay as they are.
bool CSDB::SettleNotes(uint8_t nMode) {
    CSDBNoteWalk walk(m_file);
    SDBNOTE note;
    do {
        if (!walk.Next(note)) return !walk.HasFailed();  // deliberate: the dirty flag stays set
    } while (note.nState == 0);

    CSDBCompactor compactor(m_file);
    // What was written must be on the disk before a state says that it is committed.
    bool bDone = m_file.Sync() && compactor.Open(GetPath(), note.posHeader);
    if (bDone) {
        do {
            bDone = (note.nState & nMode) != 0 || compactor.Keep(note);
        } while (bDone && walk.Next(note));
        bDone = bDone && !walk.HasFailed() && compactor.Finish();
    }
    m_file.NoteError(compactor.GetFirstError());
    m_file.SeekToPos(FileHeader::kBytes);
    m_bDirty = false;
    m_bChanged = true;
    return bDone;
}

// --- Save ---

bool CSDB::Save(const char* pszPath) {
    if (!IsOpen() || !m_bWritable) return false;
    const bool bHere = pszPath == nullptr || *pszPath == '\0' || SameFile(pszPath);
    try {
        return bHere ? CommitAndReopen() : SaveAs(pszPath);
    } catch (const std::bad_alloc&) {
        return NoMemory();
    }
}

bool CSDB::CommitAndReopen() {
    const std::string strPath = m_strPath;
    const bool bCommitted = ProcessFile(kSdbStateDeleted);
    return Reopen(strPath, Close(true) && bCommitted);
}

// Goes on with the file at the path, closed before, whose changes were settled or not: what failed there
// stays the cause.
bool CSDB::Reopen(const std::string& strPath, bool bSettled) {
    const int nError = bSettled ? 0 : GetFirstError();
    const bool bOpened = Open(strPath.c_str(), m_nFormat, true);
    m_file.NoteError(nError);
    return bOpened && bSettled;
}

bool CSDB::SaveAs(const char* pszPath) {
    const std::string strPath = pszPath;
    CSDB target;
    if (!target.Create(strPath.c_str(), m_nFormat)) {
        m_file.NoteError(target.GetFirstError());
        return false;
    }
    Lock();
    target.Lock();
    if (!CopyLiveNotesTo(target.m_file)) {
        m_file.NoteError(target.GetFirstError());
        return false;  // deliberate: our engine lock stays taken
    }
    target.Unlock();
    Unlock();
    target.Close(true);
    const bool bRolledBack = ProcessFile(kSdbStateNew);
    Close(false);  // a roll-back that failed must not become a commit
    return Reopen(strPath, bRolledBack);
}

// Behind the file's header, as committed notes. A note that could not be written leaves nothing behind.
bool CSDB::CopyLiveNotesTo(CXFile& file) {
    unsigned long long pos = FileHeader::kBytes;
    for (const SDBNOTE* note = GetNoteByType(nullptr, kSdbAny); note != nullptr;
         note = GetNoteByType(note, kSdbAny)) {
        SDBNOTE copy;
        void* body = nullptr;
        if (!ReadNote(note->idNote, &copy, &body)) return false;
        const std::unique_ptr<void, decltype(&std::free)> freed(body, &std::free);
        copy.nState = 0;
        const NoteHeaderBytes header = EncodeNoteHeader(copy);
        if (!file.SeekToPos(pos)) return false;
        if (!file.Write(header.data(), header.size()) || !file.Write(body, copy.nSize)) {
            if (file.SeekToPos(pos)) file.SetEOF();
            return false;
        }
        pos += header.size() + copy.nSize;
    }
    return file.Sync();
}

}  // namespace Kestrova
