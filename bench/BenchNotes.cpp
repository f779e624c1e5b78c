#include "bench/BenchNotes.h"

namespace Kestrova::Bench {

bool AddNote(CSDB& database, uint32_t nNote) {
    static constexpr uint32_t kChildren = 10;
    const uint32_t idFirst = database.GetNextID() - nNote;
    SDBNOTE note;
    note.nSize = kNoteBytes;
    note.nType = nNote == 0 ? kSdbBank : kSdbProgram;
    note.idParent = nNote == 0 ? kSdbNoID : idFirst + (nNote - 1) / kChildren;
    return database.AddNewNote(&note, kNoteBody);
}

bool AddNotes(CSDB& database, uint32_t nNotes) {
    for (uint32_t n = 0; n < nNotes; ++n)
        if (!AddNote(database, n)) return false;
    return true;
}

bool MakeContainer(const std::string& strPath, uint32_t nNotes, bool bQuickLoad) {
    CSDB database;
    return database.Create(strPath.c_str(), kSdbFormatPlain) &&
           (!bQuickLoad || database.ReserveQuickLoad(nNotes)) && AddNotes(database, nNotes) &&
           (!bQuickLoad || database.CreateQuickLoad()) && database.Close(true);
}

}  // namespace Kestrova::Bench
