#pragma once

#include "CatalogueCache.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

struct sqlite3;

namespace qzdb {

class Statement;

// One connection to a catalogue file. It is not synchronised: all catalogue work of a process
// runs serially under the database mutex of LoggerDb, so one thread at a time uses it.
class Database {
public:
    // SQLite's open flags as they are passed to sqlite3_open_v2, which the catalogue uses in two
    // forms only.
    static constexpr int kOpenReadOnly = 0x00000001;        // SQLITE_OPEN_READONLY, a reader
    static constexpr int kOpenReadWriteCreate = 0x00000006; // SQLITE_OPEN_READWRITE | _CREATE, the writer

    // Opens the file; throws DatabaseException when SQLite cannot. With `foreignKeys` the
    // connection enforces the catalogue's foreign keys, which the cascades of the link tables
    // rely on.
    Database(const std::string& path, int openFlags, bool foreignKeys = true);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    sqlite3* handle() const { return mHandle; }
    const std::string& path() const { return mPath; }

    // How long a statement waits for another connection's lock before it fails as busy.
    void setBusyTimeout(int milliseconds);

    // The prepared statement of this SQL text, prepared on first use and kept for the life of
    // the connection. It comes reset and without bindings. The reference stays valid while the
    // Database lives; the same text must not be run again while a caller still steps through it.
    Statement& statement(const std::string& sql);

    // Runs SQL without parameters, any number of statements: schema texts and pragmas only,
    // never text that carries data. In tests, FaultInjection can make it fail as SQLite would.
    void executeRaw(const std::string& sql);

    bool tableExists(const std::string& name);

    // Rows changed by the last INSERT, UPDATE or DELETE, and the key of the last inserted row.
    int changes() const;
    int64_t lastInsertRowId() const;

    // Resets every cached statement, so that none holds a lock when a transaction ends.
    void resetStatements();

    // What this connection knows of file rows and links (see CatalogueCache).
    CatalogueCache& cache() { return mCache; }
    // Set while a tracked statement runs: the rows it changes are mirrored into the cache by the
    // mapping; any other changed row drops the cache.
    void setTrackedStatementRunning(bool running) { mTrackedStatementRunning = running; }

private:
    sqlite3* mHandle = nullptr;
    std::string mPath;
    std::unordered_map<std::string, std::unique_ptr<Statement>> mStatements;
    CatalogueCache mCache;
    bool mTrackedStatementRunning = false;

    static void rowChanged(void* database, int operation, const char* databaseName, const char* table,
                           long long rowId);
    static void rolledBack(void* database);
    static int authorize(void* database, int action, const char* operation, const char* name,
                         const char* databaseName, const char* trigger);
};

} // namespace qzdb
