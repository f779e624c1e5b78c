#include "SamplerDBDS/DataBase/SDBNoteWalk.h"

#include <algorithm>

namespace Kestrova {

// The window begins at the next header. It grows while headers lie close together, and is small again behind
// a large body.
bool CSDBNoteWalk::Load() {
    const bool bClose = m_posNext - (m_posWindow + m_nFilled) < m_nReadAhead;
    m_nReadAhead = bClose ? std::min(2 * m_nReadAhead, kWindowBytes) : kLeastReadAhead;
    m_posWindow = m_posNext;
    m_nFilled = 0;
    unsigned long long nSize = 0;
    m_bFailed = !m_file.GetSize(nSize);
    if (m_bFailed || nSize < m_posNext + NoteHeader::kBytes) return false;
    const size_t nBytes = std::min<uint64_t>(m_nReadAhead, nSize - m_posNext);
    m_bFailed = !m_file.SeekToPos(m_posNext) || !m_file.Read(m_arWindow.data(), nBytes);
    if (m_bFailed) return false;
    m_nFilled = nBytes;
    return true;
}

bool HasWholeBody(CXFile& file, const SDBNOTE& note) {
    unsigned long long nSize = 0;
    return file.GetSize(nSize) && note.PosEnd() <= nSize;
}

}  // namespace Kestrova
