// ContainerFuzz.cpp - the database file: listed by a scan or its quick-load table, read note by note,
// appended to, committed and opened again. Input: the file. It is written to TMPDIR.
#include "tests/fuzz/FuzzInput.h"
#include "tests/support/TestDatabase.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

constexpr uint32_t kNewType = 99;
constexpr char kNewBody[] = "a body";

size_t CountLive(const CSDB& db) { return IdsOfType(db, kSdbAny).size(); }

// Each note is asked for by its id, by its parent and as a branch; what is given lies in the file.
void ReadAllNotes(CSDB& db, uint64_t nFileBytes) {
    uint64_t nBudget = 64 * nFileBytes + 65536;  // notes that share an id are read once for each of them
    for (const SDBNOTE* pNote = db.GetNoteByType(nullptr, kSdbAny);
         pNote != nullptr && nBudget > pNote->nSize; pNote = db.GetNoteByType(pNote, kSdbAny)) {
        nBudget -= pNote->nSize + 1;
        SDBNOTE note;
        void* pBody = nullptr;
        KV_FUZZ_CHECK(db.GetNoteByID(pNote->idNote) != nullptr);
        const bool bRead = db.ReadNote(pNote->idNote, &note, &pBody);
        KV_FUZZ_CHECK(!bRead || note.nSize <= nFileBytes);
        KV_FUZZ_CHECK(bRead || pBody == nullptr);
        std::free(pBody);
    }
    if (const SDBNOTE* const pFirst = db.GetNoteByType(nullptr, kSdbAny); pFirst != nullptr) {
        ChildrenOf(db, pFirst->idNote);
        ChildrenOf(db, kSdbNoID);
    }
}

// Then the file is listed by that table and not by its notes; also when dropping the notes before it has made
// it the first.
bool BeginsWithTable(const std::string& strPath) {
    constexpr size_t kTypeOfFirst = FileHeader::kBytes + NoteHeader::kType.offset;
    const Bytes file = ReadFile(strPath);
    return file.size() > kTypeOfFirst && file[kTypeOfFirst] == kSdbQuickLoad;
}

// What was appended and committed is found again behind all that was live before.
void CheckAppend(const std::string& strPath, uint32_t nFormat) {
    CSDB db;
    if (BeginsWithTable(strPath) || !db.Open(strPath.c_str(), nFormat, true)) return;
    const uint32_t id = AddNote(db, kNewType, kSdbNoID, kNewBody);
    const size_t nLive = CountLive(db);
    if (!db.Close(true) || id == kSdbNoID || BeginsWithTable(strPath)) return;
    KV_FUZZ_CHECK(db.Open(strPath.c_str(), nFormat, false));
    KV_FUZZ_CHECK(!db.IsDirty());
    KV_FUZZ_CHECK(CountLive(db) == nLive);
    KV_FUZZ_CHECK(BodyOf(db, id) == kNewBody);
}

// A roll-back leaves only committed notes, and a second one changes nothing.
void CheckRollBack(const std::string& strPath, uint32_t nFormat) {
    CSDB db;
    if (!db.Open(strPath.c_str(), nFormat, true) || !db.Close(false) || BeginsWithTable(strPath)) return;
    const Bytes settled = ReadFile(strPath);
    KV_FUZZ_CHECK(db.Open(strPath.c_str(), nFormat, true));
    KV_FUZZ_CHECK(db.Close(false));
    KV_FUZZ_CHECK(ReadFile(strPath) == settled);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const TempDir dir;
    const std::string strPath = dir.File("file.kvn");
    const Bytes file(p, p + n);
    for (const uint32_t nFormat : {kSdbFormatPlain, kSdbFormatEnriched}) {
        WriteFile(strPath, file);
        CSDB db;
        if (!db.Open(strPath.c_str(), nFormat, false)) continue;
        ReadAllNotes(db, n);
        KV_FUZZ_CHECK(db.Close(true));
        KV_FUZZ_CHECK(ReadFile(strPath) == file);
        CheckAppend(strPath, nFormat);
        WriteFile(strPath, file);
        CheckRollBack(strPath, nFormat);
    }
    CSDB::IsUnfinishedBuild(strPath.c_str(), kSdbFormatEnriched);
    return 0;
}
