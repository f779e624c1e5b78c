// StorePeers.h - LMDB and SQLite, which the container is compared with: a table of numbered bodies in one
// file. They keep neither types nor parents, so they do less.
// Both: Create begins one transaction that Commit ends, waiting for the disk as each does by default; Open is
// for reading. A store that is made again closes what was open.
#pragma once

#include <cstdint>
#include <string>

struct MDB_env;
struct MDB_txn;
struct sqlite3;
struct sqlite3_stmt;

namespace Kestrova::Bench {

// A body in the store's own memory, good until the next call; null when there is none.
struct StoredBody {
    const void* pBytes = nullptr;
    size_t nBytes = 0;
};

class LmdbStore {
public:
    LmdbStore() = default;
    ~LmdbStore() { Close(); }
    LmdbStore(const LmdbStore&) = delete;
    LmdbStore& operator=(const LmdbStore&) = delete;

    bool Create(const std::string& strPath);
    bool Add(uint32_t id, const void* pBody, size_t nBody);  // ids ascend, and LMDB is told so (MDB_APPEND)
    bool Commit();
    bool Open(const std::string& strPath);
    StoredBody Find(uint32_t id) const;

private:
    bool Begin(const std::string& strPath, unsigned nEnvFlags, unsigned nTxnFlags, unsigned nTableFlags);
    void Close();

    MDB_env* m_pEnv = nullptr;
    MDB_txn* m_pTxn = nullptr;
    unsigned m_nTable = 0;
};

class SqliteStore {
public:
    SqliteStore() = default;
    ~SqliteStore() { Close(); }
    SqliteStore(const SqliteStore&) = delete;
    SqliteStore& operator=(const SqliteStore&) = delete;

    bool Create(const std::string& strPath);
    bool Add(uint32_t id, const void* pBody, size_t nBody);
    bool Commit();
    bool Open(const std::string& strPath);
    StoredBody Find(uint32_t id);

private:
    bool Run(const char* pszSql);
    bool Begin(const std::string& strPath, int nFlags);
    void Close();

    sqlite3* m_pDatabase = nullptr;
    sqlite3_stmt* m_pStatement = nullptr;  // of the insertions, or of the look-ups
};

}  // namespace Kestrova::Bench
