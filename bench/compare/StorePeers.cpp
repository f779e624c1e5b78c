#include "bench/compare/StorePeers.h"

#include <lmdb.h>
#include <sqlite3.h>

#include <filesystem>

namespace Kestrova::Bench {

namespace fs = std::filesystem;

// --- LMDB ---

bool LmdbStore::Create(const std::string& strPath) {
    Close();
    fs::remove(strPath);
    fs::remove(strPath + "-lock");
    return Begin(strPath, 0, 0, MDB_CREATE);
}

bool LmdbStore::Open(const std::string& strPath) { return Begin(strPath, MDB_RDONLY, MDB_RDONLY, 0); }

bool LmdbStore::Begin(const std::string& strPath, unsigned nEnvFlags, unsigned nTxnFlags,
                      unsigned nTableFlags) {
    constexpr size_t kLargestFile = size_t{1} << 32;
    constexpr mdb_mode_t kMode = 0600;
    Close();
    return mdb_env_create(&m_pEnv) == 0 && mdb_env_set_mapsize(m_pEnv, kLargestFile) == 0 &&
           mdb_env_open(m_pEnv, strPath.c_str(), MDB_NOSUBDIR | nEnvFlags, kMode) == 0 &&
           mdb_txn_begin(m_pEnv, nullptr, nTxnFlags, &m_pTxn) == 0 &&
           mdb_dbi_open(m_pTxn, nullptr, MDB_INTEGERKEY | nTableFlags, &m_nTable) == 0;
}

bool LmdbStore::Add(uint32_t id, const void* pBody, size_t nBody) {
    MDB_val key{sizeof id, &id};
    MDB_val body{nBody, const_cast<void*>(pBody)};  // NOLINT: LMDB does not change it
    return mdb_put(m_pTxn, m_nTable, &key, &body, MDB_APPEND) == 0;
}

bool LmdbStore::Commit() {
    const bool bDone = mdb_txn_commit(m_pTxn) == 0;
    m_pTxn = nullptr;
    return bDone;
}

StoredBody LmdbStore::Find(uint32_t id) const {
    MDB_val key{sizeof id, &id};
    MDB_val body{};
    if (mdb_get(m_pTxn, m_nTable, &key, &body) != 0) return {};
    return {body.mv_data, body.mv_size};
}

void LmdbStore::Close() {
    if (m_pTxn != nullptr) mdb_txn_abort(m_pTxn);
    if (m_pEnv != nullptr) mdb_env_close(m_pEnv);
    m_pTxn = nullptr;
    m_pEnv = nullptr;
}

// --- SQLite ---

bool SqliteStore::Create(const std::string& strPath) {
    Close();
    fs::remove(strPath);
    return Begin(strPath, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) &&
           Run("CREATE TABLE notes (id INTEGER PRIMARY KEY, body BLOB)") && Run("BEGIN") &&
           sqlite3_prepare_v2(m_pDatabase, "INSERT INTO notes VALUES (?, ?)", -1, &m_pStatement, nullptr) ==
               SQLITE_OK;
}

bool SqliteStore::Open(const std::string& strPath) {
    // In one transaction, for otherwise each look-up would lock the file.
    return Begin(strPath, SQLITE_OPEN_READONLY) && Run("BEGIN") &&
           sqlite3_prepare_v2(m_pDatabase, "SELECT body FROM notes WHERE id = ?", -1, &m_pStatement,
                              nullptr) == SQLITE_OK;
}

bool SqliteStore::Begin(const std::string& strPath, int nFlags) {
    Close();
    return sqlite3_open_v2(strPath.c_str(), &m_pDatabase, nFlags, nullptr) == SQLITE_OK;
}

bool SqliteStore::Run(const char* pszSql) {
    return sqlite3_exec(m_pDatabase, pszSql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool SqliteStore::Add(uint32_t id, const void* pBody, size_t nBody) {
    return sqlite3_bind_int64(m_pStatement, 1, id) == SQLITE_OK &&
           sqlite3_bind_blob(m_pStatement, 2, pBody, static_cast<int>(nBody), SQLITE_STATIC) == SQLITE_OK &&
           sqlite3_step(m_pStatement) == SQLITE_DONE && sqlite3_reset(m_pStatement) == SQLITE_OK;
}

bool SqliteStore::Commit() { return Run("COMMIT"); }

StoredBody SqliteStore::Find(uint32_t id) {
    sqlite3_reset(m_pStatement);
    if (sqlite3_bind_int64(m_pStatement, 1, id) != SQLITE_OK || sqlite3_step(m_pStatement) != SQLITE_ROW)
        return {};
    const void* const pBytes = sqlite3_column_blob(m_pStatement, 0);
    return {pBytes, static_cast<size_t>(sqlite3_column_bytes(m_pStatement, 0))};
}

void SqliteStore::Close() {
    sqlite3_finalize(m_pStatement);
    sqlite3_close(m_pDatabase);
    m_pStatement = nullptr;
    m_pDatabase = nullptr;
}

}  // namespace Kestrova::Bench
