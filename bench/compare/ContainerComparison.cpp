// container_comparison - one container of 1,000,000 notes of 100 bytes beside LMDB and SQLite: milliseconds
// of processor time, that of the system's calls included. Ours keeps a parent and a type of each note as
// well.
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bench/BenchFolder.h"
#include "bench/BenchNotes.h"
#include "bench/compare/Comparison.h"
#include "bench/compare/StorePeers.h"

namespace Kestrova::Bench {
namespace {

// The container with the calls of the stores.
class OwnStore {
public:
    bool Create(const std::string& strPath) {
        m_pDatabase = std::make_unique<CSDB>();
        return m_pDatabase->Create(strPath.c_str(), kSdbFormatPlain);
    }
    bool Open(const std::string& strPath) {
        m_pDatabase = std::make_unique<CSDB>();
        return m_pDatabase->Open(strPath.c_str(), kSdbFormatPlain, false);
    }
    bool Add(uint32_t n, const void*, size_t) { return AddNote(*m_pDatabase, n); }
    bool Commit() { return m_pDatabase->Close(true); }
    void Close() {
        if (m_pDatabase) m_pDatabase->Close(false);
        m_pDatabase.reset();
    }
    CSDB& operator*() { return *m_pDatabase; }

private:
    std::unique_ptr<CSDB> m_pDatabase;
};

template <class TStore>
bool AddAll(TStore& store, uint32_t nNotes) {
    for (uint32_t n = 0; n < nNotes; ++n)
        if (!store.Add(n, kNoteBody, kNoteBytes)) return false;
    return true;
}

// Committed files of all stores, with the same notes.
struct Site {
    BenchFolder folder;
    uint32_t nNotes;
    std::string strScan = folder.File("scan"), strQuickLoad = folder.File("quick"),
                strLmdb = folder.File("lmdb"), strSqlite = folder.File("sqlite");
    bool bMade;

    explicit Site(uint32_t n) : nNotes(n), bMade(MakeAll()) {}

