// Continues CSDB: Save, here or under another name.
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>

#include "SamplerDBDS/DataBase/SDBEngine.h"

namespace Kestrova {

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

// Opens the file at the path again, or the new one. When settling the changes before it failed, that failure
// stays the cause.
bool CSDB::Reopen(const std::string& strPath, bool bSettled) {
    const int nError = bSettled ? 0 : GetFirstError();
    const bool bOpened = Open(strPath.c_str(), m_nFormat, true);
    m_file.NoteError(nError);
    return bOpened && bSettled;
}

// Not analysed: on a failure it deliberately keeps the lock.
bool CSDB::SaveAs(const char* pszPath) KV_NO_THREAD_SAFETY_ANALYSIS {
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
        return false;  // deliberate (Q72): our engine lock stays taken
    }
    target.Unlock();
    Unlock();
    target.Close(true);
    const bool bRolledBack = ProcessFile(kSdbStateNew);
    Close(false);  // a roll-back that failed must not become a commit
    return Reopen(strPath, bRolledBack);
}

// Writes them behind the file's header, as committed notes. A note that cannot be written is cut off again.
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
