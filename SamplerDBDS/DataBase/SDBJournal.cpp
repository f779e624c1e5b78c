#include "SamplerDBDS/DataBase/SDBJournal.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/DataBase/SDBNoteWalk.h"

namespace Kestrova {

namespace {

// Moves the notes that stay to the front of the file, in place, through a second stream. Reading is always
// ahead of writing. As long as no note was dropped, each lies where it belongs and only its state is written.
// States that lie close together are written in one piece, with the bytes between them as the walk has read
// them.
class CSDBCompactor {
public:
    CSDBCompactor(CXFile& reader, const CSDBNoteWalk& walk) : m_reader(reader), m_walk(walk) {}

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
        return WritePiece() && m_writer.SeekToPos(m_posWrite) && m_writer.SetEOF() && m_writer.Sync() &&
               m_bWhole;
    }

    // Closes the second stream and tells why it failed, the closing included; 0 when it did not.
    int Close() {
        m_writer.Close();
        return m_pPiece ? m_writer.GetFirstError() : ENOMEM;
    }

private:
    bool Settle(const SDBNOTE& note) {
        if (note.nState == 0) return true;
        if (!ExtendPiece(note.posHeader)) {
            if (!WritePiece()) return false;
            m_posPiece = note.posHeader;
        }
        m_pPiece[m_nPiece++] = 0;
        return true;
    }

    // Puts the bytes up to `pos` behind the piece. False when that is too far, or when the walk does not hold
    // them any more.
    bool ExtendPiece(uint64_t pos) {
        const uint64_t posEnd = m_posPiece + m_nPiece;
        const uint64_t nGap = pos - posEnd;
        if (m_nPiece == 0 || nGap > kMostGap || m_nPiece + nGap >= kPieceBytes) return false;
        const uint8_t* const pBetween = m_walk.BytesAt(posEnd, nGap);
        if (pBetween == nullptr) return false;
        std::memcpy(m_pPiece.get() + m_nPiece, pBetween, nGap);
        m_nPiece += nGap;
        return true;
    }

    bool WritePiece() {
        const size_t nPiece = std::exchange(m_nPiece, 0);
        return nPiece == 0 || (m_writer.SeekToPos(m_posPiece) && m_writer.Write(m_pPiece.get(), nPiece));
    }

    bool Move(SDBNOTE& note, uint64_t nBody) {
        note.nState = 0;
        const NoteHeaderBytes header = EncodeNoteHeader(note);
        if (!WritePiece() || !m_reader.SeekToPos(note.PosBody()) || !m_writer.SeekToPos(m_posWrite) ||
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
    // The system writes whole pages of this size. Two states this far apart lie in one page or in two in a
    // row, so a piece makes it write no page that holds no such state.
    static constexpr size_t kMostGap = 4096;

    CXFile& m_reader;
    const CSDBNoteWalk& m_walk;
    CXFile m_writer;
    uint64_t m_posWrite = 0;
    uint64_t m_posPiece = 0;  // of the piece in the file
    size_t m_nPiece = 0;      // its bytes; the last one is a state
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

    CSDBCompactor compactor(file, walk);
    // What was written must be on the disk before a state says that it is committed.
    const bool bDone =
        file.Sync() && compactor.Open(pszPath, note.posHeader) && SettleFrom(note, walk, compactor, nDrop);
    file.NoteError(compactor.Close());
    file.SeekToPos(FileHeader::kBytes);
    return bDone ? Settled::kAll : Settled::kFailed;
}

}  // namespace

Settled CommitNotes(CXFile& file, const char* pszPath) {
    return SettleNotes(file, pszPath, kSdbStateDeleted);
}

Settled RollBackNotes(CXFile& file, const char* pszPath) { return SettleNotes(file, pszPath, kSdbStateNew); }

}  // namespace Kestrova