    template <class TStore>
    bool Make(const std::string& strPath) const {
        TStore store;
        return store.Create(strPath) && AddAll(store, nNotes) && store.Commit();
    }
    bool MakeAll() const {
        return MakeContainer(strScan, nNotes, false) && MakeContainer(strQuickLoad, nNotes, true) &&
               Make<LmdbStore>(strLmdb) && Make<SqliteStore>(strSqlite);
    }
};
using SitePointer = std::shared_ptr<const Site>;

// --- Adding ---

template <class TStore>
Turn AddTurn(const SitePointer& pSite, bool bCommit) {
    const auto pStore = std::make_shared<TStore>();
    const std::string strPath = pSite->folder.File("scratch");
    return MillisecondsTurn([=] { return pStore->Create(strPath); },
                            [=] { return AddAll(*pStore, pSite->nNotes) && (!bCommit || pStore->Commit()); });
}

std::vector<Contender> Adders(const SitePointer& pSite, bool bCommit) {
    return {{"ours", AddTurn<OwnStore>(pSite, bCommit)},
            {"LMDB", AddTurn<LmdbStore>(pSite, bCommit)},
            {"SQLite", AddTurn<SqliteStore>(pSite, bCommit)}};
}

// --- Looking up ---

bool CopyBody(const void* pFrom, size_t nBytes) {
    static char s_body[kNoteBytes];
    if (pFrom == nullptr || nBytes != kNoteBytes) return false;
    std::memcpy(s_body, pFrom, nBytes);
    return s_body[0] == kNoteBody[0];
}

bool ReadOwnBody(CSDB& database, uint32_t id) {
    SDBNOTE note;
    void* pBody = nullptr;
    const bool bDone = database.ReadNote(id, &note, &pBody) && CopyBody(pBody, note.nSize);
    std::free(pBody);
    return bDone;
}

template <class TStore, class TFind>
Turn FindTurn(const SitePointer& pSite, const std::string& strPath, TFind find) {
    const auto pStore = std::make_shared<TStore>();
    return MillisecondsTurn(
        [=] { return pStore->Open(strPath); },
        [=] { return FindEach(pSite->nNotes, [&](uint32_t id) { return find(*pStore, id); }); });
}

std::vector<Contender> Finders(const SitePointer& pSite) {
    const auto ours = [](OwnStore& store, uint32_t id) { return (*store).GetNoteByID(id) != nullptr; };
    const auto peer = [](auto& store, uint32_t id) { return store.Find(id).pBytes != nullptr; };
    return {{"ours", FindTurn<OwnStore>(pSite, pSite->strScan, ours)},
            {"LMDB", FindTurn<LmdbStore>(pSite, pSite->strLmdb, peer)},
            {"SQLite", FindTurn<SqliteStore>(pSite, pSite->strSqlite, peer)}};
}

std::vector<Contender> Readers(const SitePointer& pSite) {
    const auto ours = [](OwnStore& store, uint32_t id) { return ReadOwnBody(*store, id); };
    const auto peer = [](auto& store, uint32_t id) {
        const StoredBody body = store.Find(id);
        return CopyBody(body.pBytes, body.nBytes);
    };
    return {{"ours", FindTurn<OwnStore>(pSite, pSite->strScan, ours)},
            {"LMDB", FindTurn<LmdbStore>(pSite, pSite->strLmdb, peer)},
            {"SQLite", FindTurn<SqliteStore>(pSite, pSite->strSqlite, peer)}};
}

// --- Opening ---

// One read of the whole file in pieces of 64 KiB, which is the least that a scan can take.
bool ReadPieces(const std::string& strPath) {
    static char s_piece[65536];
    std::FILE* const pFile = std::fopen(strPath.c_str(), "rb");
    if (pFile == nullptr) return false;
    std::setvbuf(pFile, nullptr, _IONBF, 0);
    while (std::fread(s_piece, 1, sizeof s_piece, pFile) > 0) {
    }
    return std::fclose(pFile) == 0;
}

Turn OpenTurn(const SitePointer& pSite, const std::string& strPath) {
    const auto pStore = std::make_shared<OwnStore>();
    const auto close = [=] {
        pStore->Close();
        return true;
    };
    return MillisecondsTurn(
        close, [=] { return pStore->Open(strPath) && (**pStore).GetNoteCount() >= pSite->nNotes; });
}

std::vector<Contender> Openers(const SitePointer& pSite, const std::string& strPath) {
    return {
        {"ours", OpenTurn(pSite, strPath)},
        {"read() of the file", MillisecondsTurn([] { return true; }, [=] { return ReadPieces(strPath); })}};
}

// The other way to open the same notes.
std::vector<Contender> BothWaysToOpen(const SitePointer& pSite) {
    return {{"ours", OpenTurn(pSite, pSite->strQuickLoad)},
            {"ours by scan", OpenTurn(pSite, pSite->strScan)}};
}

// Bytes of the heap that an open file keeps for each note.
std::vector<Contender> Keepers(const SitePointer& pSite, const std::string& strPath) {
    return {{"ours", [=]() -> std::optional<double> {
                 const struct mallinfo2 before = mallinfo2();
                 OwnStore store;
                 if (!store.Open(strPath)) return {};
                 const struct mallinfo2 after = mallinfo2();
                 const size_t nHeap = after.uordblks + after.hblkhd - before.uordblks - before.hblkhd;
                 return static_cast<double>(nHeap) / pSite->nNotes;
             }}};
}

std::vector<ComparisonRow> RowsOf(ComparisonSize size) {
    const uint32_t nNotes = size.bQuick ? 1000 : 1000000;
    // Made when the first row needs it, and kept for the others.
    const auto pHolder = std::make_shared<SitePointer>();
    const auto withSite = [=](auto make) {
        return [=] {
            if (!*pHolder) *pHolder = std::make_shared<const Site>(nNotes);
            return (*pHolder)->bMade ? make(*pHolder) : std::vector<Contender>();
        };
    };
    const std::string strOf = "container, " + std::string(size.bQuick ? "1,000" : "1,000,000") + " notes, ";
    return {
        {strOf + "add", "ms", withSite([](const SitePointer& p) { return Adders(p, false); })},
        {strOf + "add and commit", "ms", withSite([](const SitePointer& p) { return Adders(p, true); })},
        {strOf + "look up each", "ms", withSite(Finders)},
        {strOf + "look up and read each", "ms", withSite(Readers)},
        {strOf + "open by scan", "ms", withSite([](const SitePointer& p) { return Openers(p, p->strScan); })},
        {strOf + "open by quick-load", "ms", withSite(BothWaysToOpen)},
        {strOf + "memory of each, by scan", "bytes",
         withSite([](const SitePointer& p) { return Keepers(p, p->strScan); })},
        {strOf + "memory of each, by quick-load", "bytes",
         withSite([](const SitePointer& p) { return Keepers(p, p->strQuickLoad); })}};
}

}  // namespace
}  // namespace Kestrova::Bench

int main(int argc, char** argv) {
    return Kestrova::Bench::RunComparison(argc, argv, Kestrova::Bench::RowsOf);
}
