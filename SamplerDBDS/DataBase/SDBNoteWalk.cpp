#include "SamplerDBDS/DataBase/SDBNoteWalk.h"

namespace Kestrova {

bool CSDBNoteWalk::Next(SDBNOTE& note) {
    NoteHeaderBytes header;
    if (!m_file.SeekToPos(m_posNext)) {
        m_bFailed = true;
        return false;
    }
    if (!m_file.Read(header.data(), header.size())) {
        m_bFailed = !IsAtEnd();
        return false;
    }
    DecodeNoteHeader(header, note);
    note.posHeader = m_posNext;
    m_posNext = note.PosEnd();
    return true;
}

bool CSDBNoteWalk::IsAtEnd() {
    unsigned long long nSize = 0;
    return m_file.GetSize(nSize) && nSize < m_posNext + NoteHeader::kBytes;
}

bool HasWholeBody(CXFile& file, const SDBNOTE& note) {
    unsigned long long nSize = 0;
    return file.GetSize(nSize) && note.PosEnd() <= nSize;
}

}  // namespace Kestrova
