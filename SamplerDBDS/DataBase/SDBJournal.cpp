#include "SamplerDBDS/DataBase/SDBJournal.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/DataBase/SDBNoteWalk.h"

namespace Kestrova {

namespace {

// Moves the notes that stay to the front of the file, in place, through a second stream. Reading is always
// ahead of writing. As long as no note was dropped, each lies where it belongs and only its state is written.
class CSDBCompactor {
public:
    explicit CSDBCompactor(CXFile& reader) : m_reader(reader) {}

    // Opens the second stream on the path, which must still lead to the reader's file. The first note that is
    // kept will stand at `pos`.
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

    // Keeps the next note, as a committed one. Of a body that is cut short it keeps what the file has; Finish
    // then answers false.
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

// Settles every note from the first one that has a state, which the walk has just given. nDrop: the state bit
// of the notes to drop.
bool SettleFrom(SDBNOTE note, CSDBNoteWalk& walk, CSDBCompactor& compactor, uint8_t nDrop) {
    bool bDone = true;
    do {
        bDone = (note.nState & nDrop) != 0 || compactor.Keep(note);
    } while (bDone && walk.Next(note));
    return bDone && !walk.HasFailed() && compactor.Finish();
}

// The notes in front of the first that has a state stay as they are.
Settled SettleNotes(CXFile& file, const char* pszPath, uint8_t nDrop) {
    CSDBNoteWalk walk(file);
    SDBNOTE note;
    do {
        // Deliberate (Q71): dirty stays set when no note has a state.
        if (!walk.Next(note)) return walk.HasFailed() ? Settled::kUnreadable : Settled::kNothing;
    } while (note.nState == 0);

    CSDBCompactor compactor(file);
    // What was written must be on the disk before a state says that it is committed.
    const bool bDone =
        file.Sync() && compactor.Open(pszPath, note.posHeader) && SettleFrom(note, walk, compactor, nDrop);
    file.NoteError(compactor.GetFirstError());
    file.SeekToPos(FileHeader::kBytes);
    return bDone ? Settled::kAll : Settled::kFailed;
}

}  // namespace

Settled CommitNotes(CXFile& file, const char* pszPath) {
    return SettleNotes(file, pszPath, kSdbStateDeleted);
}

Settled RollBackNotes(CXFile& file, const char* pszPath) { return SettleNotes(file, pszPath, kSdbStateNew); }

}  // namespace Kestrova
