#include "Database.h"

#include "DatabaseExceptions.h"
#include "FaultInjection.h"
#include "Statement.h"

#include <sqlite3.h>

#include <cstring>

namespace qzdb {

static_assert(Database::kOpenReadOnly == SQLITE_OPEN_READONLY, "the reader's open flag");
static_assert(Database::kOpenReadWriteCreate == (SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE),
              "the writer's open flags");

Database::Database(const std::string& path, int openFlags, bool foreignKeys) : mPath(path)
{
    sqlite3* handle = nullptr;
    const int rc = sqlite3_open_v2(path.c_str(), &handle, openFlags, nullptr);
    if (rc != SQLITE_OK) {
        // SQLite hands out a connection even when the open fails, only to carry the message.
        const int extended = handle != nullptr ? sqlite3_extended_errcode(handle) : rc;
        const std::string message = handle != nullptr ? sqlite3_errmsg(handle) : sqlite3_errstr(rc);
        sqlite3_close(handle);
        throw DatabaseException(rc & 0xff, extended, message);
    }
    mHandle = handle;
    sqlite3_extended_result_codes(mHandle, 1);
    sqlite3_update_hook(mHandle, &Database::rowChanged, this);
    // A rollback undoes rows without the update hook seeing it: every rollback of a whole
    // transaction, whoever asks for it (a Transaction, SQL run on the handle, or SQLite itself
    // after an error), drops what the cache mirrored here.
    sqlite3_rollback_hook(mHandle, &Database::rolledBack, this);
    sqlite3_set_authorizer(mHandle, &Database::authorize, this);
    if (foreignKeys) {
        try {
            executeRaw("PRAGMA foreign_keys=ON");
        } catch (...) {
            sqlite3_close(mHandle);
            mHandle = nullptr;
            throw;
        }
    }
}

Database::~Database()
{
    // Statements first: a connection with unfinalized statements does not close.
    mStatements.clear();
    sqlite3_close_v2(mHandle);
}

void Database::setBusyTimeout(int milliseconds)
{
    sqlite3_busy_timeout(mHandle, milliseconds);
}

Statement& Database::statement(const std::string& sql)
{
    auto it = mStatements.find(sql);
    if (it == mStatements.end()) {
        auto prepared = std::make_unique<Statement>(*this, sql);
        it = mStatements.emplace(sql, std::move(prepared)).first;
    } else {
        it->second->reset();
    }
    return *it->second;
}

void Database::rowChanged(void* database, int, const char*, const char*, long long)
{
    auto* self = static_cast<Database*>(database);
    if (!self->mTrackedStatementRunning) {
        self->mCache.clear();
    }
}

void Database::rolledBack(void* database)
{
    static_cast<Database*>(database)->mCache.clear();
}

// Allows everything; a rollback to a savepoint, which the rollback hook does not report, drops
// the cache as soon as it is prepared.
int Database::authorize(void* database, int action, const char* operation, const char*, const char*,
                        const char*)
{
    if (action == SQLITE_SAVEPOINT && operation != nullptr && std::strcmp(operation, "ROLLBACK") == 0) {
        static_cast<Database*>(database)->mCache.clear();
    }
    return SQLITE_OK;
}

void Database::executeRaw(const std::string& sql)
{
    // Raw SQL is schema text and pragmas, which may change what the cache mirrors; a transaction's
    // begin and commit change nothing of it, and a rollback reaches the rollback hook.
    if (sql != "BEGIN" && sql != "COMMIT") {
        mCache.clear();
    }
    if (const int injected = FaultInjection::injectedResult()) {
        throwSqliteError(injected, injected, sqlite3_errstr(injected));
    }
    char* error = nullptr;
    const int rc = sqlite3_exec(mHandle, sql.c_str(), nullptr, nullptr, &error);
    if (rc != SQLITE_OK) {
        const int extended = sqlite3_extended_errcode(mHandle);
        const std::string message = error != nullptr ? error : sqlite3_errmsg(mHandle);
        sqlite3_free(error);
        throwSqliteError(rc, extended, message);
    }
    sqlite3_free(error);
}

bool Database::tableExists(const std::string& name)
{
    Statement query(*this, "SELECT count(*) FROM \"sqlite_master\" WHERE \"type\"='table' AND \"name\"=?");
    query.bind(1, name);
    return query.step() && query.columnInt(0) > 0;
}

int Database::changes() const
{
    return sqlite3_changes(mHandle);
}

int64_t Database::lastInsertRowId() const
{
    return static_cast<int64_t>(sqlite3_last_insert_rowid(mHandle));
}

void Database::resetStatements()
{
    for (auto& entry : mStatements) {
        entry.second->reset();
    }
}

} // namespace qzdb
